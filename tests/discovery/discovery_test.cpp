// Discovery over a real socket: the request sent is the broadcast request (0x02); replies from
// several responders are merged once each, case-insensitively, in arrival order; a malformed reply
// is passed over without losing the good ones; silence ends with the window, with the caller's
// yield called meanwhile. Registered servers: groups and servers in file order, names matched
// without regard to case, a malformed file reported with its path, a missing one empty; the
// choice lists network servers first, then the registered ones, each once.

#include "sqladmin/discovery/registeredservers.h"
#include "sqladmin/discovery/serverchoice.h"
#include "sqladmin/discovery/serverdiscovery.h"

#include "ssrpresponder.h"
#include "testsupport.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using MGImport8::RegisteredServers;
using MGImport8::ServerChoice;
using MGImport8::ServerDiscovery;
using MGImport8::Test::ScopedEnv;
using MGImport8::Test::SsrpResponder;
using MGImport8::Test::TempFolder;

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

TEST(RegisteredServers, readsGroupsInOrderWithoutRegardToCase)
{
    TempFolder folder;
    const QString path = folder.write(u"servers.xml"_s, R"(<?xml version="1.0"?>
<registeredservers>
  <ServerGroup Name="Production">
    <Server Name=" DB01 "/>
    <SERVER name="DB02\SALES"/>
    <Server Name="   "/>
    <Note>not a server</Note>
  </ServerGroup>
  <servergroup NAME="Lab"><server Name="lab1"/></servergroup>
</registeredservers>)");
    const auto groups = RegisteredServers::load(path);
    ASSERT_TRUE(groups) << groups.error().toStdString();
    ASSERT_EQ(groups.value().size(), 2);
    EXPECT_EQ(groups.value().at(0).name, u"Production"_s);
    EXPECT_EQ(groups.value().at(0).servers, (QStringList{u"DB01"_s, u"DB02\\SALES"_s}));
    EXPECT_EQ(groups.value().at(1).servers, QStringList{u"lab1"_s});
}

TEST(RegisteredServers, reportsAMalformedFileWithItsPathAndAMissingOneAsEmpty)
{
    TempFolder folder;
    const QString broken = folder.write(u"broken.xml"_s, "<RegisteredServers><ServerGroup>");
    const auto groups = RegisteredServers::load(broken);
    ASSERT_FALSE(groups);
    EXPECT_TRUE(groups.error().startsWith(u"Cannot read the registered servers from ("_s + broken
                                          + u"): "_s))
        << groups.error().toStdString();
    const QString wrongRoot = folder.write(u"other.xml"_s, "<Servers/>");
    EXPECT_FALSE(RegisteredServers::load(wrongRoot));
    const auto none = RegisteredServers::load(folder.path() + u"/missing.xml"_s);
    ASSERT_TRUE(none);
    EXPECT_TRUE(none.value().isEmpty());
}

TEST(ServerChoice, listsNetworkServersFirstThenRegisteredOnesOnceEach)
{
    TempFolder config;
    config.write(u"MGImport8/RegisteredServers.xml"_s, R"(<RegisteredServers>
  <ServerGroup Name="A"><Server Name="ALPHA"/><Server Name="delta"/></ServerGroup>
  <ServerGroup Name="B"><Server Name="Delta"/><Server Name="epsilon"/></ServerGroup>
</RegisteredServers>)");
    ScopedEnv xdg("XDG_CONFIG_HOME", config.path().toLocal8Bit());
    SsrpResponder responder({SsrpResponder::reply(instance("alpha", "MSSQLSERVER"))});
    ServerDiscovery discovery({at(responder)}, Window);
    const ServerChoice choice = ServerChoice::collect(discovery, {});
    EXPECT_EQ(choice.servers, (QStringList{u"alpha"_s, u"delta"_s, u"epsilon"_s}));
    EXPECT_TRUE(choice.discoveryError.isEmpty());
    EXPECT_TRUE(choice.registeredError.isEmpty());
}

} // namespace
