#include "wizard/workbook/biffworkbook.h"

#include "wizard/workbook/biffrecords.h"
#include "wizard/workbook/compoundfile.h"

#include <algorithm>
#include <cstring>
#include <map>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

using namespace BiffRecords;

BiffError damaged(const QString &description)
{
    return {BiffProblem::Damaged, description};
}

} // namespace

std::optional<BiffError> BiffWorkbook::nextRecord(std::size_t at, Record &record) const
{
    if (at + RecordHeaderBytes > m_data.size())
        return damaged(
            u"The workbook's records end without their closing record (at byte %1)"_s.arg(at));
    record.id = u16(m_data, at);
    const std::size_t length = u16(m_data, at + 2);
    if (at + RecordHeaderBytes + length > m_data.size())
        return damaged(u"A record at byte %1 runs past the end of the workbook"_s.arg(at));
    record.data = m_data.substr(at + RecordHeaderBytes, length);
    record.next = at + RecordHeaderBytes + length;
    return std::nullopt;
}

std::vector<std::string_view> BiffWorkbook::continued(Record &record) const
{
    std::vector<std::string_view> pieces{record.data};
    Record more;
    while (!nextRecord(record.next, more) && more.id == Id::Continue) {
        pieces.push_back(more.data);
        record.next = more.next;
    }
    return pieces;
}

std::string BiffWorkbook::byteString(std::string_view data, std::size_t lengthBytes)
{
    std::string out;
    if (data.size() < lengthBytes)
        return out;
    const std::size_t length = lengthBytes == 1 ? std::uint8_t(data[0]) : u16(data, 0);
    m_codepage.append(out, data.substr(lengthBytes, length));
    return out;
}

std::optional<BiffError> BiffWorkbook::open(std::string_view file)
{
    m_stream.clear();
    m_sheets.clear();
    m_sharedStrings.clear();
    m_formats.clear();
    m_xfFormats.clear();
    m_cellFormats.clear();
    m_dates1904 = false;
    m_codepage = BiffText::Codepage();
    const bool contained = CompoundFile::hasSignature(file);
    if (contained) {
        CompoundFile container;
        if (const std::optional<QString> error = container.open(file))
            return damaged(*error);
        QString error;
        if (container.hasStream(u"Workbook")) {
            if (!container.readStream(u"Workbook", m_stream, error))
                return damaged(error);
        } else if (container.hasStream(u"Book")) {
            if (!container.readStream(u"Book", m_stream, error))
                return damaged(error);
        } else if (container.hasStream(u"EncryptedPackage")) {
            return BiffError{BiffProblem::Encrypted,
                             u"The workbook is encrypted; it cannot be read without its password"_s};
        } else {
            return BiffError{BiffProblem::NotWorkbook,
                             u"The compound file holds no workbook (it may be another Office "
                             "document)"_s};
        }
        m_data = m_stream;
    } else {
        m_data = file;
    }

    Record bof;
    const bool startsAsBiff = m_data.size() >= 2 && isBof(u16(m_data, 0));
    if (nextRecord(0, bof) || !isBof(bof.id) || bof.data.size() < 4) {
        if (contained || startsAsBiff)
            return damaged(u"The workbook stream does not start with a workbook's first record"_s);
        return BiffError{BiffProblem::NotWorkbook, u"The file is not an Excel workbook"_s};
    }
    switch (bof.id) {
    case Id::Bof2:
        m_version = 2;
        break;
    case Id::Bof3:
        m_version = 3;
        break;
    case Id::Bof4:
        m_version = 4;
        break;
    default:
        m_version = u16(bof.data, 0) == Biff5Version ? 5 : 8;
        break;
    }
    const std::uint16_t kind = u16(bof.data, 2);
    if (kind == GlobalsStream || (kind == Excel4WorkbookStream && m_version == 4)) {
        m_singleSheet = false;
    } else if (kind == WorksheetStream) {
        m_singleSheet = true;
        m_sheets.push_back(BiffSheet{"Sheet1", 0, 0, 0});
    } else {
        const QString what = kind == ChartStream ? u"a chart"_s
                             : kind == MacroStream
                                 ? u"a macro sheet"_s
                                 : u"an Excel file of kind 0x%1"_s.arg(uint(kind), 4, 16,
                                                                       QChar(u'0'));
        return BiffError{BiffProblem::NotWorkbook,
                         u"The file is %1, not a worksheet or workbook"_s.arg(what)};
    }
    if (std::optional<BiffError> error = readGlobals(0, m_singleSheet))
        return error;
    if (!m_singleSheet && m_version == 4)
        findExcel4Sheets();
    resolveFormats();
    return std::nullopt;
}

std::optional<BiffError> BiffWorkbook::readGlobals(std::size_t start, bool wholeStream)
{
    std::size_t at = start;
    int depth = 0;
    Record record;
    do {
        if (std::optional<BiffError> error = nextRecord(at, record))
            return error;
        at = record.next;
        const std::string_view data = record.data;
        if (isBof(record.id)) {
            ++depth;
            continue;
        }
        if (record.id == Id::Eof) {
            --depth;
            continue;
        }
        if (depth != 1)
            continue;
        switch (record.id) {
        case Id::FilePass:
            return BiffError{BiffProblem::Encrypted,
                             u"The workbook is protected with a password; it cannot be read "
                             "without it"_s};
        case Id::Codepage:
            if (data.size() >= 2 && m_version < 8)
                m_codepage = BiffText::Codepage(u16(data, 0));
            break;
        case Id::DateMode:
            if (data.size() >= 2)
                m_dates1904 = u16(data, 0) != 0;
            break;
        case Id::Format:
        case Id::Format2:
            readFormat(data);
            break;
        case Id::Xf:
        case Id::Xf2:
        case Id::Xf3:
        case Id::Xf4:
            readCellFormat(record.id, data);
            break;
        case Id::BoundSheet:
            // Excel 4 workbooks name their sheets again in the header before each of them.
            if (!wholeStream && m_version >= 5)
                readSheetName(data);
            break;
        case Id::Sst:
            if (std::optional<BiffError> error = readSharedStrings(record))
                return error;
            at = record.next;
            break;
        default:
            break;
        }
    } while (depth > 0);
    m_globalsEnd = at;
    return std::nullopt;
}

void BiffWorkbook::findExcel4Sheets()
{
    // After the globals, each sheet is a header record (its length and name) and its records.
    Record record;
    for (std::size_t at = m_globalsEnd; !nextRecord(at, record); at = record.next) {
        if (record.id != Id::SheetHeader || record.data.size() < 5)
            continue;
        if (m_sheets.size() >= BiffLimits::MaxSheets)
            break;
        m_sheets.push_back(
            BiffSheet{byteString(record.data.substr(4), 1), std::uint32_t(record.next), 0, 0});
    }
}

void BiffWorkbook::readFormat(std::string_view data)
{
    if (m_formats.size() >= BiffLimits::MaxFormats)
        return;
    std::string code;
    int number = int(m_formats.size());
    if (m_version == 8) {
        if (data.size() < 2)
            return;
        number = u16(data, 0);
        BiffText::ContinuedRecord text({data.substr(2)});
        text.readUnicode(code);
    } else if (m_version >= 4) {
        if (data.size() < 2)
            return;
        if (m_version == 5)
            number = u16(data, 0);
        code = byteString(data.substr(2), 1);
    } else {
        code = byteString(data, 1);
    }
    m_formats.emplace_back(number, std::move(code));
}

void BiffWorkbook::readCellFormat(std::uint16_t id, std::string_view data)
{
    if (m_xfFormats.size() >= BiffLimits::MaxFormats)
        return;
    if (id == Id::Xf && data.size() >= 4)
        m_xfFormats.push_back(u16(data, 2));
    else if ((id == Id::Xf3 || id == Id::Xf4) && data.size() >= 2)
        m_xfFormats.push_back(std::uint8_t(data[1]));
    else if (id == Id::Xf2 && data.size() >= 3)
        m_xfFormats.push_back(std::uint8_t(data[2]) & 0x3F);
}

void BiffWorkbook::readSheetName(std::string_view data)
{
    if (data.size() < 7 || m_sheets.size() >= BiffLimits::MaxSheets)
        return;
    BiffSheet sheet;
    sheet.offset = u32(data, 0);
    sheet.visibility = std::uint8_t(data[4]) & 0x03;
    sheet.type = std::uint8_t(data[5]);
    if (sheet.type == VisualBasicSheet)
        return; // program code, not a sheet
    if (m_version == 8) {
        BiffText::ContinuedRecord text({data.substr(6)});
        text.readUnicode(sheet.name, true);
    } else {
        sheet.name = byteString(data.substr(6), 1);
    }
    m_sheets.push_back(std::move(sheet));
}

std::optional<BiffError> BiffWorkbook::readSharedStrings(Record &record)
{
    std::vector<std::string_view> pieces = continued(record);
    std::size_t bytes = 0;
    for (std::string_view piece : pieces)
        bytes += piece.size();
    BiffText::ContinuedRecord table(std::move(pieces));
    std::uint32_t total = 0, unique = 0;
    if (!table.readU32(total) || !table.readU32(unique))
        return damaged(u"The shared-string table is cut short"_s);
    // Each string takes at least three bytes, whatever the header claims.
    const std::uint32_t count = std::min<std::uint32_t>(unique, BiffLimits::MaxSharedStrings);
    m_sharedStrings.reserve(std::min<std::size_t>(count, bytes / 3));
    for (std::uint32_t i = 0; i < count && !table.atEnd(); ++i) {
        std::string text;
        if (!table.readUnicode(text))
            return damaged(u"Shared string %1 of %2 is cut short"_s.arg(i + 1).arg(unique));
        m_sharedStrings.push_back(std::move(text));
    }
    return std::nullopt;
}

void BiffWorkbook::resolveFormats()
{
    m_cellFormats.clear();
    if (m_version == 2) {
        // Excel 2 cells name their number format directly.
        for (const auto &[number, code] : m_formats)
            m_cellFormats.push_back(BiffNumberFormat{0, true, code});
        return;
    }
    std::map<int, const std::string *> byNumber;
    for (std::size_t i = 0; i < m_formats.size(); ++i)
        byNumber.emplace(m_version >= 5 ? m_formats[i].first : int(i), &m_formats[i].second);
    m_cellFormats.reserve(m_xfFormats.size());
    for (std::uint16_t number : m_xfFormats) {
        const auto found = byNumber.find(number);
        if (found != byNumber.end())
            m_cellFormats.push_back(BiffNumberFormat{number, true, *found->second});
        else
            m_cellFormats.push_back(
                BiffNumberFormat{m_version >= 5 ? int(number) : 0, false, std::string()});
    }
}

} // namespace MGImport8
