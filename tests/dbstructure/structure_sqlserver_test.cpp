// Structure maintenance on SQL Server, through the statements it sends and the sys.* answers it
// gets (the PostgreSQL suite runs the same decisions on a real server; with MGIMPORT8_TEST_MSSQL
// the last test runs on a real SQL Server):
// - a verification sends its repairs as SQL Server statements: function replaced by date, column
//   widened and added, default constraint by name, key added, indexes rebuilt WITH DROP_EXISTING
//   (fill factor kept), seed rows by key;
// - a file that is not XML runs through with nothing done; failed creations stop the run with
//   their messages, a table after exactly one retry;
// - an identity the database lacks is shown through the installed presenter, or without one
//   written to the trace, and nothing is changed for it;
// - BuildDatabase puts the name and folder into the CREATE and diagnoses its failure;
//   CreateDatabase attaches the copied file.
#include <MGImport8/sqladmin.h>

#include "admintesting.h"
#include "dbstructure/structuremaintenance.h"
#include "scriptedsession.h"
#include "sqladmin/manageddatabase.h"

#include "testsupport.h"

#include <QDateTime>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using MGImport8::SQLAdmin;
using MGImport8::SqlAdmin::SQLAdminAccess;
using MGImport8::Test::ScriptedServer;

namespace {

const QString structureFile = QStringLiteral(MGIMPORT8_DBSTRUCTURE_DATA "/chinook_sqlserver.xml");
const QString crlf = u"\r\n"_s;
const QString error = u"[FreeTDS][SQL Server]Incorrect syntax near 'x'."_s;

// A database with an old function, Genre with a narrow column and two of its four seed rows,
// and Album without its key, its third column and its default.
struct Fixture
{
    ScriptedServer server;
    SQLAdmin admin;
    QStringList changes;

    Fixture()
    {
        server.serve(admin, u"SQLBOX"_s);
        SQLAdminAccess::of(admin).structureStatement = [this](const QString &text) {
            changes.append(text);
        };
        const QVariant none;
        const QVariantList album = {u"dbo"_s, u"Album"_s}, genre = {u"dbo"_s, u"Genre"_s};
        server.answers = {
            {u"SUSER_SNAME()"_s, {{u"sa"_s}}},
            {u"IS_SRVROLEMEMBER"_s, {{1}}},
            {u"sys.databases"_s, {{u"master"_s}, {u"NODES"_s}}},
            {u"sp_getapplock"_s, {{1}}},
            {u"o.type IN ('FN'"_s,
             {{u"dbo"_s, u"fn_AlbumTrackCount"_s, QDateTime(QDate(2008, 1, 1), QTime(23, 59)),
               u"..."_s}}},
            {u"FROM sys.tables t"_s, {{u"dbo"_s, u"Album"_s}, {u"dbo"_s, u"Genre"_s}}},
            // The whole database's columns, keys and indexes, read once per run.
            {u"FROM sys.columns c JOIN sys.tables t"_s,
             {{u"dbo"_s, u"Album"_s, u"AlbumId"_s, u"int"_s, 4, 0, 0, none, none},
              {u"dbo"_s, u"Album"_s, u"Title"_s, u"nvarchar"_s, 160, 0, 0, none, none},
              {u"dbo"_s, u"Genre"_s, u"GenreId"_s, u"int"_s, 4, 0, 0, none, none},
              {u"dbo"_s, u"Genre"_s, u"Name"_s, u"nvarchar"_s, 50, 1, 0, none, none}}},
            {u"FROM sys.key_constraints k JOIN sys.tables t"_s,
             {{u"dbo"_s, u"Genre"_s, u"PK_Genre"_s, 1, u"GenreId"_s}}},
            {u"FROM sys.indexes i JOIN sys.tables t"_s,
             {{u"dbo"_s, u"Album"_s, u"IFK_AlbumArtistId"_s, 0, 0, 0, u"Title"_s},
              {u"dbo"_s, u"Album"_s, u"IX_AlbumTitle"_s, 0, 0, 0, u"Title"_s},
              {u"dbo"_s, u"Genre"_s, u"PK_Genre"_s, 1, 1, 1, u"GenreId"_s}}},
            // A table is read on its own once it has changed.
            {u"FROM sys.columns c JOIN sys.types"_s,
             {{u"GenreId"_s, u"int"_s, 4, 0, 0, none, none},
              {u"Name"_s, u"nvarchar"_s, 50, 1, 0, none, none}},
             {},
             genre},
            {u"FROM sys.columns c JOIN sys.types"_s,
             {{u"AlbumId"_s, u"int"_s, 4, 0, 0, none, none},
              {u"Title"_s, u"nvarchar"_s, 160, 0, 0, none, none}},
             {},
             album},
            {u"sys.key_constraints"_s, {{u"PK_Genre"_s, 1, u"GenreId"_s}}, {}, genre},
            {u"FROM sys.indexes i"_s,
             {{u"IFK_AlbumArtistId"_s, 0, 0, 0, u"Title"_s},
              {u"IX_AlbumTitle"_s, 0, 0, 0, u"Title"_s}},
             {},
             album},
            {u"CONVERT(nvarchar(4000), [GenreId])"_s, {{1}, {2}}},
        };
        EXPECT_TRUE(admin.Connect(true)) << admin.LastError().toStdString();
    }
    void fail(const QString &contains, const QString &text)
    {
        server.answers.prepend({contains, {}, text});
    }
    bool verify(const QString &file = structureFile)
    {
        return admin.UpdateDatabaseStructure(admin.GetDatabase(u"nodes"_s), file);
    }
};

} // namespace

TEST(StructureSqlServer, RepairsAreSentAsStatements)
{
    Fixture f;
    ASSERT_TRUE(f.verify()) << f.admin.LastError().toStdString();
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
    // Genre's key and columns come from the whole-database read; only the changed tables are
    // read again on their own.
    EXPECT_EQ(f.server.texts().filter(u"FROM sys.columns c JOIN sys.tables t"_s).size(), 1);
}

TEST(StructureSqlServer, NonXmlFilesDoNothingAndFailedCreationsStopTheRun)
{
    MGImport8::Test::TempFolder folder;
    struct Case
    {
        const char *name;
        QString failing;
        QString lastError;
        QByteArray file = {}; // empty: the Chinook structure
    };
    const Case cases[] = {
        {"not_xml", {}, {}, "CREATE TABLE x (a int)"},
        {"view", u"CREATE VIEW"_s,
         u"Cannot create new View (vw_AlbumTitles)"_s + crlf + error + crlf},
        {"function", u"CREATE FUNCTION"_s,
         u"Cannot create new Function (fn_AlbumTrackCount)"_s + crlf + error + crlf},
        // The index fails on the check and on its one retry; the run stops there.
        {"index", u"[IFK_AlbumArtistId] ON [dbo].[Album] ([ArtistId]) WITH DROP_EXISTING"_s,
         u"Cannot add index (IFK_AlbumArtistId) to Album"_s + crlf + error},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Fixture f;
        if (!c.failing.isEmpty())
            f.fail(c.failing, error);
        EXPECT_EQ(f.verify(c.file.isEmpty() ? structureFile
                                            : folder.write(QString::fromLatin1(c.name), c.file)),
                  c.lastError.isEmpty());
        EXPECT_EQ(f.admin.LastError(), c.lastError);
        EXPECT_TRUE(f.admin.UpdateTrace().contains(c.lastError));
        EXPECT_TRUE(c.file.isEmpty() || f.changes.isEmpty());
    }

    Fixture missing;
    missing.server.answers.prepend({u"FROM sys.tables t"_s, {{u"dbo"_s, u"Album"_s}}});
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
              {u"dbo"_s, u"Genre"_s, u"Name"_s, u"nvarchar"_s, 120, 1, 0, QVariant(), QVariant()}}});
        EXPECT_TRUE(f.verify());
        EXPECT_EQ(g_presented,
                  presenter ? QStringList{u"Identity Fields Missing From Database|"_s + message}
                            : QStringList());
        EXPECT_EQ(f.admin.UpdateTrace().contains(message + crlf), !presenter);
        EXPECT_TRUE(f.changes.filter(u"GenreId"_s).isEmpty())
            << f.changes.join(u'\n').toStdString();
    }
    MGImport8::DbStructure::setCriticalMessagePresenter(nullptr);
}

TEST(StructureSqlServer, BuildAndCreateSendTheirCommands)
{
    MGImport8::Test::TempFolder folder;
    const auto structure = [&folder](const char *name, const QString &create) {
        return folder.write(QString::fromLatin1(name),
                            (u"<DatabaseStructure><Database><SQL><Database>"_s + create
                             + u"</Database></SQL></Database></DatabaseStructure>"_s)
                                .toUtf8());
    };
    const QString none = folder.path() + u"/none.xml"_s;
    const QString lookup = u"Directory lookup for the file \"D:\\No\\Music.mdf\" failed with the "
                           u"operating system error 3"_s;
    struct Case
    {
        const char *name;
        QString file;
        QString message; // empty: built
        QString path = u"D:\\Data"_s;
        QString serverError = {};
    };
    const Case cases[] = {
        {"no_create", structure("a", u"ALTER DATABASE x"_s),
         u"Cannot locate database CREATE command in Structure file ("_s},
        {"no_name", structure("b", u"CREATE DATABASE x %DatabaseFilePath%"_s),
         u"CREATE command missing %DatabaseName% in Structure file ("_s},
        {"no_path", structure("c", u"CREATE DATABASE [%DatabaseName%]"_s),
         u"Cannot CREATE command missing %DatabaseFilePath% in Structure file ("_s},
        {"no_file", none, u"Database Structure file ("_s + none + u") does not exist."_s},
        {"folder", structureFile, {}},
        {"folder_with_backslash", structureFile, {}, u"D:\\Data\\"_s},
        {"no_directory", structureFile,
         u"The target directory does not exist\r\nPlease select an existing directory\r\n\r\n"
         u"Extra SQL Error Information\r\n\r\n"_s
             + lookup,
         u"D:\\No"_s, lookup},
        {"no_rights", structureFile,
         u"The selected database instance does not have NTFS rights to the directory!"_s,
         u"D:\\No"_s, u"Operating system error 5: Access is denied."_s},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Fixture f;
        if (!c.serverError.isEmpty())
            f.fail(u"CREATE DATABASE"_s, c.serverError);
        f.server.sent.clear();
        const QString before = f.admin.UpdateTrace();
        EXPECT_EQ(f.admin.BuildDatabase(u"Music"_s, c.path, c.file), c.message.isEmpty());
        EXPECT_TRUE(f.admin.LastError().startsWith(c.message)) << f.admin.LastError().toStdString();
        if (c.message.isEmpty()) {
            EXPECT_EQ(f.server.sent.first().database, u"master"_s);
            EXPECT_EQ(f.server.sent.first().text,
                      u"CREATE DATABASE [Music] ON PRIMARY (NAME = N'Music', FILENAME = "
                      u"N'D:\\Data\\Music.mdf') LOG ON (NAME = N'Music_log', FILENAME = "
                      u"N'D:\\Data\\Music_log.ldf')"_s);
        } else {
            // A refused file is traced; a refusal of the server goes to the last error only.
            EXPECT_EQ(f.admin.UpdateTrace(),
                      c.serverError.isEmpty() ? before + f.admin.LastError() + crlf : before);
        }
    }

    Fixture f;
    const QString source = folder.write(u"template.mdf"_s, "data file");
    const QString target = folder.path() + u"/Music.mdf"_s;
    ASSERT_TRUE(f.admin.CreateDatabase(u"Music"_s, target, source));
    EXPECT_EQ(f.server.texts().last(),
              u"EXEC sp_attach_single_file_db @dbname = 'Music', @physname = '"_s + target + u"'"_s);
    EXPECT_FALSE(f.admin.CreateDatabase(u"Music"_s, target, folder.path() + u"/none.mdf"_s));
    EXPECT_EQ(f.admin.LastError(), u"Cannot create database."_s + crlf + u"SQL Database Template ("_s
                                       + folder.path() + u"/none.mdf) does not exist."_s + crlf
                                       + u"This file must exist in order to create the SQL Server "
                                         u"database."_s);
}

// The same verification on a real SQL Server, when MGIMPORT8_TEST_MSSQL holds a FreeTDS
// connection string ("SERVER=host;PORT=1433;UID=sa;PWD=..."): build, then a second run changes
// nothing.
TEST(StructureSqlServer, BuildsAndVerifiesOnARealServer)
{
    MGIMPORT8_REQUIRE_MSSQL(admin, server);
    ASSERT_TRUE(admin->Connect(true)) << admin->LastError().toStdString();
    const QString name = u"mgimport8_structure_"_s
                         + QString::number(QDateTime::currentSecsSinceEpoch());
    ASSERT_TRUE(
        admin->BuildDatabase(name, admin->DefaultDataPath().section(u'\\', 0, -2), structureFile))
        << admin->LastError().toStdString();
    QStringList changes;
    SQLAdminAccess::of(*admin).structureStatement = [&](const QString &text) {
        changes.append(text);
    };
    EXPECT_TRUE(admin->UpdateDatabaseStructure(admin->GetDatabase(name), structureFile))
        << admin->LastError().toStdString();
    EXPECT_EQ(changes, QStringList());
}
