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
};

} // namespace MGImport8
