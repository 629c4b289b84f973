// Connection strings come back exactly as the system wrote them: unescaped quotes in passwords,
// semicolons in Access paths, keys in any case; names quoted for the string read back whole.
#include "common/connectionstring.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using MGImport8::ConnectionString;
using MGImport8::jetDataSource;
using MGImport8::quotedValue;

TEST(ConnectionString, ReadsWhatTheSystemWrites)
{
    const QString tail = u";Use Procedure for Prepare=1;Auto Translate=True;Packet Size=4096;"
                         u"Workstation ID=Marrowgate;Use Encryption for Data=FALSE;"
                         u"Tag with column collation when possible=False"_s;
    const ConnectionString sql = ConnectionString::parse(
        u"Provider=SQLOLEDB.1;User ID='sa';Password='it''s;a ' secret';Persist Security Info=False;"
        u"Initial Catalog=Net Nodes;Data Source=HOST\\INST"_s
        + tail);
    EXPECT_TRUE(sql.isProvider(u"sqloledb.1"_s));
    EXPECT_EQ(sql.text(u"user id"_s), u"sa"_s);
    // The password was written between quotes as it stands: its own quotes and semicolon stay.
    EXPECT_EQ(sql.text(u"Password"_s), u"it''s;a ' secret"_s);
    EXPECT_EQ(sql.text(u"Initial Catalog"_s), u"Net Nodes"_s);
    EXPECT_EQ(sql.text(u"DATA SOURCE"_s), u"HOST\\INST"_s);
    EXPECT_EQ(sql.text(u"Tag with column collation when possible"_s), u"False"_s);
    EXPECT_FALSE(sql.value(u"Integrated Security"_s).has_value());

    const ConnectionString integrated = ConnectionString::parse(
        u"Provider=SQLOLEDB.1;Integrated Security=SSPI;Persist Security Info=False;"
        u"Initial Catalog=;Data Source=srv"_s);
    EXPECT_EQ(integrated.value(u"Initial Catalog"_s), QString());
    EXPECT_EQ(integrated.text(u"Integrated Security"_s), u"SSPI"_s);

    const ConnectionString odd = ConnectionString::parse(u";;junk;a = 1 ;A=2; b=\"x;y\""_s);
    ASSERT_EQ(odd.entries().size(), 2);
    EXPECT_EQ(odd.text(u"a"_s), u"2"_s);
    EXPECT_EQ(odd.text(u"b"_s), u"x;y"_s);
    // An opening quote that never closes is part of the value.
    EXPECT_EQ(ConnectionString::parse(u"Password='abc"_s).text(u"Password"_s), u"'abc"_s);
}

TEST(ConnectionString, FindsTheAccessFile)
{
    EXPECT_EQ(jetDataSource(u"Provider=Microsoft.Jet.OLEDB.4.0;Data Source=/data/a;b 'c'.mdb"_s),
              u"/data/a;b 'c'.mdb"_s);
    EXPECT_EQ(jetDataSource(u"Data Source=/x.mdb;Provider=microsoft.jet.oledb.4.0"_s), u"/x.mdb"_s);
    EXPECT_FALSE(jetDataSource(u"Provider=SQLOLEDB.1;Data Source=srv"_s).has_value());
    EXPECT_FALSE(jetDataSource(QString()).has_value());
}

TEST(ConnectionString, QuotedNamesReadBackWhole)
{
    struct Case
    {
        QString value;
        QString written;
    };
    const Case cases[] = {
        {u"Net Nodes"_s, u"Net Nodes"_s},
        {u"Bob's nodes"_s, u"Bob's nodes"_s},
        {u"HOST\\INST,1433"_s, u"HOST\\INST,1433"_s},
        {QString(), QString()},
        {u"a;Data Source=elsewhere"_s, u"\"a;Data Source=elsewhere\""_s},
        {u"x\"; drop table y; --"_s, u"\"x\"\"; drop table y; --\""_s},
        {u"'quoted'"_s, u"\"'quoted'\""_s},
        {u"\"dq\""_s, u"\"\"\"dq\"\"\""_s},
        {u"{braced}"_s, u"\"{braced}\""_s},
        {u" padded "_s, u"\" padded \""_s},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.value.toStdString());
        EXPECT_EQ(quotedValue(c.value), c.written);
        const ConnectionString read = ConnectionString::parse(
            u"Initial Catalog="_s + quotedValue(c.value) + u";Data Source=srv"_s);
        EXPECT_EQ(read.text(u"Initial Catalog"_s), c.value);
        EXPECT_EQ(read.text(u"Data Source"_s), u"srv"_s);
    }
}
