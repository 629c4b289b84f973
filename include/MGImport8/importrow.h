#pragma once

#include <MGImport8/importcolumn.h>
#include <MGImport8/mgimport8_export.h>

#include <QList>
#include <QObject>
#include <QVariant>

#include <memory>

namespace MGImport8 {

class LibraryAccess;

/// One imported row as the host receives it in `Engine::NewRow`: an ordered collection of
/// `ImportColumn`s keyed by column name (keys compare without regard to case). The row owns its
/// columns and destroys them with itself, though they are not its QObject children (`parent()` is
/// null); a column taken out with `Remove` is destroyed. A column object is made the first time
/// a host asks for it (`Item` or iteration) and lives as long as the row.
class MGIMPORT8_EXPORT ImportRow : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int Count READ Count)

public:
    using const_iterator = QList<ImportColumn *>::const_iterator;

    explicit ImportRow(QObject *parent = nullptr);
    ~ImportRow() override;

    /// The column at a 1-based position (a number) or with a name (text, any case); `nullptr`
    /// when there is none. Never an error.
    Q_INVOKABLE MGImport8::ImportColumn *Item(const QVariant &Column) const;
    /// The number of columns.
    int Count() const;
    /// Removes and destroys the column at a position or with a name; does nothing when missing.
    Q_INVOKABLE void Remove(const QVariant &Column);

    /// Range-for over the columns in the order in which they were first added.
    const_iterator begin() const;
    const_iterator end() const;

private:
    friend class LibraryAccess;
    void Add(const QString &Column, const QVariant &Data);
    ImportColumn *columnAt(qsizetype index) const;

    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace MGImport8
