#pragma once

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QString>

#include <optional>

namespace MGImport8::Tool {

/// The options that name a database server and the login to it, shared by the commands that
/// read servers: --server, --server-type, --user, --password-file, and for imports --database
/// and --table.
struct ServerOptions
{
    QString server;
    /// "SQLServer" or "PostgreSQL".
    QString serverType;
    QString database;
    QString table;
    /// Empty for integrated security (the user's own identity).
    QString user;
    QString password;

    /// The import method that reads this kind of server.
    QString importMethod() const;
};

class ServerOptionSet
{
public:
    /// `withTable` adds --database and --table.
    ServerOptionSet(QCommandLineParser &parser, bool withTable);

    bool serverGiven() const { return m_parser.isSet(m_server); }
    /// The options as given; nothing after printing what is wrong with them, prefixed with
    /// `command` ("mgimport8 import"). The password is read from its file, never from the
    /// command line, where other users could see it.
    std::optional<ServerOptions> read(const QString &command) const;

private:
    QCommandLineParser &m_parser;
    bool m_withTable;
    QCommandLineOption m_server;
    QCommandLineOption m_serverType;
    QCommandLineOption m_database;
    QCommandLineOption m_table;
    QCommandLineOption m_user;
    QCommandLineOption m_passwordFile;
};

/// The first line of the password file at `path`, without its line end; nothing after printing
/// why it cannot be read, prefixed with `command`.
std::optional<QString> readPasswordFile(const QString &command, const QString &path);

} // namespace MGImport8::Tool
