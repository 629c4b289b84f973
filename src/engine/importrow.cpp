#include <MGImport8/importrow.h>

#include "common/collectionkey.h"
#include "engine/libraryaccess.h"

namespace MGImport8 {

struct ImportColumn::Private
{
    QString column;
    QVariant data;
};

// A row can hand out millions of columns in an import: the object and its data are made and
// freed as one block instead of two. The row owns its columns without being their QObject
// parent: parenting sends a child event to the row for every column made and removed, which cost
// a host reading every value more than making the columns themselves.
struct ImportColumn::Block final : ImportColumn
{
    Block(const QString &column, QVariant value)
        : ImportColumn(data, nullptr)
        , data{column, std::move(value)}
    {}

    Private data;
};

ImportColumn::ImportColumn(Private &data, QObject *parent)
    : QObject(parent)
    , d(&data)
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
    // A row's values live here; most hosts never ask for a column object, so one is made only
    // when asked for and from then on holds the value itself (a host may change it through the
    // object). The name never changes once added.
    struct Cell
    {
        QString name;
        QVariant data;
        ImportColumn *object = nullptr;
    };
    QList<Cell> cells;
    // Every cell's object in order, made for iteration; rebuilt after the cells change.
    QList<ImportColumn *> objects;
    bool objectsCurrent = false;

    qsizetype find(const QVariant &key) const
    {
        return findKeyed(cells.size(), key,
                         [this](qsizetype i) -> const QString & { return cells.at(i).name; });
    }
    const QVariant &dataAt(qsizetype index) const
    {
        const Cell &cell = cells.at(index);
        return cell.object ? cell.object->d->data : cell.data;
    }
};

ImportRow::ImportRow(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Private>())
{}

// The column objects made go with the row.
ImportRow::~ImportRow()
{
    for (const Private::Cell &cell : std::as_const(d->cells))
        delete cell.object;
}

ImportColumn *ImportRow::columnAt(qsizetype index) const
{
    Private::Cell &cell = d->cells[index];
    if (!cell.object) {
        cell.object = new ImportColumn::Block(cell.name, std::exchange(cell.data, QVariant()));
    }
    return cell.object;
}

ImportColumn *ImportRow::Item(const QVariant &Column) const
{
    const qsizetype i = d->find(Column);
    return i < 0 ? nullptr : columnAt(i);
}

int ImportRow::Count() const
{
    return int(d->cells.size());
}

void ImportRow::Remove(const QVariant &Column)
{
    const qsizetype i = d->find(Column);
    if (i < 0)
        return;
    delete d->cells.at(i).object;
    d->cells.removeAt(i);
    d->objectsCurrent = false;
}

ImportRow::const_iterator ImportRow::begin() const
{
    if (!d->objectsCurrent) {
        d->objects.clear();
        d->objects.reserve(d->cells.size());
        for (qsizetype i = 0; i < d->cells.size(); ++i)
            d->objects.append(columnAt(i));
        d->objectsCurrent = true;
    }
    return d->objects.cbegin();
}

ImportRow::const_iterator ImportRow::end() const
{
    // Range-for asks for begin first; a caller asking for end alone gets the same list made.
    return begin() + d->objects.size();
}

void ImportRow::Add(const QString &Column, const QVariant &Data)
{
    // A row never holds two columns of one name: adding it again overwrites the value in place.
    const qsizetype i = d->find(Column);
    if (i < 0) {
        LibraryAccess::AppendColumn(*this, Column, Data);
        return;
    }
    Private::Cell &cell = d->cells[i];
    if (cell.object)
        cell.object->setData(Data);
    else
        cell.data = Data;
}

void LibraryAccess::AddColumn(ImportRow &row, const QString &column, const QVariant &data)
{
    row.Add(column, data);
}

void LibraryAccess::AppendColumn(ImportRow &row, const QString &column, QVariant data)
{
    row.d->cells.append({column, std::move(data), nullptr});
    row.d->objectsCurrent = false;
}

void LibraryAccess::ReserveColumns(ImportRow &row, qsizetype columns)
{
    row.d->cells.reserve(columns);
}

const QString &LibraryAccess::NameAt(const ImportRow &row, qsizetype index)
{
    return row.d->cells.at(index).name;
}

const QVariant &LibraryAccess::DataAt(const ImportRow &row, qsizetype index)
{
    return row.d->dataAt(index);
}

} // namespace MGImport8
