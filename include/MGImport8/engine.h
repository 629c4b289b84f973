#pragma once

#include <MGImport8/importoptions.h>
#include <MGImport8/importrow.h>
#include <MGImport8/mgimport8_export.h>

#include <QObject>
#include <QString>

#include <memory>

namespace MGImport8 {

class LibraryAccess;

/// The object a host creates to import Nodes. The host says which target columns exist
/// (`Columns`), which must be mapped (`RequiredColumns`) and which carries the IP address
/// (`IPColumn`), fills `ImportOptions`, connects `NewRow` and calls `StartWizard`.
///
/// Everything runs on the host's thread: `NewRow` and `ImportComplete` are emitted synchronously
/// from inside `StartWizard`, so connect them directly (the default for objects of one thread).
class MGIMPORT8_EXPORT Engine : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString Title READ Title WRITE setTitle)
    Q_PROPERTY(QString Description READ Description WRITE setDescription)
    Q_PROPERTY(int ForeColorSel READ ForeColorSel WRITE setForeColorSel)
    Q_PROPERTY(int BackColorSel READ BackColorSel WRITE setBackColorSel)
    Q_PROPERTY(QString RequiredColumns READ RequiredColumns WRITE setRequiredColumns)
    Q_PROPERTY(QString Columns READ Columns WRITE setColumns)
    Q_PROPERTY(QString IPColumn READ IPColumn WRITE setIPColumn)
    Q_PROPERTY(MGImport8::ImportOptions *ImportOptions READ ImportOptions CONSTANT)

public:
    explicit Engine(QObject *parent = nullptr);
    ~Engine() override;

    /// Text of the wizard's title label. Default "Import Wizard".
    QString Title() const;
    void setTitle(const QString &Title);
    /// Text of the introduction on the wizard's first panel.
    QString Description() const;
    void setDescription(const QString &Description);
    /// Text colour of selected grid cells, as 0x00BBGGRR. Default 0xFF0000 (blue).
    int ForeColorSel() const;
    void setForeColorSel(int ForeColorSel);
    /// Background colour of selected grid cells, as 0x00BBGGRR. Default 0xFFC8C8 (light blue).
    int BackColorSel() const;
    void setBackColorSel(int BackColorSel);
    /// Comma-separated names of the columns that must be mapped before an import may run.
    QString RequiredColumns() const;
    void setRequiredColumns(const QString &RequiredColumns);
    /// Comma-separated names of every target column the mapping panel offers.
    QString Columns() const;
    void setColumns(const QString &Columns);
    /// Name of the target column that carries the node's IP address.
    QString IPColumn() const;
    void setIPColumn(const QString &IPColumn);
    /// The options the wizard offers. The engine owns the collection; every call returns the same
    /// one, which lives as long as the engine.
    MGImport8::ImportOptions *ImportOptions() const;

    /// Shows the Import Wizard modally over `Parent` (a widget, or nullptr) and returns when it
    /// closes. The result is inverted on purpose and hosts rely on it: true when the user closed
    /// or cancelled the wizard without completing an import, false once an import ran to its end.
    Q_INVOKABLE bool StartWizard(QObject *Parent = nullptr);
    /// Reserved. Does nothing and returns false.
    Q_INVOKABLE bool Import(const QString &Filename);
    /// Called from a `NewRow` handler when the host cannot take rows at all (its store is locked,
    /// full, read-only or gone), as opposed to refusing one row with `Skip`. The import stops after
    /// the handler returns: the row is counted neither imported nor skipped, `Reason` is shown
    /// once as a critical message, no `ImportComplete` follows and `StartWizard` returns true.
    /// Outside a handler it does nothing.
    Q_INVOKABLE void StopImport(const QString &Reason);

Q_SIGNALS:
    /// One row about to be imported. The host may change the row, write `Status` (shown in the
    /// wizard) and set `Skip` to refuse the row; the wizard reads both back when the handler
    /// returns. Only the library emits it.
    void NewRow(MGImport8::ImportRow *ImportRow, QString &Status, bool &Skip, QPrivateSignal);
    /// The import ran to its end. Only the library emits it.
    void ImportComplete(QPrivateSignal);

private:
    friend class LibraryAccess;
    QString ColumnChoices() const;
    void FireNewRow(MGImport8::ImportRow *ImportRow, QString &Status, bool &Skip);
    void FireImportComplete();

    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace MGImport8
