#include "wizard/wizardcontroller.h"

#include "wizard/delimiterchoice.h"
#include "wizard/sources/textfilereader.h"
#include "wizard/wizardview.h"

#include <MGImport8/importtype.h>

using namespace Qt::StringLiterals;

// The delimiter panel: the boxes, and the text file read again whenever they change.

namespace MGImport8 {
QString WizardController::textReadKey() const
{
    return m_method->Filename() % QChar(0) % DelimiterChoice::delimiterSet(m_state);
}

bool WizardController::readTextFile()
{
    if (!m_method)
        return false;
    return TextFileReader::readFile(m_method->Filename(), DelimiterChoice::delimiterSet(m_state),
                                    m_state.currentPanel == Panel::DelimiterPanel, m_grid, m_view);
}

void WizardController::enterDelimiterPanel(const QString &freshRead)
{
    m_state.importTableVisible = true;
    if (!m_method)
        return;
    DelimiterChoice::preset(*m_method, m_state);
    notify();
    // Straight from the file panel, which has just read the file with these very delimiters, a
    // second reading of a large file would only show the same grid again. Not so without any
    // delimiter: here that is a mistake the user must see ("Please select at least one
    // delimiter", an empty grid), where the file panel read one field a line.
    const bool sameGrid = !freshRead.isEmpty() && freshRead == textReadKey()
                          && !DelimiterChoice::delimiterSet(m_state).isEmpty();
    if (!sameGrid)
        readTextFile();
}

void WizardController::rereadTextFile()
{
    // The boxes stand for a file only once one has been chosen.
    if (m_method && !m_method->Filename().isEmpty())
        readTextFile();
    notify();
}

void WizardController::setDelimiterChecked(int index, bool checked)
{
    if (index < 0 || index >= DelimiterBoxCount || m_state.delimiterChecked[index] == checked)
        return;
    m_state.delimiterChecked[index] = checked;
    rereadTextFile();
}

void WizardController::setOtherDelimiter(const QString &text)
{
    if (m_state.otherDelimiter == text)
        return;
    m_state.otherDelimiter = text;
    rereadTextFile();
}

void WizardController::setDelimiters(const std::array<bool, DelimiterBoxCount> &checked,
                                     const QString &other)
{
    if (m_state.delimiterChecked == checked && m_state.otherDelimiter == other)
        return;
    m_state.delimiterChecked = checked;
    m_state.otherDelimiter = other;
    rereadTextFile();
}

} // namespace MGImport8
