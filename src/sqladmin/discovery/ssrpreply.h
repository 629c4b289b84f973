#pragma once

#include "common/result.h"

#include <QByteArrayView>
#include <QList>
#include <QString>

namespace MGImport8 {

/// One SQL Server instance as a SQL Server Browser describes it in its answer to a discovery
/// request.
struct SqlInstance
{
    QString serverName;
    QString instanceName;
    bool clustered = false;
    QString version;
    /// The instance's TCP port; 0 when it offers none (no "tcp" entry, or 0 or a non-number).
    quint16 tcpPort = 0;
    /// The named pipe, empty when the instance offers none.
    QString pipe;

    /// The name as a user types it: `host` for the default instance, `host\INSTANCE` otherwise.
    QString typedName() const;
};

/// The SQL Server Browser's reply datagram (SVR_RESP): 0x05, the length of the text as a
/// little-endian 16-bit number, then one "ServerName;...;InstanceName;...;IsClustered;...;
/// Version;...[;np;...][;tcp;...]...;;" record per instance. A reply that does not keep to that
/// form, or that describes no instance, is refused with the reason; nothing of it is used.
class SsrpReply
{
public:
    /// The first byte of every reply.
    static constexpr char ReplyType = 0x05;
    /// Names longer than this are not names a server gives.
    static constexpr qsizetype MaxNameBytes = 255;

    static Result<QList<SqlInstance>> parse(QByteArrayView datagram);
};

} // namespace MGImport8
