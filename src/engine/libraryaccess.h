#pragma once

#include <QString>
#include <QVariant>

#include <optional>

namespace MGImport8 {

class Engine;
class ImportColumn;
class ImportRow;

/// The library's own door to members that hosts must not reach: raising the engine's events,
/// building rows and the mapping choice list. The public classes befriend it; it is neither
/// installed nor exported, so only code inside the library can call it.
class LibraryAccess
{
public:
    // Engine
    static QString ColumnChoices(const Engine &engine);
    static void FireNewRow(Engine &engine, ImportRow *row, QString &status, bool &skip);
    /// The reason a `NewRow` handler gave `Engine::StopImport`, once; nothing when it did not.
    static std::optional<QString> TakeStopRequest(Engine &engine);
    static void FireImportComplete(Engine &engine);

    // ImportRow
    static void AddColumn(ImportRow &row, const QString &column, const QVariant &data);
    /// `AddColumn` for a caller that knows the row holds no column of this name yet: appends
    /// without looking the name up.
    static void AppendColumn(ImportRow &row, const QString &column, QVariant data);
    static void ReserveColumns(ImportRow &row, qsizetype columns);
    /// A column's name and value by 0-based position (below `Count`), without making the column
    /// object, for code that reads every value of every row.
    static const QString &NameAt(const ImportRow &row, qsizetype index);
    static const QVariant &DataAt(const ImportRow &row, qsizetype index);
};

} // namespace MGImport8
