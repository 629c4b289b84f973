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
/// Covered cells (the hidden part of a merged area) are empty. Failures throw WorkbookFailure.
class OdsWorkbook
{
public:
    explicit OdsWorkbook(ZipContainer zip);
    /// True when the container says it is an OpenDocument spreadsheet.
    static bool recognise(ZipContainer &zip);

    int sheetCount() const { return int(m_tables.size()); }
    std::shared_ptr<const TextTable> readSheet(int position);

private:
    ZipContainer m_zip;
    std::string m_content;
    pugi::xml_document m_document;
    std::vector<pugi::xml_node> m_tables;
};

} // namespace MGImport8
