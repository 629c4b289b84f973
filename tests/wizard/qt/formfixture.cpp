#include "formfixture.h"

#include <MGImport8/importcolumn.h>
#include <MGImport8/importoptions.h>
#include <MGImport8/importrow.h>

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QApplication>
#include <QComboBox>
#include <QFileDialog>
#include <QLabel>
#include <QListWidget>
#include <QMutex>
#include <QStackedWidget>
#include <QTest>

using namespace Qt::StringLiterals;

namespace MGImport8::Test {

namespace {

/// How often the user looks at the screen.
constexpr int LookIntervalMs = 5;
/// Looks at an idle wizard with no step left before the user gives up and cancels it.
constexpr int PatienceLooks = 400;

// A box keeps its lines whole when its label is as wide as the longest line: it may wrap, but
// never splits one of them.
bool linesWhole(const QMessageBox &box)
{
    const auto *label = box.findChild<QLabel *>(u"qt_msgbox_label"_s);
    if (!label)
        return false;
    int longest = 0;
    const QStringList lines = box.text().split(u'\n');
    for (const QString &line : lines)
        longest = std::max(longest, label->fontMetrics().horizontalAdvance(line.trimmed()));
    return label->contentsRect().width() >= longest;
}

QMutex warningsLock;
QStringList warnings;
QtMessageHandler previousHandler = nullptr;

void trapWarnings(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (type != QtDebugMsg && type != QtInfoMsg
        && !message.startsWith(u"This plugin does not support"_s)) {
        const QMutexLocker locked(&warningsLock);
        warnings.append(message);
    }
    if (previousHandler)
        previousHandler(type, context, message);
}

} // namespace

UserDriver::UserDriver()
{
    m_dialogTimer.setInterval(LookIntervalMs);
    connect(&m_dialogTimer, &QTimer::timeout, this, &UserDriver::answerDialogs);
    m_dialogTimer.start();
    m_stepTimer.setInterval(LookIntervalMs);
    connect(&m_stepTimer, &QTimer::timeout, this, &UserDriver::takeStep);
    m_stepTimer.start();
}

QStringList UserDriver::takeMessages()
{
    QStringList texts;
    for (; m_taken < m_messages.size(); ++m_taken)
        texts.append(m_messages.at(m_taken).text);
    return texts;
}

QWidget *UserDriver::wizardWindow() const
{
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget *window : windows) {
        if (window->objectName() == u"WizardForm"_s && window->isVisible())
            return window;
    }
    return nullptr;
}

bool UserDriver::answerDialogs()
{
    QWidget *modal = QApplication::activeModalWidget();
    if (auto *box = qobject_cast<QMessageBox *>(modal)) {
        m_messages.append({box->text(), box->icon(), box->windowTitle(), linesWhole(*box)});
        if (QAbstractButton *ok = box->button(QMessageBox::Ok))
            QTest::mouseClick(ok, Qt::LeftButton);
        else
            box->reject();
        return true;
    }
    if (auto *dialog = qobject_cast<QFileDialog *>(modal)) {
        ++m_fileDialogs;
        m_fileDialogFilters = dialog->nameFilters();
        const std::optional<QString> answer = m_fileAnswers.empty() ? std::nullopt
                                                                    : m_fileAnswers.front();
        if (!m_fileAnswers.empty())
            m_fileAnswers.pop_front();
        if (answer)
            dialog->selectFile(*answer);
        answer ? static_cast<QDialog *>(dialog)->accept() : dialog->reject();
        return true;
    }
    return false;
}

void UserDriver::takeStep()
{
    if (m_inStep || answerDialogs())
        return;
    QWidget *modal = QApplication::activeModalWidget();
    QWidget *form = wizardWindow();
    if (!form || (modal && modal != form))
        return;
    if (m_steps.empty()) {
        if (++m_idleLooks > PatienceLooks) {
            m_stalled = true;
            click(*form, u"cmdCancel"_s);
        }
        return;
    }
    m_idleLooks = 0;
    Step step = std::move(m_steps.front());
    m_steps.pop_front();
    m_inStep = true;
    step(*form);
    m_inStep = false;
}

QString currentPanel(QWidget &form)
{
    auto *pages = form.findChild<QStackedWidget *>(u"Wizard"_s);
    if (!pages || !pages->currentWidget())
        return {};
    return pages->currentWidget()->objectName();
}

void click(QWidget &form, const QString &name)
{
    auto *button = form.findChild<QAbstractButton *>(name);
    ASSERT_NE(button, nullptr) << "no button " << name.toStdString();
    ASSERT_TRUE(button->isVisible() && button->isEnabled()) << name.toStdString();
    QTest::mouseClick(button, Qt::LeftButton);
}

FormFixture::FormFixture()
{
    engine.setColumns(u"Name,IP,Description,Location,Contact"_s);
    engine.setRequiredColumns(u"IP"_s);
    engine.setIPColumn(u"IP"_s);
    engine.ImportOptions()->Add(u"Overwrite"_s, u"Overwrite existing nodes"_s, false);
}

void FormFixture::SetUp()
{
    previousHandler = qInstallMessageHandler(trapWarnings);
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
    qInstallMessageHandler(previousHandler);
    const QMutexLocker locked(&warningsLock);
    EXPECT_TRUE(warnings.isEmpty()) << std::exchange(warnings, {}).join(u'\n').toStdString();
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
