// Inventory store locations, as typed on a command line or made by the Database dialog. Checks,
// beyond not crashing: a location made from a plain server name reads back with the database and
// the credentials it was made from, whatever characters they hold.
#include "nodestore/servernodestore.h"

#include <QRegularExpression>
#include <QString>
#include <QStringList>

#include <cstdlib>

using namespace NodeInventory;
using namespace Qt::StringLiterals;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
    (void)ServerNodeStore::parseLocation(text);

    // Fields separated by NUL: server, database, user, password; the first byte picks the type.
    const QStringList fields = text.mid(1).split(QChar(0));
    if (text.isEmpty() || fields.size() != 4)
        return 0;
    const QString type = text.at(0).unicode() % 2 ? u"PostgreSQL"_s : u"SQLServer"_s;
    const QString location = ServerNodeStore::locationFor(type, fields[0], fields[1], fields[2],
                                                          fields[3]);
    const ServerNodeStore::Location parsed = ServerNodeStore::parseLocation(location);
    static const QRegularExpression plainServer(QRegularExpression::anchoredPattern(
        u"(/[A-Za-z0-9_./-]*|[A-Za-z0-9]+([.-][A-Za-z0-9]+)*)(:[0-9]{1,4})?"_s));
    // A socket folder names a PostgreSQL server only; a host name keeps to a DNS label's length.
    if (!plainServer.match(fields[0]).hasMatch() || fields[0].size() > 63 || fields[1].isEmpty()
        || (fields[0].startsWith(u'/') && type != u"PostgreSQL"_s))
        return 0;
    if (!parsed.error.isEmpty() || parsed.database != fields[1] || parsed.user != fields[2]
        || (!fields[2].isEmpty() && parsed.password != fields[3]))
        std::abort();
    return 0;
}
