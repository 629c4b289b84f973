// Reading one ImportMethod element: a missing or empty NAME refuses it, DISABLED is a yes/no word
// (the words themselves are the yes/no reader's), DELIMITER a word list, PANELS is split without
// trimming and IncludePanel throws without a list.
// A method's source is told by its METHOD name upper-cased.
// The catalogue: which elements and files it reads, what a bad file leaves in LastError without
// stopping the scan, encodings that Windows editors write and bounds on absurd input. The shipped
// methods, mixed-case attributes, duplicates across files and the search path's order are walked
// end to end by the golden `methods` command tests.
#include "methods/catalogueloader.h"
#include "methods/sourcekind.h"

#include "testsupport.h"

#include <MGImport8/importtype.h>
#include <MGImport8/importtypes.h>

#include <QDir>
#include <QStringEncoder>

#include <gtest/gtest.h>
#include <pugixml.hpp>

using namespace Qt::StringLiterals;
using MGImport8::CatalogueLoader;
using MGImport8::ImportType;
using MGImport8::ImportTypes;
using MGImport8::SourceKind;
using MGImport8::Test::ScopedEnv;
using MGImport8::Test::TempFolder;

namespace {

// Reads the attributes of `<ImportMethod .../>` written as `attributes`.
std::unique_ptr<ImportType> readMethod(const char *attributes, bool *named = nullptr)
{
    const std::string xml = std::string("<ImportMethod ") + attributes + "/>";
    pugi::xml_document document;
    EXPECT_TRUE(document.load_string(xml.c_str())) << xml;
    auto method = std::make_unique<ImportType>();
    const bool ok = CatalogueLoader::ReadMethod(*method, document.first_child());
    if (named)
        *named = ok;
    return method;
}

QByteArray methodsFile(const QByteArray &methods)
{
    return "<?xml version=\"1.0\"?>\n<ImportMethods>\n" + methods + "</ImportMethods>\n";
}

QByteArray method(const QByteArray &name, const QByteArray &extra = {})
{
    return "  <ImportMethod NAME=\"" + name + "\" DISABLED=\"NO\" PANELS=\"MethodPanel\" " + extra
           + "/>\n";
}

QStringList names(const ImportTypes &catalogue)
{
    QStringList result;
    for (const MGImport8::ImportType *m : catalogue)
        result.append(m->Name());
    return result;
}

QString cannotLoad(const QString &path)
{
    return u"Cannot load Import Methods from ("_s + path + u")\r\n"_s;
}

} // namespace

TEST(ImportType, NameDisabledAndDelimiterAttributes)
{
    const struct
    {
        const char *attributes;
        bool named, enabled;
        QString delimiter;
    } cases[] = {
        {R"(METHOD="IMPORTTEXT" DISABLED="NO")", false, true, {}},
        {R"(NAME="" DISABLED="NO")", false, true, {}},
        {R"(NAME="x" name="" DISABLED="NO")", false, true, {}}, // the later attribute wins
        {R"(NAME="m" DISABLED="yes")", true, false, {}},
        {R"(NAME="m")", true, false, {}},
        {R"(NAME="m" DISABLED="yes" disabled="no")", true, true, {}},
        {R"(NAME="m" DISABLED="no" DELIMITER="space,SEMICOLON,colon")", true, true, u" ;:"_s},
        {R"(NAME="m" DISABLED="no" DELIMITER="COMMA, TAB")", true, true, u","_s},
        {R"(NAME="m" DISABLED="no" DELIMITER="COMMA" delimiter="TAB")", true, true, u",\t"_s},
    };
    for (const auto &c : cases) {
        bool named = false;
        const auto read = readMethod(c.attributes, &named);
        EXPECT_EQ(named, c.named) << c.attributes;
        if (c.named) {
            EXPECT_EQ(read->Enabled(), c.enabled) << c.attributes;
            EXPECT_EQ(read->Delimiter(), c.delimiter) << c.attributes;
        }
    }
}

TEST(ImportType, IncludePanelComparesWithoutCaseButWithBlanksAndThrowsWithoutAList)
{
    auto method = readMethod(R"(Name="Text" Panels="MethodPanel,FilePanel, MapPanel")");
    EXPECT_TRUE(method->IncludePanel(u"filepanel"_s));
    EXPECT_FALSE(method->IncludePanel(u"MapPanel"_s));
    EXPECT_TRUE(method->IncludePanel(u" MapPanel"_s));
    method = readMethod(R"(Name="m")");
    EXPECT_FALSE(method->HasPanelList());
    try {
        method->IncludePanel(u"MethodPanel"_s);
        ADD_FAILURE() << "no panel list must throw";
    } catch (const MGImport8::SubscriptOutOfRange &error) {
        EXPECT_STREQ(error.what(), "Subscript out of range");
    }
}

TEST(SourceKind, MethodNamesAreComparedUpperCased)
{
    // clang-format off
    const std::pair<QString, SourceKind> cases[] = {
        {u"ImportText"_s, SourceKind::TextFile}, {u"importaccess"_s, SourceKind::AccessDatabase},
        {u"IMPORTSQL"_s, SourceKind::SqlServer}, {u"ImportPostgreSQL"_s, SourceKind::PostgreSql},
        {u" IMPORTTEXT"_s, SourceKind::Other},   {u"IMPORTTEXTS"_s, SourceKind::Other}};
    // clang-format on
    for (const auto &[name, kind] : cases)
        EXPECT_EQ(MGImport8::sourceKind(name), kind) << name.toStdString();
}

// What a file's bytes give: the names loaded, or "refused" with the reason in LastError.
TEST(Catalogue, BuffersLoadTheirMethodsInDocumentOrderAndEveryEncoding)
{
    const QByteArray utf8 = methodsFile(method("Réseau – liste"));
    auto encode = [&](QStringConverter::Encoding encoding) {
        return QByteArray(
            QStringEncoder(encoding, QStringConverter::Flag::WriteBom)(QString::fromUtf8(utf8)));
    };
    const QByteArray cp1252 = methodsFile(method("R\xe9seau \x96 liste"));
    QByteArray declared1252 = cp1252;
    declared1252.replace("version=\"1.0\"", "version=\"1.0\" encoding=\"windows-1252\"");
    const QByteArray nested = "  <Group><ImportMethod NAME=\"Nested\"/></Group>\n"
                              "  <importmethod NAME=\"LowerCase\"/>\n";
    const std::pair<QByteArray, QString> cases[] = {
        {methodsFile(method("Text") + nested + method("Excel") + method("Access")),
         u"Text|Excel|Access"_s},
        {"<importMethods>" + method("Lost") + "</importMethods>", QString()},
        {utf8, u"Réseau – liste"_s},
        {"\xEF\xBB\xBF" + utf8, u"Réseau – liste"_s},
        {encode(QStringConverter::Utf16LE), u"Réseau – liste"_s},
        {encode(QStringConverter::Utf16BE), u"Réseau – liste"_s},
        {declared1252, u"Réseau – liste"_s},
        {cp1252, u"Réseau – liste"_s},
        // Deep nesting and a long attribute still load what they can.
        {"<ImportMethods>" + method("Deep") + QByteArray("<x>").repeated(100000)
             + QByteArray("</x>").repeated(100000) + "</ImportMethods>",
         u"Deep"_s},
        {methodsFile(method("Long", "DELIMITER=\"" + QByteArray("TAB,").repeated(100000) + "\"")),
         u"Long"_s},
        {"", u"refused"_s},
        {"<?xml version=\"1.0\"?>", u"refused"_s},
        {QByteArray("\x00\x01\xff\xfe<\x00", 6), u"refused"_s},
    };
    for (const auto &[bytes, expected] : cases) {
        ImportTypes catalogue;
        const auto report = CatalogueLoader::LoadBuffer(catalogue, bytes, u"m.ImportMethods"_s);
        EXPECT_EQ((report.loaded ? QString() : u"refused"_s) + names(catalogue).join(u'|'), expected)
            << bytes.left(40).toStdString();
        EXPECT_EQ(catalogue.LastError(), report.loaded ? QString() : cannotLoad(report.path));
        EXPECT_EQ(report.problem.isEmpty(), report.loaded);
    }
    ImportTypes catalogue;
    CatalogueLoader::LoadBuffer(catalogue, cases[9].first, u"m"_s);
    EXPECT_EQ(catalogue.Item(1)->Delimiter(), QString(100000, u'\t'));
    // Methods come out by name in any case or by position; misses are quiet.
    CatalogueLoader::LoadBuffer(catalogue, cases[0].first, u"m"_s);
    catalogue.Remove(u"excel"_s);
    catalogue.Remove(u"missing"_s);
    catalogue.Remove(7);
    catalogue.Remove(1);
    EXPECT_EQ(names(catalogue), (QStringList{u"Text"_s, u"Access"_s}));
}

// A failing file adds nothing and leaves its message, which a later success does not clear; the
// scan of a folder goes on past it, in the order the file system lists the files.
TEST(Catalogue, FolderScanMatchesThePatternInAnyCaseAndGoesOnPastBadFiles)
{
    TempFolder folder;
    ImportTypes catalogue;
    CatalogueLoader::LoadFolder(catalogue, folder.path() + u"/does-not-exist"_s);
    EXPECT_TRUE(catalogue.LastError().isEmpty()) << "no folder is an empty catalogue";
    folder.write(u"notes.txt"_s, methodsFile(method("Notes")));
    folder.write(u"a.ImportMethods"_s, methodsFile(method("Shared", "ICON=\"a\"") + method("A")));
    folder.write(u"b.importmethods"_s, methodsFile(method("Shared", "ICON=\"b\"") + method("B")));
    folder.write(u"c.ImportMethods.bak"_s, methodsFile(method("Backup")));
    QDir().mkpath(folder.path() + u"/d.ImportMethods"_s); // a folder, not a file
    // A file over the limit is refused unread.
    const QString huge
        = folder.write(u"e.ImportMethods"_s,
                       methodsFile(method("Big", QByteArray(CatalogueLoader::MaxFileBytes, ' '))));
    QList<CatalogueLoader::FileReport> reports;
    CatalogueLoader::LoadFolder(catalogue, folder.path(), &reports);
    QStringList listed = QDir(folder.path())
                             .entryList({u"*.ImportMethods"_s}, QDir::Files, QDir::Unsorted);
    listed.removeOne(u"e.ImportMethods"_s);
    EXPECT_EQ(reports.size(), 3);
    EXPECT_EQ(names(catalogue).size(), 3) << names(catalogue).join(u' ').toStdString();
    EXPECT_EQ(catalogue.LastError(), cannotLoad(huge));
    EXPECT_EQ(catalogue.Item(u"Shared"_s)->Icon(), listed.value(0).left(1));

    const QString missing = folder.path() + u"/missing.ImportMethods"_s;
    EXPECT_FALSE(CatalogueLoader::LoadFile(catalogue, missing).loaded);
    EXPECT_EQ(catalogue.LastError(), cannotLoad(missing));
    CatalogueLoader::LoadFile(catalogue, folder.path() + u"/a.ImportMethods"_s);
    EXPECT_EQ(catalogue.LastError(), cannotLoad(missing));
    EXPECT_EQ(catalogue.Count(), 3);
}
