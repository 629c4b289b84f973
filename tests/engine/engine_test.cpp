// Engine: defaults a host reads back, the member order hosts and scripts see through the
// meta-object, the inverted StartWizard result, events reaching handlers with their by-reference
// arguments, and the mapping choice list.
#include "engine/libraryaccess.h"
#include "engine/wizardlauncher.h"

#include <MGImport8/engine.h>

#include <QMetaMethod>
#include <QSignalSpy>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using MGImport8::Engine;
using MGImport8::LibraryAccess;

namespace {

QStringList propertyNames(const QMetaObject &meta)
{
    QStringList names;
    for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i)
        names.append(QString::fromLatin1(meta.property(i).name()));
    return names;
}

QStringList methodSignatures(const QMetaObject &meta, QMetaMethod::MethodType type)
{
    QStringList names;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        if (method.methodType() == type && method.access() == QMetaMethod::Public)
            names.append(QString::fromLatin1(method.methodSignature()));
    }
    return names;
}

// Installs a launcher for one test and takes it away again, so tests stay independent.
struct LauncherScope
{
    explicit LauncherScope(MGImport8::WizardLauncher launcher)
    {
        MGImport8::setWizardLauncher(launcher);
    }
    ~LauncherScope() { MGImport8::setWizardLauncher(nullptr); }
};

} // namespace

TEST(Engine, NewEngineHasTheDocumentedDefaults)
{
    Engine engine;
    EXPECT_EQ(engine.Title(), u"Import Wizard"_s);
    EXPECT_TRUE(engine.Description().startsWith(
        u"This Import Wizard will assist you in importing Nodes."_s));
    EXPECT_TRUE(
        engine.Description().endsWith(u"Quellscan discovery database, or other databases."_s));
    EXPECT_EQ(engine.ForeColorSel(), 16711680);
    EXPECT_EQ(engine.BackColorSel(), 16763080);
    EXPECT_TRUE(engine.RequiredColumns().isEmpty());
    EXPECT_TRUE(engine.Columns().isEmpty());
    EXPECT_TRUE(engine.IPColumn().isEmpty());
    ASSERT_NE(engine.ImportOptions(), nullptr);
    EXPECT_EQ(engine.ImportOptions()->Count(), 0);
}

TEST(Engine, PropertiesStoreWhateverTheHostWrites)
{
    Engine engine;
    engine.setColumns(u"Name,,IP, Name"_s);
    engine.setForeColorSel(-1);
    engine.setTitle(QString());
    EXPECT_EQ(engine.Columns(), u"Name,,IP, Name"_s);
    EXPECT_EQ(engine.ForeColorSel(), -1);
    EXPECT_TRUE(engine.Title().isEmpty());
    // Through the meta-object as a script host would.
    EXPECT_TRUE(engine.setProperty("IPColumn", u"Address"_s));
    EXPECT_EQ(engine.IPColumn(), u"Address"_s);
    EXPECT_FALSE(engine.setProperty("ImportOptions", QVariant())); // read-only
}

TEST(Engine, MetaObjectListsMembersInInterfaceOrder)
{
    const QMetaObject &meta = Engine::staticMetaObject;
    EXPECT_EQ(propertyNames(meta),
              (QStringList{u"Title"_s, u"Description"_s, u"ForeColorSel"_s, u"BackColorSel"_s,
                           u"RequiredColumns"_s, u"Columns"_s, u"IPColumn"_s, u"ImportOptions"_s}));
    EXPECT_EQ(methodSignatures(meta, QMetaMethod::Method),
              (QStringList{u"StartWizard(QObject*)"_s, u"StartWizard()"_s, u"Import(QString)"_s}));
    EXPECT_EQ(methodSignatures(meta, QMetaMethod::Signal),
              (QStringList{u"NewRow(MGImport8::ImportRow*,QString&,bool&)"_s,
                           u"ImportComplete()"_s}));
}

TEST(Engine, ImportOptionsIsOneCollectionForTheEngineLifetime)
{
    Engine engine;
    MGImport8::ImportOptions *first = engine.ImportOptions();
    first->Add(u"Overwrite"_s, u"Overwrite existing nodes"_s);
    MGImport8::ImportOptions *second = engine.property("ImportOptions")
                                           .value<MGImport8::ImportOptions *>();
    ASSERT_EQ(first, second);
    EXPECT_EQ(second->Count(), 1);
    EXPECT_EQ(second->Item(u"overwrite"_s)->Caption(), u"Overwrite existing nodes"_s);
}

TEST(Engine, ImportIsAPlaceholderThatReturnsFalse)
{
    Engine engine;
    engine.setColumns(u"IP"_s);
    EXPECT_FALSE(engine.Import(u"/tmp/nodes.csv"_s));
    EXPECT_FALSE(engine.Import(QString()));
    EXPECT_EQ(engine.Columns(), u"IP"_s);
}

TEST(Engine, StartWizardWithoutAWizardReportsNoCompletedImport)
{
    Engine engine;
    QSignalSpy complete(&engine, &Engine::ImportComplete);
    EXPECT_TRUE(engine.StartWizard());
    EXPECT_EQ(complete.count(), 0);
}

TEST(Engine, StartWizardReturnsTheWizardsResultAndEventsArriveBeforeItReturns)
{
    LauncherScope scope([](Engine &engine, QObject *) {
        MGImport8::ImportRow row;
        LibraryAccess::AddColumn(row, u"IP"_s, u"10.0.0.1"_s);
        QString status;
        bool skip = false;
        LibraryAccess::FireNewRow(engine, &row, status, skip);
        LibraryAccess::FireImportComplete(engine);
        return !(skip && status == u"duplicate"_s);
    });
    Engine engine;
    QStringList seen;
    QObject::connect(&engine, &Engine::NewRow,
                     [&](MGImport8::ImportRow *row, QString &status, bool &skip) {
                         seen.append(row->Item(u"ip"_s)->Data().toString());
                         status = u"duplicate"_s;
                         skip = true;
                     });
    QObject::connect(&engine, &Engine::ImportComplete, [&] { seen.append(u"complete"_s); });
    // False: the import completed, and the handler's status and skip reached the wizard.
    EXPECT_FALSE(engine.StartWizard());
    EXPECT_EQ(seen, (QStringList{u"10.0.0.1"_s, u"complete"_s}));
}

TEST(Engine, NewRowWithoutHandlersLeavesStatusAndSkipAlone)
{
    Engine engine;
    MGImport8::ImportRow row;
    QString status = u"untouched"_s;
    bool skip = false;
    LibraryAccess::FireNewRow(engine, &row, status, skip);
    EXPECT_EQ(status, u"untouched"_s);
    EXPECT_FALSE(skip);
}

TEST(Engine, StringBasedConnectionsSeeThePublicSignature)
{
    // Hosts written against the older connect syntax name the signal without the private tag.
    Engine engine;
    QObject receiver;
    EXPECT_TRUE(QObject::connect(&engine, SIGNAL(ImportComplete()), &receiver, SLOT(deleteLater())));
    QSignalSpy spy(&engine, SIGNAL(NewRow(MGImport8::ImportRow *, QString &, bool &)));
    EXPECT_TRUE(spy.isValid());
}

TEST(Engine, ColumnChoicesStartWithIgnoreAndUseBars)
{
    Engine engine;
    EXPECT_EQ(LibraryAccess::ColumnChoices(engine), u"<ignore>|"_s);
    engine.setColumns(u"Name,IP"_s);
    EXPECT_EQ(LibraryAccess::ColumnChoices(engine), u"<ignore>|Name|IP"_s);
    engine.setColumns(u"Name,,IP,"_s);
    EXPECT_EQ(LibraryAccess::ColumnChoices(engine), u"<ignore>|Name||IP|"_s);
    EXPECT_EQ(engine.Columns(), u"Name,,IP,"_s); // the engine's own text is left as written
}
