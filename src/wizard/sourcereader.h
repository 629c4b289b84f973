#pragma once

#include <MGImport8/mgimport8_export.h>

#include <QString>
#include <QStringList>

#include <optional>

namespace MGImport8 {

class ImportGrid;
class ImportType;
class WizardView;

/// The sources the wizard reads through other readers than the text file: Access and SQL Server
/// tables and workbook sheets. Each operation shows its own messages through the view and answers
/// false (or nothing) after a failure, so the wizard stays on its panel.
class MGIMPORT8_EXPORT SourceReader
{
public:
    virtual ~SourceReader() = default;

    /// The SQL Server connection string for the database panel's choices, empty when no database
    /// is chosen; nothing after a failure it has reported.
    virtual std::optional<QString> serverConnectionString(const QString &databaseName) = 0;
    /// Lists the user tables of the method's database (its `ConnectionString`).
    virtual bool listTables(const ImportType &method, QStringList &tables) = 0;
    /// Reads a table or a "SELECT " query of the method's database into the grid, field names in
    /// a first row tagged "FieldHeader".
    virtual bool readTable(const ImportType &method, const QString &table, ImportGrid &grid) = 0;
    /// Loads the worksheet at `sheet` (from 0) of the method's workbook (its `Filename`).
    virtual bool loadWorksheet(const ImportType &method, int sheet, ImportGrid &grid) = 0;
};

/// The stand-in until those readers exist: every operation says that the source cannot be read
/// yet, with the critical icon, and fails.
class MGIMPORT8_EXPORT UnavailableSourceReader : public SourceReader
{
public:
    explicit UnavailableSourceReader(WizardView &view)
        : m_view(view)
    {}

    std::optional<QString> serverConnectionString(const QString &databaseName) override;
    bool listTables(const ImportType &method, QStringList &tables) override;
    bool readTable(const ImportType &method, const QString &table, ImportGrid &grid) override;
    bool loadWorksheet(const ImportType &method, int sheet, ImportGrid &grid) override;

private:
    void report(const QString &source);
    WizardView &m_view;
};

} // namespace MGImport8
