// The grid model and the pieces of the window that are not panels:
// - the model over ImportGrid passes QAbstractItemModelTester through a table's arrival, the
//   mapping row's insertion, the tick column moving and shrinking, bulk tick changes and a clear;
// - roles: ticks only in check cells, bold and font size (colours the window walk reads);
// - legacy file patterns become Qt name filters (table-driven);
// - every method icon key has a picture of its own, drawn afresh (not stretched) at twice the scale.
#include "qtwarnings.h"
#include "wizard/importgrid.h"
#include "wizard/legacyfilefilter.h"
#include "wizard/qt/importgridmodel.h"
#include "wizard/qt/methodicons.h"

#include <QAbstractItemModelTester>
#include <QFont>
#include <QImage>
#include <QPixmap>
#include <QSignalSpy>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace MGImport8::Test {

namespace {

class GridModelTest : public ::testing::Test
{
protected:
    void SetUp() override { takeQtWarnings(); }
    void TearDown() override
    {
        const QStringList warnings = takeQtWarnings();
        EXPECT_TRUE(warnings.isEmpty()) << warnings.join(u'\n').toStdString();
    }
};

void fill(ImportGrid &grid, int rows, int columns)
{
    for (int column = 0; column < columns; ++column)
        grid.addColumn();
    for (int row = 0; row < rows; ++row) {
        grid.addRow();
        for (int column = 0; column < columns; ++column)
            grid.setText(row, column, u"r%1c%2"_s.arg(row).arg(column));
    }
}

TEST_F(GridModelTest, FollowsTheGridThroughAWizardRunsChanges)
{
    ImportGrid grid;
    ImportGridModel model(grid);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Warning);
    QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
    QSignalSpy changes(&model, &QAbstractItemModel::dataChanged);

    fill(grid, 6, 3);
    EXPECT_EQ(model.rowCount(), 6);
    EXPECT_EQ(model.columnCount(), 3);
    EXPECT_EQ(model.index(4, 2).data().toString(), u"r4c2"_s);
    EXPECT_GT(resets.size(), 0);

    // The mapping row on top.
    grid.insertRow(0);
    grid.setText(0, 1, u"IP"_s);
    grid.setStyle(0, 1, CellStyle{GridColor(0xFF0000), GridColor(0xC8C8C8), true, 10.0});
    EXPECT_EQ(model.rowCount(), 7);
    EXPECT_EQ(model.index(0, 1).data().toString(), u"IP"_s);
    EXPECT_EQ(model.index(1, 1).data().toString(), u"r0c1"_s);
    EXPECT_EQ(model.index(0, 1).data(Qt::ForegroundRole).value<QColor>(), QColor(0, 0, 255));
    EXPECT_EQ(model.index(0, 1).data(Qt::BackgroundRole).value<QColor>(), QColor(200, 200, 200));
    const QFont font = model.index(0, 1).data(Qt::FontRole).value<QFont>();
    EXPECT_TRUE(font.bold());
    EXPECT_DOUBLE_EQ(font.pointSizeF(), 10.0);
    EXPECT_FALSE(model.index(2, 1).data(Qt::ForegroundRole).isValid());
    EXPECT_TRUE(model.flags(model.index(0, 0)).testFlag(Qt::ItemIsEditable));
    EXPECT_FALSE(model.flags(model.index(1, 0)).testFlag(Qt::ItemIsEditable));

    // The tick column, added on the left, ticked in bulk, then moved away and dropped.
    grid.addColumn();
    grid.moveColumn(3, 0);
    grid.setFixedColumns(1);
    changes.clear();
    grid.beginUpdate();
    for (int row = 1; row < 7; ++row)
        grid.setCheckState(row, 0, row % 2 ? CheckState::Checked : CheckState::Unchecked);
    grid.endUpdate();
    EXPECT_EQ(changes.size(), 1); // one notice for the whole bulk change
    EXPECT_EQ(model.index(1, 0).data(Qt::CheckStateRole), QVariant(Qt::Checked));
    EXPECT_EQ(model.index(2, 0).data(Qt::CheckStateRole), QVariant(Qt::Unchecked));
    EXPECT_FALSE(model.index(0, 0).data(Qt::CheckStateRole).isValid());
    EXPECT_FALSE(model.index(1, 1).data(Qt::CheckStateRole).isValid());
    EXPECT_EQ(model.index(1, 1).data().toString(), u"r0c0"_s);

    grid.moveColumn(0, 3);
    grid.setColumnCount(3);
    EXPECT_EQ(model.columnCount(), 3);
    EXPECT_EQ(model.index(1, 0).data().toString(), u"r0c0"_s);
    grid.removeRow(0);
    EXPECT_EQ(model.rowCount(), 6);
    grid.clear();
    EXPECT_EQ(model.rowCount(), 0);
    EXPECT_EQ(model.columnCount(), 0);
}

TEST_F(GridModelTest, ModelLetsGoOfTheGridWhenItGoes)
{
    ImportGrid grid;
    {
        ImportGridModel model(grid);
        fill(grid, 2, 2);
    }
    fill(grid, 2, 2); // no observer left behind to call
    EXPECT_EQ(grid.rowCount(), 4);
}

struct FilterCase
{
    const char *name;
    QString legacy;
    QString qt;
};

class FileFilterTest : public ::testing::TestWithParam<FilterCase>
{};

TEST_P(FileFilterTest, LegacyPatternBecomesQtFilter)
{
    EXPECT_EQ(qtFileFilter(GetParam().legacy), GetParam().qt);
}

INSTANTIATE_TEST_SUITE_P(
    Patterns, FileFilterTest,
    ::testing::Values(
        FilterCase{"text", u"Text Files (*.txt;*.csv)|*.txt;*.csv"_s, u"Text Files (*.txt *.csv)"_s},
        FilterCase{"two_entries", u"Text Files (*.txt)|*.txt|All Files (*.*)|*.*"_s,
                   u"Text Files (*.txt);;All Files (*)"_s},
        FilterCase{"caption_without_parentheses", u"Databases|*.mdb"_s, u"Databases (*.mdb)"_s},
        FilterCase{"empty", QString(), u"All Files (*)"_s},
        FilterCase{"caption_only", u"Anything"_s, u"Anything (*)"_s},
        FilterCase{"blank_pattern_dropped", u"Odd|*.a b;*.c"_s, u"Odd (*.c)"_s},
        FilterCase{"brackets_in_caption", u"Logs (old) (*.log)|*.log"_s, u"Logs [old] (*.log)"_s},
        FilterCase{"empty_parts", u"||Text|*.txt||"_s, u"Text (*.txt)"_s},
        FilterCase{"duplicate_patterns", u"T|*.txt;*.txt; ;"_s, u"T (*.txt)"_s},
        FilterCase{"entry_separator_in_caption", u"A;;B|*.a"_s, u"A,,B (*.a)"_s},
        FilterCase{"line_break_in_caption", u"Two\nlines|*.a"_s, u"Two lines (*.a)"_s},
        FilterCase{"pattern_beyond_ascii", u"Listen|*.lïst;*.lst"_s, u"Listen (*.lst)"_s}),
    [](const ::testing::TestParamInfo<FilterCase> &param) { return std::string(param.param.name); });

TEST(MethodIconsTest, EveryKeyHasAPictureOfItsOwn)
{
    QList<QImage> pictures;
    for (const QString &key : MethodIcons::keys()) {
        const QIcon icon = MethodIcons::icon(key);
        ASSERT_FALSE(icon.isNull()) << key.toStdString();
        const QImage picture = icon.pixmap(MethodIcons::Size).toImage();
        EXPECT_FALSE(pictures.contains(picture)) << key.toStdString() << " looks like another";
        pictures.append(picture);
        // Keys compare without regard to case.
        EXPECT_EQ(MethodIcons::icon(key.toLower()).pixmap(MethodIcons::Size).toImage(), picture);
    }
    const QImage unknown = MethodIcons::icon(u"NoSuchKey"_s).pixmap(MethodIcons::Size).toImage();
    EXPECT_FALSE(unknown.isNull());
    EXPECT_FALSE(pictures.contains(unknown));
}

TEST(MethodIconsTest, PicturesAreDrawnSharpAtTwiceTheScale)
{
    constexpr qreal Twice = 2.0;
    for (const QString &key : MethodIcons::keys()) {
        const QIcon icon = MethodIcons::icon(key);
        const QPixmap sharp = icon.pixmap(QSize(MethodIcons::Size, MethodIcons::Size), Twice);
        EXPECT_EQ(sharp.size(), QSize(MethodIcons::Size * 2, MethodIcons::Size * 2));
        EXPECT_EQ(sharp.devicePixelRatio(), Twice) << key.toStdString();
        const QImage stretched = icon.pixmap(QSize(MethodIcons::Size, MethodIcons::Size), 1.0)
                                     .toImage()
                                     .scaled(sharp.size())
                                     .convertToFormat(QImage::Format_ARGB32_Premultiplied);
        EXPECT_NE(sharp.toImage().convertToFormat(QImage::Format_ARGB32_Premultiplied), stretched)
            << key.toStdString() << " is the small picture stretched";
    }
}

} // namespace

} // namespace MGImport8::Test
