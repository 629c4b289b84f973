#include "sqladmin/discovery/ssrpreply.h"

#include "common/codepage.h"

#include <optional>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

constexpr qsizetype HeaderSize = 3;
/// The "bv" entry of old servers carries five values where every other entry carries one.
constexpr int BanyanValues = 5;
const QString defaultInstance = u"MSSQLSERVER"_s;

Error malformed(const QString &reason)
{
    return Error{u"The SQL Server Browser's reply is malformed: "_s + reason};
}

bool isPlainName(QByteArrayView name)
{
    if (name.isEmpty() || name.size() > SsrpReply::MaxNameBytes)
        return false;
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        // Control characters and the separator of the typed form cannot belong to a name.
        if (byte < 0x20 || byte == 0x7f || c == '\\')
            return false;
    }
    return true;
}

quint16 portNumber(QByteArrayView text)
{
    bool ok = false;
    const uint port = text.toUInt(&ok);
    return ok && port <= 0xffff ? static_cast<quint16>(port) : 0;
}

// One instance's key and value pairs, checked once the record ends.
struct Record
{
    QByteArrayView serverName;
    QByteArrayView instanceName;
    QByteArrayView clustered;
    QByteArrayView version;
    QByteArrayView tcp;
    QByteArrayView pipe;
    bool any = false;
};

Result<SqlInstance> finish(const Record &record)
{
    if (!isPlainName(record.serverName))
        return malformed(u"an instance has no usable server name"_s);
    if (!isPlainName(record.instanceName))
        return malformed(u"an instance has no usable instance name"_s);
    SqlInstance instance;
    instance.serverName = decodeWindows1252(record.serverName);
    instance.instanceName = decodeWindows1252(record.instanceName);
    instance.clustered = record.clustered.compare("Yes", Qt::CaseInsensitive) == 0;
    instance.version = decodeWindows1252(record.version);
    instance.tcpPort = portNumber(record.tcp);
    instance.pipe = decodeWindows1252(record.pipe);
    return instance;
}

} // namespace

QString SqlInstance::typedName() const
{
    if (instanceName.compare(defaultInstance, Qt::CaseInsensitive) == 0)
        return serverName;
    return serverName + u'\\' + instanceName;
}

Result<QList<SqlInstance>> SsrpReply::parse(QByteArrayView datagram)
{
    if (datagram.size() < HeaderSize)
        return malformed(u"it is shorter than its header"_s);
    if (datagram.at(0) != ReplyType)
        return malformed(u"it is not a server response"_s);
    const qsizetype declared = static_cast<unsigned char>(datagram.at(1))
                               | (static_cast<unsigned char>(datagram.at(2)) << 8);
    const qsizetype available = datagram.size() - HeaderSize;
    if (declared > available)
        return malformed(u"it declares %1 bytes but holds %2"_s.arg(declared).arg(available));
    const QByteArrayView text = datagram.sliced(HeaderSize, declared);

    QList<QByteArrayView> tokens;
    for (qsizetype start = 0;;) {
        const qsizetype end = text.indexOf(';', start);
        if (end < 0) {
            tokens.append(text.sliced(start));
            break;
        }
        tokens.append(text.sliced(start, end - start));
        start = end + 1;
    }

    QList<SqlInstance> instances;
    Record record;
    auto close = [&]() -> std::optional<Error> {
        if (!record.any)
            return std::nullopt;
        Result<SqlInstance> instance = finish(record);
        record = Record{};
        if (!instance)
            return Error{instance.error()};
        instances.append(instance.take());
        return std::nullopt;
    };

    for (qsizetype i = 0; i < tokens.size();) {
        const QByteArrayView key = tokens.at(i);
        // An empty key is the second ";" of the ";;" that ends a record.
        if (key.isEmpty()) {
            if (std::optional<Error> error = close())
                return *error;
            ++i;
            continue;
        }
        const qsizetype values = key.compare("bv", Qt::CaseInsensitive) == 0 ? BanyanValues : 1;
        if (i + values >= tokens.size())
            return malformed(u"the entry \"%1\" has no value"_s.arg(decodeWindows1252(key)));
        const QByteArrayView value = tokens.at(i + 1);
        // A record that runs into the next one without its ";;" ends where the next begins.
        if (key.compare("ServerName", Qt::CaseInsensitive) == 0 && !record.serverName.isEmpty()) {
            if (std::optional<Error> error = close())
                return *error;
        }
        record.any = true;
        if (key.compare("ServerName", Qt::CaseInsensitive) == 0)
            record.serverName = value;
        else if (key.compare("InstanceName", Qt::CaseInsensitive) == 0)
            record.instanceName = value;
        else if (key.compare("IsClustered", Qt::CaseInsensitive) == 0)
            record.clustered = value;
        else if (key.compare("Version", Qt::CaseInsensitive) == 0)
            record.version = value;
        else if (key.compare("tcp", Qt::CaseInsensitive) == 0)
            record.tcp = value;
        else if (key.compare("np", Qt::CaseInsensitive) == 0)
            record.pipe = value;
        i += 1 + values;
    }
    if (std::optional<Error> error = close())
        return *error;
    if (instances.isEmpty())
        return malformed(u"it describes no instance"_s);
    return instances;
}

} // namespace MGImport8
