#include "pgcluster.h"

#include "testsupport.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

#include <pwd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace MGImport8::Test {

namespace {

std::unique_ptr<PgCluster> sharedCluster;
QString sharedReason;
bool sharedTried = false;

QString binDir()
{
    const QString configured = qEnvironmentVariable("MGIMPORT8_PG_BINDIR");
    return configured.isEmpty() ? u"/usr/lib/postgresql/15/bin"_s : configured;
}

// Runs a program to its end, or kills it after two minutes; stdout and stderr together in
// `output`.
bool runToEnd(QProcess &process, const QString &program, const QStringList &arguments,
              QString *output)
{
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    const bool finished = process.waitForFinished(120 * 1000);
    if (output)
        *output = QString::fromUtf8(process.readAll()).trimmed();
    if (!finished) {
        process.kill();
        process.waitForFinished();
    }
    return finished && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

} // namespace

QString PgCluster::osUser()
{
    const passwd *user = getpwuid(geteuid());
    return user ? QString::fromLocal8Bit(user->pw_name) : QString();
}

PgCluster *PgCluster::shared()
{
    if (!std::exchange(sharedTried, true)) {
        sharedCluster = create(&sharedReason);
        // Stopped while Qt is still there to run pg_ctl; at exit without an application.
        const auto stop = [] { sharedCluster.reset(); };
        QCoreApplication::instance() ? qAddPostRoutine(stop) : void(std::atexit(stop));
    }
    return sharedCluster.get();
}

QString PgCluster::unavailableReason()
{
    return sharedReason;
}

std::unique_ptr<PgCluster> PgCluster::create(QString *error)
{
    if (!QFileInfo::exists(binDir() + u"/initdb"_s)) {
        *error = u"no PostgreSQL binaries in "_s + binDir();
        return nullptr;
    }
    std::unique_ptr<PgCluster> cluster(new PgCluster);
    if (!cluster->initialise(error) || !cluster->start(error))
        return nullptr;
    QString output;
    if (osUser() != QLatin1StringView(superUser)
        && !cluster->psql(u"postgres"_s, u"CREATE ROLE \""_s + osUser() + u"\" LOGIN SUPERUSER"_s,
                          &output)) {
        *error = u"cannot create the role of the test user: "_s + output;
        return nullptr;
    }
    return cluster;
}

bool PgCluster::initialise(QString *error)
{
    const QString folder = m_folder.path();
    const QString passwordFile = folder + u"/superuser.pw"_s;
    const auto fail = [error](const QString &why) {
        *error = why;
        return false;
    };
    QFile password(passwordFile);
    if (!m_folder.isValid() || !password.open(QIODevice::WriteOnly)
        || password.write(QByteArray(superPassword) + '\n') < 0)
        return fail(u"cannot write "_s + passwordFile);
    password.close();
    ::chmod(QFile::encodeName(folder).constData(), 0755);
    // When the tests run as root, the postgres user runs the server and owns its files.
    const passwd *postgres = getpwnam("postgres");
    for (const QString &path : {folder, passwordFile}) {
        if (geteuid() == 0
            && (!postgres
                || chown(QFile::encodeName(path).constData(), postgres->pw_uid, postgres->pw_gid)))
            return fail(u"the tests run as root and there is no postgres user to run the server"_s);
    }
    QString output;
    if (!runTool(u"initdb"_s,
                 {u"-D"_s, folder + u"/data"_s, u"-U"_s, QString::fromLatin1(superUser),
                  u"--pwfile="_s + passwordFile, u"--auth-local=scram-sha-256"_s,
                  u"--auth-host=scram-sha-256"_s, u"-E"_s, u"UTF8"_s, u"--no-locale"_s,
                  u"--no-sync"_s},
                 &output))
        return fail(u"initdb failed: "_s + output);
    // The test user logs in by its identity over the socket; everybody else gives a password.
    QFile hba(folder + u"/data/pg_hba.conf"_s);
    const QByteArray rules = hba.open(QIODevice::ReadOnly) ? hba.readAll() : QByteArray();
    hba.close();
    if (rules.isEmpty() || !hba.open(QIODevice::WriteOnly | QIODevice::Truncate)
        || hba.write("local all " + osUser().toLocal8Bit() + " peer\n" + rules) < 0)
        return fail(u"cannot rewrite pg_hba.conf"_s);
    // A port that nothing listens on now: the one the system picks for a socket bound to port 0.
    quint16 port = 0;
    if (const int probe = loopbackSocket(SOCK_STREAM, &port); probe >= 0)
        ::close(probe);
    m_port = port;
    return true;
}

bool PgCluster::runTool(const QString &tool, const QStringList &arguments, QString *output) const
{
    QProcess process;
    process.setWorkingDirectory(m_folder.path());
    const QString program = binDir() + u'/' + tool;
    if (geteuid() == 0)
        return runToEnd(process, u"runuser"_s,
                        QStringList{u"-u"_s, u"postgres"_s, u"--"_s, program} + arguments, output);
    return runToEnd(process, program, arguments, output);
}

bool PgCluster::start(QString *error)
{
    const QString options = u"-p %1 -k %2 -c listen_addresses=127.0.0.1 -c fsync=off"_s
                                .arg(QString::number(m_port), m_folder.path());
    QString output;
    m_running = runTool(u"pg_ctl"_s,
                        {u"-D"_s, m_folder.path() + u"/data"_s, u"-l"_s,
                         m_folder.path() + u"/server.log"_s, u"-w"_s, u"-t"_s, u"60"_s, u"-o"_s,
                         options, u"start"_s},
                        &output);
    if (!m_running && error)
        *error = u"pg_ctl start failed: "_s + output;
    return m_running;
}

bool PgCluster::stop()
{
    // Immediate: connections are cut rather than waited for.
    m_running = m_running
                && !runTool(u"pg_ctl"_s,
                            {u"-D"_s, m_folder.path() + u"/data"_s, u"-m"_s, u"immediate"_s,
                             u"-w"_s, u"-t"_s, u"60"_s, u"stop"_s},
                            nullptr);
    return !m_running;
}

bool PgCluster::psqlSteps(std::initializer_list<std::pair<QString, QString>> steps) const
{
    for (const auto &[database, sql] : steps) {
        QString output;
        if (!psql(database, sql, &output)) {
            ADD_FAILURE() << output.toStdString();
            return false;
        }
    }
    return true;
}

bool PgCluster::psql(const QString &database, const QString &sql, QString *output) const
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"PGPASSWORD"_s, QString::fromLatin1(superPassword));
    process.setProcessEnvironment(environment);
    // psql takes a name holding "=" for a connection string: such a name goes as its dbname.
    QString target = database;
    if (database.contains(u'='))
        target = u"dbname='"_s + target.replace(u"\\"_s, u"\\\\"_s).replace(u"'"_s, u"\\'"_s)
                 + u"'"_s;
    return runToEnd(process, binDir() + u"/psql"_s,
                    {u"-X"_s, u"-q"_s, u"-A"_s, u"-t"_s, u"-v"_s, u"ON_ERROR_STOP=1"_s, u"-h"_s,
                     m_folder.path(), u"-p"_s, QString::number(m_port), u"-U"_s,
                     QString::fromLatin1(superUser), u"-d"_s, target, u"-c"_s, sql},
                    output);
}

} // namespace MGImport8::Test
