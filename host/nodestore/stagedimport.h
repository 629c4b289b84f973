#pragma once

#include <QByteArray>
#include <QString>
#include <QStringView>

#include <optional>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace NodeInventory {

/// The address of `text` when it is an IPv4 address in the store's canonical dotted form
/// ("10.0.0.1": four decimal numbers up to 255, no leading zeros, nothing around them), else
/// nothing.
std::optional<quint32> canonicalAddress(QStringView text);
std::optional<quint32> canonicalAddress(const char *text, qsizetype size);

/// Appends `text` to `out` in UTF-8.
void appendUtf8(QByteArray &out, QStringView text);

/// The rows of a large import held back until its end, so that they reach the store's address
/// index in the index's own order instead of one random page after another.
///
/// While the import holds the store's write lock nothing else changes the store, so the addresses
/// read once at the start, plus the import's own rows, tell every later row whether its address
/// is new or known without asking SQLite. `write` then hands the rows to the upsert sorted as the
/// index sorts the address text, one row for each address: the last one the import kept.
class StagedImport
{
public:
    StagedImport();
    ~StagedImport();
    StagedImport(const StagedImport &) = delete;
    StagedImport &operator=(const StagedImport &) = delete;

    /// Reads every address the store holds. False with SQLite's error on the handle.
    bool readStore(sqlite3 *handle);

    struct Slot
    {
        quint32 address;
        qint32 entry; // Empty, InStore, or the staged row's index
    };
    /// Where a row for `address` stands; pass it to `stage` before the next `find`.
    struct Place
    {
        Slot *slot;
        quint32 address;
        bool known; ///< in the store already, or staged earlier in this import
    };
    Place find(quint32 address);

    /// Keeps a row for the address, in place of any staged before it. `fields` are name,
    /// description, location and contact (a null string is NULL); `extra` the JSON object of the
    /// other columns, appended to `text()` by the caller since `extraStart` (nothing appended:
    /// NULL).
    void stage(const Place &place, const QString (&fields)[4], qsizetype extraStart);

    /// The text buffer the caller appends a row's extra column to, before `stage`.
    QByteArray &text() { return m_text; }

    /// Hands every staged address to the upserts (ip, name, description, location, contact,
    /// extra) in the index's order: `batch`, when given, takes `batchRows` rows a step (its
    /// parameters those six for each row in turn), `upsert` one row a step for the rest. False at
    /// the first step SQLite refuses. It ends the staging (the rows are reordered): the
    /// transaction is committed or rolled back next.
    bool write(sqlite3_stmt *upsert, sqlite3_stmt *batch = nullptr, int batchRows = 0);

    /// Parameters of each row in the upserts `write` steps.
    static constexpr int ParametersPerRow = 6;

    qsizetype size() const { return qsizetype(m_rows.size()); }

private:
    Slot *slotOf(quint32 address);
    void grow();

    static constexpr int FieldCount = 5;
    struct Row
    {
        quint64 order; // set by `write`
        quint32 address;
        qint32 lengths[FieldCount]; // -1: NULL
        qsizetype text;
    };
    static constexpr qint32 Empty = -2;
    static constexpr qint32 InStore = -1;

    std::vector<Slot> m_slots;
    qsizetype m_used = 0;
    std::vector<Row> m_rows;
    QByteArray m_text;
};

} // namespace NodeInventory
