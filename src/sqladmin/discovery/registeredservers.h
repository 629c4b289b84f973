#pragma once

#include "common/result.h"

#include <QList>
#include <QString>
#include <QStringList>

namespace MGImport8 {

/// The servers a user has registered, in named groups, kept in the XML file
/// $XDG_CONFIG_HOME/MGImport8/RegisteredServers.xml:
///
///     <RegisteredServers>
///       <ServerGroup Name="Production">
///         <Server Name="DB01"/>
///         <Server Name="DB02\SALES"/>
///       </ServerGroup>
///     </RegisteredServers>
///
/// Element and attribute names are matched without regard to case; other elements are passed
/// over. Blank names are left out.
class RegisteredServers
{
public:
    struct Group
    {
        QString name;
        QStringList servers;
    };

    /// Files larger than this are not a list of servers.
    static constexpr qint64 MaxFileSize = 4 * 1024 * 1024;

    /// The user's file: a missing file holds no groups; an unreadable or malformed one gives the
    /// reason.
    static Result<QList<Group>> load();
    static Result<QList<Group>> load(const QString &path);
    static Result<QList<Group>> parse(const QByteArray &xml, const QString &pathForMessages);
    /// Where the user's file lives; empty when the user has no configuration folder.
    static QString userFile();
};

} // namespace MGImport8
