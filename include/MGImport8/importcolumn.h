#pragma once

#include <MGImport8/mgimport8_export.h>

#include <QObject>

#include <QString>
#include <QVariant>

namespace MGImport8 {

class LibraryAccess;

/// One mapped value of an imported row: the target column's name and the value read from the
/// source (the wizard stores the cell's text). Only the library creates columns; a host reads
/// them and may change `Data`.
class MGIMPORT8_EXPORT ImportColumn : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString Column READ Column)
    Q_PROPERTY(QVariant Data READ Data WRITE setData)

public:
    ~ImportColumn() override;

    /// The target column's name, one of the engine's `Columns`.
    QString Column() const;
    /// The value for this column.
    QVariant Data() const;
    void setData(const QVariant &Data);

private:
    friend class LibraryAccess;
    friend class ImportRow;
    struct Private;
    struct Block;
    ImportColumn(Private &data, QObject *parent);
    void setColumn(const QString &Column);

    Private *d; // in the same allocation as the object: every column is made as a Block
};

} // namespace MGImport8
