#pragma once

#include <QList>
#include <QString>

#include <optional>
#include <utility>

namespace MGImport8 {

/// An OLE DB connection string as the system writes them ("Provider=SQLOLEDB.1;User ID='u';...;
/// Data Source=SRV"), read back into its entries so that the drivers here can be given what it
/// asks for. Keys compare without regard to case; values keep their case and inner blanks.
class ConnectionString
{
public:
    using Entry = std::pair<QString, QString>;

    /// Reads "key=value" entries separated by semicolons. A value may stand in single or double
    /// quotes. The system writes passwords between single quotes without escaping them, so a
    /// single-quoted value ends only at a quote followed by a semicolon or the end, a quote inside
    /// it stays part of it, and its quotes are never un-doubled. A double-quoted value is read the
    /// way OLE DB writes one (`quotedValue`): a doubled quote stands for one quote and the first
    /// single quote ends it. Entries without '=' are ignored; a key named twice keeps its last
    /// value.
    static ConnectionString parse(const QString &text);

    /// The value of `key`, or nothing when the string does not name it.
    std::optional<QString> value(const QString &key) const;
    /// The value of `key`, empty when missing.
    QString text(const QString &key) const { return value(key).value_or(QString()); }
    const QList<Entry> &entries() const { return m_entries; }

    /// The provider named by "Provider", without regard to case.
    bool isProvider(const QString &provider) const;

private:
    QList<Entry> m_entries;
};

/// `value` as a connection string entry's value that `ConnectionString::parse` (and OLE DB) reads
/// back unchanged: as it stands when it can, else between double quotes with each double quote
/// doubled. A name holding a semicolon, starting with a quote or a brace, or with blanks at
/// either end needs the quotes; any other stays as the system has always written it.
QString quotedValue(const QString &value);

/// The connection string the wizard gives an Access database file: the Jet provider and the path.
QString jetConnectionString(const QString &file);

/// Whether a connection string starts by naming the Jet provider ("Provider=Microsoft.Jet.OLEDB.4.0;",
/// without regard to case), which sends its tables to the Access reader.
bool startsWithJetProvider(const QString &connectionString);

/// The Access database file of a Jet connection string: everything after
/// "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" when the string is exactly that prefix and a
/// path (a path may hold semicolons and quotes), otherwise the "Data Source" of a string naming
/// the Jet provider; nothing for any other provider.
std::optional<QString> jetDataSource(const QString &connectionString);

} // namespace MGImport8
