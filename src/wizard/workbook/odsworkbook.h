#pragma once

#include "wizard/table/texttable.h"
#include "wizard/workbook/zipcontainer.h"

#include <pugixml.hpp>

#include <memory>
#include <string>
#include <vector>

namespace MGImport8 {

/// An OpenDocument spreadsheet (.ods) in its zip container. Its content part is read whole
/// (within the zip limits); sheets are its tables in document order, hidden ones included.
/// Covered cells (the hidden part of a merged area) are empty.
class OdsWorkbook
{
public:
    explicit OdsWorkbook(ZipContainer zip);
    /// True when the container says it is an OpenDocument spreadsheet.
    static WorkbookResult<bool> recognise(ZipContainer &zip);

    /// Reads the content part and finds the sheets; the first step after construction.
    WorkbookStatus load();
    int sheetCount() const { return int(m_tables.size()); }
    WorkbookResult<std::shared_ptr<const TextTable>> readSheet(int position);

private:
    ZipContainer m_zip;
    std::string m_content;
    pugi::xml_document m_document;
    std::vector<pugi::xml_node> m_tables;
};

} // namespace MGImport8
