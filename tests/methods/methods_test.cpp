// Reading one ImportMethod element: attribute names in any case, the yes/no DISABLED word, the
// DELIMITER word list, PANELS split without trimming, and IncludePanel with and without a list.
// A method's source is told by its METHOD name upper-cased, so "ImportText" reads a text file; the
// server methods and their names round-trip; every other name reads no source of its own.
// The catalogue: which files it reads and in what order, which elements become methods, what a
// bad file leaves in LastError and that it never stops the scan, encodings that Windows editors
// write, bounds on absurd input, and the method files we ship.
#include "methods/catalogueloader.h"
#include "methods/sourcekind.h"

#include "testsupport.h"

#include <MGImport8/importtype.h>
#include <MGImport8/importtypes.h>

#include <QDir>
#include <QStringConverter>

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

TEST(ImportType, AttributeNamesAreReadInAnyCase)
{
    const auto method = readMethod(
        R"(name="Text" mEtHoD="IMPORTTEXT" Description="d" ICON="Text" selectfiletitle="Pick"
           SelectFileDescription="sfd" pattern="Text (*.txt)|*.txt" Table="Nodes" FieldMap="a=b"
           Unknown="ignored" xmlns:x="urn:x" x:Name="not the name")");
    EXPECT_EQ((QStringList{method->Name(), method->Method(), method->Description(), method->Icon(),
                           method->SelectFileTitle(), method->SelectFileDescription(),
                           method->Pattern(), method->Table(), method->FieldMap()}),
              (QStringList{u"Text"_s, u"IMPORTTEXT"_s, u"d"_s, u"Text"_s, u"Pick"_s, u"sfd"_s,
                           u"Text (*.txt)|*.txt"_s, u"Nodes"_s, u"a=b"_s}));
}

TEST(ImportType, WithoutANameTheElementIsRefused)
{
    // The last case: the later attribute overwrites the name.
    for (const char *attributes : {R"(METHOD="IMPORTTEXT" DISABLED="NO")",
                                   R"(NAME="" DISABLED="NO")", R"(NAME="x" name="")"}) {
        bool named = true;
        readMethod(attributes, &named);
        EXPECT_FALSE(named) << attributes;
    }
}

TEST(ImportType, DisabledIsReadAsAYesNoWord)
{
    struct Case
    {
        const char *attributes;
        bool enabled;
    };
    const Case cases[] = {
        {R"(NAME="m" DISABLED="no")", true},
        {R"(NAME="m" DISABLED="")", true},
        {R"(NAME="m" DISABLED="False")", true},
        {R"(NAME="m" DISABLED="User")", false},
        {R"(NAME="m" DISABLED="yes")", false},
        {R"(NAME="m" DISABLED="1")", false},
        {R"(NAME="m")", false},
        {R"(NAME="m" DISABLED=" yes")", true},
        {R"(NAME="m" DISABLED="yes" disabled="no")", true},
    };
    for (const Case &c : cases)
        EXPECT_EQ(readMethod(c.attributes)->Enabled(), c.enabled) << c.attributes;
}

TEST(ImportType, DelimiterWordsMapToCharactersInOrderAndAppend)
{
    const std::pair<const char *, QString> cases[] = {
        {R"(NAME="m" Delimiter="Tab,Comma,Pipe")", u"\t,"_s},
        {R"(NAME="m" DELIMITER="space,SEMICOLON,colon")", u" ;:"_s},
        {R"(NAME="m" DELIMITER="COMMA, TAB")", u","_s},
        {R"(NAME="m" DELIMITER="")", QString()},
        // Two attributes that upper-case alike both contribute.
        {R"(NAME="m" DELIMITER="COMMA" delimiter="TAB")", u",\t"_s},
    };
    for (const auto &[attributes, delimiter] : cases)
        EXPECT_EQ(readMethod(attributes)->Delimiter(), delimiter) << attributes;
}

TEST(ImportType, IncludePanelComparesWithoutCaseButWithBlanksAndThrowsWithoutAList)
{
    auto method = readMethod(R"(Name="Text" Disabled="no" Panels="MethodPanel,FilePanel")");
    EXPECT_TRUE(method->Enabled());
    EXPECT_TRUE(method->IncludePanel(u"filepanel"_s));
    EXPECT_TRUE(method->IncludePanel(u"METHODPANEL"_s));
    EXPECT_FALSE(method->IncludePanel(u"MapPanel"_s));

    method = readMethod(R"(Name="Text" Panels="MethodPanel, FilePanel")");
    EXPECT_FALSE(method->IncludePanel(u"FilePanel"_s));
    EXPECT_TRUE(method->IncludePanel(u" FilePanel"_s));

    method = readMethod(R"(Name="Text" Panels="A,B" PANELS="C")");
    EXPECT_EQ(method->Panels(), QStringList{u"C"_s}) << "a later PANELS replaces the list";

    // An empty list answers no; no list at all throws.
    const auto empty = readMethod(R"(Name="m" Panels="")");
    EXPECT_TRUE(empty->HasPanelList());
    EXPECT_FALSE(empty->IncludePanel(u"MethodPanel"_s));
    EXPECT_FALSE(empty->IncludePanel(QString()));

    const auto none = readMethod(R"(Name="m")");
    EXPECT_FALSE(none->HasPanelList());
    EXPECT_THROW(none->IncludePanel(u"MethodPanel"_s), MGImport8::SubscriptOutOfRange);
    try {
        none->IncludePanel(u"MethodPanel"_s);
    } catch (const std::out_of_range &error) {
        EXPECT_STREQ(error.what(), "Subscript out of range");
    }
}

TEST(SourceKind, MethodNamesAreComparedUpperCased)
{
    const struct
    {
        QString method;
        SourceKind kind;
    } cases[] = {
        {u"IMPORTTEXT"_s, SourceKind::TextFile},
        {u"ImportText"_s, SourceKind::TextFile},
        {u"importaccess"_s, SourceKind::AccessDatabase},
        {u"IMPORTSQL"_s, SourceKind::SqlServer},
        {u"ImportPostgreSQL"_s, SourceKind::PostgreSql},
        {u"IMPORTEXCEL"_s, SourceKind::Other},
        {u" IMPORTTEXT"_s, SourceKind::Other},
        {u"IMPORTTEXTS"_s, SourceKind::Other},
        {QString(), SourceKind::Other},
    };
    for (const auto &c : cases)
        EXPECT_EQ(MGImport8::sourceKind(c.method), c.kind) << c.method.toStdString();
    for (SourceKind kind : {SourceKind::TextFile, SourceKind::AccessDatabase, SourceKind::SqlServer,
                            SourceKind::PostgreSql})
        EXPECT_EQ(MGImport8::sourceKind(MGImport8::methodName(kind)), kind);
    EXPECT_TRUE(MGImport8::methodName(SourceKind::Other).isEmpty());
}

TEST(Catalogue, ElementsLoadInDocumentOrderOnlyUnderTheExactPathAndComeOut)
{
    TempFolder folder;
    const QString path = folder.write(u"a.ImportMethods"_s,
                                      methodsFile(
                                          method("Text")
                                          + "  <ImportMethod DISABLED=\"NO\" ICON=\"Text\"/>\n"
                                          + method("Excel", "COLOUR=\"green\"")
                                          + "  <Group><ImportMethod NAME=\"Nested\"/></Group>\n"
                                          + "  <importmethod NAME=\"LowerCase\"/>\n"
                                          + method("Access")));
    ImportTypes catalogue;
    const CatalogueLoader::FileReport report = CatalogueLoader::LoadFile(catalogue, path);
    EXPECT_EQ(names(catalogue), (QStringList{u"Text"_s, u"Excel"_s, u"Access"_s}));
    EXPECT_TRUE(report.loaded);
    EXPECT_EQ(report.unnamed, 1);
    EXPECT_EQ(catalogue.Item(2)->Name(), u"Excel"_s);
    EXPECT_EQ(catalogue.Item(u"ACCESS"_s)->Name(), u"Access"_s);
    EXPECT_TRUE(catalogue.LastError().isEmpty());

    // The root element's name is matched as written, too.
    const QString other = folder.write(u"b.ImportMethods"_s,
                                       "<importMethods>" + method("Lost") + "</importMethods>");
    CatalogueLoader::LoadFile(catalogue, other);
    EXPECT_EQ(catalogue.Count(), 3);
    EXPECT_TRUE(catalogue.LastError().isEmpty()) << "a well-formed file is no failure";

    // Methods come out by name in any case or by position; misses are quiet.
    catalogue.Remove(u"excel"_s);
    catalogue.Remove(u"missing"_s);
    catalogue.Remove(7);
    catalogue.Remove(1);
    EXPECT_EQ(names(catalogue), QStringList{u"Access"_s});
}

TEST(Catalogue, FirstMethodUnderANameWinsAcrossElementsAndFiles)
{
    TempFolder folder;
    const QString one = folder.write(u"one.ImportMethods"_s,
                                     methodsFile(method("Text", "ICON=\"first\"")
                                                 + method("TEXT", "ICON=\"second\"")));
    const QString two = folder.write(u"two.ImportMethods"_s,
                                     methodsFile(method("text", "ICON=\"third\"") + method("SQL")));
    ImportTypes catalogue;
    CatalogueLoader::LoadFile(catalogue, one);
    const CatalogueLoader::FileReport report = CatalogueLoader::LoadFile(catalogue, two);
    EXPECT_EQ(names(catalogue), (QStringList{u"Text"_s, u"SQL"_s}));
    EXPECT_EQ(catalogue.Item(u"text"_s)->Icon(), u"first"_s);
    EXPECT_EQ(report.duplicates, QStringList{u"text"_s});
}

TEST(Catalogue, FolderScanFollowsDirectoryOrderAndMatchesThePatternInAnyCase)
{
    TempFolder folder;
    // A folder without method files, or no folder at all, is an empty catalogue and no error.
    folder.write(u"notes.txt"_s, "<ImportMethods><ImportMethod NAME=\"x\"/></ImportMethods>");
    for (const QString &empty : QStringList{folder.path(), folder.path() + u"/does-not-exist"_s}) {
        ImportTypes catalogue;
        CatalogueLoader::LoadFolder(catalogue, empty);
        EXPECT_EQ(catalogue.Count(), 0);
        EXPECT_TRUE(catalogue.LastError().isEmpty());
    }
    folder.write(u"a.ImportMethods"_s, methodsFile(method("Shared", "ICON=\"a\"") + method("A")));
    folder.write(u"b.importmethods"_s, methodsFile(method("Shared", "ICON=\"b\"") + method("B")));
    folder.write(u"c.ImportMethods.bak"_s, methodsFile(method("Backup")));
    QDir().mkpath(folder.path() + u"/d.ImportMethods"_s); // a folder, not a file

    const QStringList listed = QDir(folder.path())
                                   .entryList({u"*.ImportMethods"_s}, QDir::Files, QDir::Unsorted);
    ASSERT_EQ(listed.size(), 2);
    ImportTypes catalogue;
    QList<CatalogueLoader::FileReport> reports;
    CatalogueLoader::LoadFolder(catalogue, folder.path(), &reports);
    ASSERT_EQ(reports.size(), 2);
    EXPECT_TRUE(reports[0].path.endsWith(listed[0]));
    const QString firstIcon = listed[0].startsWith(u'a') ? u"a"_s : u"b"_s;
    EXPECT_EQ(catalogue.Item(u"Shared"_s)->Icon(), firstIcon);
    EXPECT_EQ(catalogue.Count(), 3);
    EXPECT_EQ(catalogue.Item(u"Backup"_s), nullptr);
}

TEST(Catalogue, BadFilesSetLastErrorAndNeverStopTheScan)
{
    TempFolder folder;
    const QString good = folder.write(u"good.ImportMethods"_s, methodsFile(method("Text")));
    const QString unclosed = folder.write(u"unclosed.ImportMethods"_s,
                                          "<ImportMethods>\n<ImportMethod NAME=\"X\" A=B>");
    const QString empty = folder.write(u"empty.ImportMethods"_s, "");
    const QString declarationOnly = folder.write(u"decl.ImportMethods"_s,
                                                 "<?xml version=\"1.0\"?>");
    const QString binary = folder.write(u"binary.ImportMethods"_s,
                                        QByteArray("\x00\x01\xff\xfe<\x00", 6));
    const QString missing = folder.path() + u"/missing.ImportMethods"_s;

    for (const QString &bad : {unclosed, empty, declarationOnly, binary, missing}) {
        ImportTypes catalogue;
        CatalogueLoader::LoadFile(catalogue, good);
        const CatalogueLoader::FileReport report = CatalogueLoader::LoadFile(catalogue, bad);
        EXPECT_FALSE(report.loaded) << bad.toStdString();
        EXPECT_FALSE(report.problem.isEmpty()) << bad.toStdString();
        EXPECT_EQ(catalogue.LastError(), cannotLoad(bad));
        EXPECT_EQ(names(catalogue), QStringList{u"Text"_s}) << "a bad file adds nothing";
    }
    // Parse problems say where, for administrators.
    ImportTypes unused;
    const QString where = CatalogueLoader::LoadFile(unused, unclosed).problem;
    EXPECT_TRUE(where.contains(u"line 2"_s)) << where.toStdString();

    // The last failure is kept; a later success does not clear it.
    ImportTypes catalogue;
    CatalogueLoader::LoadFile(catalogue, unclosed);
    CatalogueLoader::LoadFile(catalogue, empty);
    CatalogueLoader::LoadFile(catalogue, good);
    EXPECT_EQ(catalogue.LastError(), cannotLoad(empty));
    EXPECT_EQ(catalogue.Count(), 1);
}

TEST(Catalogue, EncodingsWrittenByWindowsToolsKeepTheirText)
{
    TempFolder folder;
    const QString description = u"Équipements réseau – liste"_s;
    const QByteArray utf8 = methodsFile(
        method("Réseau", "DESCRIPTION=\"" + description.toUtf8() + "\""));

    auto encode = [&](QStringConverter::Encoding encoding) {
        QStringEncoder encoder(encoding, QStringConverter::Flag::WriteBom);
        return QByteArray(encoder(QString::fromUtf8(utf8)));
    };
    QByteArray cp1252 = methodsFile(
        method("R\xe9seau", "DESCRIPTION=\"\xc9quipements r\xe9seau \x96 liste\""));
    QByteArray declared1252 = cp1252;
    declared1252.replace("<?xml version=\"1.0\"?>",
                         "<?xml version=\"1.0\" encoding=\"windows-1252\"?>");

    const struct
    {
        const char16_t *file;
        QByteArray bytes;
    } cases[] = {
        {u"utf8.ImportMethods", utf8},
        {u"utf8bom.ImportMethods", "\xEF\xBB\xBF" + utf8},
        {u"utf16.ImportMethods", encode(QStringConverter::Utf16LE)},
        {u"utf16be.ImportMethods", encode(QStringConverter::Utf16BE)},
        {u"cp1252-declared.ImportMethods", declared1252},
        {u"cp1252-undeclared.ImportMethods", cp1252},
    };
    for (const auto &c : cases) {
        ImportTypes catalogue;
        const QString path = folder.write(QString::fromUtf16(c.file), c.bytes);
        CatalogueLoader::LoadFile(catalogue, path);
        ASSERT_EQ(catalogue.Count(), 1)
            << path.toStdString() << " " << catalogue.LastError().toStdString();
        EXPECT_EQ(catalogue.Item(1)->Name(), u"Réseau"_s) << path.toStdString();
        EXPECT_EQ(catalogue.Item(1)->Description(), description) << path.toStdString();
    }
}

TEST(Catalogue, AbsurdInputIsBounded)
{
    TempFolder folder;
    // A file over the limit is refused unread.
    const QString huge
        = folder.write(u"huge.ImportMethods"_s,
                       methodsFile(method("Big", "DESCRIPTION=\""
                                                     + QByteArray(CatalogueLoader::MaxFileBytes, 'x')
                                                     + "\"")));
    // Deep nesting and a long attribute within the limit still load what they can.
    QByteArray deep = "<ImportMethods>" + method("Deep");
    for (int i = 0; i < 100000; ++i)
        deep += "<x>";
    for (int i = 0; i < 100000; ++i)
        deep += "</x>";
    deep += "</ImportMethods>";
    folder.write(u"nested.ImportMethods"_s, deep);
    folder.write(u"long.ImportMethods"_s,
                 methodsFile(
                     method("Long", "DELIMITER=\"" + QByteArray("TAB,").repeated(100000) + "\"")));

    ImportTypes catalogue;
    QList<CatalogueLoader::FileReport> reports;
    CatalogueLoader::LoadFolder(catalogue, folder.path(), &reports);
    EXPECT_EQ(catalogue.Item(u"Big"_s), nullptr);
    EXPECT_EQ(catalogue.LastError(), cannotLoad(huge));
    ASSERT_NE(catalogue.Item(u"Deep"_s), nullptr);
    ASSERT_NE(catalogue.Item(u"Long"_s), nullptr);
    EXPECT_EQ(catalogue.Item(u"Long"_s)->Delimiter(), QString(100000, u'\t'));
}

TEST(Catalogue, SearchPathAddsFoldersAfterTheLibrarysOwn)
{
    TempFolder first;
    TempFolder second;
    first.write(u"x.ImportMethods"_s,
                methodsFile(method("Shared", "ICON=\"first\"") + method("One")));
    second.write(u"y.ImportMethods"_s,
                 methodsFile(method("Shared", "ICON=\"second\"") + method("Two")));
    const ScopedEnv env("MGIMPORT8_METHODS_PATH",
                        (first.path() + u"::"_s + second.path() + u":"_s + first.path()).toUtf8());

    const QStringList folders = CatalogueLoader::methodFolders();
    ASSERT_EQ(folders.size(), 3) << folders.join(u' ').toStdString();
    EXPECT_EQ(folders[1], first.path());
    EXPECT_EQ(folders[2], second.path());

    ImportTypes catalogue;
    CatalogueLoader::Load(catalogue);
    EXPECT_EQ(names(catalogue), (QStringList{u"Shared"_s, u"One"_s, u"Two"_s}));
    EXPECT_EQ(catalogue.Item(u"shared"_s)->Icon(), u"first"_s);
}

TEST(Catalogue, ShippedMethodsAreUsableAndNavigable)
{
    ImportTypes catalogue;
    QList<CatalogueLoader::FileReport> reports;
    CatalogueLoader::LoadFolder(catalogue, QString::fromUtf8(MGIMPORT8_SHIPPED_METHODS), &reports);
    ASSERT_EQ(reports.size(), 1);
    EXPECT_TRUE(reports[0].loaded) << reports[0].problem.toStdString();
    EXPECT_TRUE(catalogue.LastError().isEmpty());
    ASSERT_EQ(catalogue.Count(), 5);

    const QStringList panelKeys = {u"MethodPanel"_s,  u"FilePanel"_s,        u"DatabasePanel"_s,
                                   u"TablePanel"_s,   u"SpreadsheetPanel"_s, u"DelimiterPanel"_s,
                                   u"MapPanel"_s,     u"FilterPanel"_s,      u"PreviewPanel"_s,
                                   u"OptionsPanel"_s, u"ImportPanel"_s};
    for (const MGImport8::ImportType *m : catalogue) {
        SCOPED_TRACE(m->Name().toStdString());
        EXPECT_TRUE(m->Enabled());
        EXPECT_FALSE(m->Description().isEmpty());
        ASSERT_TRUE(m->HasPanelList());
        for (const QString &panel : m->Panels())
            EXPECT_TRUE(panelKeys.contains(panel)) << panel.toStdString();
        for (const char16_t *needed : {u"MethodPanel", u"MapPanel", u"PreviewPanel", u"ImportPanel"})
            EXPECT_TRUE(m->IncludePanel(QString::fromUtf16(needed)));
    }
    // Each shipped method reaches its source through its own panels.
    const struct
    {
        const char16_t *name, *method, *icon, *panel, *absent;
    } shipped[] = {
        {u"Text File", u"IMPORTTEXT", u"Text", u"DelimiterPanel", u"TablePanel"},
        {u"Excel Spreadsheet", u"IMPORTEXCEL", u"Excel", u"SpreadsheetPanel", u"DelimiterPanel"},
        {u"Access Database", u"IMPORTACCESS", u"Access", u"TablePanel", u"DatabasePanel"},
        {u"SQL Server Database", u"IMPORTSQL", u"SQL", u"DatabasePanel", u"FilePanel"},
        {u"PostgreSQL Database", u"IMPORTPOSTGRESQL", u"SQL", u"DatabasePanel", u"FilePanel"},
    };
    for (const auto &m : shipped) {
        const MGImport8::ImportType *found = catalogue.Item(QString::fromUtf16(m.name));
        ASSERT_NE(found, nullptr) << QString::fromUtf16(m.name).toStdString();
        EXPECT_EQ(found->Method(), QString::fromUtf16(m.method));
        EXPECT_EQ(found->Icon(), QString::fromUtf16(m.icon));
        EXPECT_TRUE(found->IncludePanel(QString::fromUtf16(m.panel)));
        EXPECT_FALSE(found->IncludePanel(QString::fromUtf16(m.absent)));
    }
    EXPECT_EQ(catalogue.Item(1)->Delimiter(), u","_s);
    EXPECT_EQ(catalogue.Item(1)->Pattern(),
              u"Text Files (*.txt;*.csv)|*.txt;*.csv|All Files (*.*)|*.*"_s);
}
