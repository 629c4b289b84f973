#include "userdriver.h"

#include <QAbstractButton>
#include <QApplication>
#include <QFileDialog>
#include <QLabel>
#include <QStackedWidget>
#include <QTest>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace MGImport8::Test {

namespace {

/// How often the user looks at the screen.
constexpr int LookIntervalMs = 5;
/// Looks at an idle wizard with no step left before the user gives up and cancels it.
constexpr int PatienceLooks = 400;

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

UserDriver::~UserDriver() = default;

void UserDriver::then(Step step)
{
    m_steps.push_back(std::move(step));
}

void UserDriver::answerFileDialog(std::optional<QString> path)
{
    m_fileAnswers.push_back(std::move(path));
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

namespace {

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

} // namespace

bool UserDriver::answerDialogs()
{
    QWidget *modal = QApplication::activeModalWidget();
    if (auto *box = qobject_cast<QMessageBox *>(modal)) {
        m_messages.append({box->text(), box->icon(), box->windowTitle(), linesWhole(*box)});
        QAbstractButton *ok = box->button(QMessageBox::Ok);
        if (ok)
            QTest::mouseClick(ok, Qt::LeftButton);
        else
            box->reject();
        return true;
    }
    if (auto *dialog = qobject_cast<QFileDialog *>(modal)) {
        ++m_fileDialogs;
        m_fileDialogTitle = dialog->windowTitle();
        m_fileDialogFilters = dialog->nameFilters();
        std::optional<QString> answer;
        if (!m_fileAnswers.empty()) {
            answer = m_fileAnswers.front();
            m_fileAnswers.pop_front();
        }
        if (answer) {
            dialog->selectFile(*answer);
            static_cast<QDialog *>(dialog)->accept();
        } else {
            dialog->reject();
        }
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

} // namespace MGImport8::Test
