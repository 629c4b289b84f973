// SQLAdmin's structure maintenance: database creation and the verification, which reports
// through the object's trace, last error and events.
#include "sqladmin/admin/sqladmin_p.h"

#include "dbstructure/structureexport.h"
#include "dbstructure/structurefile.h"
#include "dbstructure/structuremaintenance.h"
#include "dbstructure/structurereporter.h"
#include "sqladmin/manageddatabase.h"
#include "sqladmin/secrets.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

using DbStructure::StructureMaintenance;
const QString &lineEnd = StructureMaintenance::lineEnd;

class AdminReporter : public DbStructure::StructureReporter
{
public:
    AdminReporter(SQLAdmin &admin, SqlAdmin::SQLAdminAccess::Private &d)
        : m_admin(admin)
        , m_d(d)
    {}

    void trace(const QString &text) override { m_d.trace += clean(text); }
    void altering(const QString &text) override { emit m_admin.AlteringDatabase(clean(text)); }
    void progress(int percent) override { emit m_admin.UpdateDBStructureProgress(percent); }
    void yield() override { QCoreApplication::processEvents(); }
    void setLastError(const QString &text) override { m_d.lastError = clean(text); }
    void criticalMessage(const QString &title, const QString &text) override
    {
        if (DbStructure::CriticalMessagePresenter present = DbStructure::criticalMessagePresenter()) {
            present(title, clean(text));
            return;
        }
        // Without widgets the message must still reach someone.
        trace(text + lineEnd);
        std::fprintf(stderr, "%s\n%s\n", qPrintable(title),
                     qPrintable(clean(text).replace(lineEnd, u"\n"_s)));
    }
    void statement(const QString &text) override
    {
        const QString shown = clean(text);
        if (m_d.structureStatement)
            m_d.structureStatement(shown);
        emit m_admin.StructureStatement(shown);
    }

private:
    QString clean(const QString &text) const
    {
        return SqlAdmin::scrubSecrets(text, {m_d.loginPassword, m_d.databaseUserPassword});
    }

    SQLAdmin &m_admin;
    SqlAdmin::SQLAdminAccess::Private &m_d;
};

// PostgreSQL's errors for a data folder that is missing or may not be written, in the words the
// SQL Server diagnoses look for.
bool missingDirectory(const QString &description, SqlAdmin::ServerKind kind)
{
    if (kind == SqlAdmin::ServerKind::PostgreSql)
        return description.contains(u"directory"_s, Qt::CaseInsensitive)
               && (description.contains(u"does not exist"_s, Qt::CaseInsensitive)
                   || description.contains(u"No such file"_s, Qt::CaseInsensitive));
    return description.contains(u"directory"_s, Qt::CaseInsensitive)
           && description.contains(u"lookup"_s, Qt::CaseInsensitive)
           && description.contains(u"failed"_s, Qt::CaseInsensitive);
}

bool accessDenied(const QString &description, SqlAdmin::ServerKind kind)
{
    return description.contains(kind == SqlAdmin::ServerKind::PostgreSql ? u"permission denied"_s
                                                                         : u"access is denied"_s,
                                Qt::CaseInsensitive);
}

QString createFailure(const QString &description, SqlAdmin::ServerKind kind)
{
    const QString extra = lineEnd + lineEnd + u"Extra SQL Error Information"_s + lineEnd + lineEnd
                          + description;
    if (missingDirectory(description, kind))
        return u"The target directory does not exist"_s + lineEnd
               + u"Please select an existing directory"_s + extra;
    if (accessDenied(description, kind)) {
        if (kind == SqlAdmin::ServerKind::PostgreSql)
            return u"The selected database instance does not have rights to the directory!"_s
                   + lineEnd
                   + u"Add read/write rights to the directory for the account running "
                     u"PostgreSQL"_s
                   + extra;
        return u"The selected database instance does not have NTFS rights to the directory!"_s
               + lineEnd
               + u"Add read/write NTFS rights to the directory for the account running SQL "
                 u"Server"_s
               + extra;
    }
    return u"Error reported during database creation"_s + extra;
}

} // namespace

bool SQLAdmin::UpdateDatabaseStructure(SQLDatabase *Database,
                                       const QString &StructureFile)
{
    AdminReporter reporter(*this, *d);
    if (!Database) {
        const QString message = u"Cannot verify the structure of a database that does not exist."_s;
        reporter.setLastError(message);
        reporter.trace(message + lineEnd);
        return false;
    }
    const SqlAdmin::ServerKind kind = d->server ? d->server->kind() : d->kind();
    StructureMaintenance maintenance(*Database, kind, reporter);
    maintenance.setDryRun(d->structureDryRun);
    return maintenance.updateDatabaseStructure(StructureFile);
}

void SQLAdmin::setStructureDryRun(bool DryRun)
{
    d->structureDryRun = DryRun;
}

bool SQLAdmin::WriteXMLStructureFile(SQLDatabase *Database, const QString &FileName,
                                     const QStringList &DataTables)
{
    if (!Database) {
        d->lastError = u"Cannot export the structure of a database that does not exist."_s;
        return false;
    }
    const SqlAdmin::ServerKind kind = d->server ? d->server->kind() : d->kind();
    const Result<bool> written = DbStructure::writeStructureFile(*Database, kind, FileName,
                                                                 DataTables);
    d->lastError = written ? QString()
                           : SqlAdmin::scrubSecrets(written.error(),
                                                    {d->loginPassword, d->databaseUserPassword});
    return written.ok();
}

bool SQLAdmin::BuildDatabase(const QString &DatabaseName, const QString &DatabaseFilePath,
                             const QString &StructureFile)
{
    AdminReporter reporter(*this, *d);
    auto fail = [&](const QString &message) {
        reporter.setLastError(message);
        reporter.trace(message + lineEnd);
        return false;
    };
    if (!QFileInfo(StructureFile).isFile())
        return fail(u"Database Structure file ("_s + StructureFile + u") does not exist."_s);
    const DbStructure::StructureFile file = DbStructure::StructureFile::load(StructureFile);
    if (!file.loaded())
        return fail(u"Cannot load Database Structure file ("_s + StructureFile + u')' + lineEnd
                    + lineEnd + file.loadError());
    QString command = file.createDatabaseStatement();
    if (!command.contains(u"CREATE"_s))
        return fail(u"Cannot locate database CREATE command in Structure file ("_s + StructureFile
                    + u')' + lineEnd);
    if (!command.contains(u"%DatabaseName%"_s))
        return fail(u"CREATE command missing %DatabaseName% in Structure file ("_s + StructureFile
                    + u')' + lineEnd);
    command.replace(u"%DatabaseName%"_s, DatabaseName);
    if (!command.contains(u"%DatabaseFilePath%"_s))
        return fail(u"Cannot CREATE command missing %DatabaseFilePath% in Structure file ("_s
                    + StructureFile + u')' + lineEnd);
    const SqlAdmin::ServerKind kind = d->kind();
    // A folder on the server's own system: SQL Server's ends in a backslash, PostgreSQL's in
    // either separator.
    QString folder = DatabaseFilePath;
    if (kind == SqlAdmin::ServerKind::PostgreSql) {
        if (!folder.endsWith(u'/') && !folder.endsWith(u'\\'))
            folder += u'/';
    } else if (!folder.endsWith(u'\\')) {
        folder += u'\\';
    }
    command.replace(u"%DatabaseFilePath%"_s, folder);

    // The CREATE runs on a connection of its own, beside the main management connection.
    SqlAdmin::ManagementServer creator(kind, d->factory);
    if (creator.connect(d->login())) {
        reporter.statement(command);
        const Result<bool> created = creator.executeImmediate(command);
        creator.disconnect();
        // Only an error the server reports for the statement counts as a failed CREATE.
        if (!created) {
            d->lastError = SqlAdmin::scrubSecrets(createFailure(created.error(), kind),
                                                  {d->loginPassword, d->databaseUserPassword});
            return false;
        }
    }
    UpdateDatabaseStructure(GetDatabase(DatabaseName), StructureFile);
    return true;
}

bool SQLAdmin::CreateDatabase(const QString &DatabaseName, const QString &DatabaseFile,
                              const QString &TemplateFile)
{
    if (!QFileInfo(TemplateFile).isFile()) {
        d->lastError = u"Cannot create database."_s + lineEnd + u"SQL Database Template ("_s
                       + TemplateFile + u") does not exist."_s + lineEnd
                       + u"This file must exist in order to create the SQL Server database."_s;
        return false;
    }
    if (QFileInfo(DatabaseFile).absoluteFilePath() != QFileInfo(TemplateFile).absoluteFilePath()) {
        QFile::remove(DatabaseFile);
        QFile source(TemplateFile);
        if (!source.copy(DatabaseFile)) {
            d->lastError = u"Cannot create "_s + DatabaseFile + lineEnd + source.errorString();
            return false;
        }
    }
    if (!d->server) {
        d->lastError = u"Not connected to a server."_s;
        return false;
    }
    Result<bool> attached = true;
    if (d->server->kind() == SqlAdmin::ServerKind::PostgreSql) {
        // No data file can be attached here: the template is the SQL that fills a new database.
        QFile script(DatabaseFile);
        if (!script.open(QIODevice::ReadOnly)) {
            d->lastError = u"Cannot create "_s + DatabaseFile + lineEnd + script.errorString();
            return false;
        }
        const QString text = QString::fromUtf8(script.readAll());
        attached = d->server->executeImmediate(u"CREATE DATABASE "_s
                                               + d->server->dialect().quoteName(DatabaseName));
        if (attached) {
            Result<SqlAdmin::ManagedDatabase *> database = d->server->database(DatabaseName);
            attached = database ? database.value()->executeImmediate(text)
                                : Result<bool>(Error{database.error()});
        }
    } else {
        attached = d->server->executeImmediate(u"EXEC sp_attach_single_file_db @dbname = '"_s
                                               + DatabaseName + u"', @physname = '"_s + DatabaseFile
                                               + u"'"_s);
    }
    if (!attached) {
        d->lastError = SqlAdmin::scrubSecrets(attached.error(),
                                              {d->loginPassword, d->databaseUserPassword});
        return false;
    }
    d->lastError.clear();
    return true;
}

} // namespace MGImport8
