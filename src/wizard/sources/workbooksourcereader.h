#pragma once

#include "wizard/sources/sourcereader.h"

namespace MGImport8 {

class WizardView;

/// The title of the spreadsheet panel's message boxes: the component's own description.
extern const QString WorkbookMessageTitle;

/// The spreadsheet panel's reader: loads a sheet of the method's workbook into the grid, or shows
/// the one message that says why it could not, as the panel's rules name them.
class WorkbookSourceReader : public WorksheetReader
{
public:
    explicit WorkbookSourceReader(WizardView &view)
        : m_messages(view)
    {}

    bool loadWorksheet(const SourceChoice &source, int sheet, ImportGrid &grid) override;

private:
    WizardView &m_messages;
};

} // namespace MGImport8
