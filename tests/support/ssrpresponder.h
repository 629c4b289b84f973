#pragma once

// A stand-in for a SQL Server Browser, which cannot run here: a UDP socket on the loopback
// address, served by its own thread, that answers the requests for all instances of the real
// protocol (0x02, 0x03) with the datagrams it is given and stays silent on anything else, as a
// Browser does.

#include <QByteArray>
#include <QList>

#include <atomic>
#include <mutex>
#include <thread>

namespace MGImport8::Test {

class SsrpResponder
{
public:
    /// `replies` are sent, each as its own datagram, for every request for all instances.
    explicit SsrpResponder(QList<QByteArray> replies);
    ~SsrpResponder();
    SsrpResponder(const SsrpResponder &) = delete;
    SsrpResponder &operator=(const SsrpResponder &) = delete;

    quint16 port() const { return m_port; }
    /// The requests received so far.
    QList<QByteArray> requests() const;
    /// "127.0.0.1:PORT" for MGIMPORT8_SSRP_TARGETS.
    QByteArray target() const;

    /// A reply datagram (0x05, length, text) around `text`.
    static QByteArray reply(const QByteArray &text);

private:
    void serve();

    QList<QByteArray> m_replies;
    int m_socket = -1;
    quint16 m_port = 0;
    std::atomic<bool> m_stop{false};
    mutable std::mutex m_mutex;
    QList<QByteArray> m_requests;
    std::thread m_thread;
};

} // namespace MGImport8::Test
