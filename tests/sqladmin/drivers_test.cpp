// The real drivers under the layer, where no server of the kind runs here:
// - a server that accepts the connection and then says nothing is given up after the login
//   timeout, through QPSQL and through QODBC with FreeTDS, with the driver's reason;
// - with MGIMPORT8_TEST_MSSQL holding a FreeTDS connection string ("SERVER=host;PORT=1433;
//   UID=sa;PWD=..."), SQLAdmin runs against that SQL Server for real.
#include <MGImport8/sqladmin.h>

#include "admintesting.h"
#include "common/connectionstring.h"
#include "sqladmin/connectiontranslator.h"
#include "sqladmin/manageddatabase.h"
#include "sqladmin/qtsession.h"
#include "testsupport.h"

#include <QElapsedTimer>
#include <QSqlDatabase>
#include <QSqlQuery>

#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace MGImport8::SqlAdmin;
using MGImport8::SQLAdmin;

namespace {

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
