// Feeds arbitrary datagrams to the SQL Server Browser reply parser, and arbitrary bytes to the
// registered servers file reader: neither may crash or hang. A reply that is accepted describes
// at least one instance, each with a name a user could type (no control character, no empty
// part).
#include "sqladmin/discovery/registeredservers.h"
#include "sqladmin/discovery/ssrpreply.h"

#include <QString>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace MGImport8;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArrayView bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const Result<QList<SqlInstance>> reply = SsrpReply::parse(bytes);
    if (reply) {
        if (reply.value().isEmpty())
            std::abort();
        for (const SqlInstance &instance : reply.value()) {
            const QString name = instance.typedName();
            if (instance.serverName.isEmpty() || instance.instanceName.isEmpty()
                || name.endsWith(u'\\'))
                std::abort();
            for (const QChar c : name) {
                if (c.unicode() < 0x20)
                    std::abort();
            }
        }
    } else if (reply.error().isEmpty()) {
        std::abort();
    }

    const auto groups = RegisteredServers::parse(bytes.toByteArray(), QStringLiteral("fuzz"));
    if (!groups && groups.error().isEmpty())
        std::abort();
    return 0;
}
