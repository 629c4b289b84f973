#include "wizard/wizardcontroller.h"

#include "common/connectionstring.h"
#include "methods/sourcekind.h"
#include "wizard/delimiterchoice.h"
#include "wizard/wizardview.h"

#include <MGImport8/importtype.h>

using namespace Qt::StringLiterals;

// The file panel: the file dialog, the Filename box, and the exit check that reads a text file or
// opens an Access database.

namespace MGImport8 {
namespace {

// The text box is trimmed of blanks only; other white space belongs to the name.
QString trimBlanks(const QString &text)
{
    qsizetype first = 0;
    qsizetype last = text.size();
    while (first < last && text.at(first) == u' ')
        ++first;
    while (last > first && text.at(last - 1) == u' ')
        --last;
    return text.sliced(first, last - first);
}

} // namespace

bool WizardController::exitFilePanel()
{
    m_state.filename = trimBlanks(m_state.filename);
    if (m_state.filename.isEmpty()) {
        showExclamation(u"Please select a file first."_s);
        return false;
    }
    if (!m_method)
        return false;
    m_method->setFilename(m_state.filename);
    const SourceKind kind = sourceKind(*m_method);
    if (kind == SourceKind::TextFile) {
        DelimiterChoice::preset(*m_method, m_state);
        if (!readTextFile())
            return false;
        m_freshTextRead = textReadKey();
        return true;
    }
    if (kind == SourceKind::AccessDatabase) {
        m_method->setConnectionString(jetConnectionString(m_method->Filename()));
        return readDatabaseSource();
    }
    return true;
}

void WizardController::selectFile()
{
    if (!m_method)
        return;
    const std::optional<QString> path = m_view.chooseFile(m_method->SelectFileTitle(),
                                                          m_method->Pattern());
    if (path)
        setFilename(*path);
}

void WizardController::setFilename(const QString &filename)
{
    m_state.filename = filename;
    notify();
}

} // namespace MGImport8
