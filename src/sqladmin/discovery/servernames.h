#pragma once

#include <QSet>
#include <QStringList>

namespace MGImport8 {

/// A list of server names that holds each name once, in the order first found; two names are
/// the same when their upper-case forms are equal.
class ServerNames
{
public:
    /// Adds `name` unless the list holds it already (or it is empty); true when it was added.
    bool add(const QString &name);
    void add(const QStringList &names);
    const QStringList &names() const { return m_names; }

private:
    QStringList m_names;
    QSet<QString> m_upper;
};

} // namespace MGImport8
