// Engine: the member order hosts and scripts see through the meta-object, the inverted StartWizard
// result, events reaching handlers with their by-reference arguments, and the mapping choice list.
#include "engine/libraryaccess.h"
#include "engine/wizardlauncher.h"
#include "testsupport.h"

#include <MGImport8/engine.h>

#include <QMetaMethod>
#include <QSignalSpy>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using MGImport8::Engine;
using MGImport8::LibraryAccess;

namespace {

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

TEST(Engine, MetaObjectListsMembersInInterfaceOrder)
{
    const QMetaObject &meta = Engine::staticMetaObject;
    EXPECT_EQ(MGImport8::Test::ownPropertyNames(meta),
              (QStringList{u"Title"_s, u"Description"_s, u"ForeColorSel"_s, u"BackColorSel"_s,
                           u"RequiredColumns"_s, u"Columns"_s, u"IPColumn"_s, u"ImportOptions"_s}));
    EXPECT_EQ(methodSignatures(meta, QMetaMethod::Method),
              (QStringList{u"StartWizard(QObject*)"_s, u"StartWizard()"_s, u"Import(QString)"_s,
                           u"StopImport(QString)"_s}));
    EXPECT_EQ(methodSignatures(meta, QMetaMethod::Signal),
              (QStringList{u"NewRow(MGImport8::ImportRow*,QString&,bool&)"_s,
                           u"ImportComplete()"_s}));

    // Hosts written against the older connect syntax name the signal without the private tag.
    Engine engine;
    QSignalSpy spy(&engine, SIGNAL(NewRow(MGImport8::ImportRow *, QString &, bool &)));
    EXPECT_TRUE(spy.isValid());
    // A script host reaches the one options collection an engine keeps for its lifetime.
    engine.ImportOptions()->Add(u"Overwrite"_s, u"Overwrite existing nodes"_s);
    auto *options = engine.property("ImportOptions").value<MGImport8::ImportOptions *>();
    ASSERT_EQ(options, engine.ImportOptions());
    EXPECT_EQ(options->Item(u"overwrite"_s)->Caption(), u"Overwrite existing nodes"_s);
    EXPECT_FALSE(engine.setProperty("ImportOptions", QVariant())) << "read-only";
}

TEST(Engine, StartWizardReturnsTheWizardsResultAndEventsArriveBeforeItReturns)
{
    {
        // Without a wizard there is no completed import.
        Engine engine;
        QSignalSpy complete(&engine, &Engine::ImportComplete);
        EXPECT_TRUE(engine.StartWizard());
        EXPECT_EQ(complete.count(), 0);
    }
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
