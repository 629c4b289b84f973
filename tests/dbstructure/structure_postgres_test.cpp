// Structure maintenance against a real PostgreSQL cluster:
// - a database built from the Chinook structure file holds every table, key, index, view,
//   function and seed row, and a second run right after runs no DDL;
// - each damage the verification repairs writes its exact trace lines, and the repaired database
//   then matches a fresh build in the catalogue;
// - the Chinook schema loaded from the corpus script passes the structure file's table checks
//   without a change;
// - a seed row the server refuses loses only itself, and the trace says why;
// - a second run while one holds the database's lock is refused with its message;
// - BuildDatabase's CREATE diagnoses come from PostgreSQL's own errors.
#include <MGImport8/sqladmin.h>

#include "admintesting.h"
#include "sqladmin/admin/sqladmin_p.h"
#include "sqladmin/manageddatabase.h"

#include "pgcluster.h"
#include "testsupport.h"

#include <QRegularExpression>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using MGImport8::SQLAdmin;
using MGImport8::SqlAdmin::ManagedDatabase;
using MGImport8::SqlAdmin::SQLAdminAccess;
using MGImport8::Test::PgCluster;

namespace {

const QString chinookFile = QStringLiteral(MGIMPORT8_DBSTRUCTURE_DATA "/chinook_postgres.xml");
const QString crlf = u"\r\n"_s;

// What one verification reported.
struct Reported
{
    bool result = false;
    QString trace;
    QList<int> progress;
    QStringList statements;

    // The statements that changed the structure, leaving out the service-port rows that every run
    // adds by design.
    QStringList ddl() const
    {
        QStringList changes;
        for (const QString &statement : statements) {
            if (!statement.startsWith(u"INSERT INTO \"public\".\"serviceports\""_s))
                changes.append(statement);
        }
        return changes;
    }
};

std::unique_ptr<SQLAdmin> connectedAdmin(PgCluster *cluster)
{
    auto admin = std::make_unique<SQLAdmin>();
    admin->setServerType(u"PostgreSQL"_s);
    admin->setServerName(cluster->socketServerName());
    EXPECT_TRUE(admin->Connect(false)) << admin->LastError().toStdString();
    return admin;
}

// Runs `work` on `admin` and records what it reported.
template<typename Work>
Reported record(SQLAdmin &admin, Work work)
{
    Reported run;
    const qsizetype traceStart = admin.UpdateTrace().size();
    QObject context;
    QObject::connect(&admin, &SQLAdmin::UpdateDBStructureProgress, &context,
                     [&run](int percent) { run.progress.append(percent); });
    SQLAdminAccess::of(admin).structureStatement = [&run](const QString &text) {
        run.statements.append(text);
    };
    run.result = work();
    SQLAdminAccess::of(admin).structureStatement = nullptr;
    run.trace = admin.UpdateTrace().mid(traceStart);
    return run;
}

Reported verify(SQLAdmin &admin, const QString &database, const QString &file = chinookFile)
{
    return record(admin,
                  [&] { return admin.UpdateDatabaseStructure(admin.GetDatabase(database), file); });
}

Reported build(SQLAdmin &admin, const QString &database)
{
    return record(admin, [&] { return admin.BuildDatabase(database, u"/tmp"_s, chinookFile); });
}

// The catalogue of a database as a comparable text: per table its columns (sorted, since a
// column added later goes last), key and indexes; views and functions by name.
QString catalogueOf(SQLAdmin &admin, const QString &database)
{
    ManagedDatabase *db = admin.GetDatabase(database);
    if (!db)
        return u"no database: "_s + admin.LastError();
    QStringList lines;
    const auto tables = db->tables().value();
    for (const auto &table : tables) {
        QStringList columns = MGImport8::Test::describe(db->columns(table).value());
        columns.sort();
        const auto key = db->primaryKey(table).value();
        lines.append(table.name + u": "_s + columns.join(u", "_s) + u" key=" + key.name + u'('
                     + key.columns.join(u',') + u')');
        // A reordered index counts as the same one, so no order is compared.
        auto indexes = db->indexes(table).value();
        QStringList named;
        for (auto &index : indexes) {
            index.columns.sort();
            named.append(u"  index "_s + index.name + u'(' + index.columns.join(u',') + u')');
        }
        named.sort();
        lines += named;
    }
    const auto views = db->views().value();
    for (const auto &view : views)
        lines.append(u"view "_s + view.object.name + u' ' + view.definition);
    const auto functions = db->functions().value();
    for (const auto &function : functions)
        lines.append(u"function "_s + function.object.name);
    return lines.join(u'\n');
}

QString scalar(PgCluster *cluster, const QString &database, const QString &sql)
{
    QString output;
    EXPECT_TRUE(cluster->psql(database, sql, &output)) << output.toStdString();
    return output;
}

} // namespace

TEST(StructurePostgres, BuildCreatesEverythingAndASecondRunChangesNothing)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    auto admin = connectedAdmin(cluster);
    const Reported built = build(*admin, u"chinook_built"_s);
    ASSERT_TRUE(built.result) << admin->LastError().toStdString() << built.trace.toStdString();
    EXPECT_EQ(admin->LastError(), QString()) << built.trace.toStdString();
    EXPECT_TRUE(built.trace.contains(u"Checking Structure of Table album"_s + crlf
                                     + u"Adding New Table album"_s + crlf + u"Added Table (album)"_s
                                     + crlf + u"Checking Structure of Table album"_s + crlf
                                     + u"Adding Index to Database Table album"_s + crlf
                                     + u"Added Index (album_artist_id_idx) to album"_s + crlf
                                     + u"Checking Structure of Table artist"_s + crlf));
    EXPECT_TRUE(built.trace.endsWith(u"Adding New View genre_tracks"_s + crlf
                                     + u"Added View (genre_tracks)"_s + crlf));
    // Two functions, twelve tables (the service ports' first row raising its own), two views.
    EXPECT_EQ(built.progress, (QList<int>{0,  50, 100, 0,  8,  17, 25,  33, 42, 50,
                                          58, 67, 75,  83, 92, 33, 100, 0,  50, 100}));
    EXPECT_EQ(scalar(cluster, u"chinook_built"_s, u"SELECT count(*) FROM genre"_s), u"25"_s);
    EXPECT_EQ(scalar(cluster, u"chinook_built"_s,
                     u"SELECT string_agg(port || servicename || enabled || system, ',' ORDER BY "
                     u"port) FROM serviceports"_s),
              u"21ftp-11,22ssh11,80http10"_s);

    const Reported again = verify(*admin, u"chinook_built"_s);
    EXPECT_TRUE(again.result) << admin->LastError().toStdString();
    EXPECT_EQ(again.ddl(), QStringList()) << again.trace.toStdString();
    EXPECT_EQ(scalar(cluster, u"chinook_built"_s, u"SELECT count(*) FROM serviceports"_s), u"6"_s);
}

TEST(StructurePostgres, RepairsDamageWithItsTraceLinesAndMatchesAFreshBuild)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    auto admin = connectedAdmin(cluster);
    ASSERT_TRUE(build(*admin, u"chinook_damaged"_s).result);
    ASSERT_TRUE(build(*admin, u"chinook_fresh"_s).result);
    ASSERT_TRUE(cluster->psqlSteps(
        {{u"chinook_damaged"_s,
          u"ALTER TABLE customer DROP COLUMN fax; DROP VIEW album_titles; DROP INDEX "
          u"track_genre_id_idx; ALTER TABLE artist ALTER COLUMN name TYPE varchar(50);"
          u"DROP INDEX album_artist_id_idx; CREATE INDEX album_artist_id_idx ON album (title);"
          u"DROP INDEX serviceports_port_name_idx; CREATE INDEX serviceports_port_name_idx ON "
          u"serviceports (servicename, port); ALTER TABLE serviceports ALTER COLUMN enabled SET "
          u"DEFAULT 7; UPDATE mgimport8.object_created SET created = '2001-01-01' WHERE "
          u"object_name = 'artist_label'; DELETE FROM genre WHERE genre_id > 20; ALTER TABLE "
          u"playlist_track DROP CONSTRAINT playlist_track_pkey; ALTER TABLE playlist_track ADD "
          u"CONSTRAINT playlist_track_pkey PRIMARY KEY (track_id, playlist_id); ALTER TABLE "
          u"serviceports ADD PRIMARY KEY (serviceid);"_s}}));

    const Reported repaired = verify(*admin, u"chinook_damaged"_s);
    ASSERT_TRUE(repaired.result) << admin->LastError().toStdString();
    const QString &trace = repaired.trace;
    const std::vector<QString> expected{
        u"Checking Creation Date of Function artist_label"_s + crlf
            + u"Removing Old Function (artist_label)"_s + crlf
            + u"Adding New Function artist_label"_s + crlf + u"Added Function (artist_label)"_s
            + crlf,
        u"Checking Structure of Table artist"_s + crlf
            + u"Changed artist.name DataType to character varying(120)"_s + crlf,
        u"Added customer.fax to Database"_s + crlf,
        u"Removing Primary Key on Database Table playlist_track"_s + crlf
            + u"Adding Primary Key on Database Table playlist_track"_s + crlf
            + u"Primary Key  (playlist_track) to chinook_damaged added."_s + crlf,
        u"Changing Index on Database Table album"_s + crlf
            + u"Added Index (album_artist_id_idx) to album"_s + crlf,
        u"Adding Index to Database Table track"_s + crlf
            + u"Added Index (track_genre_id_idx) to track"_s + crlf,
        u"Data Added to Table (genre) with no errors"_s + crlf,
        // The key removal lines have no line ends of their own.
        u"Primary Key Exists on table ServicePorts, but is not defined on Database Template"
        u"Removing Primary Key from table ServicePortsChecking Create Date of View album_titles"_s,
        u"Checking Create Date of View album_titles"_s + crlf + u"Adding New View album_titles"_s
            + crlf + u"Added View (album_titles)"_s + crlf,
    };
    for (const QString &lines : expected)
        EXPECT_TRUE(trace.contains(lines)) << lines.toStdString() << "\n---\n"
                                           << trace.toStdString();
    // A reordered index is the same index, and a changed default is put back without a line.
    EXPECT_FALSE(trace.contains(u"serviceports_port_name_idx"_s));

    EXPECT_EQ(catalogueOf(*admin, u"chinook_damaged"_s).toStdString(),
              catalogueOf(*admin, u"chinook_fresh"_s).toStdString());
    EXPECT_EQ(scalar(cluster, u"chinook_damaged"_s, u"SELECT count(*) FROM genre"_s), u"25"_s);
    EXPECT_EQ(verify(*admin, u"chinook_damaged"_s).ddl(), QStringList());
}

TEST(StructurePostgres, CorpusSchemaPassesTheTableChecksUnchanged)
{
    MGIMPORT8_REQUIRE_CORPUS();
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    const QString text = QString::fromUtf8(MGImport8::Test::fileBytes(
        MGImport8::Test::corpusDir() + u"/sql/chinook/Chinook_PostgreSql.sql"_s));
    // The script's tables and indexes, and the seed tables' rows; its database and foreign keys
    // are not the structure file's business.
    QStringList statements;
    static const QRegularExpression wanted(
        uR"((CREATE TABLE \w+\s*\(.*?\n\);|CREATE INDEX [^;]*;|INSERT INTO (genre|media_type) [^;]*;))"_s,
        QRegularExpression::DotMatchesEverythingOption);
    for (const QRegularExpressionMatch &match : wanted.globalMatch(text))
        statements.append(match.captured(1));
    ASSERT_GE(statements.size(), 11 + 11 + 2);
    ASSERT_TRUE(cluster->psqlSteps({{u"postgres"_s, u"CREATE DATABASE chinook_corpus"_s},
                                    {u"chinook_corpus"_s, statements.join(u'\n')}}));

    auto admin = connectedAdmin(cluster);
    const Reported run = verify(*admin, u"chinook_corpus"_s);
    ASSERT_TRUE(run.result) << admin->LastError().toStdString();
    // Only what the script lacks is made: the functions, the service-port table and the views.
    for (const QString &statement : run.ddl()) {
        EXPECT_TRUE(statement.startsWith(u"CREATE FUNCTION"_s)
                    || statement.startsWith(u"CREATE VIEW"_s)
                    || statement.contains(u"serviceports"_s))
            << statement.toStdString();
    }
    EXPECT_FALSE(run.trace.contains(u"Data Added to Table (genre)"_s));
}

TEST(StructurePostgres, AFailedSeedRowLosesOnlyItself)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    MGImport8::Test::TempFolder folder;
    const QString file = folder.write(
        u"kinds.xml"_s,
        R"(<DatabaseStructure><Database><Tables><Table Name="kinds"><SQL><Table>CREATE TABLE kinds
(id integer PRIMARY KEY, name varchar(5) NOT NULL, since timestamp)</Table></SQL>
<Data KeyColumn="id"><Rows><row id="1" name="ok" since="2007-11-28T10:00:00"/><row id="2" name="far too long"/>
<row id="3" name="fine"/><row id="1" name="again"/></Rows></Data></Table></Tables></Database></DatabaseStructure>)");
    ASSERT_TRUE(cluster->psqlSteps({{u"postgres"_s, u"CREATE DATABASE seed_rows"_s}}));
    auto admin = connectedAdmin(cluster);
    const Reported run = verify(*admin, u"seed_rows"_s, file);
    EXPECT_TRUE(run.result);
    EXPECT_TRUE(run.trace.contains(u"Error adding data to Table (kinds)"_s))
        << run.trace.toStdString();
    EXPECT_TRUE(run.trace.contains(u"value too long"_s)) << run.trace.toStdString();
    EXPECT_EQ(
        scalar(cluster, u"seed_rows"_s,
               u"SELECT string_agg(id || name || coalesce(since::text, '-'), ',' ORDER BY id) "
               u"FROM kinds"_s),
        u"1ok2007-11-28 10:00:00,3fine-"_s);
    // The rows that went in are there on the next run; the refused one is tried again.
    const Reported again = verify(*admin, u"seed_rows"_s, file);
    EXPECT_EQ(again.statements.size(), 1) << again.statements.join(u'\n').toStdString();
}

TEST(StructurePostgres, ASecondRunWhileTheLockIsHeldIsRefused)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(cluster->psqlSteps({{u"postgres"_s, u"CREATE DATABASE chinook_locked"_s}}));
    auto holder = connectedAdmin(cluster);
    ManagedDatabase *held = holder->GetDatabase(u"chinook_locked"_s);
    ASSERT_NE(held, nullptr);
    ASSERT_TRUE(held->session().value()->query(u"SELECT pg_try_advisory_lock(4803577281)"_s));

    auto admin = connectedAdmin(cluster);
    const Reported refused = verify(*admin, u"chinook_locked"_s);
    EXPECT_FALSE(refused.result);
    EXPECT_EQ(admin->LastError(),
              u"The structure of database (chinook_locked) is being updated by another run. Try "
              u"again when that run has finished."_s);
    EXPECT_TRUE(refused.progress.isEmpty() && refused.statements.isEmpty());
}

TEST(StructurePostgres, CreateFailuresAreDiagnosedFromTheServersErrors)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    MGImport8::Test::TempFolder folder;
    struct Case
    {
        const char *name;
        QString folder;
        QString create;
        QString messageStart;
    };
    const QString tablespace
        = u"CREATE TABLESPACE \"%DatabaseName%\" LOCATION '%DatabaseFilePath%space'"_s;
    const Case cases[] = {
        {"missing_folder", u"/nonexistent/folder"_s, tablespace,
         u"The target directory does not exist\r\nPlease select an existing directory\r\n\r\n"
         u"Extra SQL Error Information\r\n\r\n"_s},
        // The server's account may not write the test's own temporary folder.
        {"no_rights", folder.path(), tablespace,
         u"The selected database instance does not have rights to the directory!\r\nAdd "
         u"read/write rights to the directory for the account running PostgreSQL\r\n\r\nExtra "
         u"SQL Error Information\r\n\r\n"_s},
        {"other_error", folder.path(),
         u"CREATE DATABASE \"%DatabaseName%\" WITH NOSUCHOPTION = 1 -- %DatabaseFilePath%"_s,
         u"Error reported during database creation\r\n\r\nExtra SQL Error Information\r\n\r\n"_s},
    };
    auto admin = connectedAdmin(cluster);
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        const QString file = folder.write(QString::fromLatin1(c.name) + u".xml"_s,
                                          (u"<DatabaseStructure><Database><SQL><Database>"_s
                                           + c.create.toHtmlEscaped()
                                           + u"</Database></SQL></Database></DatabaseStructure>"_s)
                                              .toUtf8());
        const qsizetype traceBefore = admin->UpdateTrace().size();
        EXPECT_FALSE(admin->BuildDatabase(u"never_made"_s, c.folder, file));
        EXPECT_TRUE(admin->LastError().startsWith(c.messageStart))
            << admin->LastError().toStdString();
        // These diagnoses go to the last error only.
        EXPECT_EQ(admin->UpdateTrace().size(), traceBefore);
    }
}

TEST(StructurePostgres, ExportBuildExportRoundTrips)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    MGImport8::Test::TempFolder folder;
    auto admin = connectedAdmin(cluster);
    ASSERT_TRUE(build(*admin, u"chinook_source"_s).result);
    ASSERT_TRUE(cluster->psqlSteps(
        {{u"chinook_source"_s, u"CREATE TABLE serial_notes (id serial PRIMARY KEY, note "
                               u"varchar(30) DEFAULT 'none' NOT NULL, at timestamp);"
                               u"INSERT INTO serial_notes (note, at) VALUES ('a', "
                               u"'2007-11-28 10:00'), ('b', NULL)"_s}}));
    const QStringList data{u"genre"_s, u"SERIAL_NOTES"_s};
    const QString first = folder.path() + u"/first.xml"_s;
    ASSERT_TRUE(admin->WriteXMLStructureFile(admin->GetDatabase(u"chinook_source"_s), first, data))
        << admin->LastError().toStdString();

    // Verifying a database against its own export changes nothing.
    const Reported own = verify(*admin, u"chinook_source"_s, first);
    EXPECT_TRUE(own.result) << admin->LastError().toStdString();
    EXPECT_EQ(own.ddl(), QStringList()) << own.trace.toStdString();

    ASSERT_TRUE(admin->BuildDatabase(u"chinook_copy"_s, u"/tmp"_s, first))
        << admin->LastError().toStdString();
    const QString second = folder.path() + u"/second.xml"_s;
    ASSERT_TRUE(admin->WriteXMLStructureFile(admin->GetDatabase(u"chinook_copy"_s), second, data));
    QString exported = QString::fromUtf8(MGImport8::Test::fileBytes(first));
    exported.replace(u"Name=\"chinook_source\""_s, u"Name=\"chinook_copy\""_s);
    EXPECT_EQ(exported.toStdString(), MGImport8::Test::fileBytes(second).toStdString());
    EXPECT_TRUE(exported.contains(u"<row id=\"1\" note=\"a\" at=\"2007-11-28 10:00:00\" />"_s));
    EXPECT_TRUE(exported.contains(u"IsRowGuidCol=\"False\""_s));
}
