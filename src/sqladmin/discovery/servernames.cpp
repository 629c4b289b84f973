#include "sqladmin/discovery/servernames.h"

namespace MGImport8 {

bool ServerNames::add(const QString &name)
{
    if (name.isEmpty())
        return false;
    const QString upper = name.toUpper();
    if (m_upper.contains(upper))
        return false;
    m_upper.insert(upper);
    m_names.append(name);
    return true;
}

void ServerNames::add(const QStringList &names)
{
    for (const QString &name : names)
        add(name);
}

} // namespace MGImport8
