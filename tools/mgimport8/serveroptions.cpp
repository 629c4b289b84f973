#include "serveroptions.h"

#include "output.h"

#include "methods/sourcekind.h"

#include <QFile>

using namespace Qt::StringLiterals;

namespace MGImport8::Tool {

namespace {

const QString sqlServerType = u"SQLServer"_s;
const QString postgresType = u"PostgreSQL"_s;
/// A password file is one line; anything longer is not one.
constexpr qint64 MaxPasswordFileSize = 4096;

} // namespace

QString ServerOptions::importMethod() const
{
    return methodName(serverType == postgresType ? SourceKind::PostgreSql : SourceKind::SqlServer);
}

ServerOptionSet::ServerOptionSet(QCommandLineParser &parser, bool withTable)
    : m_parser(parser)
    , m_withTable(withTable)
    , m_server(u"server"_s,
               u"The database server, as typed in the wizard (host, host\\instance; "
               "for PostgreSQL host:port or a socket folder)."_s,
               u"NAME"_s)
    , m_serverType(u"server-type"_s, u"SQLServer (default) or PostgreSQL."_s, u"TYPE"_s,
                   sqlServerType)
    , m_database(u"database"_s, u"The database to read."_s, u"NAME"_s)
    , m_table(u"table"_s, u"The table to read, or a query starting with \"SELECT \"."_s,
              u"NAME|QUERY"_s)
    , m_user(u"user"_s, u"Log in with this login (default: your own identity)."_s, u"LOGIN"_s)
    , m_passwordFile(u"password-file"_s, u"The login's password: the first line of FILE."_s,
                     u"FILE"_s)
{
    m_parser.addOptions({m_server, m_serverType, m_user, m_passwordFile});
    // --table is the import command's own: Access files read it as well.
    if (m_withTable)
        m_parser.addOptions({m_database});
}

std::optional<ServerOptions> ServerOptionSet::read(const QString &command) const
{
    ServerOptions options;
    options.server = m_parser.value(m_server).trimmed();
    if (options.server.isEmpty()) {
        err() << command << ": --server names the server to read\n";
        return std::nullopt;
    }
    const QString type = m_parser.value(m_serverType);
    if (type.compare(sqlServerType, Qt::CaseInsensitive) == 0) {
        options.serverType = sqlServerType;
    } else if (type.compare(postgresType, Qt::CaseInsensitive) == 0) {
        options.serverType = postgresType;
    } else {
        err() << command << ": --server-type is SQLServer or PostgreSQL, not '" << type << "'\n";
        return std::nullopt;
    }
    if (m_withTable) {
        options.database = m_parser.value(m_database).trimmed();
        options.table = m_parser.value(m_table);
        if (options.database.isEmpty() || options.table.trimmed().isEmpty()) {
            err() << command << ": --server needs --database and --table\n";
            return std::nullopt;
        }
    }
    options.user = m_parser.value(m_user).trimmed();
    const QString passwordFile = m_parser.value(m_passwordFile);
    if (options.user.isEmpty() != passwordFile.isEmpty()) {
        err() << command << ": --user and --password-file go together\n";
        return std::nullopt;
    }
    if (!passwordFile.isEmpty()) {
        std::optional<QString> password = readPasswordFile(command, passwordFile);
        if (!password)
            return std::nullopt;
        options.password = *password;
    }
    return options;
}

std::optional<QString> readPasswordFile(const QString &command, const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        err() << command << ": cannot read the password file " << path << ": " << file.errorString()
              << '\n';
        return std::nullopt;
    }
    if (file.size() > MaxPasswordFileSize) {
        err() << command << ": the password file " << path << " is too large to hold a password\n";
        return std::nullopt;
    }
    QByteArray line = file.readLine();
    while (line.endsWith('\n') || line.endsWith('\r'))
        line.chop(1);
    return QString::fromUtf8(line);
}

} // namespace MGImport8::Tool
