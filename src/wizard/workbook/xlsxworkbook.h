#pragma once

#include "wizard/table/texttable.h"
#include "wizard/workbook/cellvalues.h"
#include "wizard/workbook/workbookerror.h"
#include "wizard/workbook/zipcontainer.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace pugi {
class xml_node;
}

namespace MGImport8 {

class SheetCells;

/// An Office Open XML workbook (.xlsx, .xlsm, transitional or strict) in its zip container.
/// Sheets count in the workbook's own order, hidden ones included; a chart or dialog sheet has
/// no cells.
class XlsxWorkbook
{
public:
    explicit XlsxWorkbook(ZipContainer zip);
    /// True when the container holds a workbook part this reader knows the form of; a binary
    /// workbook (.xlsb) is refused as a format without a reader.
    static bool recognise(const ZipContainer &zip);

    /// Reads the workbook part: the sheets, the styles and where the shared strings are; the
    /// first step after construction.
    WorkbookStatus load();
    int sheetCount() const { return int(m_sheets.size()); }
    /// The used area of the sheet at `position` (from 0).
    WorkbookResult<std::shared_ptr<const TextTable>> readSheet(int position);

private:
    struct Sheet
    {
        std::string path; // empty: a sheet without cells
    };
    WorkbookStatus readStyles(const std::string &path);
    WorkbookStatus readSharedStrings(const std::string &path);
    /// The shared string a cell of the sheet part `path` refers to by `index`.
    WorkbookResult<std::string_view> sharedString(const std::string &path,
                                                  std::string_view index) const;
    /// A cell's text by its type; `scratch` holds the text when it is not in the part already.
    WorkbookResult<std::string_view> cellText(const std::string &path, const pugi::xml_node &cell,
                                              std::string &scratch) const;
    /// Adds the cells of a `row` element of the sheet part `path`, the sheet's row `rowIndex`.
    WorkbookStatus addRowCells(const std::string &path, const pugi::xml_node &row, std::uint32_t rowIndex,
                     SheetCells &cells, std::string &scratch) const;

    ZipContainer m_zip;
    std::string m_workbookPath;
    std::vector<Sheet> m_sheets;
    std::string m_sharedStringsPath;
    bool m_sharedStringsRead = false;
    std::string m_strings;                            // shared strings, one after another
    std::vector<std::uint64_t> m_stringEnds;          // where each ends in m_strings
    std::vector<CellValues::NumberKind> m_styleKinds; // by cell style index
    CellValues::DateSystem m_dateSystem = CellValues::DateSystem::From1900;
};

} // namespace MGImport8
