// Reading: plain strings read in UTF-16LE, UTF-8 and code-page files; names and paths ignore
//   case; every other type, a missing key or value, and deleted or overridden entries give the
//   default; continuation lines of hex data are not mistaken for lines of their own.
// Classes root: the user's classes win over the machine's, key by key.
// Bad files: no header, binary garbage, unterminated quotes, huge lines, oversized files and
//   folders give defaults and a diagnostic, never a crash.
// Writing: a value is replaced in place with the rest of the file kept byte for byte, in its own
//   encoding, and a file that is not a registry file is never overwritten.
#include "common/registry.h"

#include "common/texthelpers.h"

#include "testsupport.h"

#include <QDir>
#include <QFile>
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
"Multi"=hex(7):61,00,00,00,\
  "Fake"="continuation",00,00
"After"="still read"
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

constexpr const char16_t *velum = u"SOFTWARE\\Marrowgate\\Velum";

// clang-format off
const Lookup machineLookups[] = {
    {u"HKEY_LOCAL_MACHINE", velum, u"Path", u"C:\\Program Files\\Velum\\"},
    {u"hklm", u"software\\MARROWGATE\\velum", u"PATH", u"C:\\Program Files\\Velum\\"},
    {u"HKLM", u"\\SOFTWARE\\\\Marrowgate\\Velum\\", u"Quote", u"say \"hi\""},
    {u"HKLM", velum, u"", u"default"},           {u"HKLM", velum, u"Number", nullptr},
    {u"HKLM", velum, u"Multi", nullptr},         {u"HKLM", velum, u"Fake", nullptr},
    {u"HKLM", velum, u"After", u"still read"},   {u"HKLM", velum, u"Hex1", u"a"},
    {u"HKLM", velum, u"Dup", u"second"},         {u"HKLM", velum, u"Gone", nullptr},
    {u"HKLM", velum, u"Bad", nullptr},           {u"HKLM", velum, u"Bad2", nullptr},
    {u"HKLM", velum, u"Spaced", u"ok"},          {u"HKLM", u"SOFTWARE\\Old", u"Old", nullptr},
    {u"HKLM", u"SOFTWARE\\Marrowgate\\Velum\\Sub", u"Deep", u"yes"},
    {u"HKLM", u"SOFTWARE\\Old", u"AfterDelete", nullptr},
    {u"HKLM", u"SOFTWARE\\OldSibling", u"Kept", u"y"},
    {u"HKU", u".DEFAULT\\Software", u"U", u"users"},
    {u"HKCU", u"Software\\InMachineFile", u"Ignored", nullptr},
    {u"HKEY_NOWHERE", u"Key", u"Orphan", nullptr},  {u"HKCR", u"OnlyLm", u"", u"lm only"},
    {u"HKCR", u"Shared", u"", u"machine classes root"},
};
// clang-format on

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

    static QString read(QStringView root, QStringView key, QStringView name)
    {
        return GetRegistryString(root.toString(), key.toString(), name.toString(), u"<default>"_s)
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
                << encoding << " " << QString::fromUtf16(lookup.name).toStdString();
        }
    }
}

TEST_F(Registry, ClassesRootPrefersTheUsersKey)
{
    writeMachine(machineText.toUtf8());
    writeUser(
        "Windows Registry Editor Version 5.00\n[HKEY_CURRENT_USER\\Software\\Classes\\Shared]\n"
        "@=\"user\"\n[HKEY_CURRENT_USER\\Software\\Classes\\OnlyLm]\n\"Other\"=\"x\"\n");
    EXPECT_EQ(read(u"HKEY_CLASSES_ROOT", u"Shared", u""), u"user"_s);
    // The user's key stands for the whole key, so the machine's default is not consulted.
    EXPECT_EQ(read(u"HKCR", u"OnlyLm", u""), u"<default>"_s);
    EXPECT_EQ(read(u"HKLM", u"Software\\Classes\\Shared", u""), u"machine software classes"_s);
}

TEST_F(Registry, OldAndBadFilesGiveTheirValueOrTheDefaultAndSayWhy)
{
    const QByteArray header = "Windows Registry Editor Version 5.00\n[HKEY_LOCAL_MACHINE\\K]\n";
    const QByteArray hugeValue(2 * 1024 * 1024, 'v');
    const QString none = u"<default>"_s;
    const std::tuple<const char *, QByteArray, bool, QString> cases[] = {
        // Old exports are in the Windows code page, quoted or in hex.
        {"regedit4", "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\K]\r\n\"V\"=\"caf\xE9 \x80\"\r\n", true,
         u"caf\u00e9 \u20ac"_s},
        {"regedit4_hex", "REGEDIT4\n[HKEY_LOCAL_MACHINE\\K]\n\"V\"=hex(1):63,61,66,e9,00\n", true,
         u"caf\u00e9"_s},
        {"no_header", "[HKEY_LOCAL_MACHINE\\K]\n\"V\"=\"x\"\n", false, none},
        {"utf16_without_bom", utf16WithBom(u"REGEDIT4\n"_s).mid(2), false, none},
        {"truncated_quote", header + "\"V\"=\"x", true, none},
        {"truncated_continuation", header + "\"W\"=hex:01,\\", true, none},
        {"huge_garbage_line", header + QByteArray(3 * 1024 * 1024, '#') + "\n\"V\"=\"x\"\n", true,
         u"x"_s},
        {"huge_value", header + "\"V\"=\"" + hugeValue + "\"\n", true,
         QString::fromLatin1(hugeValue)},
        {"oversized", header + "\"V\"=\"x\"\n;" + QByteArray(RegistryStore::maxFileSize, ' '),
         false, none},
    };
    for (const auto &[name, bytes, readable, expected] : cases) {
        writeMachine(bytes);
        EXPECT_EQ(read(u"HKLM", u"K", u"V"), expected) << name;
        EXPECT_EQ(registryErrorString(u"HKLM"_s).isEmpty(), readable) << name;
    }

    QDir().mkpath(machinePath() + u"/folder"); // a folder where the file should be
    EXPECT_EQ(read(u"HKLM", u"K", u"V"), none);
    EXPECT_FALSE(registryErrorString(u"HKLM"_s).isEmpty());
    EXPECT_FALSE(registryErrorString(u"HKCU"_s).isEmpty()); // no user file at all
}

// That a value set reads back from the bytes written is checked by the registry fuzzer.
TEST_F(Registry, WriterKeepsTheFilesEncodingAndLeavesForeignFilesAlone)
{
    // A new user file, with its folder.
    ASSERT_TRUE(setRegistryString(u"HKCU"_s, u"Software\\MG"_s, u"Server"_s, u"db1"_s));
    EXPECT_TRUE(
        TestSupport::fileBytes(userPath()).startsWith("Windows Registry Editor Version 5.00\n"));
    EXPECT_EQ(read(u"HKEY_CURRENT_USER", u"software\\mg", u"server"), u"db1"_s);

    // An existing UTF-16 file keeps its encoding, line breaks and other contents.
    writeMachine(utf16WithBom(withCrLf(machineText)));
    ASSERT_TRUE(setRegistryString(u"HKLM"_s, QString::fromUtf16(velum), u"Path"_s, u"D:\\new\\"_s));
    EXPECT_EQ(read(u"HKLM", velum, u"Path"), u"D:\\new\\"_s);
    const QString edited = QString(machineText)
                               .replace(uR"("Path"="C:\\Program Files\\Velum\\")"_s,
                                        uR"("Path"="D:\\new\\")"_s);
    EXPECT_EQ(TestSupport::fileBytes(machinePath()), utf16WithBom(withCrLf(edited)));

    // A file that is not a registry file is never overwritten; bad roots and keys are refused.
    writeUser("not a registry file\n");
    QString error;
    EXPECT_FALSE(setRegistryString(u"HKCU"_s, u"Software"_s, u"A"_s, u"b"_s, &error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_EQ(TestSupport::fileBytes(userPath()), "not a registry file\n");
    EXPECT_FALSE(setRegistryString(u"HKEY_NOWHERE"_s, u"Software"_s, u"A"_s, u"b"_s));
    EXPECT_FALSE(setRegistryString(u"HKCU"_s, u"Soft\nware"_s, u"A"_s, u"b"_s));
}
