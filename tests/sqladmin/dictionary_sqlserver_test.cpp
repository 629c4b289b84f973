// The data dictionary on SQL Server, from the catalogue rows it answers with: types and lengths
// as the server reports them (nvarchar in characters, max as -1), dbo tables by their bare
// names and others with their schema, and the same selection rules as on PostgreSQL.
#include <MGImport8/sqladmin.h>

#include "scriptedsession.h"
#include "sqladmin/admin/sqladmin_p.h"
#include "testsupport.h"

#include <QFile>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using MGImport8::SQLAdmin;
using MGImport8::SqlAdmin::SQLAdminAccess;
using MGImport8::Test::ScriptedServer;
using MGImport8::Test::TempFolder;

TEST(DictionarySqlServer, TypesAndNamesAsTheServerReportsThem)
{
    ScriptedServer server;
    SQLAdmin admin;
    SQLAdminAccess::of(admin).factory = server.factory();
    SQLAdminAccess::of(admin).probeLibrary = [](auto) {
        return MGImport8::ManagementLibraryProbe{true, 8, 5};
    };
    admin.setServerName(u"SQLBOX"_s);
    server.answers = {
        {u"SUSER_SNAME()"_s, {{u"sa"_s}}, {}},
        {u"sys.databases"_s, {{u"master"_s}, {u"NODES"_s}}, {}},
        {u"FROM sys.tables"_s, {{u"audit"_s, u"Log"_s}, {u"dbo"_s, u"Nodes"_s}}, {}},
        {u"FROM sys.columns"_s,
         {{u"IPAddress"_s, u"nvarchar"_s, 50, false, false, QVariant(), QVariant()},
          {u"Notes"_s, u"nvarchar"_s, -1, true, false, QVariant(), QVariant()},
          {u"NodeID"_s, u"int"_s, 4, false, true, QVariant(), QVariant()}},
         {}},
    };
    ASSERT_TRUE(admin.Connect(false));
    TempFolder folder;
    const QString file = folder.path() + u"/nodes.xml"_s;
    ASSERT_TRUE(admin.WriteDataDictionary(u"nodes"_s, file)) << admin.LastError().toStdString();
    QString log;
    ASSERT_TRUE(admin.UpdateDataDictionary(u"NODES"_s, u"AUDIT.LOG"_s, file, log));
    EXPECT_EQ(log.count(u"Added Field"_s), 3);
    QFile written(file);
    ASSERT_TRUE(written.open(QIODevice::ReadOnly));
    const QByteArray text = written.readAll();
    for (const char *expected :
         {"<Database Name=\"NODES\">", "<Table Name=\"audit.Log\">", "<Table Name=\"Nodes\">",
          "<Column Name=\"IPAddress\" Parse=\"\" Format=\"\" Template=\"\" Units=\"\" "
          "Length=\"50\" DataType=\"nvarchar\" Description=\"\" />",
          "<Column Name=\"Notes\" Parse=\"\" Format=\"\" Template=\"\" Units=\"\" Length=\"-1\" "
          "DataType=\"nvarchar\" Description=\"\" />",
          "DataType=\"int\" Length=\"4\" Width=\"\""}) {
        EXPECT_TRUE(text.contains(expected)) << expected << "\n" << text.constData();
    }
    EXPECT_EQ(text.count("<Field "), 3);
}
