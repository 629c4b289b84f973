#pragma once

#include "wizard/texttable.h"

#include <QString>

#include <memory>

namespace MGImport8 {

/// A binary Excel workbook (.xls, BIFF5 and BIFF8 in an OLE2 container) read through libfreexl.
/// Sheets are the workbook's worksheets in its own order, hidden ones included. Dates and times
/// come as libfreexl gives them ("2024-03-01", "2024-03-01 13:45:00", "13:45:00"). Failures
/// throw WorkbookFailure.
class XlsWorkbook
{
public:
    explicit XlsWorkbook(const QString &path);
    ~XlsWorkbook();
    XlsWorkbook(const XlsWorkbook &) = delete;
    XlsWorkbook &operator=(const XlsWorkbook &) = delete;

    int sheetCount() const { return m_sheetCount; }
    std::shared_ptr<const TextTable> readSheet(int position);

private:
    QString m_path;
    const void *m_handle = nullptr;
    int m_sheetCount = 0;
};

} // namespace MGImport8
