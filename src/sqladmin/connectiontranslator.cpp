#include "sqladmin/connectiontranslator.h"

using namespace Qt::StringLiterals;

namespace MGImport8::SqlAdmin {

namespace {

constexpr int maxPort = 65535;
// The protocol version of SQL Server 2012 and later, which older servers negotiate down from.
const QString tdsVersion = u"7.4"_s;

// A port written after the last `separator`, or 0 when there is none or it is not a number.
int splitPort(QString &text, QChar separator)
{
    const qsizetype at = text.lastIndexOf(separator);
    if (at < 0)
        return 0;
    bool ok = false;
    const int port = text.sliced(at + 1).trimmed().toInt(&ok);
    if (!ok || port <= 0 || port > maxPort)
        return 0;
    text.truncate(at);
    return port;
}

QString braced(const QString &value)
{
    QString escaped = value;
    escaped.replace(u"}"_s, u"}}"_s);
    return u'{' + escaped + u'}';
}

} // namespace

ServerAddress parseServerName(ServerKind kind, const QString &name)
{
    ServerAddress address;
    QString text = name.trimmed();
    if (kind == ServerKind::SqlServer) {
        address.port = splitPort(text, u',');
        const qsizetype slash = text.indexOf(u'\\');
        if (slash >= 0) {
            address.instance = text.sliced(slash + 1);
            text.truncate(slash);
        }
        if (text.isEmpty() || text == u"."_s || text.compare(u"(local)"_s, Qt::CaseInsensitive) == 0)
            text = u"localhost"_s;
        address.host = text;
        return address;
    }
    if (text.startsWith(u'[')) {
        const qsizetype close = text.indexOf(u']');
        if (close > 0) {
            QString rest = text.sliced(close + 1);
            address.host = text.sliced(1, close - 1);
            if (rest.startsWith(u':'))
                address.port = splitPort(rest, u':');
            return address;
        }
    }
    // A bare IPv6 address has several colons and no port.
    if (text.count(u':') == 1 || text.startsWith(u'/'))
        address.port = splitPort(text, u':');
    address.socketFolder = text.startsWith(u'/');
    address.host = text.isEmpty() ? u"localhost"_s : text;
    return address;
}

LoginSettings loginFromConnectionString(const ConnectionString &connectionString)
{
    LoginSettings login;
    login.server = connectionString.text(u"Data Source"_s);
    login.database = connectionString.text(u"Initial Catalog"_s);
    login.login = connectionString.text(u"User ID"_s);
    login.password = connectionString.text(u"Password"_s);
    const QString integrated = connectionString.text(u"Integrated Security"_s);
    const QString trusted = connectionString.text(u"Trusted_Connection"_s);
    login.integrated = integrated.compare(u"SSPI"_s, Qt::CaseInsensitive) == 0
                       || integrated.compare(u"true"_s, Qt::CaseInsensitive) == 0
                       || trusted.compare(u"yes"_s, Qt::CaseInsensitive) == 0;
    return login;
}

QString freeTdsDriverName()
{
    const QString configured = qEnvironmentVariable("MGIMPORT8_FREETDS_DRIVER");
    return configured.isEmpty() ? u"FreeTDS"_s : configured;
}

QString freeTdsConnectionString(const LoginSettings &login)
{
    const ServerAddress address = parseServerName(ServerKind::SqlServer, login.server);
    QString server = address.host;
    if (!address.instance.isEmpty())
        server += u'\\' + address.instance;
    QString text = u"DRIVER="_s + braced(freeTdsDriverName()) + u";SERVER="_s + braced(server);
    if (address.port > 0)
        text += u";PORT="_s + QString::number(address.port);
    if (!login.database.isEmpty())
        text += u";DATABASE="_s + braced(login.database);
    if (login.integrated)
        text += u";Trusted_Connection=Yes"_s;
    else
        text += u";UID="_s + braced(login.login) + u";PWD="_s + braced(login.password);
    // A fixed protocol version: left to negotiate, the driver does not keep to the login timeout.
    text += u";TDS_Version="_s + tdsVersion + u";ClientCharset=UTF-8"_s;
    // The driver's query timeout: a statement still running after it is cancelled.
    if (login.commandTimeout > 0)
        text += u";Timeout="_s + QString::number(login.commandTimeout);
    return text;
}

QString qtDriverName(ServerKind kind)
{
    return kind == ServerKind::SqlServer ? u"QODBC"_s : u"QPSQL"_s;
}

QString postgresConnectOptions(const LoginSettings &login)
{
    QStringList options;
    if (login.loginTimeout > 0)
        options << u"connect_timeout="_s + QString::number(login.loginTimeout);
    if (login.commandTimeout > 0)
        options << u"options='-c statement_timeout="_s
                       + QString::number(login.commandTimeout * 1000) + u"'"_s;
    options << u"application_name=MGImport8"_s;
    return options.join(u';');
}

} // namespace MGImport8::SqlAdmin
