// The node store when something goes wrong around an import, with real processes and real SQLite
// files; after each the store is compared with what must be in it:
// - an import killed part-way, one that runs into a file-size limit (the file system full), one
//   into a read-only store and one into a store another program holds past the wait: each fails
//   with the store's reason and the store is as it was;
// - Node Inventory's own import cancelled part-way keeps nothing, and an address that comes twice
//   in one file is added once, then updated;
// - a line wider than the grid is refused with its number;
// - a file that is no node store of this layout is refused with what was found, left untouched;
// - addresses are kept in the canonical form the wizard's address check reads.
#include "headlessimport.h"
#include "nodestore/nodestore.h"
#include "testsupport.h"

#include <MGImport8/ipaddress.h>

#include <QFile>
#include <QMap>
#include <QProcess>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QStandardPaths>

#include <gtest/gtest.h>

#include <csignal>
#include <sys/resource.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using MGImport8::Test::TempFolder;
using NodeInventory::NodeStore;
using NodeInventory::Test::cancelAfter;
using NodeInventory::Test::headlessImport;

namespace {

const QString tool = u"" MGIMPORT8_TOOL ""_s;
const QString sample = u"" MGIMPORT8_EXAMPLES_DIR "/nodes.csv"_s;
constexpr int ProcessTimeoutMs = 300000;

// `count` device lines `d-N,ADDRESS`, each N its own address.
QString deviceFile(const TempFolder &folder, int count)
{
    QByteArray text;
    for (int i = 0; i < count; ++i)
        text += "d-" + QByteArray::number(i) + ",10." + QByteArray::number(i >> 16) + '.'
                + QByteArray::number((i >> 8) & 0xff) + '.' + QByteArray::number(i & 0xff) + '\n';
    return folder.write(u"devices.csv"_s, text);
}

QStringList importArguments(const QString &store, const QString &file)
{
    return {u"import"_s,    u"--into"_s,  store,      u"--option"_s, u"Overwrite=yes"_s,
            u"--columns"_s, u"Name,IP"_s, u"--map"_s, u"1=Name"_s,   file};
}

// Every node as "ip|name", in address order, read through a connection of its own. It may write:
// the next program to open a store after a killed import rolls the import's journal back, and a
// read-only connection could not.
QStringList snapshot(const QString &path)
{
    QStringList rows;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"snapshot"_s);
        db.setDatabaseName(path);
        if (db.open()) {
            QSqlQuery query(u"SELECT ip, name FROM nodes ORDER BY ip"_s, db);
            while (query.next())
                rows.append(query.value(0).toString() + u'|' + query.value(1).toString());
        }
    }
    QSqlDatabase::removeDatabase(u"snapshot"_s);
    return rows;
}

struct Finished
{
    int status = -1; // -1 when the process did not end normally
    QString err;
};

Finished finish(QProcess &process)
{
    EXPECT_TRUE(process.waitForFinished(ProcessTimeoutMs));
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromUtf8(process.readAllStandardError())};
}

// Reads the child's output until it printed `lines` lines; false when it ended first.
bool readLines(QProcess &process, int lines)
{
    QByteArray seen;
    while (seen.count('\n') < lines) {
        if (process.bytesAvailable() == 0 && !process.waitForReadyRead(ProcessTimeoutMs))
            return false;
        seen += process.readAll();
    }
    return true;
}

/// A store with the sample's fourteen nodes in it.
class ImportFaults : public ::testing::Test
{
protected:
    void SetUp() override
    {
        QProcess seed;
        seed.start(tool, importArguments(store, sample));
        const Finished seeded = finish(seed);
        ASSERT_EQ(seeded.status, 0) << seeded.err.toStdString();
        before = snapshot(store);
        ASSERT_EQ(before.size(), 14);
    }

    TempFolder folder;
    const QString store = folder.path() + u"/nodes.sqlite"_s;
    QStringList before;
};

TEST_F(ImportFaults, KilledImportLeavesTheStoreAsItWas)
{
    QProcess child;
    child.start(tool, importArguments(store, deviceFile(folder, 300000)));
    // Rows are printed after the store took them: a few thousand are in its transaction.
    ASSERT_TRUE(readLines(child, 5000));
    ::kill(pid_t(child.processId()), SIGKILL);
    child.waitForFinished(ProcessTimeoutMs);
    EXPECT_EQ(child.exitStatus(), QProcess::CrashExit);
    EXPECT_EQ(snapshot(store), before);
}

// The store is refused its writes, in two ways; the import says so, fails, and keeps nothing.
TEST_F(ImportFaults, StoreThatCannotBeWrittenFailsTheImport)
{
    const QString file = deviceFile(folder, 200000);
    const bool root = ::geteuid() == 0;
    const QString setpriv = QStandardPaths::findExecutable(u"setpriv"_s);
    for (const QString &expected : {u"File too large"_s, u"readonly database"_s}) {
        SCOPED_TRACE(expected.toStdString());
        QProcess child;
        child.setStandardOutputFile(QProcess::nullDevice());
        QStringList arguments = importArguments(store, file);
        QString program = tool;
        if (expected.contains(u"large"_s)) {
            // The file system full: a file-size limit, with the signal it raises ignored.
            child.setChildProcessModifier([] {
                ::signal(SIGXFSZ, SIG_IGN);
                const rlimit limit{256 * 1024, 256 * 1024};
                ::setrlimit(RLIMIT_FSIZE, &limit);
            });
        } else if (root) {
            // As another user when the tests run as root, who may write anything.
            if (setpriv.isEmpty()) {
                GTEST_LOG_(INFO) << "skipped: running as root without setpriv to drop privileges";
                continue;
            }
            QFile::setPermissions(folder.path(), QFile::permissions(folder.path())
                                                     | QFile::ReadOther | QFile::ExeOther);
            arguments = QStringList{u"--reuid=nobody"_s, u"--regid=nogroup"_s, u"--clear-groups"_s,
                                    tool}
                        + arguments;
            program = setpriv;
        } else {
            QFile::setPermissions(store, QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther);
        }
        child.start(program, arguments);
        const Finished done = finish(child);
        EXPECT_EQ(done.status, 1) << done.err.toStdString();
        EXPECT_TRUE(done.err.contains(u"node store"_s) && done.err.contains(expected))
            << done.err.toStdString();
        EXPECT_FALSE(done.err.contains(u"Import Complete"_s));
        EXPECT_EQ(snapshot(store), before);
    }
}

TEST_F(ImportFaults, StoreHeldPastTheWaitFailsTheImport)
{
    {
        QSqlDatabase holder = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"holder"_s);
        holder.setDatabaseName(store);
        ASSERT_TRUE(holder.open() && QSqlQuery(holder).exec(u"BEGIN IMMEDIATE"_s));
        QProcess child;
        child.start(tool, importArguments(store, sample) << u"--wait"_s << u"1"_s);
        const Finished done = finish(child);
        EXPECT_EQ(done.status, 1);
        EXPECT_TRUE(done.err.startsWith(u"Waiting for the node store: another import is writing "
                                        u"to it.\n"_s))
            << done.err.toStdString();
        EXPECT_TRUE(done.err.contains(u"held by another program for longer than 1 seconds"_s))
            << done.err.toStdString();
        EXPECT_TRUE(QSqlQuery(holder).exec(u"ROLLBACK"_s));
    }
    QSqlDatabase::removeDatabase(u"holder"_s);
    EXPECT_EQ(snapshot(store), before);
}

// A large import holds its rows back and writes them in address order, many rows to a step: the
// store ends as the rows one after another would leave it, for new, known and repeated addresses.
TEST_F(ImportFaults, HeldBackRowsLandAsOneByOneWrites)
{
    QMap<QString, QString> expected; // in the order `snapshot` reads: the addresses' text order
    for (const QString &node : before)
        expected.insert(node.section(u'|', 0, 0), node.section(u'|', 1));
    const QStringList known = expected.keys();
    QByteArray text;
    for (int i = 0; i < 1000; ++i) {
        // Addresses come back every 300 rows, one row in 50 is a node already in the store, and
        // every third name is empty.
        const QString ip = i % 50 == 0 ? known.at(i / 50 % known.size())
                                       : u"10.60.%1.%2"_s.arg(i % 300 / 100).arg(i % 100);
        const QString name = i % 3 == 0 ? QString() : u"n%1"_s.arg(i);
        text += name.toUtf8() + ',' + ip.toUtf8() + '\n';
        expected.insert(ip, name);
    }
    QProcess child;
    child.start(tool, importArguments(store, folder.write(u"many.csv"_s, text)));
    const Finished finished = finish(child);
    ASSERT_EQ(finished.status, 0) << finished.err.toStdString();
    QStringList rows;
    for (auto it = expected.cbegin(); it != expected.cend(); ++it)
        rows.append(it.key() + u'|' + it.value());
    EXPECT_EQ(snapshot(store), rows);
}

// The store tells a new address from a known one by the row id its single upsert returns, also
// for an address that comes twice in one file.
TEST_F(ImportFaults, CancelledImportKeepsNothingAndRepeatedAddressesAreAddedOnce)
{
    NodeStore inventory;
    ASSERT_TRUE(inventory.open(store)) << inventory.lastError().toStdString();
    // Cancelled after the header line and three nodes, updated inside the import's transaction.
    const NodeInventory::ImportSummary cancelled = headlessImport(inventory, sample, true,
                                                                  cancelAfter(4));
    EXPECT_FALSE(cancelled.completed);
    EXPECT_EQ(cancelled.updated, 3);
    EXPECT_EQ(snapshot(store), before);

    QStringList statuses;
    const QString file = folder.write(u"repeats.csv"_s, "10.9.0.1,a\n10.20.0.1,b\n10.9.0.1,c\n"
                                                        "10.9.0.2,d\nno-address,e\n");
    EXPECT_TRUE(headlessImport(inventory, file, true, [&](int, const QString &status, auto &) {
                    statuses.append(status);
                }).completed);
    // The empty line after the last line feed is a row too.
    EXPECT_EQ(statuses,
              QStringList({u"Added 10.9.0.1"_s, u"Updated 10.20.0.1"_s, u"Updated 10.9.0.1"_s,
                           u"Added 10.9.0.2"_s, u"Skipped: no valid IP address"_s,
                           u"Skipped: no valid IP address"_s}));
    EXPECT_EQ(inventory.count(), 16);
}

// A row wider than the grid is refused as the file is read, saying which line; one as wide as
// the grid is read (and then refused by the mapping check, having no address).
TEST(ImportBounds, LineWiderThanTheGridIsRefusedWithItsNumber)
{
    TempFolder folder;
    const struct
    {
        int fields;
        int status;
        QString message;
    } cases[] = {
        {16385, 1,
         u"Cannot open 'wide.csv'\nLine 2 has 16385 fields; the import grid holds at most 16384 "
         u"columns. Check the delimiters.\n"_s},
        {16384, 2, u"You must assign 'IP' to a column first."_s},
    };
    for (const auto &c : cases) {
        const QByteArray line = QByteArray("x,").repeated(c.fields - 1) + "x\n";
        QProcess child;
        child.start(tool, {u"import"_s, folder.write(u"wide.csv"_s, "Name\n" + line)});
        const Finished done = finish(child);
        EXPECT_EQ(done.status, c.status) << c.fields;
        EXPECT_TRUE(done.err.startsWith(c.message)) << done.err.toStdString();
    }
}

// What open finds in a file decides whether the file is used: anything that is not a node store
// of this layout is refused with what was found, and its bytes stay as they were.
TEST(NodeStoreOpen, RefusesFilesThatAreNoNodeStoreAndLeavesThemUntouched)
{
    const QString layout = u"CREATE TABLE nodes (ip TEXT PRIMARY KEY NOT NULL, name TEXT, "
                           u"description TEXT, location TEXT, contact TEXT, extra TEXT)"_s;
    const struct
    {
        const char *name;
        QByteArray bytes;       // written as a file when not empty
        QStringList statements; // run through SQLite otherwise
        QString refusal;        // empty: opened
    } cases[] = {
        // clang-format off
        {"empty file", QByteArray(""), {}, {}},
        {"text", "Name,IP\nsw,10.0.0.1\n", {}, u"is not an SQLite database"_s},
        {"store without the version stamp", {}, {layout}, {}},
        {"another program's tables", {}, {u"CREATE TABLE hosts (ip TEXT)"_s},
         u"it holds the tables hosts, not the one table nodes"_s},
        {"nodes beside other tables", {}, {layout, u"CREATE TABLE notes (t TEXT)"_s},
         u"it holds the tables nodes, notes"_s},
        {"nodes with other columns", {},
         {u"CREATE TABLE nodes (ip TEXT PRIMARY KEY, name TEXT, site TEXT)"_s},
         u"its nodes table has the columns ip, name, site;"_s},
        {"an older layout without extra", {},
         {u"CREATE TABLE nodes (ip TEXT PRIMARY KEY NOT NULL, name TEXT, description TEXT, "
          u"location TEXT, contact TEXT)"_s},
         u"is not a node store of this version"_s},
        {"nodes keyed by name", {},
         {u"CREATE TABLE nodes (ip TEXT, name TEXT PRIMARY KEY, description TEXT, location "
          u"TEXT, contact TEXT, extra TEXT)"_s},
         u"(not keyed by ip alone)"_s},
        {"a newer version", {}, {layout, u"PRAGMA user_version = 2"_s},
         u"is a node store of a newer version (2; this program reads version 1)"_s},
        {"another application's file", {}, {layout, u"PRAGMA application_id = 42"_s},
         u"it belongs to another program (application id 0x2a)"_s},
        // clang-format on
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        TempFolder folder;
        const QString path = folder.path() + u"/nodes.sqlite"_s;
        if (!c.bytes.isNull())
            folder.write(u"nodes.sqlite"_s, c.bytes);
        if (!c.statements.isEmpty()) {
            {
                QSqlDatabase db = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"setup"_s);
                db.setDatabaseName(path);
                ASSERT_TRUE(db.open());
                for (const QString &statement : c.statements)
                    ASSERT_TRUE(QSqlQuery(db).exec(statement)) << statement.toStdString();
            }
            QSqlDatabase::removeDatabase(u"setup"_s);
        }
        const QByteArray bytes = MGImport8::Test::fileBytes(path);
        NodeStore store;
        const bool opened = store.open(path);
        if (c.refusal.isEmpty()) {
            EXPECT_TRUE(opened) << store.lastError().toStdString();
            EXPECT_EQ(store.count(), 0);
            continue;
        }
        EXPECT_FALSE(opened);
        EXPECT_TRUE(store.lastError().startsWith(path) && store.lastError().contains(c.refusal))
            << store.lastError().toStdString();
        EXPECT_EQ(MGImport8::Test::fileBytes(path), bytes);
    }
}

// The store keeps an address in plain decimal, read by the same lenient rules as the wizard's IP
// check, and refuses what that check refuses (its cases are the check's own tests').
TEST(NodeStoreAddress, CanonicalFormFollowsTheImportsAddressCheck)
{
    const struct
    {
        QString text;
        QString canonical;
    } cases[] = {
        {u" 10.+0.0.01"_s, u"10.0.0.1"_s},  {u"&HA.&O10.2.5E1"_s, u"10.8.2.50"_s},
        {u"10.0.0.25E-1"_s, u"10.0.0.2"_s}, {u"10.0.0.35e-1"_s, u"10.0.0.4"_s},
        {u"10.0.0.2.5"_s, QString()},       {u"10.0.0.256"_s, QString()},
    };
    for (const auto &c : cases)
        EXPECT_EQ(MGImport8::IPAddress::Canonical(c.text), c.canonical) << c.text.toStdString();
}

} // namespace
