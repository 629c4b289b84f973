// Discovery over a real socket: the request sent is the broadcast request (0x02); replies from
// several responders are merged once each, case-insensitively; a malformed reply is passed over
// without losing the good ones; silence ends with the window, with the caller's yield called
// meanwhile.

// Reply parsing: the published replies of real servers give their instances in the typed form
// with their ports; replies with a wrong type, a length that overruns the datagram, a missing
// server name or a dangling key are refused with a reason, never half used; records without the
// closing ";;" and the five-valued "bv" entry of old servers do not shift the pairs.

#include "sqladmin/discovery/serverdiscovery.h"
#include "sqladmin/discovery/ssrpreply.h"

#include "ssrpresponder.h"
#include "testsupport.h"

#include <QFile>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using MGImport8::ServerDiscovery;
using MGImport8::SsrpReply;
using MGImport8::Test::corpusDir;
using MGImport8::Test::SsrpResponder;

namespace {

// Long enough for a loopback answer on a busy machine; discovery returns no sooner.
constexpr auto Window = 400ms;

ServerDiscovery::Target at(const SsrpResponder &responder)
{
    return {QHostAddress(QHostAddress::LocalHost), responder.port()};
}

QByteArray instance(const char *server, const char *name)
{
    return "ServerName;" + QByteArray(server) + ";InstanceName;" + name
           + ";IsClustered;No;Version;15.0.2000.5;tcp;1433;;";
}

constexpr auto reply = &SsrpResponder::reply;

// "name:port" per instance, so one string says what was understood.
QString summary(const QList<MGImport8::SqlInstance> &instances)
{
    QStringList parts;
    for (const auto &instance : instances)
        parts.append(instance.typedName() + u':' + QString::number(instance.tcpPort));
    return parts.join(u' ');
}

TEST(SsrpReply, corpusRepliesGiveTheirInstancesOrAreRefused)
{
    MGIMPORT8_REQUIRE_CORPUS();
    const struct
    {
        const char *file;
        const char *expected; // the summary, or nullptr when the reply must be refused
    } cases[] = {
        {"mcsqlr_4.1_SVR_RESP.bin", "ILSUNG1\\YUKONSTD:57137 ILSUNG1\\YUKONDEV:0 ILSUNG1:1433"},
        {"pytds_MISHA-PC_SVR_RESP.bin", "MISHA-PC\\SQLEXPRESS:49849"},
        {"nasl_REDEMPTION_sql2000_SVR_RESP.bin", "REDEMPTION:1433"},
        {"tedious_WINDOWS2_multi_tcp0_SVR_RESP.bin",
         "WINDOWS2\\SQLEXPRESS:1433 WINDOWS2\\XXXXXXXXXX:0"},
        // Declares 140 bytes and holds 107.
        {"jobboss_redacted_len_mismatch_SVR_RESP.bin", nullptr},
        {"gomssqldb_fuzzseed_no_servername_SVR_RESP.bin", nullptr},
        // The answer to a dedicated-connection request is no list of instances.
        {"mcsqlr_4.3_SVR_RESP_DAC.bin", nullptr},
        {"CLNT_BCAST_EX_request.bin", nullptr},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.file);
        QFile file(corpusDir() + u"/ssrp/"_s + QString::fromLatin1(c.file));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        const auto parsed = SsrpReply::parse(file.readAll());
        if (!c.expected) {
            ASSERT_FALSE(parsed) << summary(parsed.value()).toStdString();
            EXPECT_TRUE(
                parsed.error().startsWith(u"The SQL Server Browser's reply is malformed: "_s));
        } else {
            ASSERT_TRUE(parsed) << parsed.error().toStdString();
            EXPECT_EQ(summary(parsed.value()), QString::fromLatin1(c.expected));
        }
    }
}

TEST(SsrpReply, syntheticRepliesParseAsAServerMeansThem)
{
    const QByteArray one
        = "ServerName;HOST;InstanceName;SALES;IsClustered;No;Version;16.0.1000.6;tcp;51433;;";
    const struct
    {
        const char *name;
        QByteArray datagram;
        const char *expected; // nullptr: refused
    } cases[] = {
        {"header_only", QByteArray("\x05\x00\x00", 3), nullptr},
        {"wrong_type", "\x04" + reply(one).mid(1), nullptr},
        {"longer_than_datagram", reply(one).chopped(1), nullptr},
        // Bytes past the declared length are not part of the reply.
        {"trailing_bytes", reply(one) + "ServerName;X", "HOST\\SALES:51433"},
        {"key_without_value", reply("ServerName;HOST;InstanceName"), nullptr},
        {"no_instance_name", reply("ServerName;HOST;Version;1;;"), nullptr},
        {"backslash_in_server", reply("ServerName;A\\B;InstanceName;I;;"), nullptr},
        {"records_without_closing",
         reply("ServerName;sqlhost;InstanceName;MSSQLSERVER;IsClustered;No;Version;16.0.1000.6;"
               "ServerName;sqlhost;InstanceName;DEV;IsClustered;No;Version;16.0.1000.6;tcp;51433"),
         "sqlhost:0 sqlhost\\DEV:51433"},
        {"banyan_vines_entry",
         reply("ServerName;OLD;InstanceName;MSSQLSERVER;IsClustered;No;Version;8.00.194;bv;;@OLD;;;"
               ";tcp;1433;;"),
         "OLD:1433"},
        {"port_out_of_range", reply("ServerName;H;InstanceName;I;tcp;70000;;"), "H\\I:0"},
        {"default_instance_any_case", reply("servername;h;instancename;mssqlserver;;"), "h:0"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        const auto parsed = SsrpReply::parse(c.datagram);
        if (!c.expected) {
            EXPECT_FALSE(parsed) << summary(parsed.value()).toStdString();
        } else {
            ASSERT_TRUE(parsed) << parsed.error().toStdString();
            EXPECT_EQ(summary(parsed.value()), QString::fromLatin1(c.expected));
        }
    }
}

TEST(SsrpReply, readsLongMultiInstanceRepliesAndWindowsNames)
{
    QByteArray text;
    for (int i = 0; i < 40; ++i)
        text += "ServerName;H" + QByteArray::number(i)
                + ";InstanceName;I;IsClustered;Yes;Version;12.0.2000.8;tcp;1433;;";
    text += "ServerName;K\xd6LN;InstanceName;MSSQLSERVER;;";
    const auto parsed = SsrpReply::parse(reply(text));
    ASSERT_EQ(parsed.value().size(), 41);
    EXPECT_TRUE(parsed.value().first().clustered);
    EXPECT_EQ(parsed.value().last().typedName(), u"K\u00d6LN"_s);
}

TEST(ServerDiscovery, mergesTheRepliesOfSeveralServersOnceEach)
{
    SsrpResponder first({reply(instance("alpha", "MSSQLSERVER") + instance("alpha", "Sales"))});
    SsrpResponder second(
        {reply("garbage"), reply(instance("ALPHA", "SALES") + instance("beta", "MSSQLSERVER"))});
    ServerDiscovery discovery({at(first), at(second)}, Window);
    int yields = 0;
    const auto names = discovery.discover([&] { ++yields; });

    ASSERT_TRUE(names) << names.error().toStdString();
    // The two servers answer in either order; whichever spelling of a name comes first stays.
    QStringList upper = names.value().join(u' ').toUpper().split(u' ');
    upper.sort();
    EXPECT_EQ(upper, (QStringList{u"ALPHA"_s, u"ALPHA\\SALES"_s, u"BETA"_s}));
    EXPECT_EQ(discovery.rejectedReplies(), 1);
    EXPECT_EQ(first.requests(), QList<QByteArray>{QByteArray(1, '\x02')});
    EXPECT_GT(yields, 1);
}

TEST(ServerDiscovery, endsWithItsWindowWhenNobodyAnswers)
{
    SsrpResponder silent({});
    ServerDiscovery discovery({at(silent)}, Window);
    const auto names = discovery.discover({});
    EXPECT_TRUE(names && names.value().isEmpty());
    EXPECT_EQ(silent.requests().size(), 1);
}

} // namespace
