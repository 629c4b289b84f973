// The cell records of one sheet's substream, in every generation's layout.
#include "wizard/workbook/biffrecords.h"
#include "wizard/workbook/biffworkbook.h"

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

using namespace BiffRecords;

// Where the parts of a cell record lie: Excel 2 has three attribute bytes (the second holding
// the number format) where later ones have a 16-bit cell format number.
struct CellLayout
{
    std::size_t value; // first byte after row, column and format
    bool excel2;
};

struct PendingText
{
    bool waiting = false;
    std::uint32_t row = 0, column = 0;
};

} // namespace

std::optional<BiffError> BiffWorkbook::readSheet(int position, BiffCellSink &sink)
{
    if (position < 0 || std::size_t(position) >= m_sheets.size())
        return BiffError{BiffProblem::NoSuchSheet,
                         u"The workbook has %1 sheet(s); there is no sheet %2"_s
                             .arg(m_sheets.size())
                             .arg(qint64(position) + 1)};
    const std::size_t start = m_sheets[std::size_t(position)].offset;
    Record record;
    if (std::optional<BiffError> error = nextRecord(start, record))
        return error;
    if (!isBof(record.id) || record.data.size() < 4)
        return BiffError{BiffProblem::Damaged,
                         u"Sheet %1 does not start where the workbook's sheet list says"_s.arg(
                             position + 1)};
    const std::uint16_t kind = u16(record.data, 2);
    if (kind == ChartStream || kind == VisualBasicStream)
        return std::nullopt; // no cells
    if (!m_singleSheet && m_version <= 4) {
        // Excel 4 workbooks may keep formats in each sheet rather than in their globals.
        const auto formats = m_formats;
        const auto xfFormats = m_xfFormats;
        m_formats.clear();
        m_xfFormats.clear();
        if (std::optional<BiffError> error = readGlobals(start, true))
            return error;
        if (m_xfFormats.empty() && m_formats.empty()) {
            m_formats = formats;
            m_xfFormats = xfFormats;
        }
        resolveFormats();
    }

    const CellLayout layout{m_version == 2 ? 7u : 6u, m_version == 2};
    auto formatOf = [&](std::string_view data) -> std::uint32_t {
        return layout.excel2 ? std::uint8_t(data[5]) & 0x3F : u16(data, 4);
    };
    auto tooShort = [&](std::size_t at) {
        return BiffError{BiffProblem::Damaged,
                         u"A cell record at byte %1 is shorter than its contents"_s.arg(at)};
    };
    std::string text;
    PendingText pending;
    int depth = 1;
    std::size_t at = record.next;
    while (depth > 0 && !sink.stopped()) {
        const std::size_t here = at;
        if (std::optional<BiffError> error = nextRecord(at, record))
            return error;
        at = record.next;
        const std::string_view data = record.data;
        if (isBof(record.id)) {
            ++depth; // an embedded chart
            continue;
        }
        if (record.id == Id::Eof) {
            --depth;
            continue;
        }
        if (depth != 1)
            continue;
        const std::size_t v = layout.value;
        switch (record.id) {
        case Id::Number:
        case Id::Number2:
            if ((record.id == Id::Number2) != layout.excel2)
                break;
            if (data.size() < v + 8)
                return tooShort(here);
            sink.number(u16(data, 0), u16(data, 2), f64(data, v), formatOf(data));
            break;
        case Id::Integer2:
            if (!layout.excel2)
                break;
            if (data.size() < v + 2)
                return tooShort(here);
            sink.number(u16(data, 0), u16(data, 2), u16(data, v), formatOf(data));
            break;
        case Id::Rk:
            if (data.size() < 10)
                return tooShort(here);
            sink.number(u16(data, 0), u16(data, 2), rkValue(u32(data, 6)), u16(data, 4));
            break;
        case Id::MulRk: {
            if (data.size() < 6)
                return tooShort(here);
            const std::uint32_t row = u16(data, 0);
            const std::uint32_t first = u16(data, 2);
            const std::size_t count = (data.size() - 6) / 6;
            for (std::size_t i = 0; i < count; ++i)
                sink.number(row, first + std::uint32_t(i), rkValue(u32(data, 4 + 6 * i + 2)),
                            u16(data, 4 + 6 * i));
            break;
        }
        case Id::Label:
        case Id::Label2:
        case Id::RString:
            if ((record.id == Id::Label2) != layout.excel2)
                break;
            text.clear();
            if (m_version == 8) {
                BiffText::ContinuedRecord string({data.size() >= v ? data.substr(v) : ""});
                if (data.size() < v || !string.readUnicode(text))
                    return tooShort(here);
            } else {
                const std::size_t lengthBytes = layout.excel2 ? 1 : 2;
                if (data.size() < v + lengthBytes)
                    return tooShort(here);
                const std::size_t length = lengthBytes == 1 ? std::uint8_t(data[v]) : u16(data, v);
                if (data.size() < v + lengthBytes + length)
                    return tooShort(here);
                m_codepage.append(text, data.substr(v + lengthBytes, length));
            }
            sink.text(u16(data, 0), u16(data, 2), text);
            break;
        case Id::LabelSst: {
            if (data.size() < 10)
                return tooShort(here);
            const std::uint32_t index = u32(data, 6);
            if (index >= m_sharedStrings.size())
                return BiffError{BiffProblem::Damaged,
                                 u"A cell names shared string %1 of %2"_s.arg(index + 1).arg(
                                     m_sharedStrings.size())};
            sink.text(u16(data, 0), u16(data, 2), m_sharedStrings[index]);
            break;
        }
        case Id::BoolErr:
        case Id::BoolErr2:
            if ((record.id == Id::BoolErr2) != layout.excel2)
                break;
            if (data.size() < v + 2)
                return tooShort(here);
            if (data[v + 1])
                sink.text(u16(data, 0), u16(data, 2), errorText(std::uint8_t(data[v])));
            else
                sink.boolean(u16(data, 0), u16(data, 2), data[v] != 0);
            break;
        case Id::Formula:
        case Id::Formula3:
        case Id::Formula4: {
            if (data.size() < v + 8)
                return tooShort(here);
            const std::uint32_t row = u16(data, 0), column = u16(data, 2);
            pending.waiting = false;
            if (u16(data, v + 6) != 0xFFFF) {
                sink.number(row, column, f64(data, v), formatOf(data));
                break;
            }
            // Not a number: the first byte says what the formula gave.
            switch (std::uint8_t(data[v])) {
            case 0: // text, in the STRING record that follows
                pending = PendingText{true, row, column};
                break;
            case 1:
                sink.boolean(row, column, data[v + 2] != 0);
                break;
            case 2:
                sink.text(row, column, errorText(std::uint8_t(data[v + 2])));
                break;
            default: // empty text
                break;
            }
            break;
        }
        case Id::String:
        case Id::String2: {
            if (!pending.waiting)
                break;
            pending.waiting = false;
            text.clear();
            if (m_version == 8) {
                BiffText::ContinuedRecord string(continued(record));
                at = record.next;
                if (!string.readUnicode(text))
                    return tooShort(here);
            } else {
                const std::size_t lengthBytes = record.id == Id::String2 ? 1 : 2;
                if (data.size() < lengthBytes)
                    return tooShort(here);
                const std::size_t length = lengthBytes == 1 ? std::uint8_t(data[0]) : u16(data, 0);
                if (data.size() < lengthBytes + length)
                    return tooShort(here);
                m_codepage.append(text, data.substr(lengthBytes, length));
            }
            sink.text(pending.row, pending.column, text);
            break;
        }
        case Id::MergedCells: {
            if (data.size() < 2)
                return tooShort(here);
            const std::size_t count = std::min<std::size_t>(u16(data, 0), (data.size() - 2) / 8);
            for (std::size_t i = 0; i < count; ++i) {
                const std::size_t p = 2 + 8 * i;
                const std::uint32_t firstRow = u16(data, p), lastRow = u16(data, p + 2);
                const std::uint32_t firstColumn = u16(data, p + 4), lastColumn = u16(data, p + 6);
                if (firstRow <= lastRow && firstColumn <= lastColumn)
                    sink.merge(firstRow, lastRow, firstColumn, lastColumn);
            }
            break;
        }
        default:
            break;
        }
    }
    return std::nullopt;
}

} // namespace MGImport8
