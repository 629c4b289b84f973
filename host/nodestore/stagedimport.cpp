#include "stagedimport.h"

#include <QStringEncoder>

#include <sqlite3.h>

#include <algorithm>

namespace NodeInventory {

namespace {

// The address table starts at this many slots and doubles when half of them are taken.
constexpr std::size_t InitialSlots = 1024;
constexpr int AddressParts = 4;
constexpr unsigned MaxPart = 255;
constexpr qsizetype MaxAddressLength = 15;

template<typename Char>
std::optional<quint32> parseCanonical(const Char *text, qsizetype size)
{
    if (size < 7 || size > MaxAddressLength)
        return std::nullopt;
    quint32 address = 0;
    const Char *at = text;
    const Char *const end = text + size;
    for (int part = 0; part < AddressParts; ++part) {
        if (part > 0) {
            if (at == end || *at != Char('.'))
                return std::nullopt;
            ++at;
        }
        const Char *const first = at;
        unsigned value = 0;
        while (at != end && *at >= Char('0') && *at <= Char('9') && at - first < 3)
            value = value * 10 + unsigned(*at++ - Char('0'));
        if (at == first || value > MaxPart || (*first == Char('0') && at - first > 1))
            return std::nullopt;
        address = address << 8 | value;
    }
    if (at != end)
        return std::nullopt;
    return address;
}

// Fibonacci hashing: addresses that differ in their last parts spread over the whole table.
std::size_t hashOf(quint32 address, std::size_t mask)
{
    return std::size_t((quint64(address) * 0x9E3779B97F4A7C15ULL) >> 32) & mask;
}

// A number that orders addresses as SQLite orders their canonical texts, byte by byte: "10.1.0.0"
// before "10.10.0.0" before "10.2.0.0". Each part's digits count one more than their value and
// a missing digit 0, so a part that ends (at its "." or the text's end) sorts before any digit.
quint64 textOrder(quint32 address)
{
    quint64 key = 0;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const unsigned part = (address >> shift) & 0xff;
        unsigned digits[3] = {0, 0, 0};
        if (part >= 100)
            digits[0] = part / 100 + 1, digits[1] = part / 10 % 10 + 1, digits[2] = part % 10 + 1;
        else if (part >= 10)
            digits[0] = part / 10 + 1, digits[1] = part % 10 + 1;
        else
            digits[0] = part + 1;
        for (const unsigned digit : digits)
            key = key * 11 + digit;
    }
    return key;
}

// The canonical text of `address` into `text`; its length.
int formatAddress(quint32 address, char *text)
{
    char *at = text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const unsigned part = (address >> shift) & 0xff;
        if (shift != 24)
            *at++ = '.';
        if (part >= 100)
            *at++ = char('0' + part / 100);
        if (part >= 10)
            *at++ = char('0' + part / 10 % 10);
        *at++ = char('0' + part % 10);
    }
    return int(at - text);
}

} // namespace

std::optional<quint32> canonicalAddress(QStringView text)
{
    return parseCanonical(text.utf16(), text.size());
}

std::optional<quint32> canonicalAddress(const char *text, qsizetype size)
{
    return parseCanonical(text, size);
}

StagedImport::StagedImport()
    : m_slots(InitialSlots, Slot{0, Empty})
{}

StagedImport::~StagedImport() = default;

bool StagedImport::readStore(sqlite3 *handle)
{
    sqlite3_stmt *addresses = nullptr;
    static constexpr char query[] = "SELECT ip FROM nodes";
    if (sqlite3_prepare_v2(handle, query, int(sizeof query - 1), &addresses, nullptr) != SQLITE_OK)
        return false;
    int stepped = SQLITE_ROW;
    while ((stepped = sqlite3_step(addresses)) == SQLITE_ROW) {
        const char *text = reinterpret_cast<const char *>(sqlite3_column_text(addresses, 0));
        // An address the import would write in another form is another key to SQLite too, so
        // only the canonical ones can meet the import's rows.
        const std::optional<quint32> address
            = text ? canonicalAddress(text, sqlite3_column_bytes(addresses, 0)) : std::nullopt;
        if (!address)
            continue;
        Slot *slot = slotOf(*address);
        if (slot->entry == Empty) {
            *slot = {*address, InStore};
            ++m_used;
        }
    }
    sqlite3_finalize(addresses);
    return stepped == SQLITE_DONE;
}

StagedImport::Slot *StagedImport::slotOf(quint32 address)
{
    if (std::size_t(m_used + 1) * 2 > m_slots.size())
        grow();
    const std::size_t mask = m_slots.size() - 1;
    for (std::size_t at = hashOf(address, mask);; at = (at + 1) & mask) {
        Slot &slot = m_slots[at];
        if (slot.entry == Empty || slot.address == address)
            return &slot;
    }
}

void StagedImport::grow()
{
    std::vector<Slot> old(m_slots.size() * 2, Slot{0, Empty});
    old.swap(m_slots);
    const std::size_t mask = m_slots.size() - 1;
    for (const Slot &slot : old) {
        if (slot.entry == Empty)
            continue;
        std::size_t at = hashOf(slot.address, mask);
        while (m_slots[at].entry != Empty)
            at = (at + 1) & mask;
        m_slots[at] = slot;
    }
}

StagedImport::Place StagedImport::find(quint32 address)
{
    Slot *slot = slotOf(address);
    return {slot, address, slot->entry != Empty};
}

void appendUtf8(QByteArray &out, QStringView text)
{
    // At most three bytes a UTF-16 unit (a surrogate pair takes four for two).
    const qsizetype start = out.size();
    const qsizetype room = start + text.size() * 3;
    if (room > out.capacity())
        out.reserve(std::max(room, out.capacity() * 2));
    out.resize(room);
    QStringEncoder encoder(QStringEncoder::Utf8, QStringEncoder::Flag::Stateless);
    char *end = encoder.appendToBuffer(out.data() + start, text);
    out.resize(end - out.constData());
}

void StagedImport::stage(const Place &place, const QString (&fields)[4], qsizetype extraStart)
{
    Row row{};
    row.address = place.address;
    // The extra column was appended first; the four fields follow it.
    row.lengths[FieldCount - 1] = m_text.size() > extraStart ? qint32(m_text.size() - extraStart)
                                                             : -1;
    row.text = extraStart;
    for (int i = 0; i < 4; ++i) {
        if (fields[i].isNull()) {
            row.lengths[i] = -1;
            continue;
        }
        const qsizetype before = m_text.size();
        appendUtf8(m_text, fields[i]);
        row.lengths[i] = qint32(m_text.size() - before);
    }
    if (place.slot->entry >= 0) {
        m_rows[std::size_t(place.slot->entry)] = row; // the earlier row's text stays unused
        return;
    }
    if (place.slot->entry == Empty)
        ++m_used;
    *place.slot = {place.address, qint32(m_rows.size())};
    m_rows.push_back(row);
}

bool StagedImport::write(sqlite3_stmt *upsert, sqlite3_stmt *batch, int batchRows)
{
    // The rows themselves are sorted, not an index to them: walked in place afterwards, each row
    // is next to the one before in memory, where an index would send every step to a random page.
    for (Row &row : m_rows)
        row.order = textOrder(row.address);
    std::sort(m_rows.begin(), m_rows.end(),
              [](const Row &a, const Row &b) { return a.order < b.order; });
    // Each step of a statement costs SQLite about as much as the rows it writes (cursors opened
    // and closed, the statement started and ended), so most rows go in steps of many.
    if (!batch || batchRows < 2)
        batchRows = 1;

    // The addresses are bound in place, each in its own buffer until the step has read it. A
    // parameter already NULL from the step before is left as it is: most columns of most files
    // are NULL on every row, and each bind is a call into SQLite.
    struct Binder
    {
        sqlite3_stmt *statement;
        std::vector<char> ips;
        std::vector<bool> null;
    };
    Binder binders[2] = {
        {upsert, std::vector<char>(MaxAddressLength + 1), std::vector<bool>(ParametersPerRow + 1)},
        {batch, std::vector<char>(std::size_t(batchRows) * (MaxAddressLength + 1)),
         std::vector<bool>(std::size_t(batchRows) * ParametersPerRow + 1)},
    };
    const char *const text = m_text.constData();
    auto bindRow = [text](Binder &binder, int index, const Row &row) {
        const int base = index * ParametersPerRow;
        auto bindNull = [&](int position) {
            if (!binder.null[std::size_t(base + position)]) {
                sqlite3_bind_null(binder.statement, base + position);
                binder.null[std::size_t(base + position)] = true;
            }
        };
        auto bindText = [&](int position, const char *value, int length) {
            sqlite3_bind_text(binder.statement, base + position, value, length, SQLITE_STATIC);
            binder.null[std::size_t(base + position)] = false;
        };
        char *const ip = binder.ips.data() + std::size_t(index) * (MaxAddressLength + 1);
        bindText(1, ip, formatAddress(row.address, ip));
        // Text laid out as extra, name, description, location, contact; bound in column order.
        qsizetype at = row.text;
        const qint32 extraLength = row.lengths[FieldCount - 1];
        if (extraLength < 0) {
            bindNull(FieldCount + 1);
        } else {
            bindText(FieldCount + 1, text + at, extraLength);
            at += extraLength;
        }
        for (int field = 0; field < 4; ++field) {
            if (row.lengths[field] < 0) {
                bindNull(field + 2);
                continue;
            }
            bindText(field + 2, text + at, row.lengths[field]);
            at += row.lengths[field];
        }
    };
    auto step = [](sqlite3_stmt *statement) {
        const int stepped = sqlite3_step(statement);
        sqlite3_reset(statement);
        return stepped == SQLITE_DONE;
    };

    bool written = true;
    const std::size_t rows = m_rows.size();
    const std::size_t batched = batchRows > 1 ? rows - rows % std::size_t(batchRows) : 0;
    for (std::size_t first = 0; written && first < batched; first += std::size_t(batchRows)) {
        for (int index = 0; index < batchRows; ++index)
            bindRow(binders[1], index, m_rows[first + std::size_t(index)]);
        written = step(batch);
    }
    for (std::size_t at = batched; written && at < rows; ++at) {
        bindRow(binders[0], 0, m_rows[at]);
        written = step(upsert);
    }
    // Nothing may point into this frame once it returns.
    for (const Binder &binder : binders) {
        if (binder.statement)
            sqlite3_clear_bindings(binder.statement);
    }
    return written;
}

} // namespace NodeInventory
