#pragma once

#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>

namespace MGImport8::Test {

/// A throwaway PostgreSQL cluster for tests, made with Debian's postgresql-15 binaries
/// (MGIMPORT8_PG_BINDIR overrides /usr/lib/postgresql/15/bin). It listens on 127.0.0.1 and on a
/// socket in its own temporary folder, on a free port, and asks every login for its password
/// (scram-sha-256), except the operating-system user that runs the tests, who logs in by its
/// identity over the socket ("peer") as a superuser role of the same name. When the tests run as
/// root, initdb, pg_ctl and the server run as the `postgres` user. The cluster is stopped and its
/// folder removed when the object goes.
class PgCluster
{
public:
    /// The superuser that password logins use, and its password.
    static constexpr char superUser[] = "postgres";
    static constexpr char superPassword[] = "Pg-superuser-1";

    /// The cluster of this test program, started on first use and stopped at exit; nullptr when
    /// it cannot run here, with the reason in unavailableReason().
    static PgCluster *shared();
    static QString unavailableReason();

    /// A cluster of its own, for tests that stop or break it; nullptr with the reason in `error`.
    static std::unique_ptr<PgCluster> create(QString *error);

    ~PgCluster() { stop(); }
    PgCluster(const PgCluster &) = delete;
    PgCluster &operator=(const PgCluster &) = delete;

    int port() const { return m_port; }
    QString socketFolder() const { return m_folder.path(); }
    /// The server's name as the PostgreSQL backend takes it: the socket folder and the port.
    QString socketServerName() const { return m_folder.path() + u':' + QString::number(m_port); }
    /// The same server over TCP: "127.0.0.1:port".
    QString tcpServerName() const { return QStringLiteral("127.0.0.1:") + QString::number(m_port); }
    /// The operating-system user whose logins need no password.
    static QString osUser();

    /// Runs `sql` with psql as the superuser in `database`, stopping at the first error. True on
    /// success; psql's output (or its errors) in `output`.
    bool psql(const QString &database, const QString &sql, QString *output = nullptr) const;
    /// Runs each (database, sql) step in order with `psql`; at the first failure the test fails
    /// with psql's output and the rest is not run.
    bool psqlSteps(std::initializer_list<std::pair<QString, QString>> steps) const;
    /// Stops the server at once (connections are cut), or starts it again.
    bool stop();
    bool start(QString *error = nullptr);

private:
    PgCluster() = default;
    bool initialise(QString *error);
    bool runTool(const QString &tool, const QStringList &arguments, QString *output) const;

    QTemporaryDir m_folder;
    int m_port = 0;
    bool m_running = false;
};

} // namespace MGImport8::Test

/// Skips the test, saying why, when no PostgreSQL cluster can run here; otherwise declares
/// `cluster`, the program's shared cluster.
#define MGIMPORT8_REQUIRE_POSTGRES(cluster)                                                        \
    ::MGImport8::Test::PgCluster *cluster = ::MGImport8::Test::PgCluster::shared();                \
    if (!cluster)                                                                                  \
    GTEST_SKIP() << "PostgreSQL is not available: "                                                \
                 << ::MGImport8::Test::PgCluster::unavailableReason().toStdString()
