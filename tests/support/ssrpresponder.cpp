#include "ssrpresponder.h"

#include "testsupport.h"

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace MGImport8::Test {

SsrpResponder::SsrpResponder(QList<QByteArray> replies)
    : m_replies(std::move(replies))
{
    m_socket = loopbackSocket(SOCK_DGRAM, &m_port);
    if (m_socket < 0) {
        ADD_FAILURE() << "the loopback responder cannot open its socket";
        return;
    }
    m_thread = std::thread([this] { serve(); });
}

SsrpResponder::~SsrpResponder()
{
    m_stop = true;
    if (m_thread.joinable())
        m_thread.join();
    if (m_socket >= 0)
        ::close(m_socket);
}

QList<QByteArray> SsrpResponder::requests() const
{
    std::lock_guard lock(m_mutex);
    return m_requests;
}

QByteArray SsrpResponder::target() const
{
    return "127.0.0.1:" + QByteArray::number(m_port);
}

QByteArray SsrpResponder::reply(const QByteArray &text)
{
    const auto size = static_cast<quint16>(text.size());
    return QByteArray(1, '\x05') + char(size & 0xff) + char(size >> 8) + text;
}

void SsrpResponder::serve()
{
    while (!m_stop) {
        pollfd fd{m_socket, POLLIN, 0};
        char buffer[1024];
        sockaddr_in from{};
        socklen_t fromLength = sizeof from;
        if (::poll(&fd, 1, 20) <= 0)
            continue;
        const ssize_t size = ::recvfrom(m_socket, buffer, sizeof buffer, 0,
                                        reinterpret_cast<sockaddr *>(&from), &fromLength);
        if (size <= 0)
            continue;
        const QByteArray request(buffer, static_cast<qsizetype>(size));
        {
            std::lock_guard lock(m_mutex);
            m_requests.append(request);
        }
        // Only the requests for all instances are answered; a Browser ignores what it does not
        // understand.
        for (qsizetype i = 0; (request == "\x02" || request == "\x03") && i < m_replies.size(); ++i)
            ::sendto(m_socket, m_replies[i].constData(), size_t(m_replies[i].size()), 0,
                     reinterpret_cast<sockaddr *>(&from), fromLength);
    }
}

} // namespace MGImport8::Test
