// Pictures of every panel of a text import of the bundled sample, for the README: each panel is
// grabbed as the user sees it and written as a PNG (into the build tree, or the folder named by
// MGIMPORT8_SCREENSHOT_DIR; scripts/screenshots.sh regenerates docs/screenshots/). The test fails
// when a panel renders blank.
#include "formfixture.h"

#include <QDir>
#include <QImage>
#include <QListWidget>
#include <QPixmap>
#include <QTableView>
#include <QTableWidget>
#include <QTest>

using namespace Qt::StringLiterals;

namespace MGImport8::Test {

namespace {

class Screenshots : public FormFixture
{
protected:
    QString folder() const
    {
        const QString named = qEnvironmentVariable("MGIMPORT8_SCREENSHOT_DIR");
        return named.isEmpty() ? QStringLiteral(MGIMPORT8_SCREENSHOT_BUILD_DIR) : named;
    }

    /// Grabs the window into `name`.png; a picture of one colour means nothing was drawn.
    void grab(QWidget &form, const QString &name)
    {
        QCoreApplication::processEvents();
        const QImage picture = form.grab().toImage();
        ASSERT_FALSE(picture.isNull());
        QMap<QRgb, int> colours;
        for (int y = 0; y < picture.height(); y += 7)
            for (int x = 0; x < picture.width(); x += 7)
                ++colours[picture.pixel(x, y)];
        EXPECT_GT(colours.size(), 8) << name.toStdString() << " looks blank";
        const QString path = folder() + u'/' + name + u".png"_s;
        EXPECT_TRUE(picture.save(path)) << path.toStdString();
        saved.append(path);
    }

    QStringList saved;
};

TEST_F(Screenshots, EveryPanelOfATextImport)
{
    ASSERT_TRUE(QDir().mkpath(folder()));
    user.answerFileDialog(nodesFile());
    user.then([this](QWidget &form) {
        form.resize(780, 580);
        chooseMethod(form, u"Text File"_s);
        grab(form, u"1-method"_s);
        click(form, u"cmdNext"_s);
    });
    user.then([this](QWidget &form) {
        grab(form, u"2-file"_s);
        click(form, u"cmdNext"_s);
    });
    user.then([this](QWidget &form) {
        grab(form, u"3-delimiters"_s);
        click(form, u"cmdNext"_s);
    });
    user.then([this](QWidget &form) {
        pickMapping(form, 0, u"Name"_s);
        pickMapping(form, 2, u"Description"_s);
        pickMapping(form, 3, u"Location"_s);
        clickCell(form, 2, 1);
        grab(form, u"4-mapping"_s);
        click(form, u"cmdNext"_s);
    });
    user.then([this](QWidget &form) {
        clickCell(form, 4, 1);
        clickCell(form, 6, 1, Qt::ShiftModifier);
        grab(form, u"5-rows"_s);
        click(form, u"cmdNext"_s);
    });
    user.then([this](QWidget &form) {
        auto *options = control<QTableWidget>(form, u"OptionsList"_s);
        QTest::mouseClick(options->viewport(), Qt::LeftButton, {},
                          options->visualItemRect(options->item(0, 0)).center());
        grab(form, u"6-options"_s);
        click(form, u"cmdNext"_s);
    });
    user.then([this](QWidget &form) {
        grab(form, u"7-import-done"_s);
        click(form, u"cmdCancel"_s);
    });
    onNewRow = [this](QString &status, bool &skip) {
        skip = rows.constLast().value(u"Name"_s).startsWith(u"sw-lab"_s);
        status = skip ? u"Skipped a lab switch"_s : u"Added "_s + rows.constLast().value(u"IP"_s);
    };
    EXPECT_FALSE(startWizard());
    EXPECT_EQ(saved.size(), 7);
}

} // namespace

} // namespace MGImport8::Test
