// SQLAdmin and its drivers without a server of their own:
// - the server type's spellings, and the properties in the member order hosts see;
// - BuildConnectionString to the character, for integrated, SQL and remembered database logins;
// - the settings element: attribute names exact on saving, any case on reading, last one wins;
// - TestDMO's decisions and command texts, FindDMODirectory's three places;
// - the translator to FreeTDS and PostgreSQL settings, server names of both kinds;
// - passwords scrubbed from driver texts; names refused where they would change a statement.
// - a server that accepts the connection and then says nothing is given up after the login
//   timeout through both Qt drivers; with MGIMPORT8_TEST_MSSQL, SQLAdmin runs on that server.
#include <MGImport8/sqladmin.h>

#include "admintesting.h"
#include "common/connectionstring.h"
#include "common/specialfolders.h"
#include "sqladmin/admin/sqladmin_p.h"
#include "sqladmin/connectiontranslator.h"
#include "sqladmin/manageddatabase.h"
#include "sqladmin/nameguard.h"
#include "sqladmin/qtsession.h"
#include "sqladmin/secrets.h"
#include "testsupport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QMetaProperty>
#include <QSqlDatabase>
#include <QSqlQuery>

#include <sstream>

#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <pugixml.hpp>

using namespace Qt::StringLiterals;
using namespace MGImport8::SqlAdmin;
using MGImport8::ConnectionString;
using MGImport8::SQLAdmin;
using MGImport8::Test::ScopedEnv;
using MGImport8::Test::TempFolder;

namespace {

const QString tail
    = u";Use Procedure for Prepare=1;Auto Translate=True;Packet Size=4096;Workstation "
      u"ID=Marrowgate;Use Encryption for Data=FALSE;Tag with column collation when "
      u"possible=False"_s;

// Far beyond the short login timeout the test sets: only a driver that ignores it gets here.
constexpr qint64 hangMilliseconds = 30 * 1000;
constexpr int shortLoginTimeout = 2;

// A listening socket on loopback that never accepts or answers: the kernel completes the
// connection, the server never speaks.
class SilentListener
{
public:
    SilentListener()
        : m_socket(MGImport8::Test::loopbackSocket(SOCK_STREAM, &m_port))
    {
        if (m_socket < 0 || ::listen(m_socket, 8) != 0)
            m_port = 0;
    }
    ~SilentListener()
    {
        if (m_socket >= 0)
            ::close(m_socket);
    }
    int port() const { return m_port; }

private:
    quint16 m_port = 0;
    int m_socket = -1;
};

} // namespace

TEST(SQLAdmin, ServerTypeAndMemberOrder)
{
    SQLAdmin admin;
    EXPECT_EQ(admin.ServerType(), u"SQLServer"_s);
    admin.setServerType(u"postgresql"_s);
    EXPECT_EQ(admin.ServerType(), u"PostgreSQL"_s);
    admin.setServerType(u"Oracle"_s);
    EXPECT_EQ(admin.ServerType(), u"SQLServer"_s) << "an unknown type falls back";

    EXPECT_EQ(MGImport8::Test::ownPropertyNames(SQLAdmin::staticMetaObject),
              (QStringList{u"Key"_s, u"DatabaseSecurityMode"_s, u"LastError"_s, u"SQLServer"_s,
                           u"LoginName"_s, u"LoginPassword"_s, u"UseIntegratedNTSecurity"_s,
                           u"ServerNetName"_s, u"SQlServerVersion"_s, u"Databases"_s,
                           u"Connected"_s, u"ServerName"_s, u"DefaultDataPath"_s, u"UpdateTrace"_s,
                           u"ServerType"_s}));
    // Scripts reach the database objects and connections through the meta-object too.
    for (const char *method : {"GetDatabase(QString)", "DatabaseConnection(QString,QString)"})
        EXPECT_GE(SQLAdmin::staticMetaObject.indexOfMethod(method), 0) << method;
}

TEST(SQLAdmin, BuildConnectionStringToTheCharacter)
{
    SQLAdmin admin;
    EXPECT_EQ(admin.BuildConnectionString(u"SRV"_s, u"DB"_s),
              u"Provider=SQLOLEDB.1;Integrated Security=SSPI;Persist Security Info=False;Initial "
              u"Catalog=DB;Data Source=SRV"_s
                  + tail);
    admin.setUseIntegratedNTSecurity(false);
    admin.setLoginName(u"sa"_s);
    admin.setLoginPassword(u"p'w;d"_s);
    EXPECT_EQ(admin.BuildConnectionString(u"HOST\\INST"_s, u"Nodes DB"_s),
              u"Provider=SQLOLEDB.1;User ID='sa';Password='p'w;d';Persist Security Info=False;"
              u"Initial Catalog=Nodes DB;Data Source=HOST\\INST"_s
                  + tail);
    // Both remembered values win over the login, whatever the security setting.
    admin.setUseIntegratedNTSecurity(true);
    // (The test fails: nothing listens on the socket folder, but the account is remembered.)
    admin.setServerType(u"PostgreSQL"_s);
    admin.setServerName(u"/nonexistent-socket-folder:1"_s);
    EXPECT_FALSE(admin.TestUserIDAndPassword(u"D"_s, u"u"_s, u"p"_s));
    EXPECT_EQ(admin.BuildConnectionString(u"S"_s, u"D"_s),
              u"Provider=SQLOLEDB.1;User ID='u';Password='p';Persist Security Info=False;Initial "
              u"Catalog=D;Data Source=S"_s
                  + tail);
    EXPECT_FALSE(admin.TestUserIDAndPassword(u"D"_s, u"u"_s, QString()));
    EXPECT_TRUE(admin.BuildConnectionString(u"S"_s, u"D"_s)
                    .startsWith(u"Provider=SQLOLEDB.1;Integrated Security=SSPI;"_s));
}

TEST(SQLAdmin, DatabaseConnectionRefusesWhatWouldChangeTheString)
{
    SQLAdmin admin;
    admin.setServerType(u"PostgreSQL"_s);
    EXPECT_FALSE(admin.DatabaseConnection(u"host"_s, u"db\0x"_s));
    EXPECT_EQ(admin.LastError(), u"The name 'db\\0x' cannot be used: it holds a NUL character "
                                 u"(shown as \\0), which no statement or connection string can "
                                 u"carry."_s);
    // Names that would end an entry are quoted and read back whole.
    const QString odd[] = {u"db;Data Source=elsewhere"_s,
                           u"'db'"_s,
                           u"\"db\"\"x"_s,
                           u"{db}"_s,
                           u" db "_s,
                           u"Bob's db"_s};
    for (const QString &name : odd) {
        SCOPED_TRACE(name.toStdString());
        const ConnectionString read = ConnectionString::parse(
            admin.BuildConnectionString(name, name));
        EXPECT_EQ(read.text(u"Initial Catalog"_s), name);
        EXPECT_EQ(read.text(u"Data Source"_s), name);
        EXPECT_TRUE(read.text(u"Packet Size"_s) == u"4096"_s);
    }
    admin.setUseIntegratedNTSecurity(false);
    admin.setLoginName(u"me"_s);
    admin.setLoginPassword(u"x';Data Source=elsewhere;y='"_s);
    EXPECT_FALSE(admin.DatabaseConnection(u"host"_s, u"db"_s));
    EXPECT_EQ(admin.LastError(), u"The login name or password holds a quote followed by a "
                                 u"semicolon, which a connection string cannot carry."_s);
    EXPECT_FALSE(admin.VerifyDatabase(u"host"_s, u"db"_s));
}

TEST(SQLAdmin, SettingsElement)
{
    SQLAdmin admin;
    admin.setServerName(u"SRV\\A"_s);
    admin.setUseIntegratedNTSecurity(false);
    admin.setLoginName(u"sa"_s);
    admin.setLoginPassword(u"p\"<&>"_s);
    pugi::xml_document document;
    pugi::xml_node parent = document.append_child("Settings");
    MGImport8::SqlAdmin::SaveSettings(admin, document, parent);
    std::ostringstream out;
    document.save(out, "", pugi::format_raw);
    EXPECT_EQ(out.str(), "<?xml version=\"1.0\"?><Settings><SQLServer Server=\"SRV\\A\" "
                         "Security=\"SQL\" Login=\"sa\" Password=\"p&quot;&lt;&amp;>\"/>"
                         "</Settings>");
    SQLAdmin back;
    MGImport8::SqlAdmin::LoadSettings(back, parent.child("SQLServer"));
    EXPECT_EQ((QStringList{back.ServerName(), QString::number(back.UseIntegratedNTSecurity()),
                           back.LoginName(), back.LoginPassword()}),
              (QStringList{u"SRV\\A"_s, u"0"_s, u"sa"_s, u"p\"<&>"_s}));

    // Unknown and missing attributes keep what was there; a later name in any case wins.
    struct Case
    {
        const char *xml;
        bool startIntegrated;
        bool integrated;
        QString server;
        QString login;
    };
    const Case cases[] = {
        {"<SQLServer security='integrated'/>", false, true, u"keep"_s, u"keep"_s},
        {"<SQLServer SECURITY='Integrated ' sErVeR='b'/>", true, false, u"b"_s, u"keep"_s},
        {"<SQLServer Security='SQL' Login='x' LOGIN='y'/>", true, false, u"keep"_s, u"y"_s},
        {"<SQLServer Security='nonsense' Servers='z' Log='q'/>", true, false, u"keep"_s, u"keep"_s},
        {"<SQLServer Server=''/>", true, true, QString(), u"keep"_s},
        {"<SQLServer/>", false, false, u"keep"_s, u"keep"_s},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.xml);
        SQLAdmin loaded;
        loaded.setServerName(u"keep"_s);
        loaded.setLoginName(u"keep"_s);
        loaded.setUseIntegratedNTSecurity(c.startIntegrated);
        pugi::xml_document element;
        ASSERT_TRUE(element.load_string(c.xml));
        MGImport8::SqlAdmin::LoadSettings(loaded, element.first_child());
        EXPECT_EQ(loaded.UseIntegratedNTSecurity(), c.integrated);
        EXPECT_EQ(loaded.ServerName(), c.server);
        EXPECT_EQ(loaded.LoginName(), c.login);
    }
}

TEST(SQLAdmin, TestDMODecisionsAndCommands)
{
    TempFolder folder;
    ScopedEnv machine("MGIMPORT8_MACHINE_REGISTRY", (folder.path() + u"/none.reg"_s).toUtf8());
    ScopedEnv user("XDG_CONFIG_HOME", folder.path().toUtf8());
    struct Case
    {
        const char *name;
        MGImport8::ManagementLibraryProbe first;
        bool presentAfter;
        bool result;
        bool launched;
        bool reRegistered;
    };
    const Case cases[] = {
        {"current", {true, 8, 5}, true, true, false, false},
        {"newer_major_older_minor", {true, 9, 0}, true, false, true, true},
        {"older", {true, 8, 0}, true, false, true, true},
        {"missing_then_registered", {}, true, true, true, false},
        {"missing_for_good", {}, false, false, true, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        SQLAdmin admin;
        auto &d = SQLAdminAccess::of(admin);
        int probes = 0;
        d.probeLibrary = [&](ServerKind) {
            return probes++ == 0 ? c.first
                                 : MGImport8::ManagementLibraryProbe{c.presentAfter, 8, 5};
        };
        QStringList launched;
        d.launch = [&](const QString &command) { launched.append(command); };
        EXPECT_EQ(admin.TestDMO(), c.result);
        EXPECT_EQ(MGImport8::SqlAdmin::SQLAdminAccess::of(admin).reRegistered, c.reRegistered);
        const QString dir = MGImport8::SqlAdmin::FindDMODirectory();
        EXPECT_EQ(launched, c.launched
                                ? (QStringList{u"RegSvr32  /S \""_s + dir + u"sqldmo.dll\""_s,
                                               u"RegSvr32  /S \""_s + dir + u"sqlvdi.dll\""_s})
                                : QStringList());
    }
}

TEST(SQLAdmin, FindDMODirectoryLooksInThreePlaces)
{
    TempFolder folder;
    const QString machineFile = folder.path() + u"/machine.reg"_s;
    ScopedEnv machine("MGIMPORT8_MACHINE_REGISTRY", machineFile.toUtf8());
    ScopedEnv user("XDG_CONFIG_HOME", folder.path().toUtf8());
    const QString root = folder.path();
    auto regPath = [](QString path) { return path.replace(u"\\"_s, u"\\\\"_s); };
    auto writeRegistry = [&](const QString &uninstall, const QString &server) {
        folder.write(
            u"machine.reg"_s,
            (u"Windows Registry Editor Version 5.00\r\n\r\n"
             u"[HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\"
             u"Uninstall\\Marrowgate Velum Version 8]\r\n\"UninstallString\"=\""_s
             + regPath(uninstall)
             + u"\"\r\n\r\n[HKEY_CLASSES_ROOT\\MGNetIO.Interface\\Clsid]\r\n@=\"{AB-CD}\"\r\n\r\n"
               u"[HKEY_CLASSES_ROOT\\CLSID\\{AB-CD}\\InprocServer32]\r\n@=\""_s
             + regPath(server) + u"\"\r\n"_s)
                .toUtf8());
    };
    const QString fallback = MGImport8::GetSpecialFolder(int(MGImport8::SpecialFolder::ProgramFiles))
                             + u"\\Marrowgate\\Common\\SQLDMO9\\"_s;
    SQLAdmin admin;
    writeRegistry(root + u"/talon\\uninst.exe"_s, root + u"/Net\\common\\MGNetIO.so"_s);
    EXPECT_EQ(MGImport8::SqlAdmin::FindDMODirectory(), fallback); // neither folder holds a file yet
    folder.write(u"Net/Common/SQLDMO9/sqldmo.dll"_s, "x");
    EXPECT_EQ(MGImport8::SqlAdmin::FindDMODirectory(), root + u"/Net\\Common\\SQLDMO9\\"_s);
    folder.write(u"talon/Common/SQLDMO9/sqldmo.dll"_s, "x");
    EXPECT_EQ(MGImport8::SqlAdmin::FindDMODirectory(), root + u"/talon\\Common\\SQLDMO9\\"_s);
    // Without the product word the uninstall string is passed over.
    writeRegistry(root + u"/other\\uninst.exe"_s, root + u"/Net\\common\\MGNetIO.so"_s);
    EXPECT_EQ(MGImport8::SqlAdmin::FindDMODirectory(), root + u"/Net\\Common\\SQLDMO9\\"_s);
}

TEST(Translator, ServerNames)
{
    struct Case
    {
        ServerKind kind;
        QString name;
        QString host;
        QString instance;
        int port;
        bool socket;
    };
    const Case cases[] = {
        {ServerKind::SqlServer, u"SQLBOX"_s, u"SQLBOX"_s, {}, 0, false},
        {ServerKind::SqlServer, u"SQLBOX\\NODES"_s, u"SQLBOX"_s, u"NODES"_s, 0, false},
        {ServerKind::SqlServer, u"10.0.0.5,1533"_s, u"10.0.0.5"_s, {}, 1533, false},
        {ServerKind::SqlServer, u"(local)"_s, u"localhost"_s, {}, 0, false},
        {ServerKind::SqlServer, u".\\SQLEXPRESS"_s, u"localhost"_s, u"SQLEXPRESS"_s, 0, false},
        {ServerKind::SqlServer, u"host,99999"_s, u"host,99999"_s, {}, 0, false},
        {ServerKind::PostgreSql, u"db.example"_s, u"db.example"_s, {}, 0, false},
        {ServerKind::PostgreSql, u"db.example:6543"_s, u"db.example"_s, {}, 6543, false},
        {ServerKind::PostgreSql, u"/run/postgresql"_s, u"/run/postgresql"_s, {}, 0, true},
        {ServerKind::PostgreSql, u"/tmp/x:5433"_s, u"/tmp/x"_s, {}, 5433, true},
        {ServerKind::PostgreSql, u"[::1]:5433"_s, u"::1"_s, {}, 5433, false},
        {ServerKind::PostgreSql, u"fe80::1"_s, u"fe80::1"_s, {}, 0, false},
        {ServerKind::PostgreSql, QString(), u"localhost"_s, {}, 0, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name.toStdString());
        const ServerAddress address = parseServerName(c.kind, c.name);
        EXPECT_EQ(address.host, c.host);
        EXPECT_EQ(address.instance, c.instance);
        EXPECT_EQ(address.port, c.port);
        EXPECT_EQ(address.socketFolder, c.socket);
    }
}

TEST(Translator, FreeTdsStrings)
{
    const LoginSettings sql = loginFromConnectionString(ConnectionString::parse(
        u"Provider=SQLOLEDB.1;User ID='s}a';Password='p'w;d';Persist Security Info=False;"
        u"Initial Catalog=Nodes DB;Data Source=HOST\\INST,1500;Use Procedure for Prepare=1"_s));
    EXPECT_FALSE(sql.integrated);
    EXPECT_EQ(sql.password, u"p'w;d"_s);
    EXPECT_EQ(freeTdsConnectionString(sql),
              u"DRIVER={FreeTDS};SERVER={HOST\\INST};PORT=1500;DATABASE={Nodes DB};UID={s}}a};"
              u"PWD={p'w;d};TDS_Version=7.4;ClientCharset=UTF-8"_s);
    const LoginSettings integrated = loginFromConnectionString(ConnectionString::parse(
        u"Provider=SQLOLEDB.1;Integrated Security=SSPI;Persist Security Info=False;Initial "
        u"Catalog=;Data Source=SRV"_s));
    EXPECT_TRUE(integrated.integrated);
    EXPECT_EQ(
        freeTdsConnectionString(integrated),
        u"DRIVER={FreeTDS};SERVER={SRV};Trusted_Connection=Yes;TDS_Version=7.4;ClientCharset=UTF-8"_s);
    // A database connection's command timeout reaches the driver as its query timeout.
    LoginSettings timed = integrated;
    timed.commandTimeout = 20;
    EXPECT_TRUE(freeTdsConnectionString(timed).endsWith(u";ClientCharset=UTF-8;Timeout=20"_s));
}

TEST(Translator, PasswordsNeverLeave)
{
    struct Case
    {
        const char *name;
        QString text;
        QString expected;
    };
    const Case cases[] = {
        {"literal", u"login failed for 'sa' with Hunter2!"_s, u"login failed for 'sa' with ****"_s},
        {"odbc_echo", u"[unixODBC] DRIVER={FreeTDS};UID={sa};PWD={a}}b;c};X=1"_s,
         u"[unixODBC] DRIVER={FreeTDS};UID={sa};PWD=****;X=1"_s},
        {"oledb_echo", u"bad: User ID='sa';Password='zz';Data Source=S"_s,
         u"bad: User ID='sa';Password=****;Data Source=S"_s},
        {"plain_echo", u"password=abc def; host=x"_s, u"password=****; host=x"_s},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(scrubSecrets(c.text, {u"Hunter2!"_s, QString()}), c.expected);
    }
}

TEST(Translator, NamesAreQuotedAsEachServerReadsThem)
{
    struct Case
    {
        QString name;
        QString bracketed;
        QString quoted;
    };
    const Case cases[] = {
        {u"Nodes"_s, u"[Nodes]"_s, u"\"Nodes\""_s},
        {u"Bob's nodes"_s, u"[Bob's nodes]"_s, u"\"Bob's nodes\""_s},
        {u"a]b"_s, u"[a]]b]"_s, u"\"a]b\""_s},
        {u"[x]]"_s, u"[[x]]]]]"_s, u"\"[x]]\""_s},
        {u"x\"; drop table y; --"_s, u"[x\"; drop table y; --]"_s, u"\"x\"\"; drop table y; --\""_s},
        {u"\""_s, u"[\"]"_s, u"\"\"\"\""_s},
        {QString(), u"[]"_s, u"\"\""_s},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name.toStdString());
        EXPECT_EQ(bracketedIdentifier(c.name), c.bracketed);
        EXPECT_EQ(quotedIdentifier(c.name), c.quoted);
        EXPECT_TRUE(checkNameCanBeQuoted(c.name));
    }
    // A NUL would end the name early in every driver's C string.
    const auto refused = checkNameCanBeQuoted(u"a\0b"_s, u"table name"_s);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error(), u"The table name 'a\\0b' cannot be used: it holds a NUL character "
                               u"(shown as \\0), which no statement or connection string can "
                               u"carry."_s);
}

TEST(Drivers, SilentServerIsGivenUpAfterTheLoginTimeout)
{
    SilentListener listener;
    ASSERT_NE(listener.port(), 0);
    struct Case
    {
        const char *name;
        ServerKind kind;
        QString server;
    };
    const Case cases[] = {
        {"postgresql", ServerKind::PostgreSql, u"127.0.0.1:"_s + QString::number(listener.port())},
        {"sqlserver", ServerKind::SqlServer, u"127.0.0.1,"_s + QString::number(listener.port())},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        if (!QSqlDatabase::isDriverAvailable(qtDriverName(c.kind)))
            GTEST_SKIP() << "the Qt SQL driver " << qtDriverName(c.kind).toStdString()
                         << " is not installed";
        LoginSettings login;
        login.server = c.server;
        login.database = u"Nodes"_s;
        login.integrated = false;
        login.login = u"sa"_s;
        login.password = u"Silent-Secret-9"_s;
        login.loginTimeout = shortLoginTimeout;
        QElapsedTimer timer;
        timer.start();
        const auto opened = openQtConnection(c.kind, login);
        EXPECT_LT(timer.elapsed(), hangMilliseconds);
        ASSERT_FALSE(opened);
        EXPECT_FALSE(opened.error().isEmpty());
        EXPECT_FALSE(opened.error().contains(login.password)) << opened.error().toStdString();
    }
}

TEST(Drivers, RealSqlServer)
{
    MGIMPORT8_REQUIRE_MSSQL(admin, server);
    ASSERT_TRUE(admin->Connect(false)) << admin->LastError().toStdString();
    EXPECT_TRUE(admin->SQlServerVersion().startsWith(u"Microsoft SQL Server"_s));
    EXPECT_FALSE(admin->ServerNetName().isEmpty());
    EXPECT_EQ(admin->Databases().value(0), u"master"_s);
    EXPECT_TRUE(admin->DatabaseExist(u"MASTER"_s));
    EXPECT_FALSE(admin->DefaultDataPath().isEmpty());
    auto *master = admin->GetDatabase(u"master"_s);
    ASSERT_NE(master, nullptr) << admin->LastError().toStdString();
    EXPECT_TRUE(master->tables()) << master->tables().error().toStdString();
    EXPECT_TRUE(master->roles());
    EXPECT_TRUE(master->executeImmediate(u"SELECT 1"_s));
    {
        MGImport8::DatabaseHandle handle = admin->DatabaseConnection(server, u"master"_s);
        ASSERT_TRUE(handle.isOpen()) << admin->LastError().toStdString();
        QSqlQuery query(handle.database());
        EXPECT_TRUE(query.exec(u"SELECT DB_NAME()"_s) && query.next());
        EXPECT_EQ(query.value(0).toString(), u"master"_s);
    }
    EXPECT_FALSE(admin->VerifyDatabase(server, u"master"_s));

    admin->setUseIntegratedNTSecurity(false);
    admin->setLoginPassword(u"Wrong-Secret-77"_s);
    EXPECT_FALSE(admin->Connect(false));
    EXPECT_FALSE(admin->LastError().isEmpty());
    EXPECT_FALSE(admin->LastError().contains(u"Wrong-Secret-77"_s));
}
