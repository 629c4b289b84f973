#include "formfixture.h"

#include <MGImport8/importcolumn.h>
#include <MGImport8/importoptions.h>
#include <MGImport8/importrow.h>

#include <QAbstractItemView>
#include <QComboBox>
#include <QListWidget>
#include <QTest>

using namespace Qt::StringLiterals;

namespace MGImport8::Test {

FormFixture::FormFixture()
{
    engine.setColumns(u"Name,IP,Description,Location,Contact"_s);
    engine.setRequiredColumns(u"IP"_s);
    engine.setIPColumn(u"IP"_s);
    engine.ImportOptions()->Add(u"Overwrite"_s, u"Overwrite existing nodes"_s, false);
}

void FormFixture::SetUp()
{
    takeQtWarnings();
    host.setObjectName(u"HostWindow"_s);
    host.resize(400, 300);
    host.show();
    QObject::connect(&engine, &Engine::NewRow, &host,
                     [this](ImportRow *row, QString &status, bool &skip) {
                         QMap<QString, QString> values;
                         for (int at = 1; at <= row->Count(); ++at) {
                             const ImportColumn *column = row->Item(at);
                             values.insert(column->Column(), column->Data().toString());
                         }
                         rows.append(values);
                         if (onNewRow)
                             onNewRow(status, skip);
                     });
    QObject::connect(&engine, &Engine::ImportComplete, &host, [this] { ++completions; });
}

void FormFixture::TearDown()
{
    const QStringList warnings = takeQtWarnings();
    EXPECT_TRUE(warnings.isEmpty()) << warnings.join(u'\n').toStdString();
}

bool FormFixture::startWizard()
{
    const bool result = engine.StartWizard(&host);
    EXPECT_FALSE(user.stalled()) << "the script ended with the wizard still open";
    EXPECT_EQ(user.stepsLeft(), 0) << "the wizard closed before the script ended";
    return result;
}

QString FormFixture::nodesFile()
{
    return QStringLiteral(MGIMPORT8_EXAMPLES_DIR "/nodes.csv");
}

void FormFixture::walkToDelimiters(const QString &path)
{
    user.answerFileDialog(path);
    user.then([](QWidget &form) {
        chooseMethod(form, u"Text File"_s);
        click(form, u"cmdNext"_s); // the file panel opens the dialog at once
    });
    user.then([](QWidget &form) {
        ASSERT_EQ(currentPanel(form), u"FilePanel"_s);
        click(form, u"cmdNext"_s);
    });
    user.then([](QWidget &form) { ASSERT_EQ(currentPanel(form), u"DelimiterPanel"_s); });
}

void FormFixture::walkToMapping(const QString &path)
{
    walkToDelimiters(path);
    user.then([](QWidget &form) { click(form, u"cmdNext"_s); });
    user.then([](QWidget &form) { ASSERT_EQ(currentPanel(form), u"MapPanel"_s); });
}

void FormFixture::walkToSelection(const QString &path)
{
    walkToMapping(path);
    user.then([](QWidget &form) { click(form, u"cmdNext"_s); });
    user.then([](QWidget &form) { ASSERT_EQ(currentPanel(form), u"PreviewPanel"_s); });
}

void chooseMethod(QWidget &form, const QString &name)
{
    auto *list = control<QListWidget>(form, u"ImportTypeList"_s);
    ASSERT_NE(list, nullptr);
    const QList<QListWidgetItem *> found = list->findItems(name, Qt::MatchExactly);
    ASSERT_EQ(found.size(), 1) << name.toStdString();
    list->scrollToItem(found.constFirst());
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                      list->visualItemRect(found.constFirst()).center());
}

QTableView *importTable(QWidget &form)
{
    return control<QTableView>(form, u"ImportTable"_s);
}

QAbstractItemModel *gridModel(QWidget &form)
{
    QTableView *table = importTable(form);
    return table ? table->model() : nullptr;
}

QString cell(QWidget &form, int row, int column)
{
    QAbstractItemModel *model = gridModel(form);
    return model ? model->index(row, column).data().toString() : QString();
}

void clickCell(QWidget &form, int row, int column, Qt::KeyboardModifiers modifiers)
{
    QTableView *table = importTable(form);
    ASSERT_NE(table, nullptr);
    const QModelIndex index = table->model()->index(row, column);
    table->scrollTo(index);
    QTest::mouseClick(table->viewport(), Qt::LeftButton, modifiers,
                      table->visualRect(index).center());
}

QList<int> checkedRows(QWidget &form)
{
    QList<int> checked;
    QAbstractItemModel *model = gridModel(form);
    for (int row = 0; model && row < model->rowCount(); ++row) {
        if (model->index(row, 0).data(Qt::CheckStateRole) == QVariant(Qt::Checked))
            checked.append(row);
    }
    return checked;
}

void pickMapping(QWidget &form, int column, const QString &choice)
{
    QTableView *table = importTable(form);
    ASSERT_NE(table, nullptr);
    const QModelIndex index = table->model()->index(0, column);
    table->scrollTo(index);
    const QPoint at = table->visualRect(index).center();
    QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, at);
    QTest::mouseDClick(table->viewport(), Qt::LeftButton, {}, at);
    auto *choices = table->findChild<QComboBox *>(u"MappingChoice"_s);
    ASSERT_NE(choices, nullptr) << "no drop-down on the mapping cell";
    const int wanted = choices->findText(choice);
    ASSERT_GE(wanted, 0) << choice.toStdString();
    // Walks the drop-down with the arrow keys; every move is a pick, as in the grid's own list.
    const int steps = wanted - choices->currentIndex();
    ASSERT_NE(steps, 0) << "the cell already holds " << choice.toStdString();
    QTest::keyClick(choices, steps > 0 ? Qt::Key_Down : Qt::Key_Up);
    if (std::abs(steps) > 1) {
        // The first move closed the editor; open it again for each further move.
        for (int step = 1; step < std::abs(steps); ++step) {
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            QTest::mouseDClick(table->viewport(), Qt::LeftButton, {}, at);
            auto *again = table->findChild<QComboBox *>(u"MappingChoice"_s);
            ASSERT_NE(again, nullptr);
            QTest::keyClick(again, steps > 0 ? Qt::Key_Down : Qt::Key_Up);
        }
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

} // namespace MGImport8::Test
