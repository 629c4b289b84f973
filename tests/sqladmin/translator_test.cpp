// Connection strings into driver settings, and what must never leave the layer:
// - server names of both kinds split into host, instance, port or socket folder;
// - an OLE DB string of the family becomes a FreeTDS string whose values cannot add entries;
// - passwords are taken out of driver texts, also when a driver echoes a connection string;
// - names that would break out of their place in a statement are refused with the character.
#include "common/connectionstring.h"
#include "sqladmin/connectiontranslator.h"
#include "sqladmin/nameguard.h"
#include "sqladmin/secrets.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace MGImport8::SqlAdmin;
using MGImport8::ConnectionString;

TEST(Translator, ServerNames)
{
    struct Case
    {
        ServerKind kind;
        QString name;
        QString host;
        QString instance;
        int port;
        bool socket;
    };
    const Case cases[] = {
        {ServerKind::SqlServer, u"SQLBOX"_s, u"SQLBOX"_s, {}, 0, false},
        {ServerKind::SqlServer, u"SQLBOX\\NODES"_s, u"SQLBOX"_s, u"NODES"_s, 0, false},
        {ServerKind::SqlServer, u"10.0.0.5,1533"_s, u"10.0.0.5"_s, {}, 1533, false},
        {ServerKind::SqlServer, u"(local)"_s, u"localhost"_s, {}, 0, false},
        {ServerKind::SqlServer, u".\\SQLEXPRESS"_s, u"localhost"_s, u"SQLEXPRESS"_s, 0, false},
        {ServerKind::SqlServer, u"host,99999"_s, u"host,99999"_s, {}, 0, false},
        {ServerKind::PostgreSql, u"db.example"_s, u"db.example"_s, {}, 0, false},
        {ServerKind::PostgreSql, u"db.example:6543"_s, u"db.example"_s, {}, 6543, false},
        {ServerKind::PostgreSql, u"/run/postgresql"_s, u"/run/postgresql"_s, {}, 0, true},
        {ServerKind::PostgreSql, u"/tmp/x:5433"_s, u"/tmp/x"_s, {}, 5433, true},
        {ServerKind::PostgreSql, u"[::1]:5433"_s, u"::1"_s, {}, 5433, false},
        {ServerKind::PostgreSql, u"fe80::1"_s, u"fe80::1"_s, {}, 0, false},
        {ServerKind::PostgreSql, QString(), u"localhost"_s, {}, 0, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name.toStdString());
        const ServerAddress address = parseServerName(c.kind, c.name);
        EXPECT_EQ(address.host, c.host);
        EXPECT_EQ(address.instance, c.instance);
        EXPECT_EQ(address.port, c.port);
        EXPECT_EQ(address.socketFolder, c.socket);
    }
}

TEST(Translator, FreeTdsStrings)
{
    const LoginSettings sql = loginFromConnectionString(ConnectionString::parse(
        u"Provider=SQLOLEDB.1;User ID='s}a';Password='p'w;d';Persist Security Info=False;"
        u"Initial Catalog=Nodes DB;Data Source=HOST\\INST,1500;Use Procedure for Prepare=1"_s));
    EXPECT_FALSE(sql.integrated);
    EXPECT_EQ(sql.password, u"p'w;d"_s);
    EXPECT_EQ(freeTdsConnectionString(sql),
              u"DRIVER={FreeTDS};SERVER={HOST\\INST};PORT=1500;DATABASE={Nodes DB};UID={s}}a};"
              u"PWD={p'w;d};TDS_Version=7.4;ClientCharset=UTF-8"_s);
    const LoginSettings integrated = loginFromConnectionString(ConnectionString::parse(
        u"Provider=SQLOLEDB.1;Integrated Security=SSPI;Persist Security Info=False;Initial "
        u"Catalog=;Data Source=SRV"_s));
    EXPECT_TRUE(integrated.integrated);
    EXPECT_EQ(
        freeTdsConnectionString(integrated),
        u"DRIVER={FreeTDS};SERVER={SRV};Trusted_Connection=Yes;TDS_Version=7.4;ClientCharset=UTF-8"_s);
    // A database connection's command timeout reaches the driver as its query timeout.
    LoginSettings timed = integrated;
    timed.commandTimeout = 20;
    EXPECT_TRUE(freeTdsConnectionString(timed).endsWith(u";ClientCharset=UTF-8;Timeout=20"_s));
}

TEST(Translator, PasswordsNeverLeave)
{
    struct Case
    {
        const char *name;
        QString text;
        QString expected;
    };
    const Case cases[] = {
        {"literal", u"login failed for 'sa' with Hunter2!"_s, u"login failed for 'sa' with ****"_s},
        {"odbc_echo", u"[unixODBC] DRIVER={FreeTDS};UID={sa};PWD={a}}b;c};X=1"_s,
         u"[unixODBC] DRIVER={FreeTDS};UID={sa};PWD=****;X=1"_s},
        {"oledb_echo", u"bad: User ID='sa';Password='zz';Data Source=S"_s,
         u"bad: User ID='sa';Password=****;Data Source=S"_s},
        {"plain_echo", u"password=abc def; host=x"_s, u"password=****; host=x"_s},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(scrubSecrets(c.text, {u"Hunter2!"_s, QString()}), c.expected);
    }
}

TEST(Translator, NamesAreQuotedAsEachServerReadsThem)
{
    struct Case
    {
        QString name;
        QString bracketed;
        QString quoted;
    };
    const Case cases[] = {
        {u"Nodes"_s, u"[Nodes]"_s, u"\"Nodes\""_s},
        {u"Bob's nodes"_s, u"[Bob's nodes]"_s, u"\"Bob's nodes\""_s},
        {u"a]b"_s, u"[a]]b]"_s, u"\"a]b\""_s},
        {u"[x]]"_s, u"[[x]]]]]"_s, u"\"[x]]\""_s},
        {u"x\"; drop table y; --"_s, u"[x\"; drop table y; --]"_s, u"\"x\"\"; drop table y; --\""_s},
        {u"\""_s, u"[\"]"_s, u"\"\"\"\""_s},
        {QString(), u"[]"_s, u"\"\""_s},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name.toStdString());
        EXPECT_EQ(bracketedIdentifier(c.name), c.bracketed);
        EXPECT_EQ(quotedIdentifier(c.name), c.quoted);
        EXPECT_TRUE(checkNameCanBeQuoted(c.name));
    }
    // A NUL would end the name early in every driver's C string.
    const auto refused = checkNameCanBeQuoted(u"a\0b"_s, u"table name"_s);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error(), u"The table name 'a\\0b' cannot be used: it holds a NUL character "
                               u"(shown as \\0), which no statement or connection string can "
                               u"carry."_s);
}
