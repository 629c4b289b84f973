// Imports into the node store when something goes wrong around them, with real processes and real
// SQLite files; after each the store is compared with what must be in it:
// - two command-line imports of overlapping files and Node Inventory's own import at the same
//   time: every row of all three ends in the store, upserted by address;
// - an import killed part-way, one that runs into a file-size limit (the file system full), one
//   into a read-only store and one into a store another program holds past the wait: each fails
//   with the store's reason and the store is as it was;
// - an import that waits for another writer and then goes through;
// - a line wider than the grid refused with a message;
// - two hundred wizard runs in one process leave its resident memory where it was.
// (The PostgreSQL server stopped during a read is covered with the server reader's tests.)
#include "nodeinventory/nodeimporter.h"
#include "nodestore/nodestore.h"
#include "testsupport.h"
#include "wizard/headlessview.h"
#include "wizard/wizardcontroller.h"

#include <MGImport8/importoption.h>
#include <MGImport8/importoptions.h>

#include <QCoreApplication>
#include <QFile>
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
using NodeInventory::NodeImporter;
using NodeInventory::NodeStore;

namespace {

const QString tool = u"" MGIMPORT8_TOOL ""_s;
const QString sample = u"" MGIMPORT8_EXAMPLES_DIR "/nodes.csv"_s;
constexpr int ProcessTimeoutMs = 300000;

// Device lines `prefix-N,ADDRESS` for N from `first`, each N its own address.
QString deviceFile(const TempFolder &folder, const QString &name, const char *prefix, int first,
                   int count)
{
    QByteArray text;
    for (int i = first; i < first + count; ++i) {
        text += prefix;
        text += '-' + QByteArray::number(i) + ",10." + QByteArray::number(i >> 16) + '.'
                + QByteArray::number((i >> 8) & 0xff) + '.' + QByteArray::number(i & 0xff) + '\n';
    }
    return folder.write(name, text);
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
    int status = -1;
    QString err;
};

Finished finish(QProcess &process)
{
    EXPECT_TRUE(process.waitForFinished(ProcessTimeoutMs));
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromUtf8(process.readAllStandardError())};
}

// Reads the child's output until `enough` says so; false when it ended first.
bool readUntil(QProcess &process, QProcess::ProcessChannel channel,
               const std::function<bool(const QByteArray &)> &enough)
{
    QByteArray seen;
    process.setReadChannel(channel);
    while (!enough(seen)) {
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

// Node Inventory's import as its window runs it, headless: the text method, every row ticked.
NodeInventory::ImportSummary inventoryImport(NodeStore &store, const QString &file)
{
    NodeImporter importer(store);
    importer.engine().ImportOptions()->Item(u"Overwrite"_s)->setValue(true);
    MGImport8::HeadlessView view;
    view.setFileAnswer(file);
    MGImport8::WizardController wizard(importer.engine(), view);
    EXPECT_TRUE(importer.begin());
    wizard.start();
    const auto &methods = wizard.state().methods;
    for (int row = 0; row < methods.size(); ++row) {
        if (methods.at(row).name == u"Text File"_s)
            wizard.selectMethodRow(row);
    }
    while (wizard.state().currentPanel != MGImport8::Panel::ImportPanel) {
        const MGImport8::Panel panel = wizard.state().currentPanel;
        if (panel == MGImport8::Panel::PreviewPanel)
            wizard.checkAll();
        wizard.next();
        if (wizard.state().currentPanel == panel) {
            ADD_FAILURE() << view.messages().value(0).text.toStdString();
            break;
        }
    }
    return importer.finish();
}

TEST_F(ImportFaults, ConcurrentImportsKeepEveryRowOfAll)
{
    const QString first = deviceFile(folder, u"a.csv"_s, "a", 0, 20000);
    const QString second = deviceFile(folder, u"b.csv"_s, "b", 10000, 20000);
    const QString third = deviceFile(folder, u"c.csv"_s, "c", 25000, 10000);
    // The command-line imports start first; Node Inventory's waits for them or they for it.
    // Their rows go nowhere: a child blocked on a full pipe, holding the store while this thread
    // runs its own import, would make the test wait for itself.
    QProcess a;
    QProcess b;
    a.setStandardOutputFile(QProcess::nullDevice());
    b.setStandardOutputFile(QProcess::nullDevice());
    a.start(tool, importArguments(store, first));
    b.start(tool, importArguments(store, second));
    ASSERT_TRUE(a.waitForStarted() && b.waitForStarted());
    NodeStore inventory;
    ASSERT_TRUE(inventory.open(store));
    const NodeInventory::ImportSummary own = inventoryImport(inventory, third);
    EXPECT_TRUE(own.completed) << own.stopped.toStdString() << own.error.toStdString();
    const Finished doneA = finish(a);
    const Finished doneB = finish(b);
    EXPECT_EQ(doneA.status, 0) << doneA.err.toStdString();
    EXPECT_EQ(doneB.status, 0) << doneB.err.toStdString();

    const QStringList after = snapshot(store);
    EXPECT_EQ(after.size(), 14 + 35000);
    QHash<QString, QString> names;
    for (const QString &row : after)
        names.insert(row.section(u'|', 0, 0), row.section(u'|', 1));
    for (int i = 0; i < 35000; ++i) {
        const QString ip = u"10.%1.%2.%3"_s.arg(i >> 16).arg((i >> 8) & 0xff).arg(i & 0xff);
        QStringList writers;
        if (i < 20000)
            writers.append(u"a-%1"_s.arg(i));
        if (i >= 10000 && i < 30000)
            writers.append(u"b-%1"_s.arg(i));
        if (i >= 25000) // the headless walk maps the address alone
            writers.append(QString());
        ASSERT_TRUE(writers.contains(names.value(ip)))
            << ip.toStdString() << " holds " << names.value(ip).toStdString();
    }
}

TEST_F(ImportFaults, KilledImportLeavesTheStoreAsItWas)
{
    QProcess child;
    child.start(tool, importArguments(store, deviceFile(folder, u"big.csv"_s, "k", 0, 300000)));
    // Rows are printed after the store took them: a few thousand are in its transaction.
    ASSERT_TRUE(readUntil(child, QProcess::StandardOutput,
                          [](const QByteArray &seen) { return seen.count('\n') >= 5000; }));
    ::kill(pid_t(child.processId()), SIGKILL);
    child.waitForFinished(ProcessTimeoutMs);
    EXPECT_EQ(child.exitStatus(), QProcess::CrashExit);
    EXPECT_EQ(snapshot(store), before);
    // The store is still a node store the next import can use.
    NodeStore reopened;
    EXPECT_TRUE(reopened.open(store)) << reopened.lastError().toStdString();
}

// The store is refused its writes, in three ways; the import says so, fails, and keeps nothing.
TEST_F(ImportFaults, StoreThatCannotBeWrittenFailsTheImport)
{
    const QString file = deviceFile(folder, u"many.csv"_s, "f", 0, 200000);
    const bool root = ::geteuid() == 0;
    const QString setpriv = QStandardPaths::findExecutable(u"setpriv"_s);
    const struct
    {
        const char *name;
        QString expected;
    } cases[] = {
        // The file system full: a file-size limit, with the signal it raises ignored.
        {"file-size limit", u"File too large"_s},
        // Permissions: as another user when the tests run as root, who may write anything.
        {"read-only store", u"readonly database"_s},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        QProcess child;
        child.setStandardOutputFile(QProcess::nullDevice());
        QStringList arguments = importArguments(store, file);
        QString program = tool;
        if (c.expected.contains(u"large"_s)) {
            child.setChildProcessModifier([] {
                ::signal(SIGXFSZ, SIG_IGN);
                const rlimit limit{256 * 1024, 256 * 1024};
                ::setrlimit(RLIMIT_FSIZE, &limit);
            });
        } else if (root) {
            if (setpriv.isEmpty()) {
                GTEST_LOG_(INFO) << "skipped: running as root without setpriv to drop privileges";
                continue;
            }
            QFile::setPermissions(folder.path(), QFile::permissions(folder.path())
                                                     | QFile::ReadOther | QFile::ExeOther);
            arguments.prepend(tool);
            arguments = QStringList{u"--reuid=nobody"_s, u"--regid=nogroup"_s, u"--clear-groups"_s}
                        + arguments;
            program = setpriv;
        } else {
            QFile::setPermissions(store, QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther);
        }
        child.start(program, arguments);
        const Finished done = finish(child);
        EXPECT_EQ(done.status, 1) << done.err.toStdString();
        EXPECT_TRUE(done.err.contains(u"node store"_s) && done.err.contains(c.expected))
            << done.err.toStdString();
        EXPECT_FALSE(done.err.contains(u"Import Complete"_s));
        EXPECT_EQ(snapshot(store), before);
    }
}

class StoreHolder
{
public:
    explicit StoreHolder(const QString &path)
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"holder"_s);
        db.setDatabaseName(path);
        EXPECT_TRUE(db.open() && QSqlQuery(db).exec(u"BEGIN IMMEDIATE"_s));
    }
    ~StoreHolder()
    {
        release(u"ROLLBACK"_s);
        QSqlDatabase::removeDatabase(u"holder"_s);
    }
    void release(const QString &how)
    {
        QSqlDatabase db = QSqlDatabase::database(u"holder"_s, false);
        if (db.isOpen()) {
            EXPECT_TRUE(QSqlQuery(db).exec(how));
            db.close();
        }
    }
    void add(const QString &ip, const QString &name)
    {
        QSqlQuery query(QSqlDatabase::database(u"holder"_s, false));
        query.prepare(u"INSERT INTO nodes (ip, name) VALUES (?, ?)"_s);
        query.addBindValue(ip);
        query.addBindValue(name);
        EXPECT_TRUE(query.exec());
    }
};

TEST_F(ImportFaults, StoreHeldPastTheWaitFailsTheImport)
{
    StoreHolder holder(store);
    QProcess child;
    child.start(tool, importArguments(store, sample) << u"--wait"_s << u"1"_s);
    const Finished done = finish(child);
    EXPECT_EQ(done.status, 1);
    EXPECT_TRUE(done.err.startsWith(u"Waiting for the node store: another import is writing to "
                                    u"it.\n"_s))
        << done.err.toStdString();
    EXPECT_TRUE(done.err.contains(u"held by another program for longer than 1 seconds"_s))
        << done.err.toStdString();
    holder.release(u"ROLLBACK"_s);
    EXPECT_EQ(snapshot(store), before);
}

TEST_F(ImportFaults, ImportWaitsForAnotherWriterThenGoesThrough)
{
    StoreHolder holder(store);
    holder.add(u"192.0.2.200"_s, u"held"_s);
    QProcess child;
    child.start(tool, importArguments(store, deviceFile(folder, u"w.csv"_s, "w", 0, 100)));
    ASSERT_TRUE(readUntil(child, QProcess::StandardError, [](const QByteArray &seen) {
        return seen.contains("Waiting for the node store");
    }));
    holder.release(u"COMMIT"_s);
    const Finished done = finish(child);
    EXPECT_EQ(done.status, 0) << done.err.toStdString();
    const QStringList after = snapshot(store);
    EXPECT_EQ(after.size(), 14 + 1 + 100);
    EXPECT_TRUE(after.contains(u"192.0.2.200|held"_s));
    EXPECT_TRUE(after.contains(u"10.0.0.99|w-99"_s));
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
        SCOPED_TRACE(c.fields);
        QByteArray line = "x";
        for (int i = 1; i < c.fields; ++i)
            line += ",x";
        QProcess child;
        child.start(tool, {u"import"_s, folder.write(u"wide.csv"_s, "Name\n" + line + '\n')});
        const Finished done = finish(child);
        EXPECT_EQ(done.status, c.status);
        EXPECT_TRUE(done.err.startsWith(c.message)) << done.err.toStdString();
    }
}

qint64 residentBytes()
{
    QFile statm(u"/proc/self/statm"_s);
    if (!statm.open(QIODevice::ReadOnly))
        return -1;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.value(1).toLongLong() * ::sysconf(_SC_PAGESIZE);
}

// Resident size, not only leaks: caches or buffers that grow with every run would show here.
TEST(ImportMemory, TwoHundredWizardRunsLeaveResidentMemoryFlat)
{
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "AddressSanitizer keeps freed memory in quarantine; it checks leaks itself";
#endif
    TempFolder folder;
    const QString file = deviceFile(folder, u"runs.csv"_s, "r", 0, 2000);
    NodeStore store;
    ASSERT_TRUE(store.open(folder.path() + u"/nodes.sqlite"_s));
    qint64 settled = 0;
    for (int run = 1; run <= 200; ++run) {
        const NodeInventory::ImportSummary summary = inventoryImport(store, file);
        ASSERT_TRUE(summary.completed) << run;
        ASSERT_EQ(summary.added + summary.updated, 2000);
        if (run == 20)
            settled = residentBytes();
    }
    if (settled < 0)
        GTEST_SKIP() << "no /proc/self/statm to read the resident size from";
    const qint64 growth = residentBytes() - settled;
    RecordProperty("growth_bytes", int(growth));
    EXPECT_LT(growth, 4 << 20) << "resident size grew by " << growth << " bytes over 180 runs";
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
