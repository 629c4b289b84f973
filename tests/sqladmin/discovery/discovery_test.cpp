// Discovery over a real socket: the request sent is the broadcast request (0x02); replies from
// several responders are merged once each, case-insensitively; a malformed reply is passed over
// without losing the good ones; silence ends with the window, with the caller's yield called
// meanwhile; the environment can aim it at given targets.

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
using MGImport8::Test::ScopedEnv;
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

QByteArray corpusFile(const QString &name)
{
    QFile file(corpusDir() + u"/ssrp/"_s + name);
    if (!file.open(QIODevice::ReadOnly))
        ADD_FAILURE() << "cannot read " << name.toStdString();
    return file.readAll();
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

struct CorpusCase
{
    const char *file;
    const char *expected; // the summary, or nullptr when the reply must be refused
};

void PrintTo(const CorpusCase &c, std::ostream *os)
{
    *os << c.file;
}

class CorpusReplies : public testing::TestWithParam<CorpusCase>
{};

TEST_P(CorpusReplies, giveTheirInstancesOrAreRefused)
{
    MGIMPORT8_REQUIRE_CORPUS();
    const auto parsed = SsrpReply::parse(corpusFile(QString::fromLatin1(GetParam().file)));
    if (!GetParam().expected) {
        ASSERT_FALSE(parsed) << summary(parsed.value()).toStdString();
        EXPECT_TRUE(parsed.error().startsWith(u"The SQL Server Browser's reply is malformed: "_s));
        return;
    }
    ASSERT_TRUE(parsed) << parsed.error().toStdString();
    EXPECT_EQ(summary(parsed.value()), QString::fromLatin1(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(
    Ssrp, CorpusReplies,
    testing::Values(CorpusCase{"mcsqlr_4.1_SVR_RESP.bin",
                               "ILSUNG1\\YUKONSTD:57137 ILSUNG1\\YUKONDEV:0 ILSUNG1:1433"},
                    CorpusCase{"mcsqlr_4.2_SVR_RESP.bin", "ILSUNG1\\YUKONSTD:57137"},
                    CorpusCase{"pytds_MISHA-PC_SVR_RESP.bin", "MISHA-PC\\SQLEXPRESS:49849"},
                    CorpusCase{"nasl_REDEMPTION_sql2000_SVR_RESP.bin", "REDEMPTION:1433"},
                    CorpusCase{"amplification_WIN3H1QPRPTOAS_sql2005_SVR_RESP.bin",
                               "WIN3H1QPRPTOAS:1433"},
                    CorpusCase{"tedious_WINDOWS2_multi_tcp0_SVR_RESP.bin",
                               "WINDOWS2\\SQLEXPRESS:1433 WINDOWS2\\XXXXXXXXXX:0"},
                    // Declares 140 bytes and holds 107.
                    CorpusCase{"jobboss_redacted_len_mismatch_SVR_RESP.bin", nullptr},
                    CorpusCase{"gomssqldb_fuzzseed_no_servername_SVR_RESP.bin", nullptr},
                    // The answer to a dedicated-connection request is no list of instances.
                    CorpusCase{"mcsqlr_4.3_SVR_RESP_DAC.bin", nullptr},
                    CorpusCase{"CLNT_BCAST_EX_request.bin", nullptr}));

struct SyntheticCase
{
    const char *name;
    QByteArray datagram;
    const char *expected; // nullptr: refused
};

void PrintTo(const SyntheticCase &c, std::ostream *os)
{
    *os << c.name;
}

class SyntheticReplies : public testing::TestWithParam<SyntheticCase>
{};

TEST_P(SyntheticReplies, parseAsAServerMeansThem)
{
    const auto parsed = SsrpReply::parse(GetParam().datagram);
    if (!GetParam().expected) {
        EXPECT_FALSE(parsed) << summary(parsed.value()).toStdString();
        return;
    }
    ASSERT_TRUE(parsed) << parsed.error().toStdString();
    EXPECT_EQ(summary(parsed.value()), QString::fromLatin1(GetParam().expected));
}

const QByteArray one
    = "ServerName;HOST;InstanceName;SALES;IsClustered;No;Version;16.0.1000.6;tcp;51433;;";

INSTANTIATE_TEST_SUITE_P(
    Ssrp, SyntheticReplies,
    testing::Values(
        SyntheticCase{"empty", QByteArray(), nullptr},
        SyntheticCase{"header_only", QByteArray("\x05\x00\x00", 3), nullptr},
        SyntheticCase{"wrong_type", "\x04" + reply(one).mid(1), nullptr},
        SyntheticCase{"longer_than_datagram", reply(one).chopped(1), nullptr},
        // Bytes past the declared length are not part of the reply.
        SyntheticCase{"trailing_bytes", reply(one) + "ServerName;X", "HOST\\SALES:51433"},
        SyntheticCase{"key_without_value", reply("ServerName;HOST;InstanceName"), nullptr},
        SyntheticCase{"no_instance_name", reply("ServerName;HOST;Version;1;;"), nullptr},
        SyntheticCase{"backslash_in_server", reply("ServerName;A\\B;InstanceName;I;;"), nullptr},
        SyntheticCase{"control_character", reply("ServerName;A\x01;InstanceName;I;;"), nullptr},
        SyntheticCase{"only_separators", reply(";;;;;;"), nullptr},
        SyntheticCase{"records_without_closing",
                      reply("ServerName;sqlhost;InstanceName;MSSQLSERVER;IsClustered;No;Version;"
                            "16.0.1000.6;ServerName;sqlhost;InstanceName;DEV;IsClustered;No;"
                            "Version;16.0.1000.6;tcp;51433"),
                      "sqlhost:0 sqlhost\\DEV:51433"},
        SyntheticCase{"banyan_vines_entry",
                      reply("ServerName;OLD;InstanceName;MSSQLSERVER;IsClustered;No;Version;"
                            "8.00.194;bv;;@OLD;;;;tcp;1433;;"),
                      "OLD:1433"},
        SyntheticCase{"port_out_of_range", reply("ServerName;H;InstanceName;I;tcp;70000;;"),
                      "H\\I:0"},
        SyntheticCase{"default_instance_any_case", reply("servername;h;instancename;mssqlserver;;"),
                      "h:0"}),
    [](const testing::TestParamInfo<SyntheticCase> &param) {
        return std::string(param.param.name);
    });

TEST(SsrpReply, readsLongMultiInstanceRepliesAndWindowsNames)
{
    QByteArray text;
    for (int i = 0; i < 40; ++i)
        text += "ServerName;H" + QByteArray::number(i)
                + ";InstanceName;I;IsClustered;Yes;Version;12.0.2000.8;tcp;1433;;";
    text += "ServerName;K\xd6LN;InstanceName;MSSQLSERVER;;";
    ASSERT_GT(text.size(), 1024);
    const auto parsed = SsrpReply::parse(reply(text));
    ASSERT_TRUE(parsed);
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
    QStringList upper;
    for (const QString &name : names.value())
        upper.append(name.toUpper());
    EXPECT_EQ(upper.size(), 3);
    EXPECT_TRUE(upper.contains(u"ALPHA"_s) && upper.contains(u"ALPHA\\SALES"_s));
    EXPECT_TRUE(upper.contains(u"BETA"_s));
    EXPECT_EQ(discovery.rejectedReplies(), 1);
    EXPECT_EQ(first.requests(), QList<QByteArray>{QByteArray(1, '\x02')});
    EXPECT_GT(yields, 1);
}

TEST(ServerDiscovery, endsWithItsWindowWhenNobodyAnswers)
{
    SsrpResponder silent({});
    ServerDiscovery discovery({at(silent)}, Window);
    const auto names = discovery.discover({});
    ASSERT_TRUE(names);
    EXPECT_TRUE(names.value().isEmpty());
    EXPECT_EQ(silent.requests().size(), 1);
}

TEST(ServerDiscovery, takesItsTargetsFromTheEnvironment)
{
    SsrpResponder responder({reply(instance("gamma", "MSSQLSERVER"))});
    ScopedEnv targets("MGIMPORT8_SSRP_TARGETS", "bogus," + responder.target());
    ScopedEnv window("MGIMPORT8_SSRP_WINDOW_MS", "400");
    ServerDiscovery discovery;
    ASSERT_EQ(discovery.targets().size(), 1);
    const auto names = discovery.discover({});
    ASSERT_TRUE(names);
    EXPECT_EQ(names.value(), QStringList{u"gamma"_s});
}

} // namespace
