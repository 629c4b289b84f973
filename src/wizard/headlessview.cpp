#include "wizard/headlessview.h"

#include <QCoreApplication>
#include <QTextStream>

using namespace Qt::StringLiterals;

namespace MGImport8 {

HeadlessView::HeadlessView(QTextStream *output)
    : m_output(output)
{}

HeadlessView::~HeadlessView() = default;

void HeadlessView::showMessage(const QString &text, MessageIcon icon, const QString &title)
{
    m_messages.append({text, icon, title});
    if (m_output) {
        QString printed = text;
        printed.replace(u"\r\n"_s, u"\n"_s);
        *m_output << printed << '\n';
        m_output->flush();
    }
    if (m_messageObserver)
        m_messageObserver(m_messages.constLast());
}

std::optional<QString> HeadlessView::chooseFile(const QString &title, const QString &pattern)
{
    ++m_fileDialogs;
    m_fileDialogTitle = title;
    m_fileDialogPattern = pattern;
    return m_fileAnswer;
}

void HeadlessView::setBusy(bool busy)
{
    m_busy = busy;
}

void HeadlessView::yield()
{
    if (!QCoreApplication::instance())
        return;
    if (m_yieldInterval > 0 && m_sinceYield.isValid() && m_sinceYield.elapsed() < m_yieldInterval)
        return;
    QCoreApplication::processEvents();
    m_sinceYield.start();
}

void HeadlessView::stateChanged(const WizardState &state)
{
    ++m_stateChanges;
    if (m_stateObserver)
        m_stateObserver(state);
}

void HeadlessView::close()
{
    m_closed = true;
}

} // namespace MGImport8
