#include "wizard/workbook/xlsworkbook.h"

#include "wizard/workbook/cellvalues.h"
#include "wizard/workbook/sheetcells.h"
#include "wizard/workbook/workbookerror.h"

#include <QFile>

#include <freexl.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

// Sanitizer builds (tests, fuzzing): a fault libfreexl makes in the child ends the child only.
#if defined(__SANITIZE_ADDRESS__)
#define MGIMPORT8_SANITIZED_CHILD 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define MGIMPORT8_SANITIZED_CHILD 1
#endif
#endif
#ifdef MGIMPORT8_SANITIZED_CHILD
#include <sanitizer/common_interface_defs.h>
#endif

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

/// How much of a file is searched for the stream name an encrypted package carries.
constexpr std::size_t EncryptionScanBytes = 16 * 1024 * 1024;
/// Bytes the child gathers before writing them to the pipe.
constexpr std::size_t PipeBatchBytes = 256 * 1024;

// What the child sends: records of a kind byte and a payload.
enum Record : char {
    CellRecord = 'c',   // u32 row, u32 column, u32 length, text
    ResultRecord = 'r', // i32 freexl status (or one of the codes below), i32 sheet count
};
constexpr std::int32_t Encrypted = 1;
constexpr std::int32_t NoSuchSheet = 2;

QString freexlText(int code)
{
    switch (code) {
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
    case FREEXL_INVALID_CHARACTER:
    case FREEXL_UNSUPPORTED_CHARSET:
        return u"The workbook's text is in a character set that cannot be read (code %1)"_s.arg(
            code);
    default:
        return u"The workbook's records are damaged (code %1)"_s.arg(code);
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

void append32(std::string &out, std::uint32_t value)
{
    out.append(reinterpret_cast<const char *>(&value), sizeof value);
}

bool writeAll(int fd, const std::string &bytes)
{
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += size_t(n);
    }
    return true;
}

// The child's work: open, check, and send every non-empty cell, then the result. Runs only
// libfreexl and plain C++; ends with _exit.
[[noreturn]] void childReads(const char *path, int position, int fd)
{
    std::string out;
    auto finish = [&](std::int32_t status, std::int32_t sheets) {
        out += ResultRecord;
        append32(out, std::uint32_t(status));
        append32(out, std::uint32_t(sheets));
        _exit(writeAll(fd, out) ? 0 : 1);
    };
    const void *handle = nullptr;
    int status = freexl_open(path, &handle);
    if (status != FREEXL_OK)
        finish(status, 0);
    unsigned info = 0;
    if (freexl_get_info(handle, FREEXL_BIFF_PASSWORD, &info) == FREEXL_OK
        && info == FREEXL_BIFF_OBFUSCATED)
        finish(Encrypted, 0);
    status = freexl_get_info(handle, FREEXL_BIFF_SHEET_COUNT, &info);
    if (status != FREEXL_OK)
        finish(status, 0);
    const std::int32_t sheets = std::int32_t(info);
    if (position >= sheets)
        finish(NoSuchSheet, sheets);
    status = freexl_select_active_worksheet(handle, unsigned(position));
    unsigned rows = 0;
    unsigned short columns = 0;
    if (status == FREEXL_OK)
        status = freexl_worksheet_dimensions(handle, &rows, &columns);
    if (status != FREEXL_OK)
        finish(status, sheets);
    for (unsigned row = 0; row < rows && row <= SheetLimits::MaxRow; ++row) {
        for (unsigned short column = 0; column < columns; ++column) {
            FreeXL_CellValue value;
            status = freexl_get_cell_value(handle, row, column, &value);
            if (status != FREEXL_OK)
                finish(status, sheets);
            std::string text;
            switch (value.type) {
            case FREEXL_CELL_INT:
                text = std::to_string(value.value.int_value);
                break;
            case FREEXL_CELL_DOUBLE:
                text = CellValues::generalNumber(value.value.double_value);
                break;
            case FREEXL_CELL_TEXT:
            case FREEXL_CELL_SST_TEXT:
            case FREEXL_CELL_DATE:
            case FREEXL_CELL_DATETIME:
            case FREEXL_CELL_TIME:
                if (value.value.text_value)
                    text = value.value.text_value;
                break;
            default:
                break;
            }
            if (text.empty())
                continue;
            out += CellRecord;
            append32(out, row);
            append32(out, column);
            append32(out, std::uint32_t(text.size()));
            out += text;
            if (out.size() >= PipeBatchBytes) {
                if (!writeAll(fd, out))
                    _exit(1);
                out.clear();
            }
        }
    }
    finish(FREEXL_OK, sheets);
    _exit(1); // not reached: finish ends the child
}

// Reads the child's records into the cells as they arrive; true once the result came.
class RecordReader
{
public:
    explicit RecordReader(SheetCells &cells)
        : m_cells(cells)
    {}

    void feed(const char *data, size_t size)
    {
        m_buffer.append(data, size);
        size_t at = 0;
        while (at < m_buffer.size() && !m_done) {
            const char kind = m_buffer[at];
            if (kind == ResultRecord) {
                if (m_buffer.size() - at < 9)
                    break;
                m_status = read32(at + 1);
                m_sheets = read32(at + 5);
                m_done = true;
                at += 9;
            } else {
                if (m_buffer.size() - at < 13)
                    break;
                const std::uint32_t length = std::uint32_t(read32(at + 9));
                if (m_buffer.size() - at - 13 < length)
                    break;
                m_cells.add(std::uint32_t(read32(at + 1)), std::uint32_t(read32(at + 5)),
                            std::string_view(m_buffer).substr(at + 13, length));
                at += 13 + length;
            }
        }
        m_buffer.erase(0, at);
    }
    bool done() const { return m_done; }
    std::int32_t status() const { return m_status; }
    std::int32_t sheets() const { return m_sheets; }

private:
    std::int32_t read32(size_t at) const
    {
        std::int32_t value = 0;
        std::memcpy(&value, m_buffer.data() + at, sizeof value);
        return value;
    }
    SheetCells &m_cells;
    std::string m_buffer;
    bool m_done = false;
    std::int32_t m_status = 0;
    std::int32_t m_sheets = 0;
};

} // namespace

std::shared_ptr<const TextTable> XlsWorkbook::readSheet(const QString &path, int position)
{
    const QByteArray name = QFile::encodeName(path);
    int pipeEnds[2];
    if (::pipe2(pipeEnds, O_CLOEXEC) != 0)
        failWorkbook(WorkbookErrorNumber::OutOfMemory, QString::fromLocal8Bit(std::strerror(errno)));
    const pid_t child = ::fork();
    if (child < 0) {
        const int error = errno;
        ::close(pipeEnds[0]);
        ::close(pipeEnds[1]);
        failWorkbook(WorkbookErrorNumber::OutOfMemory, QString::fromLocal8Bit(std::strerror(error)));
    }
    if (child == 0) {
        ::close(pipeEnds[0]);
#ifdef MGIMPORT8_SANITIZED_CHILD
        // Not the parent's report handlers (a fuzzer's would record the input as its own crash).
        __sanitizer_set_death_callback([] { _exit(1); });
#endif
        ::alarm(XlsLimits::MaxSeconds);
        childReads(name.constData(), position, pipeEnds[1]);
    }
    ::close(pipeEnds[1]);

    SheetCells cells;
    RecordReader records(cells);
    try {
        std::string chunk(PipeBatchBytes, '\0');
        for (;;) {
            const ssize_t n = ::read(pipeEnds[0], chunk.data(), chunk.size());
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                break;
            records.feed(chunk.data(), size_t(n));
        }
    } catch (...) {
        ::kill(child, SIGKILL);
        ::close(pipeEnds[0]);
        ::waitpid(child, nullptr, 0);
        throw;
    }
    ::close(pipeEnds[0]);
    int exit = 0;
    while (::waitpid(child, &exit, 0) < 0 && errno == EINTR) {
    }

    if (!records.done()) {
        if (WIFSIGNALED(exit) && WTERMSIG(exit) == SIGALRM)
            failWorkbook(WorkbookErrorNumber::InvalidFileFormat,
                         u"Reading the workbook took longer than %1 seconds; it may be damaged"_s
                             .arg(XlsLimits::MaxSeconds));
        failWorkbook(WorkbookErrorNumber::InvalidFileFormat,
                     u"The workbook's records are damaged (the reader stopped on them)"_s);
    }
    switch (records.status()) {
    case FREEXL_OK:
        return cells.finish();
    case Encrypted:
        failWorkbook(WorkbookErrorNumber::ReaderMissing,
                     u"The workbook is protected with a password; it cannot be read without it"_s);
    case NoSuchSheet:
        failWorkbook(WorkbookErrorNumber::SubscriptOutOfRange,
                     u"The workbook has %1 sheet(s); there is no sheet %2"_s.arg(records.sheets())
                         .arg(qint64(position) + 1));
    case FREEXL_INSUFFICIENT_MEMORY:
        failWorkbook(WorkbookErrorNumber::OutOfMemory, freexlText(records.status()));
    default:
        if (records.sheets() == 0 && looksEncrypted(path))
            failWorkbook(WorkbookErrorNumber::ReaderMissing,
                         u"The workbook is encrypted; it cannot be read without its password"_s);
        failWorkbook(WorkbookErrorNumber::InvalidFileFormat, freexlText(records.status()));
    }
}

} // namespace MGImport8
