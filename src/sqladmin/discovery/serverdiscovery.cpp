#include "sqladmin/discovery/serverdiscovery.h"

#include "sqladmin/discovery/servernames.h"

#include <QDeadlineTimer>
#include <QNetworkDatagram>
#include <QNetworkInterface>
#include <QUdpSocket>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

/// A reply never exceeds the 16-bit length of its text plus its header.
constexpr qint64 MaxReplySize = 0xffff + 3;
/// A window set in the environment is held to this, so that a typing slip cannot hang a caller.
constexpr std::chrono::milliseconds MaxWindow{30000};

QList<ServerDiscovery::Target> targetsFromEnvironment()
{
    QList<ServerDiscovery::Target> targets;
    const QString text = qEnvironmentVariable("MGIMPORT8_SSRP_TARGETS");
    for (const QString &entry : text.split(u',', Qt::SkipEmptyParts)) {
        const qsizetype colon = entry.lastIndexOf(u':');
        bool ok = false;
        const uint port = colon > 0 ? entry.sliced(colon + 1).toUInt(&ok) : 0;
        const QHostAddress address(entry.first(colon > 0 ? colon : 0).trimmed());
        if (ok && port > 0 && port <= 0xffff && !address.isNull())
            targets.append({address, static_cast<quint16>(port)});
        else
            qWarning("MGIMPORT8_SSRP_TARGETS: '%s' is not address:port; passed over",
                     qUtf8Printable(entry));
    }
    return targets;
}

std::chrono::milliseconds windowFromEnvironment()
{
    bool ok = false;
    const int ms = qEnvironmentVariableIntValue("MGIMPORT8_SSRP_WINDOW_MS", &ok);
    if (!ok || ms < 0)
        return ServerDiscovery::DefaultWindow;
    return std::min(std::chrono::milliseconds(ms), MaxWindow);
}

} // namespace

ServerDiscovery::ServerDiscovery()
    : m_targets(qEnvironmentVariableIsSet("MGIMPORT8_SSRP_TARGETS") ? targetsFromEnvironment()
                                                                    : broadcastTargets())
    , m_window(windowFromEnvironment())
{}

ServerDiscovery::ServerDiscovery(QList<Target> targets, std::chrono::milliseconds window)
    : m_targets(std::move(targets))
    , m_window(window)
{}

QList<ServerDiscovery::Target> ServerDiscovery::broadcastTargets()
{
    QList<Target> targets;
    const auto interfaces = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface &interface : interfaces) {
        const auto flags = interface.flags();
        if (!flags.testFlag(QNetworkInterface::IsUp)
            || !flags.testFlag(QNetworkInterface::CanBroadcast))
            continue;
        const auto entries = interface.addressEntries();
        for (const QNetworkAddressEntry &entry : entries) {
            if (entry.ip().protocol() != QAbstractSocket::IPv4Protocol || entry.broadcast().isNull())
                continue;
            targets.append({entry.broadcast(), BrowserPort});
        }
    }
    return targets;
}

Result<QStringList> ServerDiscovery::discover(const std::function<void()> &yield,
                                              const std::function<void()> &started)
{
    m_instances.clear();
    m_rejected = 0;
    QUdpSocket socket;
    if (!socket.bind(QHostAddress(QHostAddress::AnyIPv4), 0))
        return Error{u"Cannot open a socket for server discovery: "_s + socket.errorString()};

    const QByteArray request(1, BroadcastRequest);
    int sent = 0;
    QString sendError;
    for (const Target &target : std::as_const(m_targets)) {
        if (socket.writeDatagram(request, target.address, target.port) == request.size())
            ++sent;
        else
            sendError = socket.errorString();
    }
    // No network to ask is not a failure: there is simply no server on it.
    if (sent == 0 && !m_targets.isEmpty())
        return Error{u"Cannot send the server discovery request: "_s + sendError};
    if (started)
        started();

    ServerNames names;
    QDeadlineTimer deadline(m_window);
    while (sent > 0) {
        if (yield)
            yield();
        while (socket.hasPendingDatagrams()) {
            const QNetworkDatagram datagram = socket.receiveDatagram(MaxReplySize);
            Result<QList<SqlInstance>> reply = SsrpReply::parse(datagram.data());
            if (!reply) {
                ++m_rejected;
                continue;
            }
            for (SqlInstance &instance : reply.value()) {
                if (names.add(instance.typedName()))
                    m_instances.append(std::move(instance));
            }
        }
        if (deadline.hasExpired())
            break;
        const auto wait = std::min<qint64>(deadline.remainingTime(), YieldInterval.count());
        socket.waitForReadyRead(static_cast<int>(std::max<qint64>(wait, 0)));
    }
    return names.names();
}

} // namespace MGImport8
