#pragma once

#include "wizard/sources/sourcereader.h"

#include <memory>

namespace MGImport8 {

class AccessDatabase;
class WizardView;

/// Lists and reads the tables of Access databases (a Jet connection string names the file):
/// user tables only, a table read with the 5000-record limit, a table text starting with
/// "SELECT " run as a query. Every failure is shown through the view.
class AccessSourceReader : public TableReader
{
public:
    /// A table source never yields more records than this; a query sets its own limit.
    static constexpr int TableRecordLimit = 5000;

    explicit AccessSourceReader(WizardView &view);

    bool listTables(const SourceChoice &source, QStringList &tables) override;
    bool readTable(const SourceChoice &source, const QString &table, ImportGrid &grid) override;

    /// The statement the table text stands for (trimmed): a query as it is, otherwise the limited
    /// read of the table ("Select TOP 5000 * From [table]", a "]" in the name doubled). Tables
    /// themselves are read by name, never through this text.
    static QString statementFor(const QString &table);
    /// Whether the table text is a query: "SELECT " (any case) after trimming.
    static bool isQuery(const QString &table);

private:
    WizardView &m_view;
};

} // namespace MGImport8
