#pragma once

#include "common/result.h"
#include "sqladmin/discovery/ssrpreply.h"

#include <QHostAddress>
#include <QList>
#include <QStringList>

#include <chrono>
#include <functional>

namespace MGImport8 {

/// Finds the SQL Server instances on the network through their SQL Server Browsers: one request
/// datagram to UDP port 1434 at every broadcast address of the machine's interfaces, then the
/// replies for a bounded time. The caller's `yield` runs between waits, so a user interface stays
/// alive; no thread is started.
///
/// The environment variable MGIMPORT8_SSRP_TARGETS ("address:port" entries separated by commas)
/// replaces the broadcast addresses, and MGIMPORT8_SSRP_WINDOW_MS the time replies are awaited.
class ServerDiscovery
{
public:
    struct Target
    {
        QHostAddress address;
        quint16 port = 0;
    };

    /// The port every SQL Server Browser listens on.
    static constexpr quint16 BrowserPort = 1434;
    /// The request for all instances of all servers that hear it (CLNT_BCAST_EX).
    static constexpr char BroadcastRequest = 0x02;
    /// How long replies are collected after the requests went out.
    static constexpr std::chrono::milliseconds DefaultWindow{2000};
    /// The longest wait between two calls of the caller's yield.
    static constexpr std::chrono::milliseconds YieldInterval{50};

    /// Broadcast on every interface, unless MGIMPORT8_SSRP_TARGETS names the targets.
    ServerDiscovery();
    /// Asks exactly these targets.
    explicit ServerDiscovery(QList<Target> targets,
                             std::chrono::milliseconds window = DefaultWindow);

    /// Sends the requests and collects the replies until the window closes. The answer is the
    /// instances' names as a user types them, each once (compared case-insensitively), in the
    /// order they arrived; an error only when no request could be sent at all. Malformed replies
    /// are passed over and counted in `rejectedReplies()`. `started` runs once the requests are
    /// out (or there was no target to ask), before the first wait; not when discovery fails.
    Result<QStringList> discover(const std::function<void()> &yield,
                                 const std::function<void()> &started = {});

    /// Every instance that answered, with its details, in the order they arrived.
    const QList<SqlInstance> &instances() const { return m_instances; }
    int rejectedReplies() const { return m_rejected; }
    const QList<Target> &targets() const { return m_targets; }

    /// The broadcast address of every interface that is up and can broadcast, at `BrowserPort`.
    static QList<Target> broadcastTargets();

private:
    QList<Target> m_targets;
    std::chrono::milliseconds m_window;
    QList<SqlInstance> m_instances;
    int m_rejected = 0;
};

} // namespace MGImport8
