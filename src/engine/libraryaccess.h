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
    static ImportColumn *AddColumn(ImportRow &row, const QString &column, const QVariant &data);
    /// `AddColumn` for a caller that knows the row holds no column of this name yet: appends
    /// without looking the name up.
    static ImportColumn *AppendColumn(ImportRow &row, const QString &column, QVariant data);
    /// A column's name and value without copies, for writers that read every value of every row.
    static const QString &NameOf(const ImportColumn &column);
    static const QVariant &DataOf(const ImportColumn &column);
};

} // namespace MGImport8
