// A row's columns: 1-based positions, case-insensitive keys, add-or-update in place, silent misses,
// removal, enumeration order. The options collection is what the packaged host prints.
// Engine: the member order hosts and scripts see through the meta-object. StartWizard's result and
// the events with their by-reference arguments are walked through the wizard window, and the
// mapping choice list is read from the mapping panel's grid, in the wizard's tests.
#include "engine/libraryaccess.h"

#include <MGImport8/engine.h>
#include <MGImport8/importoptions.h>
#include <MGImport8/importrow.h>

#include <QMetaMethod>
#include <QPointer>
#include <QSignalSpy>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using MGImport8::Engine;
using MGImport8::ImportRow;
using MGImport8::LibraryAccess;

namespace {

QStringList columnNames(const ImportRow &row)
{
    QStringList names;
    for (const MGImport8::ImportColumn *column : row)
        names.append(column->Column());
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

} // namespace

TEST(ImportRow, AddItemAndRemoveByPositionOrKeyMissingQuietly)
{
    ImportRow row;
    for (const QString &name : {u"Name"_s, u"IP"_s, u"Location"_s})
        LibraryAccess::AddColumn(row, name, name.toLower());
    // Adding a name again overwrites in place and keeps the first spelling.
    LibraryAccess::AddColumn(row, u"ip"_s, u"10.0.0.2"_s);
    EXPECT_EQ(row.Item(u"IP"_s)->Data().toString(), u"10.0.0.2"_s);
    EXPECT_EQ(columnNames(row), (QStringList{u"Name"_s, u"IP"_s, u"Location"_s}));
    EXPECT_EQ(row.Item(qint64(2))->Column(), u"IP"_s);
    EXPECT_EQ(row.Item(2.4)->Column(), u"IP"_s);
    EXPECT_EQ(row.Item(2.5)->Column(), u"IP"_s); // half rounds to even
    // Text that looks like a number is still a key.
    for (const QVariant &missing :
         {QVariant(0), QVariant(4), QVariant(-1), QVariant(u"Missing"_s), QVariant(),
          QVariant(true), QVariant(u""_s), QVariant(1e300),
          QVariant(std::numeric_limits<double>::quiet_NaN()), QVariant(u"1"_s)})
        EXPECT_EQ(row.Item(missing), nullptr) << missing.toString().toStdString();

    QPointer<MGImport8::ImportColumn> ip = row.Item(u"IP"_s);
    row.Remove(u"Missing"_s);
    row.Remove(0);
    row.Remove(4);
    row.Remove(u"ip"_s);
    EXPECT_TRUE(ip.isNull()) << "a removed column is destroyed";
    row.Remove(1);
    EXPECT_EQ(columnNames(row), QStringList{u"Location"_s});
}

TEST(Engine, MetaObjectListsMembersInInterfaceOrder)
{
    // The properties' order is what the packaged host prints.
    const QMetaObject &meta = Engine::staticMetaObject;
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
    EXPECT_EQ(engine.property("ImportOptions").value<MGImport8::ImportOptions *>(),
              engine.ImportOptions());
    EXPECT_FALSE(engine.setProperty("ImportOptions", QVariant())) << "read-only";
}
