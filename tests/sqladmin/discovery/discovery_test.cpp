// Discovery over a real socket: the request sent is the broadcast request (0x02); replies from
// several responders are merged once each, case-insensitively; a malformed reply is passed over
// without losing the good ones; silence ends with the window, with the caller's yield called
// meanwhile; the environment can aim it at given targets.

#include "sqladmin/discovery/serverdiscovery.h"

#include "ssrpresponder.h"
#include "testsupport.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using MGImport8::ServerDiscovery;
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

TEST(ServerDiscovery, mergesTheRepliesOfSeveralServersOnceEach)
{
    SsrpResponder first(
        {SsrpResponder::reply(instance("alpha", "MSSQLSERVER") + instance("alpha", "Sales"))});
    SsrpResponder second(
        {SsrpResponder::reply("garbage"),
         SsrpResponder::reply(instance("ALPHA", "SALES") + instance("beta", "MSSQLSERVER"))});
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
    SsrpResponder responder({SsrpResponder::reply(instance("gamma", "MSSQLSERVER"))});
    ScopedEnv targets("MGIMPORT8_SSRP_TARGETS", "bogus," + responder.target());
    ScopedEnv window("MGIMPORT8_SSRP_WINDOW_MS", "400");
    ServerDiscovery discovery;
    ASSERT_EQ(discovery.targets().size(), 1);
    const auto names = discovery.discover({});
    ASSERT_TRUE(names);
    EXPECT_EQ(names.value(), QStringList{u"gamma"_s});
}

} // namespace
