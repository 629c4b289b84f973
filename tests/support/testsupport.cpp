#include "testsupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMetaProperty>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace MGImport8::Test {

QString corpusDir()
{
    const QDir dir(qEnvironmentVariable("MGIMPORT8_CORPUS_DIR"));
    return dir.path() != u"." && dir.exists() ? dir.canonicalPath() : QString();
}

QByteArray fileBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
}

int loopbackSocket(int type, quint16 *port)
{
    const int socket = ::socket(AF_INET, type, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (socket >= 0
        && (::bind(socket, reinterpret_cast<sockaddr *>(&address), length) != 0
            || ::getsockname(socket, reinterpret_cast<sockaddr *>(&address), &length) != 0)) {
        ::close(socket);
        return -1;
    }
    *port = ntohs(address.sin_port);
    return socket;
}

QStringList ownPropertyNames(const QMetaObject &meta)
{
    QStringList names;
    for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i)
        names.append(QString::fromLatin1(meta.property(i).name()));
    return names;
}

QString TempFolder::write(const QString &name, const QByteArray &content) const
{
    const QString path = m_dir.filePath(name);
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        ADD_FAILURE() << "cannot write " << path.toStdString();
    return path;
}

ScopedEnv::ScopedEnv(const char *name, const QByteArray &value)
    : m_name(name)
    , m_old(qgetenv(name))
    , m_had(qEnvironmentVariableIsSet(name))
{
    qputenv(name, value);
}

ScopedEnv::~ScopedEnv()
{
    m_had ? void(qputenv(m_name.constData(), m_old)) : void(qunsetenv(m_name.constData()));
}

} // namespace MGImport8::Test
