#include "wizard/sources/workbooksourcereader.h"

#include "common/texthelpers.h"
#include "wizard/importgrid.h"
#include "wizard/wizardview.h"
#include "wizard/workbook/sheetcells.h"
#include "wizard/workbook/workbookreader.h"

#include <MGImport8/importtype.h>

using namespace Qt::StringLiterals;

namespace MGImport8 {

const QString WorkbookMessageTitle = u"MGImport8"_s;

// A worksheet is never wider than the grid: a cell past the sheet's last column is a damaged file.
static_assert(SheetLimits::MaxColumn + 1 == ImportGrid::MaxColumns);

bool WorkbookSourceReader::loadWorksheet(const SourceChoice &source, int sheet, ImportGrid &grid)
{
    grid.clear();
    const QString name = FileNameFromPath(source.filename, false);
    const SheetLoad load = loadWorkbookSheet(source.filename, sheet);
    if (!load.error) {
        grid.setTable(load.table);
        return true;
    }
    const WorkbookError &error = *load.error;
    switch (error.number) {
    case WorkbookErrorNumber::FileInUse:
        m_messages.showMessage(u"The file ["_s % name
                                   % u"] is currently open by another application. Please close "
                                     "the other application and try again."_s,
                               MessageIcon::Critical, WorkbookMessageTitle);
        break;
    case WorkbookErrorNumber::ReaderMissing:
        m_messages.showMessage(u"The file ["_s % name
                                   % u"] cannot be found, or Excel is not currently installed. "
                                     "Please correct the filename and try again, or install Excel "
                                     "if needed."_s,
                               MessageIcon::Critical, WorkbookMessageTitle);
        break;
    case WorkbookErrorNumber::GridTooLarge:
        // The workbook was read, but its sheet does not fit the grid.
        m_messages.showMessage(u"There was an error trying to load that worksheet, please select "
                               "a different worksheet.\r\n\r\nError Information: "_s
                                   % error.description,
                               MessageIcon::Exclamation, WorkbookMessageTitle);
        break;
    default:
        m_messages.showMessage(u"There was en error trying to import ["_s % name
                                   % u"] in Excel\r\n\r\nAdditional information: "_s
                                   % QString::number(error.number) % u" - "_s % error.description,
                               MessageIcon::Critical, WorkbookMessageTitle);
        break;
    }
    return false;
}

} // namespace MGImport8
