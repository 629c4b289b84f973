// Keyed collections (rows and options): 1-based positions, case-insensitive keys, add-or-update in
// place, silent misses, removal and clearing, enumeration order.
#include "engine/libraryaccess.h"

#include <MGImport8/importoptions.h>
#include <MGImport8/importrow.h>

#include <QPointer>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using MGImport8::ImportOptions;
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

void addColumns(ImportRow &row, std::initializer_list<const char16_t *> names)
{
    for (const char16_t *name : names)
        LibraryAccess::AddColumn(row, QString::fromUtf16(name), QString::fromUtf16(name).toLower());
}

} // namespace

TEST(ImportRow, AddItemAndRemoveByPositionOrKeyMissingQuietly)
{
    ImportRow row;
    addColumns(row, {u"Name", u"IP", u"Location"});
    // Adding a name again overwrites in place and keeps the first spelling.
    LibraryAccess::AddColumn(row, u"ip"_s, u"10.0.0.2"_s);
    EXPECT_EQ(row.Item(u"IP"_s)->Data().toString(), u"10.0.0.2"_s);
    EXPECT_EQ(columnNames(row), (QStringList{u"Name"_s, u"IP"_s, u"Location"_s}));
    EXPECT_EQ(row.Item(1)->Column(), u"Name"_s);
    EXPECT_EQ(row.Item(3)->Column(), u"Location"_s);
    EXPECT_EQ(row.Item(qint64(2))->Column(), u"IP"_s);
    EXPECT_EQ(row.Item(2.4)->Column(), u"IP"_s);
    EXPECT_EQ(row.Item(2.5)->Column(), u"IP"_s); // half rounds to even
    EXPECT_EQ(row.Item(u"LOCATION"_s)->Column(), u"Location"_s);
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
    EXPECT_EQ(row.Count(), 3);
    row.Remove(u"ip"_s);
    EXPECT_TRUE(ip.isNull()) << "a removed column is destroyed";
    row.Remove(1);
    EXPECT_EQ(columnNames(row), QStringList{u"Location"_s});
}

TEST(ImportRow, ScriptHostsReachItemsThroughTheMetaObject)
{
    ImportRow row;
    addColumns(row, {u"IP"});
    MGImport8::ImportColumn *column = nullptr;
    ASSERT_TRUE(QMetaObject::invokeMethod(&row, "Item",
                                          Q_RETURN_ARG(MGImport8::ImportColumn *, column),
                                          Q_ARG(QVariant, QVariant(u"ip"_s))));
    ASSERT_NE(column, nullptr);
    EXPECT_EQ(column->property("Column").toString(), u"IP"_s);
    EXPECT_TRUE(column->setProperty("Data", 42));
    EXPECT_EQ(column->Data().toInt(), 42);
    EXPECT_FALSE(column->setProperty("Column", u"Other"_s)) << "Column has no public put";
}

TEST(ImportOptions, AddUpdatesInPlaceMissesRemovalAndClear)
{
    ImportOptions options;
    options.Clear();
    EXPECT_EQ(options.Count(), 0);
    options.Add(u"One"_s, u"1"_s);
    options.Add(u"Two"_s, u"2"_s, true);
    options.Add(u"Three"_s, u"3"_s);
    // Adding a name again updates the caption in place and resets an omitted value.
    EXPECT_EQ(options.Add(u"two"_s, u"y"_s), options.Item(2));
    EXPECT_EQ(options.Item(u"TWO"_s)->Caption(), u"y"_s);
    EXPECT_FALSE(options.Item(u"Two"_s)->Value());
    EXPECT_EQ(options.Item(2)->Name(), u"Two"_s);
    EXPECT_FALSE(options.Item(1)->Value());
    EXPECT_EQ(options.Item(u"Missing"_s), nullptr);
    options.Remove(u"Missing"_s);
    options.Remove(u"two"_s);
    QStringList names;
    for (const MGImport8::ImportOption *option : options)
        names.append(option->Name());
    EXPECT_EQ(names, (QStringList{u"One"_s, u"Three"_s}));
    QPointer<MGImport8::ImportOption> one = options.Item(1);
    options.Clear();
    EXPECT_EQ(options.Count(), 0);
    EXPECT_TRUE(one.isNull());
    EXPECT_EQ(options.Item(1), nullptr);
}
