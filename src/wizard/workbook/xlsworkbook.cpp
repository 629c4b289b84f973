#include "wizard/workbook/xlsworkbook.h"

#include "wizard/workbook/cellvalues.h"
#include "wizard/workbook/sheetcells.h"
#include "wizard/workbook/workbookerror.h"

#include <QFile>

#include <freexl.h>

#include <fstream>
#include <string>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

/// How much of a file is searched for the stream name an encrypted package carries.
constexpr std::size_t EncryptionScanBytes = 16 * 1024 * 1024;

QString freexlText(int code)
{
    switch (code) {
    case FREEXL_FILE_NOT_FOUND:
        return u"The file cannot be opened"_s;
    case FREEXL_INSUFFICIENT_MEMORY:
        return u"Not enough memory to read the workbook"_s;
    case FREEXL_INVALID_CFBF_HEADER:
    case FREEXL_CFBF_INVALID_SIGNATURE:
    case FREEXL_CFBF_INVALID_SECTOR_SIZE:
    case FREEXL_CFBF_EMPTY_FAT_CHAIN:
    case FREEXL_CFBF_ILLEGAL_FAT_ENTRY:
    case FREEXL_CFBF_READ_ERROR:
    case FREEXL_CFBF_SEEK_ERROR:
    case FREEXL_INVALID_MINI_STREAM:
    case FREEXL_CFBF_ILLEGAL_MINI_FAT_ENTRY:
        return u"The workbook's container is damaged (code %1)"_s.arg(code);
    case FREEXL_BIFF_WORKBOOK_NOT_FOUND:
        return u"The container holds no workbook"_s;
    case FREEXL_BIFF_INVALID_BOF:
    case FREEXL_BIFF_INVALID_SST:
    case FREEXL_BIFF_ILLEGAL_SST_INDEX:
    case FREEXL_ILLEGAL_CELL_ROW_COL:
    case FREEXL_ILLEGAL_RK_VALUE:
    case FREEXL_CRAFTED_FILE:
        return u"The workbook's records are damaged (code %1)"_s.arg(code);
    case FREEXL_INVALID_CHARACTER:
    case FREEXL_UNSUPPORTED_CHARSET:
        return u"The workbook's text is in a character set that cannot be read (code %1)"_s.arg(
            code);
    default:
        return u"The workbook cannot be read (code %1)"_s.arg(code);
    }
}

// An Office file encrypted with a password is an OLE2 container with an "EncryptedPackage"
// stream instead of a workbook.
bool looksEncrypted(const QString &path)
{
    std::ifstream file(QFile::encodeName(path).constData(), std::ios::binary);
    std::string bytes(EncryptionScanBytes, '\0');
    file.read(bytes.data(), std::streamsize(bytes.size()));
    bytes.resize(size_t(file.gcount()));
    const char16_t name[] = u"EncryptedPackage";
    const std::string wanted(reinterpret_cast<const char *>(name), sizeof(name) - sizeof(char16_t));
    return bytes.find(wanted) != std::string::npos;
}

} // namespace

XlsWorkbook::XlsWorkbook(const QString &path)
    : m_path(path)
{
    const int opened = freexl_open(QFile::encodeName(path).constData(), &m_handle);
    if (opened != FREEXL_OK) {
        if (m_handle)
            freexl_close(m_handle);
        m_handle = nullptr;
        if (opened == FREEXL_INSUFFICIENT_MEMORY)
            failWorkbook(WorkbookErrorNumber::OutOfMemory, freexlText(opened));
        if (looksEncrypted(path))
            failWorkbook(WorkbookErrorNumber::ReaderMissing,
                         u"The workbook is encrypted; it cannot be read without its password"_s);
        failWorkbook(WorkbookErrorNumber::InvalidFileFormat, freexlText(opened));
    }
    unsigned info = 0;
    if (freexl_get_info(m_handle, FREEXL_BIFF_PASSWORD, &info) == FREEXL_OK
        && info == FREEXL_BIFF_OBFUSCATED)
        failWorkbook(WorkbookErrorNumber::ReaderMissing,
                     u"The workbook is protected with a password; it cannot be read without it"_s);
    if (freexl_get_info(m_handle, FREEXL_BIFF_SHEET_COUNT, &info) != FREEXL_OK)
        failWorkbook(WorkbookErrorNumber::InvalidFileFormat, freexlText(FREEXL_BIFF_INVALID_BOF));
    m_sheetCount = int(info);
}

XlsWorkbook::~XlsWorkbook()
{
    if (m_handle)
        freexl_close(m_handle);
}

std::shared_ptr<const TextTable> XlsWorkbook::readSheet(int position)
{
    int status = freexl_select_active_worksheet(m_handle, unsigned(position));
    unsigned rows = 0;
    unsigned short columns = 0;
    if (status == FREEXL_OK)
        status = freexl_worksheet_dimensions(m_handle, &rows, &columns);
    if (status != FREEXL_OK)
        failWorkbook(WorkbookErrorNumber::InvalidFileFormat, freexlText(status));

    SheetCells cells;
    for (unsigned row = 0; row < rows && row <= SheetLimits::MaxRow; ++row) {
        for (unsigned short column = 0; column < columns; ++column) {
            FreeXL_CellValue value;
            status = freexl_get_cell_value(m_handle, row, column, &value);
            if (status != FREEXL_OK)
                failWorkbook(WorkbookErrorNumber::InvalidFileFormat, freexlText(status));
            switch (value.type) {
            case FREEXL_CELL_INT:
                cells.add(row, column, std::to_string(value.value.int_value));
                break;
            case FREEXL_CELL_DOUBLE:
                cells.add(row, column, CellValues::generalNumber(value.value.double_value));
                break;
            case FREEXL_CELL_TEXT:
            case FREEXL_CELL_SST_TEXT:
            case FREEXL_CELL_DATE:
            case FREEXL_CELL_DATETIME:
            case FREEXL_CELL_TIME:
                if (value.value.text_value)
                    cells.add(row, column, value.value.text_value);
                break;
            default:
                break;
            }
        }
    }
    return cells.finish();
}

} // namespace MGImport8
