// Connection strings and server names from settings files and hosts, through the translator that
// turns them into driver settings, the scrubber and the name guard. Checks, beyond not crashing:
// a scrubbed text never holds the password, and a name the guard accepts cannot end its brackets.
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

    const QString &name = login.database;
    if (checkNameAsItStands(name, NamePlace::BracketedIdentifier) && name.contains(u']'))
        std::abort();
    if (checkNameAsItStands(name, NamePlace::ConnectionValue) && name.contains(u';'))
        std::abort();
    return 0;
}
