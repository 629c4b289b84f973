#pragma once

#include "wizard/sourcereader.h"

namespace MGImport8 {

/// The title of the spreadsheet panel's message boxes: the component's own description.
extern const QString WorkbookMessageTitle;

/// The spreadsheet panel's reader: loads a sheet of the method's workbook into the grid, or shows
/// the one message that says why it could not, as the panel's rules name them. Everything about
/// databases and servers is left to the stand-in reader.
class MGIMPORT8_EXPORT WorkbookSourceReader : public UnavailableSourceReader
{
public:
    explicit WorkbookSourceReader(WizardView &view)
        : UnavailableSourceReader(view)
        , m_messages(view)
    {}

    bool loadWorksheet(const ImportType &method, int sheet, ImportGrid &grid) override;

private:
    WizardView &m_messages;
};

} // namespace MGImport8
