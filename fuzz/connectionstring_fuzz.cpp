// Connection strings and server names from settings files and hosts, through the translator that
// turns them into driver settings, the scrubber and the name quoting. Checks, beyond not crashing:
// a scrubbed text never holds the password, a quoted name cannot end its brackets or quotes early,
// and a name quoted for a connection string reads back whole.
#include "common/connectionstring.h"
#include "sqladmin/connectiontranslator.h"
#include "sqladmin/nameguard.h"
#include "sqladmin/secrets.h"

#include <QString>

#include <cstdlib>

using namespace MGImport8;
using namespace MGImport8::SqlAdmin;
using namespace Qt::StringLiterals;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
    const LoginSettings login = loginFromConnectionString(ConnectionString::parse(text));
    (void)freeTdsConnectionString(login);
    (void)postgresConnectOptions(login);
    (void)parseServerName(ServerKind::SqlServer, text);
    (void)parseServerName(ServerKind::PostgreSql, login.server);

    // The mask is made of asterisks, so a password of them may reappear through it.
    if (!login.password.isEmpty() && !login.password.contains(u'*')
        && scrubSecrets(text, {login.password}).contains(login.password))
        std::abort();

    // Inside the quotes every closing character is doubled, so none of them ends the name early.
    const auto closesEarly = [](const QString &quoted, QChar close) {
        for (qsizetype at = 1; at + 1 < quoted.size(); ++at) {
            if (quoted.at(at) != close)
                continue;
            if (at + 2 >= quoted.size() || quoted.at(at + 1) != close)
                return true;
            ++at;
        }
        return false;
    };
    if (closesEarly(bracketedIdentifier(text), u']') || closesEarly(quotedIdentifier(text), u'"'))
        std::abort();

    const ConnectionString written = ConnectionString::parse(
        u"Initial Catalog="_s + quotedValue(text) + u";Data Source=srv"_s);
    if (written.text(u"Initial Catalog"_s) != text || written.text(u"Data Source"_s) != u"srv"_s)
        std::abort();
    return 0;
}
