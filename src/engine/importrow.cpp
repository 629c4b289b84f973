#include <MGImport8/importrow.h>

#include "common/collectionkey.h"
#include "engine/libraryaccess.h"

namespace MGImport8 {

struct ImportColumn::Private
{
    QString column;
    QVariant data;
};

ImportColumn::ImportColumn(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Private>())
{}

ImportColumn::~ImportColumn() = default;

QString ImportColumn::Column() const
{
    return d->column;
}
void ImportColumn::setColumn(const QString &Column)
{
    d->column = Column;
}
QVariant ImportColumn::Data() const
{
    return d->data;
}
void ImportColumn::setData(const QVariant &Data)
{
    d->data = Data;
}

struct ImportRow::Private
{
    QList<ImportColumn *> columns;

    qsizetype find(const QVariant &key) const
    {
        return findInCollection(columns, key, [](const ImportColumn &c) { return c.Column(); });
    }
};

ImportRow::ImportRow(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Private>())
{}

ImportRow::~ImportRow() = default;

ImportColumn *ImportRow::Item(const QVariant &Column) const
{
    const qsizetype i = d->find(Column);
    return i < 0 ? nullptr : d->columns.at(i);
}

int ImportRow::Count() const
{
    return int(d->columns.size());
}

void ImportRow::Remove(const QVariant &Column)
{
    const qsizetype i = d->find(Column);
    if (i >= 0)
        delete d->columns.takeAt(i);
}

ImportRow::const_iterator ImportRow::begin() const
{
    return d->columns.cbegin();
}

ImportRow::const_iterator ImportRow::end() const
{
    return d->columns.cend();
}

ImportColumn *ImportRow::Add(const QString &Column, const QVariant &Data)
{
    // A row never holds two columns of one name: adding it again overwrites the value in place.
    ImportColumn *column = Item(Column);
    if (!column) {
        column = new ImportColumn(this);
        column->setColumn(Column);
        d->columns.append(column);
    }
    column->setData(Data);
    return column;
}

ImportColumn *LibraryAccess::AddColumn(ImportRow &row, const QString &column, const QVariant &data)
{
    return row.Add(column, data);
}

ImportColumn *LibraryAccess::AppendColumn(ImportRow &row, const QString &column, QVariant data)
{
    auto *created = new ImportColumn(&row);
    created->d->column = column;
    created->d->data = std::move(data);
    row.d->columns.append(created);
    return created;
}

const QString &LibraryAccess::NameOf(const ImportColumn &column)
{
    return column.d->column;
}

const QVariant &LibraryAccess::DataOf(const ImportColumn &column)
{
    return column.d->data;
}

} // namespace MGImport8
