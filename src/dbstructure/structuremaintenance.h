#pragma once

#include "common/result.h"
#include "dbstructure/cataloguecache.h"
#include "dbstructure/structurefile.h"
#include "dbstructure/structurereporter.h"
#include "dbstructure/structurestatements.h"
#include "sqladmin/catalogue.h"
#include "sqladmin/manageddatabase.h"

#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

namespace MGImport8::DbStructure {

/// Brings one database into line with a structure file: functions, then tables (columns, primary
/// key, indexes, seed rows), then views, reporting every step. It works through the management
/// layer's catalogue reads and plain statements, and keeps going after errors, deciding failure
/// only where a step tests for one.
class StructureMaintenance
{
public:
    /// The line end of the trace and of multi-part messages.
    static inline const QString lineEnd = QStringLiteral("\r\n");
    /// Keyed seed rows between progress events.
    static constexpr int seedProgressStep = 50;
    /// New keyed seed rows that one INSERT statement carries.
    static constexpr int seedBatchRows = 500;
    /// Bulk service-port rows between progress events.
    static constexpr int bulkProgressStep = 500;
    /// Steps after which the search for indexes over a retyped column gives up.
    static constexpr int indexWalkLimit = 200;
    /// Where the identity message sends the user.
    static inline const QString supportPage = QStringLiteral("the product's support web site");

    StructureMaintenance(SqlAdmin::ManagedDatabase &database, SqlAdmin::ServerKind kind,
                         StructureReporter &reporter);
    ~StructureMaintenance();

    /// The whole verification; false when the file cannot be read or a phase stops.
    bool updateDatabaseStructure(const QString &structureFile);

    bool checkFunction(const pugi::xml_node &function);
    bool checkView(const pugi::xml_node &view);
    /// Drops a function by a plain statement; always true.
    bool dropFunction(const QString &name);

    bool checkTable(const pugi::xml_node &table);
    /// True when the table lacks `column` (or does not exist) and so needs an upgrade.
    bool tableNeedsUpgrade(const QString &table, const QString &column);
    /// Drops a table by a plain statement; always true.
    bool dropTable(const QString &name);

    bool reconcileColumn(const QString &table, const pugi::xml_node &column);
    bool checkPrimaryKey(const SqlAdmin::ObjectName &table, const QString &tableName,
                         const pugi::xml_node &tableElement);
    bool replacePrimaryKey(const QString &table, const PrimaryKeyTemplate &key);
    bool checkIndex(const QString &table, const pugi::xml_node &index);
    void loadSeedData(const QString &table, const pugi::xml_node &data);

    /// A dry run holds the whole verification in one transaction and rolls it back at the end;
    /// statements that a transaction cannot hold are reported, not run.
    void setDryRun(bool dryRun) { m_dryRun = dryRun; }
    /// Whether a transaction can hold the statement (and so take it back).
    static bool canRollBack(const QString &statement);

    /// Catalogue queries sent so far.
    int catalogueQueries() const { return m_catalogue.queries(); }
    /// Statements that changed (or would have changed) the database so far.
    int changesRun() const { return m_changes; }

    /// The progress percentage of `done` out of `total`, rounded half to even.
    static int percentOf(qsizetype done, qsizetype total);

private:
    Result<bool> change(const QStringList &statements);
    Result<bool> change(const QString &statement) { return change(QStringList{statement}); }
    Result<bool> changeInDryRun(SqlAdmin::SqlSession &session, const QStringList &statements);
    Result<bool> createRoutine(QChar kind, const QString &name, const QString &statement);
    std::optional<SqlAdmin::ObjectName> lookUpTable(const QString &name);
    std::optional<SqlAdmin::RoutineInfo> lookUpRoutine(bool view, const QString &name);
    bool checkRoutine(bool view, const pugi::xml_node &element);
    bool takeLock();
    void releaseLock();
    void seedKeyed(const SqlAdmin::ObjectName &table, const QString &tableName,
                   const pugi::xml_node &data);
    void seedServicePorts(const SqlAdmin::ObjectName &table, const QString &tableName,
                          const pugi::xml_node &data);

    SqlAdmin::ManagedDatabase &m_database;
    SqlAdmin::ServerKind m_kind;
    StructureReporter &m_reporter;
    std::unique_ptr<StructureStatements> m_statements;
    CatalogueCache m_catalogue;
    int m_changes = 0;
    bool m_dryRun = false;
};

} // namespace MGImport8::DbStructure
