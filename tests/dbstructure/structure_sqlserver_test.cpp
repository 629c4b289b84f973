// Structure maintenance on SQL Server, through the statements it sends and the sys.* answers it
// gets (SQL Server cannot run here; with MGIMPORT8_TEST_MSSQL the last test runs on a real one):
// - a verification writes the exact trace, events and progress, and sends the repairs as
//   statements: function replaced by date, column widened and added, default constraint by
//   name, key added, indexes rebuilt WITH DROP_EXISTING (fill factor kept), seed rows by key;
// - a file that cannot be read stops the run before any event; one that is not XML, or is huge
//   and empty of objects, runs through with nothing done;
// - failed creations stop the run with their messages, a table after exactly one retry;
// - the table version check and the drops keep their always-true decisions and texts;
// - an identity the database lacks is shown through the installed presenter, or without one
//   written to the trace, and nothing is changed for it;
// - BuildDatabase puts the name and folder into the CREATE and diagnoses its failure;
//   CreateDatabase attaches the copied file.
#include <MGImport8/sqladmin.h>

#include "dbstructure/structuremaintenance.h"
#include "scriptedsession.h"
#include "sqladmin/admin/sqladmin_p.h"
#include "sqladmin/manageddatabase.h"

#include "testsupport.h"

#include <QDateTime>
#include <QFile>
#include <algorithm>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using MGImport8::SQLAdmin;
using MGImport8::SqlAdmin::Rows;
using MGImport8::SqlAdmin::SQLAdminAccess;
using MGImport8::Test::ScriptedServer;

namespace {

const QString structureFile = QStringLiteral(MGIMPORT8_DBSTRUCTURE_DATA "/chinook_sqlserver.xml");
const QString crlf = u"\r\n"_s;
const QString password = u"Secret;1'"_s;

struct Fixture
{
    ScriptedServer server;
    SQLAdmin admin;
    QStringList events;
    QList<int> progress;
    QStringList changes;

    Fixture()
    {
        SQLAdminAccess::of(admin).factory = server.factory();
        SQLAdminAccess::of(admin).structureStatement = [this](const QString &text) {
            changes.append(text);
        };
        admin.setServerName(u"SQLBOX"_s);
        admin.setUseIntegratedNTSecurity(false);
        admin.setLoginName(u"sa"_s);
        admin.setLoginPassword(password);
        QObject::connect(&admin, &SQLAdmin::AlteringDatabase,
                         [this](const QString &text) { events.append(text); });
        QObject::connect(&admin, &SQLAdmin::UpdateDBStructureProgress,
                         [this](int percent) { progress.append(percent); });
        server.answers = {
            {u"SUSER_SNAME()"_s, {{u"sa"_s}}, {}, {}},
            {u"IS_SRVROLEMEMBER"_s, {{1}}, {}, {}},
            {u"sys.databases"_s, {{u"master"_s}, {u"NODES"_s}}, {}, {}},
            {u"sp_getapplock"_s, {{1}}, {}, {}},
            {u"o.type IN ('FN'"_s,
             {{u"dbo"_s, u"fn_AlbumTrackCount"_s, QDateTime(QDate(2008, 1, 1), QTime(23, 59)),
               u"..."_s}},
             {},
             {}},
            {u"FROM sys.tables t"_s, {{u"dbo"_s, u"Album"_s}, {u"dbo"_s, u"Genre"_s}}, {}, {}},
            // The whole database's columns, keys and indexes, read once per run.
            {u"FROM sys.columns c JOIN sys.tables t"_s,
             {{u"dbo"_s, u"Album"_s, u"AlbumId"_s, u"int"_s, 4, 0, 0, QVariant(), QVariant()},
              {u"dbo"_s, u"Album"_s, u"Title"_s, u"nvarchar"_s, 160, 0, 0, QVariant(), QVariant()},
              {u"dbo"_s, u"Genre"_s, u"GenreId"_s, u"int"_s, 4, 0, 0, QVariant(), QVariant()},
              {u"dbo"_s, u"Genre"_s, u"Name"_s, u"nvarchar"_s, 50, 1, 0, QVariant(), QVariant()}},
             {},
             {}},
            {u"FROM sys.key_constraints k JOIN sys.tables t"_s,
             {{u"dbo"_s, u"Genre"_s, u"PK_Genre"_s, 1, u"GenreId"_s}},
             {},
             {}},
            {u"FROM sys.indexes i JOIN sys.tables t"_s,
             {{u"dbo"_s, u"Album"_s, u"IFK_AlbumArtistId"_s, 0, 0, 0, u"Title"_s},
              {u"dbo"_s, u"Album"_s, u"IX_AlbumTitle"_s, 0, 0, 0, u"Title"_s},
              {u"dbo"_s, u"Genre"_s, u"PK_Genre"_s, 1, 1, 1, u"GenreId"_s}},
             {},
             {}},
            // A table is read on its own once it has changed.
            {u"FROM sys.columns c JOIN sys.types"_s,
             {{u"GenreId"_s, u"int"_s, 4, 0, 0, QVariant(), QVariant()},
              {u"Name"_s, u"nvarchar"_s, 50, 1, 0, QVariant(), QVariant()}},
             {},
             {u"dbo"_s, u"Genre"_s}},
            {u"FROM sys.columns c JOIN sys.types"_s,
             {{u"AlbumId"_s, u"int"_s, 4, 0, 0, QVariant(), QVariant()},
              {u"Title"_s, u"nvarchar"_s, 160, 0, 0, QVariant(), QVariant()}},
             {},
             {u"dbo"_s, u"Album"_s}},
            {u"sys.key_constraints"_s,
             {{u"PK_Genre"_s, 1, u"GenreId"_s}},
             {},
             {u"dbo"_s, u"Genre"_s}},
            {u"FROM sys.indexes i"_s,
             {{u"IFK_AlbumArtistId"_s, 0, 0, 0, u"Title"_s},
              {u"IX_AlbumTitle"_s, 0, 0, 0, u"Title"_s}},
             {},
             {u"dbo"_s, u"Album"_s}},
            {u"CONVERT(nvarchar(4000), [GenreId])"_s, {{1}, {2}}, {}, {}},
        };
        EXPECT_TRUE(admin.Connect(true)) << admin.LastError().toStdString();
    }
    void fail(const QString &contains, const QString &error)
    {
        server.answers.prepend({contains, {}, error, {}});
    }
    bool verify()
    {
        return admin.UpdateDatabaseStructure(admin.GetDatabase(u"nodes"_s), structureFile);
    }
};

} // namespace

TEST(StructureSqlServer, RepairsAreSentAsStatementsWithTheExactTrace)
{
    Fixture f;
    ASSERT_TRUE(f.verify()) << f.admin.LastError().toStdString();
    EXPECT_EQ(f.admin.UpdateTrace(),
              u"Verifying Database structure : chinook_sqlserver"_s + crlf + crlf
                  + u"Checking Creation Date of Function fn_AlbumTrackCount"_s + crlf
                  + u"Removing Old Function (fn_AlbumTrackCount)"_s + crlf
                  + u"Adding New Function fn_AlbumTrackCount"_s + crlf
                  + u"Added Function (fn_AlbumTrackCount)"_s + crlf
                  + u"Checking Structure of Table Genre"_s + crlf
                  + u"Changed Genre.Name DataType to nvarchar(120)"_s + crlf
                  + u"Data Added to Table (Genre) with no errors"_s + crlf
                  + u"Checking Structure of Table Album"_s + crlf
                  + u"Added Album.ArtistId to Database"_s + crlf
                  + u"Adding Primary Key on Database Table Album"_s + crlf
                  + u"Primary Key  (Album) to NODES added."_s + crlf
                  + u"Changing Index on Database Table Album"_s + crlf
                  + u"Added Index (IFK_AlbumArtistId) to Album"_s + crlf
                  + u"Changing Index on Database Table Album"_s + crlf
                  + u"Added Index (IX_AlbumTitle) to Album"_s + crlf
                  + u"Checking Create Date of View vw_AlbumTitles"_s + crlf
                  + u"Adding New View vw_AlbumTitles"_s + crlf + u"Added View (vw_AlbumTitles)"_s
                  + crlf);
    ASSERT_EQ(f.changes.size(), 11) << f.changes.join(u'\n').toStdString();
    // The default constraint is found by its column, whatever its name.
    EXPECT_TRUE(f.changes.at(4).startsWith(u"DECLARE @name sysname = (SELECT dc.name FROM "
                                           u"sys.default_constraints dc"_s));
    EXPECT_TRUE(f.changes.at(4).contains(u"OBJECT_ID(N'[dbo].[Album]') AND c.name = N'Title'"_s));
    f.changes.removeAt(4);
    const QStringList expected{
        u"DROP FUNCTION [dbo].[fn_AlbumTrackCount]"_s,
        u"CREATE FUNCTION dbo.fn_AlbumTrackCount (@AlbumId int) RETURNS int AS BEGIN RETURN "
        u"(SELECT COUNT(*) FROM dbo.Track WHERE AlbumId = @AlbumId) END"_s,
        u"ALTER TABLE [dbo].[Genre] ALTER COLUMN [Name] nvarchar(120) NULL"_s,
        u"INSERT INTO [dbo].[Genre] ([GenreId], [Name]) VALUES (?, ?), (?, ?)"_s,
        u"ALTER TABLE [dbo].[Album] ADD CONSTRAINT [DF_Album_Title] DEFAULT (N'') FOR [Title]"_s,
        u"ALTER TABLE [dbo].[Album] ADD [ArtistId] int NOT NULL"_s,
        u"ALTER TABLE [dbo].[Album] ADD CONSTRAINT [PK_Album] PRIMARY KEY CLUSTERED ([AlbumId]) "
        u"ON [PRIMARY]"_s,
        u"CREATE INDEX [IFK_AlbumArtistId] ON [dbo].[Album] ([ArtistId]) WITH DROP_EXISTING ON "
        u"[PRIMARY]"_s,
        u"CREATE INDEX [IX_AlbumTitle] ON [dbo].[Album] ([Title], [AlbumId]) WITH DROP_EXISTING, "
        u"FILLFACTOR = 90 ON [PRIMARY]"_s,
        u"CREATE VIEW dbo.vw_AlbumTitles AS SELECT AlbumId, Title FROM dbo.Album"_s,
    };
    EXPECT_EQ(f.changes.join(u'\n').toStdString(), expected.join(u'\n').toStdString());

    // The new seed rows by key, " 3 " trimmed, in one statement behind one savepoint.
    QList<QVariantList> inserted;
    for (const auto &sent : std::as_const(f.server.sent)) {
        if (sent.text.startsWith(u"INSERT INTO [dbo].[Genre]"_s))
            inserted.append(sent.values);
    }
    EXPECT_EQ(inserted,
              (QList<QVariantList>{{u" 3 "_s, u"Metal"_s, u"4"_s, u"Alternative & Punk"_s}}));
    EXPECT_EQ(f.server.texts().count(u"SAVE TRANSACTION mgimport8_seed_row"_s), 1);

    EXPECT_EQ(f.progress, (QList<int>{0, 100, 0, 50, 50, 100, 0, 100}));
    // Genre's key and columns come from the whole-database read; only the changed tables are
    // read again on their own.
    const QStringList texts = f.server.texts();
    EXPECT_EQ(std::count_if(texts.cbegin(), texts.cend(),
                            [](const QString &text) {
                                return text.contains(u"FROM sys.columns c JOIN sys.tables t"_s);
                            }),
              1);
    EXPECT_EQ(f.events.mid(0, 4),
              (QStringList{u"Checking Creation Date of Function fn_AlbumTrackCount"_s,
                           u"Removing Old Function fn_AlbumTrackCount"_s,
                           u"Adding New Function fn_AlbumTrackCount"_s,
                           u"Checking Structure of Table Genre"_s}));
    EXPECT_TRUE(f.events.contains(u"Adding Data to Table Genre: 1"_s));
    EXPECT_TRUE(f.events.contains(u"Adding Column ArtistId to Table Album"_s));
    EXPECT_EQ(f.events.last(), u"Adding New View vw_AlbumTitles"_s);
    EXPECT_FALSE(f.admin.UpdateTrace().contains(password));
}

TEST(StructureSqlServer, UnreadableFilesStopAndNonXmlFilesDoNothing)
{
    MGImport8::Test::TempFolder folder;
    {
        Fixture f;
        const QString missing = folder.path() + u"/missing.xml"_s;
        EXPECT_FALSE(f.admin.UpdateDatabaseStructure(f.admin.GetDatabase(u"nodes"_s), missing));
        EXPECT_TRUE(f.admin.LastError().startsWith(u"Cannot open Database Structure file ("_s
                                                   + missing + u")\r\n\r\n"_s));
        EXPECT_EQ(f.admin.UpdateTrace(),
                  u"Verifying Database structure : missing\r\n\r\n"_s + f.admin.LastError() + crlf);
        EXPECT_TRUE(f.progress.isEmpty());
    }
    QByteArray huge = "<DatabaseStructure><Database><Tables>";
    for (int at = 0; at < 200000; ++at)
        huge += "<Nothing/>";
    const struct
    {
        const char *name;
        QByteArray text;
    } empty[] = {{"not_xml", "CREATE TABLE x (a int)"},
                 {"unclosed", "<DatabaseStructure><Database><Tables><Table Name=\"Genre\">"},
                 {"huge_unclosed", huge}};
    for (const auto &c : empty) {
        SCOPED_TRACE(c.name);
        Fixture f;
        const QString file = folder.write(QString::fromLatin1(c.name) + u".xml"_s, c.text);
        EXPECT_TRUE(f.admin.UpdateDatabaseStructure(f.admin.GetDatabase(u"nodes"_s), file));
        EXPECT_EQ(f.admin.UpdateTrace(),
                  u"Verifying Database structure : "_s + QString::fromLatin1(c.name) + crlf + crlf);
        EXPECT_EQ(f.progress, (QList<int>{0, 0, 0}));
        EXPECT_TRUE(f.changes.isEmpty());
    }
}

TEST(StructureSqlServer, FailedCreationsStopTheRunWithTheirMessages)
{
    struct Case
    {
        const char *name;
        QString failing;
        QString lastError;
        QString traceEnd;
    };
    const QString error = u"[FreeTDS][SQL Server]Incorrect syntax near 'x'."_s;
    const Case cases[] = {
        {"view", u"CREATE VIEW"_s,
         u"Cannot create new View (vw_AlbumTitles)"_s + crlf + error + crlf,
         u"Adding New View vw_AlbumTitles"_s + crlf + crlf
             + u"Cannot create new View "
               u"(vw_AlbumTitles)"_s
             + crlf + error + crlf},
        {"function", u"CREATE FUNCTION"_s,
         u"Cannot create new Function (fn_AlbumTrackCount)"_s + crlf + error + crlf,
         u"Adding New Function fn_AlbumTrackCount"_s + crlf + crlf
             + u"Cannot create new Function (fn_AlbumTrackCount)"_s + crlf + error + crlf},
        // The index fails on the check and on its one retry; the run stops there.
        {"index", u"[IFK_AlbumArtistId] ON [dbo].[Album] ([ArtistId]) WITH DROP_EXISTING"_s,
         u"Cannot add index (IFK_AlbumArtistId) to Album"_s + crlf + error,
         u"Checking Structure of Table Album"_s + crlf + u"Added Album.ArtistId to Database"_s
             + crlf + u"Adding Primary Key on Database Table Album"_s + crlf
             + u"Primary Key  (Album) to NODES added."_s + crlf
             + u"Changing Index on Database Table Album"_s + crlf
             + u"Cannot add index (IFK_AlbumArtistId) to Album"_s + crlf + error + crlf},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Fixture f;
        f.fail(c.failing, error);
        EXPECT_FALSE(f.verify());
        EXPECT_EQ(f.admin.LastError(), c.lastError);
        EXPECT_TRUE(f.admin.UpdateTrace().endsWith(c.traceEnd))
            << f.admin.UpdateTrace().toStdString();
    }

    Fixture missing;
    missing.server.answers.prepend({u"FROM sys.tables t"_s, {{u"dbo"_s, u"Album"_s}}, {}, {}});
    missing.fail(u"CREATE TABLE [dbo].[Genre]"_s, error);
    EXPECT_FALSE(missing.verify());
    const QString once = u"Checking Structure of Table Genre"_s + crlf + u"Adding New Table Genre"_s
                         + crlf + crlf + u"Cannot create new Table (Genre)"_s + crlf + error + crlf;
    EXPECT_TRUE(missing.admin.UpdateTrace().endsWith(once + once));
    EXPECT_FALSE(missing.admin.UpdateTrace().contains(u"Table Album"_s));
}

namespace {

QStringList g_presented;

void recordPresented(const QString &title, const QString &text)
{
    g_presented.append(title + u'|' + text);
}

} // namespace

TEST(StructureSqlServer, AMissingIdentityIsShownAndLeftAlone)
{
    const QString message = u"The column GenreId in the table Genre does not have the Identity "
                            u"property enable.\r\n\r\nIt is beyond the capability of the Wizard "
                            u"to repair this database\r\n\r\nSearch on the keyword 'Identity' at "_s
                            + MGImport8::DbStructure::StructureMaintenance::supportPage
                            + u" for a procedure to resolve this problem"_s;
    for (const bool presenter : {false, true}) {
        SCOPED_TRACE(presenter ? "presenter" : "no presenter");
        g_presented.clear();
        MGImport8::DbStructure::setCriticalMessagePresenter(presenter ? &recordPresented : nullptr);
        Fixture f;
        f.server.answers.prepend(
            {u"FROM sys.columns c JOIN sys.tables t"_s,
             {{u"dbo"_s, u"Genre"_s, u"GenreId"_s, u"int"_s, 4, 0, 1, QVariant(), QVariant()},
              {u"dbo"_s, u"Genre"_s, u"Name"_s, u"nvarchar"_s, 120, 1, 0, QVariant(), QVariant()}},
             {},
             {}});
        EXPECT_TRUE(f.verify());
        EXPECT_EQ(g_presented,
                  presenter ? QStringList{u"Identity Fields Missing From Database|"_s + message}
                            : QStringList());
        EXPECT_EQ(f.admin.UpdateTrace().contains(message + crlf), !presenter);
        for (const QString &change : std::as_const(f.changes))
            EXPECT_FALSE(change.contains(u"GenreId"_s)) << change.toStdString();
    }
    MGImport8::DbStructure::setCriticalMessagePresenter(nullptr);
}

TEST(StructureSqlServer, VersionCheckAndDropsKeepTheirDecisions)
{
    Fixture f;
    struct Reporter : MGImport8::DbStructure::StructureReporter
    {
        QString traced;
        QStringList events;
        void trace(const QString &text) override { traced += text; }
        void altering(const QString &text) override { events.append(text); }
        void progress(int) override {}
        void yield() override {}
        void setLastError(const QString &) override {}
        void criticalMessage(const QString &, const QString &) override {}
    } reporter;
    MGImport8::DbStructure::StructureMaintenance
        maintenance(*f.admin.GetDatabase(u"nodes"_s), MGImport8::SqlAdmin::ServerKind::SqlServer,
                    reporter);
    EXPECT_FALSE(maintenance.tableNeedsUpgrade(u"Genre"_s, u"Name"_s));
    EXPECT_TRUE(maintenance.tableNeedsUpgrade(u"Genre"_s, u"name"_s));
    EXPECT_TRUE(maintenance.tableNeedsUpgrade(u"Nodes"_s, u"IP"_s));
    f.fail(u"DROP TABLE"_s, u"cannot drop"_s);
    EXPECT_TRUE(maintenance.dropTable(u"Genre"_s));
    EXPECT_TRUE(maintenance.dropTable(u"Nodes"_s));
    EXPECT_TRUE(maintenance.dropFunction(u"fn_x"_s));
    EXPECT_EQ(reporter.traced,
              u"Checking Table Version of Table Genre"_s + crlf
                  + u"Column (Name) WAS found in (Genre). Version check complete."_s + crlf
                  + u"Checking Table Version of Table Genre"_s + crlf
                  + u"Column (name) NOT found in (Genre). Version check complete."_s + crlf
                  + u"Checking Table Version of Table Nodes"_s + crlf
                  + u"Column (IP) NOT found in (Nodes). Table does not exist. Version check "
                    u"complete."_s
                  + crlf + u"Dropping Table Genre"_s + crlf
                  + u"Table (Genre) dropped successfully."_s + crlf + u"Dropping Table Nodes"_s
                  + crlf + u"Unable to drop Table (Nodes). Table does not exist."_s + crlf
                  + u"Dropping Function fn_x"_s + crlf + u"Function (fn_x) dropped successfully."_s
                  + crlf);
    EXPECT_EQ(reporter.events.first(), u"Checking Table VersionGenre"_s);
    EXPECT_TRUE(f.server.texts().contains(u"DROP TABLE Genre;"_s));
    EXPECT_TRUE(f.server.texts().contains(u"DROP FUNCTION fn_x;"_s));
}

TEST(StructureSqlServer, BuildAndCreateSendTheirCommands)
{
    MGImport8::Test::TempFolder folder;
    struct Case
    {
        const char *name;
        QString create;
        QString message;
    };
    const Case refused[] = {
        {"no_create", u"ALTER DATABASE x"_s,
         u"Cannot locate database CREATE command in Structure file ("_s},
        {"no_name", u"CREATE DATABASE x %DatabaseFilePath%"_s,
         u"CREATE command missing %DatabaseName% in Structure file ("_s},
        {"no_path", u"CREATE DATABASE [%DatabaseName%]"_s,
         u"Cannot CREATE command missing %DatabaseFilePath% in Structure file ("_s},
    };
    for (const Case &c : refused) {
        SCOPED_TRACE(c.name);
        Fixture f;
        const QString file = folder.write(QString::fromLatin1(c.name),
                                          (u"<DatabaseStructure><Database><SQL><Database>"_s
                                           + c.create
                                           + u"</Database></SQL></Database></DatabaseStructure>"_s)
                                              .toUtf8());
        EXPECT_FALSE(f.admin.BuildDatabase(u"N"_s, u"D:\\Data"_s, file));
        EXPECT_EQ(f.admin.LastError(), c.message + file + u')' + crlf);
        EXPECT_TRUE(f.admin.UpdateTrace().endsWith(f.admin.LastError() + crlf));
    }
    {
        Fixture f;
        const QString missing = folder.path() + u"/none.xml"_s;
        EXPECT_FALSE(f.admin.BuildDatabase(u"N"_s, u"D:\\Data"_s, missing));
        EXPECT_EQ(f.admin.LastError(),
                  u"Database Structure file ("_s + missing + u") does not exist."_s);
        EXPECT_EQ(f.admin.UpdateTrace(), f.admin.LastError() + crlf);
    }
    for (const QString &path : {u"D:\\Data"_s, u"D:\\Data\\"_s}) {
        Fixture f;
        f.server.sent.clear();
        ASSERT_TRUE(f.admin.BuildDatabase(u"Music"_s, path, structureFile));
        const auto create = f.server.sent.first();
        EXPECT_EQ(create.database, u"master"_s);
        EXPECT_EQ(create.text, u"CREATE DATABASE [Music] ON PRIMARY (NAME = N'Music', FILENAME = "
                               u"N'D:\\Data\\Music.mdf') LOG ON (NAME = N'Music_log', FILENAME = "
                               u"N'D:\\Data\\Music_log.ldf')"_s);
    }
    {
        Fixture f;
        const QString lookup = u"Directory lookup for the file \"D:\\No\\Music.mdf\" failed "
                               u"with the operating system error 3"_s;
        f.fail(u"CREATE DATABASE"_s, lookup);
        const QString before = f.admin.UpdateTrace();
        EXPECT_FALSE(f.admin.BuildDatabase(u"Music"_s, u"D:\\No"_s, structureFile));
        EXPECT_EQ(f.admin.LastError(), u"The target directory does not exist"_s + crlf
                                           + u"Please select an existing directory"_s + crlf + crlf
                                           + u"Extra SQL Error Information"_s + crlf + crlf
                                           + lookup);
        EXPECT_EQ(f.admin.UpdateTrace(), before);
        f.server.answers.removeFirst();
        f.fail(u"CREATE DATABASE"_s, u"Operating system error 5: Access is denied."_s);
        EXPECT_FALSE(f.admin.BuildDatabase(u"Music"_s, u"D:\\No"_s, structureFile));
        EXPECT_TRUE(f.admin.LastError().startsWith(
            u"The selected database instance does not have NTFS rights to the directory!"_s));
    }
    {
        Fixture f;
        const QString source = folder.write(u"template.mdf"_s, "data file");
        const QString target = folder.path() + u"/Music.mdf"_s;
        ASSERT_TRUE(f.admin.CreateDatabase(u"Music"_s, target, source));
        EXPECT_EQ(f.admin.LastError(), QString());
        EXPECT_EQ(f.server.texts().last(),
                  u"EXEC sp_attach_single_file_db @dbname = 'Music', @physname = '"_s + target
                      + u"'"_s);
        EXPECT_FALSE(f.admin.CreateDatabase(u"Music"_s, target, folder.path() + u"/none.mdf"_s));
        EXPECT_EQ(f.admin.LastError(),
                  u"Cannot create database."_s + crlf + u"SQL Database Template ("_s + folder.path()
                      + u"/none.mdf) does not exist."_s + crlf
                      + u"This file must exist in order to create the SQL Server database."_s);
    }
}

// The same verification on a real SQL Server, when MGIMPORT8_TEST_MSSQL holds a FreeTDS
// connection string ("SERVER=host;PORT=1433;UID=sa;PWD=..."): build, then a second run changes
// nothing.
TEST(StructureSqlServer, BuildsAndVerifiesOnARealServer)
{
    const QString target = qEnvironmentVariable("MGIMPORT8_TEST_MSSQL");
    if (target.isEmpty())
        GTEST_SKIP() << "MGIMPORT8_TEST_MSSQL names no SQL Server (a FreeTDS connection string)";
    QString server, login, secret;
    for (const QString &entry : target.split(u';', Qt::SkipEmptyParts)) {
        const QString key = entry.section(u'=', 0, 0).trimmed().toUpper();
        const QString value = entry.section(u'=', 1);
        if (key == u"SERVER"_s)
            server = value + server;
        else if (key == u"PORT"_s)
            server += u',' + value;
        else if (key == u"UID"_s)
            login = value;
        else if (key == u"PWD"_s)
            secret = value;
    }
    SQLAdmin admin;
    admin.setServerName(server);
    admin.setUseIntegratedNTSecurity(login.isEmpty());
    admin.setLoginName(login);
    admin.setLoginPassword(secret);
    ASSERT_TRUE(admin.Connect(true)) << admin.LastError().toStdString();
    const QString name = u"mgimport8_structure_"_s
                         + QString::number(QDateTime::currentSecsSinceEpoch());
    ASSERT_TRUE(admin.BuildDatabase(name, admin.DefaultDataPath().section(u'\\', 0, -2), structureFile))
        << admin.LastError().toStdString();
    QStringList changes;
    SQLAdminAccess::of(admin).structureStatement = [&](const QString &text) {
        changes.append(text);
    };
    EXPECT_TRUE(admin.UpdateDatabaseStructure(admin.GetDatabase(name), structureFile))
        << admin.LastError().toStdString();
    EXPECT_EQ(changes, QStringList());
}
