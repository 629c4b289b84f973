// Reading: plain strings read in UTF-16LE, UTF-8 and code-page files; names and paths ignore
//   case; every other type, a missing key or value, and deleted or overridden entries give the
//   default; continuation lines of hex data are not mistaken for lines of their own.
// Classes root: the user's classes win over the machine's, key by key.
// Bad files: no header, binary garbage, unterminated quotes, huge lines, oversized files and
//   folders give defaults and a diagnostic, never a crash.
// Writing: a value is replaced or added in place with the rest of the file kept byte for byte,
//   survives a later deletion in the file, round-trips line breaks, and never overwrites a file
//   that is not a registry file.
#include "common/registry.h"

#include "common/texthelpers.h"

#include "testsupport.h"

#include <QDir>
#include <QFile>
#include <QStringDecoder>
#include <QStringEncoder>

#include <gtest/gtest.h>

using namespace MGImport8;
using namespace Qt::StringLiterals;
namespace TestSupport = MGImport8::Test;

namespace {

QByteArray utf16WithBom(const QString &text)
{
    QStringEncoder encoder(QStringEncoder::Utf16LE);
    return QByteArray("\xFF\xFE") + QByteArray(encoder.encode(text));
}

QString withCrLf(QString text)
{
    return text.replace(u'\n', u"\r\n"_s);
}

const QString machineText = uR"REG(Windows Registry Editor Version 5.00

; values of every kind
[HKEY_LOCAL_MACHINE\SOFTWARE\Marrowgate\Velum]
"Path"="C:\\Program Files\\Velum\\"
"Quote"="say \"hi\""
@="default"
"Number"=dword:00000010
"Expand"=hex(2):25,00,50,00,00,00
"Multi"=hex(7):61,00,00,00,\
  "Fake"="continuation",00,00
"After"="still read"
"Binary"=hex:01,02
"Hex1"=hex(1):61,00,00,00,62,00,00,00
"Dup"="first"
"Dup"="second"
"Gone"="x"
"Gone"=-
"Bad"="unterminated
"Bad2"=garbage
  "Spaced" = "ok"
[HKEY_LOCAL_MACHINE\SOFTWARE\Marrowgate\Velum\Sub]
"Deep"="yes"
[HKEY_LOCAL_MACHINE\SOFTWARE\Old]
"Old"="x"
[-HKEY_LOCAL_MACHINE\SOFTWARE\Old]
"AfterDelete"="x"
[HKEY_LOCAL_MACHINE\SOFTWARE\OldSibling]
"Kept"="y"
[HKEY_LOCAL_MACHINE\SOFTWARE\Old2\Child]
[-HKEY_LOCAL_MACHINE\SOFTWARE\Old2]
[HKEY_USERS\.DEFAULT\Software]
"U"="users"
[HKEY_CLASSES_ROOT\Shared]
@="machine classes root"
[HKEY_LOCAL_MACHINE\SOFTWARE\Classes\Shared]
@="machine software classes"
[HKEY_LOCAL_MACHINE\SOFTWARE\Classes\OnlyLm]
@="lm only"
[HKEY_CURRENT_USER\Software\InMachineFile]
"Ignored"="x"
[NOT_A_ROOT\Key]
"Orphan"="x"
)REG"_s;

struct Lookup
{
    const char16_t *root;
    const char16_t *key;
    const char16_t *name;
    const char16_t *expected; // nullptr: the default
};

const Lookup machineLookups[] = {
    {u"HKEY_LOCAL_MACHINE", u"SOFTWARE\\Marrowgate\\Velum", u"Path", u"C:\\Program Files\\Velum\\"},
    {u"hklm", u"software\\MARROWGATE\\velum", u"PATH", u"C:\\Program Files\\Velum\\"},
    {u"HKLM", u"\\SOFTWARE\\\\Marrowgate\\Velum\\", u"Quote", u"say \"hi\""},
    {u"HKLM", u"SOFTWARE\\Marrowgate\\Velum", u"", u"default"},
    {u"HKLM", u"SOFTWARE\\Marrowgate\\Velum", u"Number", nullptr},
    {u"HKLM", u"SOFTWARE\\Marrowgate\\Velum", u"Expand", nullptr},
    {u"HKLM", u"SOFTWARE\\Marrowgate\\Velum", u"Multi", nullptr},
    {u"HKLM", u"SOFTWARE\\Marrowgate\\Velum", u"Fake", nullptr},
    {u"HKLM", u"SOFTWARE\\Marrowgate\\Velum", u"After", u"still read"},
    {u"HKLM", u"SOFTWARE\\Marrowgate\\Velum", u"Binary", nullptr},
    {u"HKLM", u"SOFTWARE\\Marrowgate\\Velum", u"Hex1", u"a"},
    {u"HKLM", u"SOFTWARE\\Marrowgate\\Velum", u"Dup", u"second"},
    {u"HKLM", u"SOFTWARE\\Marrowgate\\Velum", u"Gone", nullptr},
    {u"HKLM", u"SOFTWARE\\Marrowgate\\Velum", u"Bad", nullptr},
    {u"HKLM", u"SOFTWARE\\Marrowgate\\Velum", u"Bad2", nullptr},
    {u"HKLM", u"SOFTWARE\\Marrowgate\\Velum", u"Spaced", u"ok"},
    {u"HKLM", u"SOFTWARE\\Marrowgate\\Velum", u"Missing", nullptr},
    {u"HKLM", u"SOFTWARE\\Marrowgate\\Velum\\Sub", u"Deep", u"yes"},
    {u"HKLM", u"SOFTWARE\\Old", u"Old", nullptr},
    {u"HKLM", u"SOFTWARE\\Old", u"AfterDelete", nullptr},
    {u"HKLM", u"SOFTWARE\\OldSibling", u"Kept", u"y"},
    {u"HKU", u".DEFAULT\\Software", u"U", u"users"},
    {u"HKCU", u"Software\\InMachineFile", u"Ignored", nullptr},
    {u"HKEY_NOWHERE", u"Key", u"Orphan", nullptr},
    {u"NOT_A_ROOT", u"Key", u"Orphan", nullptr},
    {u"HKCR", u"OnlyLm", u"", u"lm only"},
    {u"HKCR", u"Shared", u"", u"machine classes root"},
};

class Registry : public ::testing::Test
{
protected:
    QString machinePath() const { return folder.path() + u"/etc/registry.reg"; }
    QString userPath() const { return folder.path() + u"/config/MGImport8/registry.reg"; }
    void writeMachine(const QByteArray &bytes) const { folder.write(u"etc/registry.reg"_s, bytes); }
    void writeUser(const QByteArray &bytes) const
    {
        folder.write(u"config/MGImport8/registry.reg"_s, bytes);
    }

    static QString read(const char16_t *root, const char16_t *key, const char16_t *name)
    {
        return GetRegistryString(QString::fromUtf16(root), QString::fromUtf16(key),
                                 QString::fromUtf16(name), u"<default>"_s)
            .toString();
    }

    TestSupport::TempFolder folder;
    TestSupport::ScopedEnv machineEnv{machineRegistryVariable, QFile::encodeName(machinePath())};
    TestSupport::ScopedEnv configEnv{"XDG_CONFIG_HOME",
                                     QFile::encodeName(folder.path() + u"/config")};
};

} // namespace

TEST_F(Registry, ReadsStringsOnlyInEveryEncoding)
{
    const std::pair<const char *, QByteArray> encodings[] = {
        {"utf16_bom_crlf", utf16WithBom(withCrLf(machineText))},
        {"utf8_bom", "\xEF\xBB\xBF" + machineText.toUtf8()},
        {"utf8", machineText.toUtf8()},
    };
    for (const auto &[encoding, bytes] : encodings) {
        writeMachine(bytes);
        for (const Lookup &lookup : machineLookups) {
            const QString expected = lookup.expected ? QString::fromUtf16(lookup.expected)
                                                     : u"<default>"_s;
            EXPECT_EQ(read(lookup.root, lookup.key, lookup.name), expected)
                << encoding << " " << QString::fromUtf16(lookup.key).toStdString() << " "
                << QString::fromUtf16(lookup.name).toStdString();
        }
    }
}

TEST_F(Registry, KeysExistThroughTheirSubkeysUntilDeleted)
{
    writeMachine(machineText.toUtf8());
    const std::pair<const char16_t *, bool> keys[] = {
        {u"SOFTWARE\\Marrowgate", true},
        {u"SOFTWARE\\Marrowgate\\Velum\\Sub", true},
        {u"", true},
        {u"SOFTWARE\\Old", false},
        {u"SOFTWARE\\Old2\\Child", false},
        {u"SOFTWARE\\Marrowgate\\Nope", false},
    };
    for (const auto &[path, exists] : keys) {
        RegistryKey key;
        EXPECT_EQ(RegistryOpenKey(u"HKLM"_s, QString::fromUtf16(path), key), exists)
            << QString::fromUtf16(path).toStdString();
        EXPECT_EQ(RegistryCloseKey(key), exists);
    }

    RegistryKey key;
    QString value = u"untouched"_s;
    EXPECT_FALSE(RegistryQueryString(key, u"Path"_s, value));
    ASSERT_TRUE(RegistryOpenKey(u"HKLM"_s, u"SOFTWARE\\Marrowgate\\Velum"_s, key));
    EXPECT_EQ(key.path(), u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Marrowgate\\Velum"_s);
    EXPECT_FALSE(RegistryQueryString(key, u"Number"_s, value));
    EXPECT_EQ(value, u"untouched"_s);
    EXPECT_TRUE(RegistryCloseKey(key));
    EXPECT_FALSE(RegistryCloseKey(key));
    EXPECT_FALSE(RegistryOpenKey(u"HKEY_NOWHERE"_s, u""_s, key));
}

TEST_F(Registry, OldExportsInTheWindowsCodePage)
{
    writeMachine(
        "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\X]\r\n\"Name\"=\"caf\xE9 \x80\"\r\n"
        "\"Hex\"=hex(1):63,61,66,e9,00\r\n");
    EXPECT_EQ(read(u"HKLM", u"SOFTWARE\\X", u"Name"), u"caf\u00e9 \u20ac"_s);
    EXPECT_EQ(read(u"HKLM", u"SOFTWARE\\X", u"Hex"), u"caf\u00e9"_s);
}

TEST_F(Registry, ClassesRootPrefersTheUsersKey)
{
    writeMachine(machineText.toUtf8());
    writeUser(
        "Windows Registry Editor Version 5.00\n[HKEY_CURRENT_USER\\Software\\Classes\\Shared]\n"
        "@=\"user\"\n[HKEY_CURRENT_USER\\Software\\Classes\\OnlyLm]\n\"Other\"=\"x\"\n");
    EXPECT_EQ(read(u"HKEY_CLASSES_ROOT", u"Shared", u""), u"user"_s);
    EXPECT_EQ(read(u"HKCU", u"Software\\Classes\\Shared", u""), u"user"_s);
    // The user's key stands for the whole key, so the machine's default is not consulted.
    EXPECT_EQ(read(u"HKCR", u"OnlyLm", u""), u"<default>"_s);
    EXPECT_EQ(read(u"HKLM", u"Software\\Classes\\Shared", u""), u"machine software classes"_s);
}

TEST_F(Registry, BadFilesGiveDefaultsAndSayWhy)
{
    const QByteArray header = "Windows Registry Editor Version 5.00\n[HKEY_LOCAL_MACHINE\\K]\n";
    const QByteArray hugeValue(2 * 1024 * 1024, 'v');
    QByteArray oversized = header + "\"V\"=\"x\"\n;";
    oversized.append(RegistryStore::maxFileSize, ' ');

    struct Case
    {
        const char *name;
        QByteArray bytes;
        bool readable;
        const char16_t *expected;
    };
    const Case cases[] = {
        {"no_header", "[HKEY_LOCAL_MACHINE\\K]\n\"V\"=\"x\"\n", false, nullptr},
        {"empty", "", false, nullptr},
        {"binary_garbage", QByteArray("\x00\xFF\x13\x80\xFE\x00\x01", 7).repeated(1000), false,
         nullptr},
        {"utf16_without_bom", utf16WithBom(u"REGEDIT4\n"_s).mid(2), false, nullptr},
        {"truncated_quote", header + "\"V\"=\"x", true, nullptr},
        {"truncated_continuation", header + "\"W\"=hex:01,\\", true, nullptr},
        {"huge_garbage_line", header + QByteArray(3 * 1024 * 1024, '#') + "\n\"V\"=\"x\"\n", true,
         u"x"},
        {"huge_value", header + "\"V\"=\"" + hugeValue + "\"\n", true, nullptr},
        {"oversized", oversized, false, nullptr},
    };
    for (const Case &c : cases) {
        writeMachine(c.bytes);
        const QString value = read(u"HKLM", u"K", u"V");
        if (QByteArrayView(c.name) == "huge_value")
            EXPECT_EQ(value, QString::fromLatin1(hugeValue)) << c.name;
        else
            EXPECT_EQ(value, c.expected ? QString::fromUtf16(c.expected) : u"<default>"_s)
                << c.name;
        EXPECT_EQ(registryErrorString(u"HKLM"_s).isEmpty(), c.readable) << c.name;
    }

    QDir().mkpath(machinePath() + u"/folder"); // a folder where the file should be
    EXPECT_EQ(read(u"HKLM", u"K", u"V"), u"<default>"_s);
    EXPECT_FALSE(registryErrorString(u"HKLM"_s).isEmpty());
    EXPECT_FALSE(registryErrorString(u"HKCU"_s).isEmpty()); // no user file at all
}

TEST(RegistryWriter, ChangesOnlyTheValuesLine)
{
    const QString original = withCrLf(u"Windows Registry Editor Version 5.00\n\n; keep me\n"
                                      "[HKEY_CURRENT_USER\\Software\\MG]\n\"Server\"=\"old\"\n"
                                      "\"Other\"=hex:01,\\\n  02\n\n[HKEY_CURRENT_USER\\Else]\n"
                                      "\"X\"=\"y\"\n"_s);
    const auto edited = [&](QStringView name, QStringView text) {
        return QString::fromUtf8(
            registryFileWithString(original.toUtf8(), u"HKCU\\software\\mg", name, text).value());
    };
    EXPECT_EQ(edited(u"SERVER", u"new \"one\""),
              QString(original).replace(u"\"Server\"=\"old\""_s,
                                        u"\"SERVER\"=\"new \\\"one\\\"\""_s));
    const QString withDefault = QString(original).replace(u"02\r\n"_s, u"02\r\n@=\"d\"\r\n"_s);
    EXPECT_EQ(edited(u"", u"d"), withDefault);
}

TEST_F(Registry, WriterRoundTripsThroughFilesAndLeavesForeignOnesAlone)
{
    // A new user file, with its folder.
    ASSERT_TRUE(setRegistryString(u"HKCU"_s, u"Software\\MG"_s, u"Server"_s, u"db1"_s));
    EXPECT_TRUE(
        TestSupport::fileBytes(userPath()).startsWith("Windows Registry Editor Version 5.00\n"));
    EXPECT_EQ(read(u"HKEY_CURRENT_USER", u"software\\mg", u"server"), u"db1"_s);

    // An existing UTF-16 file keeps its encoding, line breaks and other contents.
    writeMachine(utf16WithBom(withCrLf(machineText)));
    for (const auto &[name, text] :
         {std::pair(u"Path"_s, u"D:\\new\\"_s), std::pair(u"Gone"_s, u"back"_s),
          std::pair(u"Lines"_s, u"a\r\nb\0c"_s)}) {
        QString error;
        const QString velum = u"SOFTWARE\\Marrowgate\\Velum"_s;
        ASSERT_TRUE(setRegistryString(u"HKLM"_s, velum, name, text, &error)) << error.toStdString();
        RegistryKey key;
        QString value;
        ASSERT_TRUE(RegistryOpenKey(u"HKLM"_s, velum, key));
        ASSERT_TRUE(RegistryQueryString(key, name, value));
        EXPECT_EQ(value, TrimNull(text));
    }
    const QByteArray bytes = TestSupport::fileBytes(machinePath());
    EXPECT_TRUE(bytes.startsWith("\xFF\xFE"));
    const QString text = QStringDecoder(QStringDecoder::Utf16LE).decode(bytes.mid(2));
    EXPECT_TRUE(text.contains(u"\r\n; values of every kind\r\n"_s));
    EXPECT_EQ(text.count(u"[HKEY_LOCAL_MACHINE\\SOFTWARE\\Marrowgate\\Velum]"_s), 1);
    EXPECT_EQ(read(u"HKLM", u"SOFTWARE\\Marrowgate\\Velum\\Sub", u"Deep"), u"yes"_s);

    // A key deleted later in the file is re-created after the deletion.
    ASSERT_TRUE(setRegistryString(u"HKLM"_s, u"SOFTWARE\\Old"_s, u"Old"_s, u"again"_s));
    EXPECT_EQ(read(u"HKLM", u"SOFTWARE\\Old", u"Old"), u"again"_s);

    // Classes go where readers find them: the machine's SOFTWARE\Classes for a new key.
    ASSERT_TRUE(setRegistryString(u"HKCR"_s, u"NewClass"_s, u""_s, u"v"_s));
    EXPECT_EQ(read(u"HKLM", u"SOFTWARE\\Classes\\NewClass", u""), u"v"_s);

    // A file that is not a registry file is never overwritten; bad roots and keys are refused.
    writeUser("not a registry file\n");
    QString error;
    EXPECT_FALSE(setRegistryString(u"HKCU"_s, u"Software"_s, u"A"_s, u"b"_s, &error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_EQ(TestSupport::fileBytes(userPath()), "not a registry file\n");
    EXPECT_FALSE(setRegistryString(u"HKEY_NOWHERE"_s, u"Software"_s, u"A"_s, u"b"_s));
    EXPECT_FALSE(setRegistryString(u"HKCU"_s, u"Soft\nware"_s, u"A"_s, u"b"_s));
}
