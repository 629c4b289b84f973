// The login and dictionary commands against a real PostgreSQL cluster:
// - `login create` makes an account that `login test` opens with its password and refuses with
//   another (status 1), `login exists` finds it (and does not find one differing in case),
//   `login password` changes it; no password ever appears in any output;
// - `dictionary write` then `dictionary update --log` print the update's lines with their
//   indentation and fill the file.
#include "pgcluster.h"
#include "testsupport.h"

#include <QFile>
#include <QProcess>

using namespace Qt::StringLiterals;
using MGImport8::Test::PgCluster;
using MGImport8::Test::TempFolder;

namespace {

const QString accountPassword = u"Acc'ount; {pw} ü \"x\""_s;
const QString changedPassword = u"Changed 'again'; {y}"_s;

struct ToolRun
{
    int status = -1;
    QString out;
    QString err;
};

bool prepare(PgCluster *cluster)
{
    static const bool done = [cluster] {
        return cluster->psqlSteps({
            {u"postgres"_s, u"CREATE DATABASE cli_accounts"_s},
            {u"postgres"_s, u"CREATE ROLE db_datareader; CREATE ROLE db_owner"_s},
            {u"cli_accounts"_s, u"CREATE TABLE \"Nodes\" (id int, name varchar(30))"_s},
        });
    }();
    return done;
}

class CliAccounts : public testing::Test
{
protected:
    ToolRun run(const QStringList &arguments)
    {
        QProcess process;
        process.start(QStringLiteral(MGIMPORT8_TOOL), arguments);
        process.waitForFinished(60000);
        ToolRun result{process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
                       QString::fromUtf8(process.readAllStandardError())};
        for (const QString &secret : {accountPassword, changedPassword}) {
            EXPECT_FALSE(result.out.contains(secret));
            EXPECT_FALSE(result.err.contains(secret));
        }
        return result;
    }
    // The administrator is the user running the tests, by the socket.
    QStringList server(PgCluster *cluster) const
    {
        return {u"--server"_s,      cluster->socketServerName(),
                u"--server-type"_s, u"PostgreSQL"_s,
                u"--database"_s,    u"cli_accounts"_s};
    }
    QStringList login(PgCluster *cluster, const QString &action, const QString &name,
                      const QString &passwordFile = {}) const
    {
        QStringList arguments = QStringList{u"login"_s, action} + server(cluster)
                                + QStringList{u"--login"_s, name};
        if (!passwordFile.isEmpty())
            arguments += QStringList{u"--new-password-file"_s, passwordFile};
        return arguments;
    }

    TempFolder folder;
    QString first = folder.write(u"first"_s, accountPassword.toUtf8() + "\n");
    QString second = folder.write(u"second"_s, changedPassword.toUtf8());
};

TEST_F(CliAccounts, createTestExistsAndChange)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(prepare(cluster));
    const QString name = u"cli O'Brien"_s;
    struct Step
    {
        const char *name;
        QStringList arguments;
        int status;
        QString out;
    };
    const Step steps[] = {
        {"create", login(cluster, u"create"_s, name, first), 0,
         u"The login 'cli O'Brien' has a user in 'cli_accounts' with the database roles.\n"_s},
        {"right_password", login(cluster, u"test"_s, name, first), 0,
         u"The password of 'cli O'Brien' opens 'cli_accounts'.\n"_s},
        {"wrong_password", login(cluster, u"test"_s, name, second), 1, {}},
        {"exists", login(cluster, u"exists"_s, name), 0,
         u"The login 'cli O'Brien' has a user in 'cli_accounts'.\n"_s},
        {"other_case", login(cluster, u"exists"_s, u"CLI O'BRIEN"_s), 1,
         u"The login 'CLI O'BRIEN' has no user in 'cli_accounts'.\n"_s},
        {"change", login(cluster, u"password"_s, name, second), 0,
         u"The password of 'cli O'Brien' has been changed.\n"_s},
        {"changed_password", login(cluster, u"test"_s, name, second), 0,
         u"The password of 'cli O'Brien' opens 'cli_accounts'.\n"_s},
        {"unknown_login", login(cluster, u"password"_s, u"nobody"_s, second), 1, {}},
    };
    for (const Step &step : steps) {
        SCOPED_TRACE(step.name);
        const ToolRun result = run(step.arguments);
        EXPECT_EQ(result.status, step.status) << result.err.toStdString();
        EXPECT_EQ(result.out.toStdString(), step.out.toStdString());
    }
}

TEST_F(CliAccounts, dictionaryWriteThenUpdate)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(prepare(cluster));
    const QString file = folder.path() + u"/dictionary.xml"_s;
    const ToolRun written = run(QStringList{u"dictionary"_s, u"write"_s} + server(cluster)
                                + QStringList{file});
    ASSERT_EQ(written.status, 0) << written.err.toStdString();
    EXPECT_EQ(written.out, QString());
    const ToolRun updated = run(QStringList{u"dictionary"_s, u"update"_s} + server(cluster)
                                + QStringList{u"--tables"_s, u"nodes"_s, u"--log"_s, file});
    ASSERT_EQ(updated.status, 0) << updated.err.toStdString();
    EXPECT_EQ(updated.out.toStdString(), "    Updating Table: Nodes\n        Added Field: id\n"
                                         "        Added Field: name\n");
    QFile saved(file);
    ASSERT_TRUE(saved.open(QIODevice::ReadOnly));
    const QByteArray text = saved.readAll();
    EXPECT_TRUE(text.contains("<Column Name=\"name\" Parse=\"\" Format=\"\" Template=\"\" "
                              "Units=\"\" Length=\"30\" DataType=\"character varying\""));
    EXPECT_EQ(text.count("<Field "), 2);
}

} // namespace
