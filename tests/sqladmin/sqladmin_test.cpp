// SQLAdmin and its drivers without a server of their own:
// - the properties in the member order hosts see;
// - BuildConnectionString to the character, for integrated and remembered database logins; a
//   password that would end its entry is refused;
// - TestDMO's decisions and command texts, FindDMODirectory's three places;
// - the translator to FreeTDS settings, server names of both kinds; passwords scrubbed from
//   driver texts;
// - a server that accepts the connection and then says nothing is given up after the login
//   timeout through both Qt drivers.
#include <MGImport8/sqladmin.h>

#include "common/connectionstring.h"
#include "common/shellfolders.h"
#include "sqladmin/admin/sqladmin_p.h"
#include "sqladmin/connectiontranslator.h"
#include "sqladmin/qtsession.h"
#include "sqladmin/secrets.h"
#include "testsupport.h"

#include <QElapsedTimer>
#include <QScopeGuard>
#include <QSqlDatabase>

#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

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

} // namespace

TEST(SQLAdmin, MemberOrder)
{
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
    // Both remembered values win over the login, whatever the security setting; the test fails
    // (nothing listens on the socket folder) but the account is remembered.
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
    admin.setUseIntegratedNTSecurity(false);
    admin.setLoginName(u"me"_s);
    admin.setLoginPassword(u"x';Data Source=elsewhere;y='"_s);
    EXPECT_FALSE(admin.DatabaseConnection(u"host"_s, u"db"_s));
    EXPECT_EQ(admin.LastError(), u"The login name or password holds a quote followed by a "
                                 u"semicolon, which a connection string cannot carry."_s);
    EXPECT_FALSE(admin.VerifyDatabase(u"host"_s, u"db"_s));
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
        {ServerKind::SqlServer, u"SQLBOX\\NODES"_s, u"SQLBOX"_s, u"NODES"_s, 0, false},
        {ServerKind::SqlServer, u"10.0.0.5,1533"_s, u"10.0.0.5"_s, {}, 1533, false},
        {ServerKind::SqlServer, u".\\SQLEXPRESS"_s, u"localhost"_s, u"SQLEXPRESS"_s, 0, false},
        {ServerKind::PostgreSql, u"/tmp/x:5433"_s, u"/tmp/x"_s, {}, 5433, true},
        {ServerKind::PostgreSql, u"[::1]:5433"_s, u"::1"_s, {}, 5433, false},
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

TEST(Drivers, SilentServerIsGivenUpAfterTheLoginTimeout)
{
    // A listening socket on loopback that never accepts or answers: the kernel completes the
    // connection, the server never speaks.
    quint16 port = 0;
    const int socket = MGImport8::Test::loopbackSocket(SOCK_STREAM, &port);
    const auto closer = qScopeGuard([socket] { ::close(socket); });
    ASSERT_TRUE(socket >= 0 && ::listen(socket, 8) == 0);
    struct Case
    {
        const char *name;
        ServerKind kind;
        QString server;
    };
    const Case cases[] = {
        {"postgresql", ServerKind::PostgreSql, u"127.0.0.1:"_s + QString::number(port)},
        {"sqlserver", ServerKind::SqlServer, u"127.0.0.1,"_s + QString::number(port)},
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
