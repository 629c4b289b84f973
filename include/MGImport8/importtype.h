#pragma once

#include <MGImport8/mgimport8_export.h>

#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>
#include <stdexcept>

namespace MGImport8 {

class CatalogueLoader;

/// Thrown by `ImportType::IncludePanel` when the method has no panel list at all (its file gave
/// no PANELS attribute): there is nothing to walk, and such a method cannot be navigated. It is
/// the one error the library lets through to its caller; the wizard catches it and refuses the
/// method.
class MGIMPORT8_EXPORT SubscriptOutOfRange : public std::out_of_range
{
public:
    SubscriptOutOfRange();
};

/// One import method from an `*.ImportMethods` file: how the method list shows it, the panels the
/// wizard visits for it, and the source settings (file, connection string, table, delimiters,
/// field map) that carry a run's choices from panel to panel.
class MGIMPORT8_EXPORT ImportType : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString Name READ Name)
    Q_PROPERTY(bool Enabled READ Enabled)
    Q_PROPERTY(QString Description READ Description)
    Q_PROPERTY(QString Icon READ Icon)
    Q_PROPERTY(QString SelectFileTitle READ SelectFileTitle)
    Q_PROPERTY(QString SelectFileDescription READ SelectFileDescription)
    Q_PROPERTY(QString Filename READ Filename WRITE setFilename)
    Q_PROPERTY(QString Method READ Method)
    Q_PROPERTY(QString Pattern READ Pattern)
    Q_PROPERTY(QString ConnectionString READ ConnectionString WRITE setConnectionString)
    Q_PROPERTY(QString Table READ Table WRITE setTable)
    Q_PROPERTY(QString Delimiter READ Delimiter WRITE setDelimiter)
    Q_PROPERTY(QString FieldMap READ FieldMap WRITE setFieldMap)

public:
    explicit ImportType(QObject *parent = nullptr);
    ~ImportType() override;

    QString Name() const;
    /// False unless the method file wrote a no-word in DISABLED.
    bool Enabled() const;
    QString Description() const;
    /// Key of the method's picture in the wizard's method list ("Text", "Excel", "Access", ...).
    QString Icon() const;
    /// Heading of the file panel. Default "Select File".
    QString SelectFileTitle() const;
    QString SelectFileDescription() const;
    /// The chosen file, or the database name on the SQL Server path.
    QString Filename() const;
    void setFilename(const QString &Filename);
    /// "IMPORTTEXT", "IMPORTACCESS" or another word the wizard treats as needing no file work.
    QString Method() const;
    /// File-type filter of the file dialog, in the form "Text Files (*.txt)|*.txt|...".
    QString Pattern() const;
    QString ConnectionString() const;
    void setConnectionString(const QString &ConnectionString);
    QString Table() const;
    void setTable(const QString &Table);

    /// Whether the method visits the panel with this key (compared without regard to case, entries
    /// as written in the file, blanks included). Throws `SubscriptOutOfRange` when the method has
    /// no panel list; `HasPanelList` tells beforehand.
    Q_INVOKABLE bool IncludePanel(const QString &PanelName) const;

    /// The delimiter characters, in the order the file or the delimiter panel gave them.
    QString Delimiter() const;
    void setDelimiter(const QString &Delimiter);
    QString FieldMap() const;
    void setFieldMap(const QString &FieldMap);

    /// Whether the method file gave a PANELS attribute (an empty one counts: it lists no panel).
    bool HasPanelList() const;
    /// The panel list as split from PANELS, empty when there is none.
    QStringList Panels() const;

private:
    friend class CatalogueLoader;

    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace MGImport8
