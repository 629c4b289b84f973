#include "dbstructure/structuremaintenance.h"

#include "common/texthelpers.h"

#include <cmath>

using namespace Qt::StringLiterals;

namespace MGImport8::DbStructure {

StructureMaintenance::StructureMaintenance(SqlAdmin::ManagedDatabase &database,
                                           SqlAdmin::ServerKind kind, StructureReporter &reporter)
    : m_database(database)
    , m_kind(kind)
    , m_reporter(reporter)
    , m_statements(StructureStatements::create(kind))
    , m_catalogue(database, kind)
{}

StructureMaintenance::~StructureMaintenance() = default;

int StructureMaintenance::percentOf(qsizetype done, qsizetype total)
{
    // nearbyint rounds in the default mode, to nearest with halves to even.
    return static_cast<int>(
        std::nearbyint(static_cast<double>(done) / static_cast<double>(total) * 100.0));
}

bool StructureMaintenance::updateDatabaseStructure(const QString &structureFile)
{
    m_reporter.trace(u"Verifying Database structure : "_s + FileNameFromPath(structureFile, true)
                     + lineEnd + lineEnd);
    const StructureFile file = StructureFile::load(structureFile);
    if (!file.loaded()) {
        const QString message = u"Cannot open Database Structure file ("_s + structureFile + u')'
                                + lineEnd + lineEnd + file.loadError();
        m_reporter.setLastError(message);
        m_reporter.trace(message + lineEnd);
        return false;
    }
    if (!takeLock())
        return false;
    Result<SqlAdmin::SqlSession *> session = m_database.session();
    if (m_dryRun && (!session || !session.value()->begin())) {
        const QString message = u"Cannot begin the transaction of the dry run."_s;
        m_reporter.setLastError(message);
        m_reporter.trace(message + lineEnd);
        releaseLock();
        return false;
    }

    m_reporter.progress(0);
    bool completed = true;
    const pugi::xpath_node_set functions = file.functions();
    qsizetype counter = 0;
    for (const pugi::xpath_node &function : functions) {
        if (!checkFunction(function.node())) {
            completed = false;
            break;
        }
        m_reporter.progress(percentOf(++counter, functions.size()));
    }

    if (completed) {
        m_reporter.progress(0);
        counter = 0;
        const pugi::xpath_node_set tables = file.tables();
        for (const pugi::xpath_node &table : tables) {
            // A table created just now reports false; the second call checks what was created.
            if (!checkTable(table.node()) && !checkTable(table.node())) {
                completed = false;
                break;
            }
            m_reporter.progress(percentOf(++counter, tables.size()));
        }
    }

    if (completed) {
        m_reporter.progress(0);
        counter = 0;
        const pugi::xpath_node_set views = file.views();
        for (const pugi::xpath_node &view : views) {
            if (!checkView(view.node())) {
                completed = false;
                break;
            }
            m_reporter.progress(percentOf(++counter, views.size()));
        }
    }
    if (m_dryRun)
        (void)session.value()->rollback();
    releaseLock();
    return completed;
}

bool StructureMaintenance::takeLock()
{
    Result<SqlAdmin::SqlSession *> session = m_database.session();
    if (!session) {
        m_reporter.setLastError(session.error());
        m_reporter.trace(session.error() + lineEnd);
        return false;
    }
    // Only a lock held by another run refuses: a server that cannot take one is not kept from
    // its maintenance by it.
    Result<SqlAdmin::Rows> locked = session.value()->query(m_statements->lockQuery());
    if (!locked || locked.value().isEmpty() || locked.value().first().value(0).toBool())
        return true;
    const QString message = u"The structure of database ("_s + m_database.name()
                            + u") is being updated by another run. Try again when that run has "
                              u"finished."_s;
    m_reporter.setLastError(message);
    m_reporter.trace(message + lineEnd);
    return false;
}

void StructureMaintenance::releaseLock()
{
    if (Result<SqlAdmin::SqlSession *> session = m_database.session())
        (void)session.value()->query(m_statements->unlockQuery());
}

Result<bool> StructureMaintenance::change(const QStringList &statements)
{
    Result<SqlAdmin::SqlSession *> open = m_database.session();
    if (!open)
        return Error{open.error()};
    SqlAdmin::SqlSession &session = *open.value();
    if (m_dryRun)
        return changeInDryRun(session, statements);
    for (const QString &statement : statements) {
        m_reporter.statement(statement);
        ++m_changes;
    }
    if (statements.size() == 1)
        return session.execute(statements.first());
    if (Result<bool> begun = session.begin(); !begun)
        return begun;
    for (const QString &statement : statements) {
        if (Result<bool> ran = session.execute(statement); !ran) {
            (void)session.rollback();
            return ran;
        }
    }
    return session.commit();
}

bool StructureMaintenance::canRollBack(const QString &statement)
{
    static const QStringList outside{u"CONCURRENTLY"_s, u"CREATE DATABASE"_s, u"DROP DATABASE"_s,
                                     u"TABLESPACE"_s,   u"VACUUM"_s,          u"ALTER SYSTEM"_s,
                                     u"FULLTEXT"_s};
    for (const QString &word : outside) {
        if (statement.contains(word, Qt::CaseInsensitive))
            return false;
    }
    return true;
}

// Inside the dry run's transaction each change sits behind a savepoint, so that a failure takes
// back only itself and the transaction goes on.
Result<bool> StructureMaintenance::changeInDryRun(SqlAdmin::SqlSession &session,
                                                  const QStringList &statements)
{
    for (const QString &statement : statements) {
        ++m_changes;
        if (!canRollBack(statement)) {
            m_reporter.statement(u"-- not run: a transaction cannot take it back: "_s + statement);
            return true;
        }
        m_reporter.statement(statement);
    }
    (void)session.execute(m_statements->savepoint());
    for (const QString &statement : statements) {
        if (Result<bool> ran = session.execute(statement); !ran) {
            (void)session.execute(m_statements->rollbackToSavepoint());
            return ran;
        }
    }
    if (const QString release = m_statements->releaseSavepoint(); !release.isEmpty())
        (void)session.execute(release);
    return true;
}

Result<bool> StructureMaintenance::createRoutine(QChar kind, const QString &name,
                                                 const QString &statement)
{
    // The creation record needs a transaction of its own; the dry run's holds the statement.
    if (m_dryRun)
        return change(statement);
    m_reporter.statement(statement);
    ++m_changes;
    const QString schema = m_kind == SqlAdmin::ServerKind::PostgreSql ? u"public"_s : u"dbo"_s;
    return m_database.createRoutine(kind, {schema, name}, statement);
}

std::optional<SqlAdmin::ObjectName> StructureMaintenance::lookUpTable(const QString &name)
{
    return m_catalogue.findTable(name);
}

std::optional<SqlAdmin::RoutineInfo> StructureMaintenance::lookUpRoutine(bool view,
                                                                         const QString &name)
{
    Result<QList<SqlAdmin::RoutineInfo>> all = m_catalogue.routines(view);
    if (!all)
        return std::nullopt;
    std::optional<SqlAdmin::RoutineInfo> found;
    for (const SqlAdmin::RoutineInfo &routine : std::as_const(all.value())) {
        if (routine.object.name == name)
            return routine;
        if (!found && routine.object.name.compare(name, Qt::CaseInsensitive) == 0)
            found = routine;
    }
    return found;
}

bool StructureMaintenance::checkFunction(const pugi::xml_node &function)
{
    return checkRoutine(false, function);
}

bool StructureMaintenance::checkView(const pugi::xml_node &view)
{
    return checkRoutine(true, view);
}

bool StructureMaintenance::checkRoutine(bool view, const pugi::xml_node &element)
{
    const RoutineTemplate routine = readRoutine(element, view ? "SQL/View" : "SQL/Function");
    const QString &name = routine.name;
    const QString kind = view ? u"View"_s : u"Function"_s;
    if (view) {
        m_reporter.altering(u"Checking Structure of View "_s + name);
        m_reporter.trace(u"Checking Create Date of View "_s + name + lineEnd);
    } else {
        m_reporter.altering(u"Checking Creation Date of Function "_s + name);
        m_reporter.trace(u"Checking Creation Date of Function "_s + name + lineEnd);
    }
    if (const std::optional<SqlAdmin::RoutineInfo> existing = lookUpRoutine(view, name)) {
        const QDate created = existing->created.isValid() ? existing->created.date() : zeroDate();
        if (routine.createDate <= created)
            return true;
        m_reporter.altering(u"Removing Old "_s + kind + u' ' + name);
        m_reporter.trace(u"Removing Old "_s + kind + u" ("_s + name + u')' + lineEnd);
        (void)change(m_statements->dropRoutine(view ? u'V' : u'F', existing->object));
        m_catalogue.routineDropped(view, existing->object);
    }
    m_reporter.altering(u"Adding New "_s + kind + u' ' + name);
    m_reporter.trace(u"Adding New "_s + kind + u' ' + name + lineEnd);
    const Result<bool> created = createRoutine(view ? u'V' : u'F', name, routine.statement);
    if (created)
        m_catalogue.routineCreated(view, {m_kind == SqlAdmin::ServerKind::PostgreSql ? u"public"_s
                                                                                     : u"dbo"_s,
                                          name});
    else
        m_catalogue.routinesChanged(view);
    if (!created) {
        const QString message = u"Cannot create new "_s + kind + u" ("_s + name + u')' + lineEnd
                                + created.error() + lineEnd;
        m_reporter.setLastError(message);
        m_reporter.trace(lineEnd + message);
        return false;
    }
    m_reporter.trace(u"Added "_s + kind + u" ("_s + name + u')' + lineEnd);
    return true;
}

bool StructureMaintenance::dropFunction(const QString &name)
{
    m_reporter.altering(u"Upgrading Function "_s + name);
    m_reporter.trace(u"Dropping Function "_s + name + lineEnd);
    // The statement's outcome is not reported: the drop always counts as done.
    (void)change(u"DROP FUNCTION "_s + name + u';');
    m_catalogue.routinesChanged(false);
    m_reporter.trace(u"Function ("_s + name + u") dropped successfully."_s + lineEnd);
    return true;
}

} // namespace MGImport8::DbStructure
