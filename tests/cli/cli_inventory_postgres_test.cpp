// Many hosts, one inventory: `import --into` on a monitoring database built with `structure
// build` from the structure file that ships beside the library.
// - two imports of overlapping device lists running at once lose nothing: every address is
//   added by exactly one of them and updated by the other, and the table holds the union;
// - a database that is not a monitoring database is refused before the import, with status 1.
#include "pgcluster.h"
#include "testsupport.h"

#include <QFile>
#include <QProcess>
#include <QRegularExpression>

using namespace Qt::StringLiterals;
using MGImport8::Test::PgCluster;
using MGImport8::Test::TempFolder;

namespace {

constexpr int ListSize = 400;
constexpr int Overlap = 200;

QString address(int index)
{
    return u"10.9.%1.%2"_s.arg(index / 200).arg(index % 200 + 1);
}

// A device list of `ListSize` rows from `first`, in reverse order when asked so that two imports
// meet on the shared addresses from opposite ends.
QByteArray deviceList(const QString &prefix, int first, bool reversed)
{
    QByteArray text = "Name,IP\n";
    for (int step = 0; step < ListSize; ++step) {
        const int index = reversed ? first + ListSize - 1 - step : first + step;
        text += (prefix + QString::number(index) + u',' + address(index) + u'\n').toUtf8();
    }
    return text;
}

// Output goes to files when named: a pipe nobody reads while waiting for the other import would
// stall this one with its locks held.
QProcess *startTool(const QStringList &arguments, QObject *parent,
                    const QString &outputFile = QString())
{
    auto *process = new QProcess(parent);
    if (!outputFile.isEmpty())
        process->setStandardOutputFile(outputFile);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(u"MGIMPORT8_METHODS_PATH"_s);
    process->setProcessEnvironment(environment);
    process->start(QStringLiteral(MGIMPORT8_TOOL), arguments);
    return process;
}

QString countOf(const QString &text, const QString &pattern)
{
    return QString::number(text.count(QRegularExpression(pattern)));
}

} // namespace

TEST(CliInventoryPostgres, TwoImportsAtOnceLoseNothing)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    TempFolder folder;
    const QString superFile = folder.write(u"super"_s, QByteArray(PgCluster::superPassword) + '\n');
    QObject owner;
    QProcess *build = startTool({u"structure"_s, u"build"_s, u"--server"_s,
                                 cluster->tcpServerName(), u"--server-type"_s, u"PostgreSQL"_s,
                                 u"--user"_s, QString::fromLatin1(PgCluster::superUser),
                                 u"--password-file"_s, superFile, u"--database"_s,
                                 u"shared_inventory"_s, u"--path"_s, folder.path(),
                                 QStringLiteral(MGIMPORT8_LIB_DIR
                                                "/MonitoringDatabase.PostgreSQL.xml")},
                                &owner);
    ASSERT_TRUE(build->waitForFinished(120000));
    ASSERT_EQ(build->exitCode(), 0) << build->readAllStandardError().toStdString();

    const QString location = u"postgresql://%1:%2@%3/shared_inventory"_s
                                 .arg(QString::fromLatin1(PgCluster::superUser),
                                      QString::fromLatin1(PgCluster::superPassword),
                                      cluster->tcpServerName());
    const QString first = folder.write(u"north.csv"_s, deviceList(u"north-"_s, 0, false));
    const QString second = folder.write(u"south.csv"_s,
                                        deviceList(u"south-"_s, ListSize - Overlap, true));
    auto import = [&](const QString &file) {
        return startTool({u"import"_s, u"--into"_s, location, u"--columns"_s, u"Name,IP"_s,
                          u"--map"_s, u"1=Name"_s, u"--option"_s, u"Overwrite=yes"_s, file},
                         &owner, file + u".out"_s);
    };
    QProcess *north = import(first);
    QProcess *south = import(second);
    ASSERT_TRUE(north->waitForFinished(120000));
    ASSERT_TRUE(south->waitForFinished(120000));
    auto output = [](const QString &file) {
        QFile text(file + u".out"_s);
        return text.open(QIODevice::ReadOnly) ? QString::fromUtf8(text.readAll()) : QString();
    };
    const QString northOut = output(first);
    const QString southOut = output(second);
    EXPECT_EQ(north->exitCode(), 0) << north->readAllStandardError().toStdString();
    EXPECT_EQ(south->exitCode(), 0) << south->readAllStandardError().toStdString();

    const QString both = northOut + southOut;
    EXPECT_EQ(countOf(both, u"\"Status\": \"Added "_s), QString::number(2 * ListSize - Overlap));
    EXPECT_EQ(countOf(both, u"\"Status\": \"Updated "_s), QString::number(Overlap));
    EXPECT_EQ(countOf(both, u"\"Skip\": true"_s), u"0"_s);

    QString table;
    ASSERT_TRUE(cluster->psql(u"shared_inventory"_s,
                              u"SELECT count(*), count(DISTINCT ip), "
                              u"count(*) FILTER (WHERE name LIKE 'north-%'), "
                              u"count(*) FILTER (WHERE name = CASE WHEN name LIKE 'north-%' "
                              u"THEN 'north-' ELSE 'south-' END || (split_part(ip, '.', 3)::int "
                              u"* 200 + split_part(ip, '.', 4)::int - 1)) FROM nodes"_s,
                              &table));
    // Every address of either list, each under a name of a list that holds it.
    const int total = 2 * ListSize - Overlap;
    const QStringList counts = table.trimmed().split(u'|');
    ASSERT_EQ(counts.size(), 4) << table.toStdString();
    EXPECT_EQ(counts[0], QString::number(total));
    EXPECT_EQ(counts[1], QString::number(total));
    EXPECT_GE(counts[2].toInt(), ListSize - Overlap);
    EXPECT_LE(counts[2].toInt(), ListSize);
    EXPECT_EQ(counts[3], QString::number(total));
}

TEST(CliInventoryPostgres, ADatabaseWithoutNodesIsRefusedBeforeTheImport)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    QObject owner;
    QProcess *tool = startTool({u"import"_s, u"--into"_s,
                                u"postgresql:///postgres?host=%1&port=%2"_s
                                    .arg(cluster->socketFolder(), QString::number(cluster->port())),
                                QStringLiteral(MGIMPORT8_EXAMPLES_DIR "/nodes.csv")},
                               &owner);
    ASSERT_TRUE(tool->waitForFinished(60000));
    EXPECT_EQ(tool->exitCode(), 1);
    EXPECT_EQ(tool->readAllStandardOutput(), QByteArray());
    EXPECT_TRUE(tool->readAllStandardError().contains("is not a monitoring database"));
}
