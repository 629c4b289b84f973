#include "wizard/importgrid.h"

#include <algorithm>
#include <unordered_map>
#include <utility>
#include <vector>

namespace MGImport8 {

namespace {

// Rows and columns carry an identity that never changes and is never reused: a source row or
// column is known by its index in the table, a row or column added later by the next free number.
// Edits are stored under identities, so they follow their cells wherever rows and columns move.
using RowId = qsizetype;
using ColumnId = int;

// A run of grid rows whose identities are consecutive. The source table is one run; inserting
// the mapping row or removing a row splits runs, which stay few.
struct RowRun
{
    RowId firstId;
    qsizetype count;
};

struct RowExtras
{
    QString tag;
    bool hidden = false;
    std::unordered_map<ColumnId, QString> texts;
    std::unordered_map<ColumnId, CellStyle> styles;
};

// Check states of one column, one byte per row identity: a column of ten million checks costs
// ten megabytes and reads without hashing.
struct CheckColumn
{
    ColumnId id;
    std::vector<quint8> states;
};

} // namespace

struct ImportGrid::Private
{
    std::shared_ptr<const TextTable> table;
    qsizetype sourceRows = 0;
    int sourceColumns = 0;

    std::vector<RowRun> runs;
    std::vector<qsizetype> runStarts; // grid row of each run's first row
    qsizetype rowCount = 0;
    RowId nextRowId = 0;
    mutable size_t lastRun = 0;

    std::vector<ColumnId> columns;
    ColumnId nextColumnId = 0;
    int fixedColumns = 0;

    std::unordered_map<RowId, RowExtras> rowExtras;
    qsizetype sourceRowsWithExtras = 0;
    std::unordered_map<ColumnId, QString> columnTags;
    std::vector<CheckColumn> checkColumns;

    QString comboList;
    qsizetype selectionFirst = -1;
    qsizetype selectionLast = -1;

    Observer observer;
    int updateDepth = 0;
    std::optional<Change> pending;

    void reset()
    {
        table.reset();
        sourceRows = 0;
        sourceColumns = 0;
        runs.clear();
        runStarts.clear();
        rowCount = 0;
        nextRowId = 0;
        lastRun = 0;
        columns.clear();
        nextColumnId = 0;
        fixedColumns = 0;
        rowExtras.clear();
        sourceRowsWithExtras = 0;
        columnTags.clear();
        checkColumns.clear();
        comboList.clear();
        selectionFirst = selectionLast = -1;
    }

    bool validRow(qsizetype row) const { return row >= 0 && row < rowCount; }
    bool validColumn(int column) const { return column >= 0 && column < int(columns.size()); }

    size_t runOf(qsizetype row) const
    {
        if (lastRun < runs.size() && row >= runStarts[lastRun]
            && row < runStarts[lastRun] + runs[lastRun].count)
            return lastRun;
        const auto it = std::upper_bound(runStarts.begin(), runStarts.end(), row);
        lastRun = size_t(it - runStarts.begin()) - 1;
        return lastRun;
    }

    RowId rowId(qsizetype row) const
    {
        const size_t run = runOf(row);
        return runs[run].firstId + (row - runStarts[run]);
    }

    void recountRuns()
    {
        std::erase_if(runs, [](const RowRun &run) { return run.count == 0; });
        runStarts.resize(runs.size());
        qsizetype start = 0;
        for (size_t i = 0; i < runs.size(); ++i) {
            runStarts[i] = start;
            start += runs[i].count;
        }
        rowCount = start;
        lastRun = 0;
    }

    const RowExtras *extras(RowId id) const
    {
        if (id < sourceRows && sourceRowsWithExtras == 0)
            return nullptr;
        const auto it = rowExtras.find(id);
        return it == rowExtras.end() ? nullptr : &it->second;
    }

    RowExtras &extrasFor(RowId id)
    {
        const auto [it, added] = rowExtras.try_emplace(id);
        if (added && id < sourceRows)
            ++sourceRowsWithExtras;
        return it->second;
    }

    void dropRowExtras(RowId id)
    {
        if (rowExtras.erase(id) && id < sourceRows)
            --sourceRowsWithExtras;
    }

    CheckColumn *checkColumn(ColumnId id)
    {
        for (CheckColumn &column : checkColumns) {
            if (column.id == id)
                return &column;
        }
        return nullptr;
    }
    const CheckColumn *checkColumn(ColumnId id) const
    {
        return const_cast<Private *>(this)->checkColumn(id);
    }

    void dropColumn(ColumnId id)
    {
        columnTags.erase(id);
        std::erase_if(checkColumns, [id](const CheckColumn &c) { return c.id == id; });
        for (auto &[rowId, extras] : rowExtras) {
            extras.texts.erase(id);
            extras.styles.erase(id);
        }
    }

    void notify(const Change &change)
    {
        if (updateDepth > 0) {
            if (!pending) {
                pending = change;
            } else if (pending->kind == Change::Structure || change.kind == Change::Structure) {
                pending = Change{};
            } else {
                pending->firstRow = std::min(pending->firstRow, change.firstRow);
                pending->lastRow = std::max(pending->lastRow, change.lastRow);
                pending->firstColumn = std::min(pending->firstColumn, change.firstColumn);
                pending->lastColumn = std::max(pending->lastColumn, change.lastColumn);
            }
            return;
        }
        if (observer)
            observer(change);
    }
    void structureChanged() { notify(Change{}); }
    void cellChanged(qsizetype row, int column)
    {
        notify(Change{Change::Cells, row, row, column, column});
    }
    void rowsChanged(qsizetype first, qsizetype last)
    {
        notify(Change{Change::Cells, first, last, 0, int(columns.size()) - 1});
    }
};

ImportGrid::ImportGrid()
    : d(std::make_unique<Private>())
{}

ImportGrid::~ImportGrid() = default;

void ImportGrid::clear()
{
    d->reset();
    d->structureChanged();
}

qsizetype ImportGrid::firstRowTooWide(const TextTable &table)
{
    if (table.maxColumns() <= MaxColumns)
        return -1;
    for (qsizetype row = 0; row < table.rowCount(); ++row) {
        if (table.cellCount(row) > MaxColumns)
            return row;
    }
    return -1;
}

void ImportGrid::setTable(std::shared_ptr<const TextTable> table)
{
    d->reset();
    if (table) {
        d->sourceRows = table->rowCount();
        d->sourceColumns = table->maxColumns();
        d->table = std::move(table);
        d->nextRowId = d->sourceRows;
        d->nextColumnId = d->sourceColumns;
        if (d->sourceRows > 0)
            d->runs.push_back(RowRun{0, d->sourceRows});
        d->recountRuns();
        d->columns.resize(size_t(d->sourceColumns));
        for (int c = 0; c < d->sourceColumns; ++c)
            d->columns[size_t(c)] = c;
    }
    d->structureChanged();
}

qsizetype ImportGrid::rowCount() const
{
    return d->rowCount;
}

int ImportGrid::columnCount() const
{
    return int(d->columns.size());
}

int ImportGrid::fixedColumns() const
{
    return d->fixedColumns;
}

void ImportGrid::setFixedColumns(int count)
{
    count = std::max(count, 0);
    if (count == d->fixedColumns)
        return;
    d->fixedColumns = count;
    d->structureChanged();
}

QString ImportGrid::text(qsizetype row, int column) const
{
    if (!d->validRow(row) || !d->validColumn(column))
        return {};
    const RowId id = d->rowId(row);
    const ColumnId columnId = d->columns[size_t(column)];
    if (const RowExtras *extras = d->extras(id)) {
        const auto it = extras->texts.find(columnId);
        if (it != extras->texts.end())
            return it->second;
    }
    if (id < d->sourceRows && columnId < d->sourceColumns)
        return d->table->text(id, columnId);
    return {};
}

QByteArrayView ImportGrid::utf8(qsizetype row, int column, QByteArray &scratch) const
{
    if (!d->validRow(row) || !d->validColumn(column))
        return {};
    const RowId id = d->rowId(row);
    const ColumnId columnId = d->columns[size_t(column)];
    if (const RowExtras *extras = d->extras(id)) {
        const auto it = extras->texts.find(columnId);
        if (it != extras->texts.end()) {
            scratch = it->second.toUtf8();
            return scratch;
        }
    }
    if (id < d->sourceRows && columnId < d->sourceColumns)
        return d->table->cell(id, columnId);
    return {};
}

void ImportGrid::setText(qsizetype row, int column, const QString &text)
{
    if (!d->validRow(row) || !d->validColumn(column))
        return;
    d->extrasFor(d->rowId(row)).texts[d->columns[size_t(column)]] = text;
    d->cellChanged(row, column);
}

CheckState ImportGrid::checkState(qsizetype row, int column) const
{
    if (!d->validRow(row) || !d->validColumn(column))
        return CheckState::None;
    const CheckColumn *checks = d->checkColumn(d->columns[size_t(column)]);
    if (!checks)
        return CheckState::None;
    const RowId id = d->rowId(row);
    return id < RowId(checks->states.size()) ? CheckState(checks->states[size_t(id)])
                                             : CheckState::None;
}

void ImportGrid::setCheckState(qsizetype row, int column, CheckState state)
{
    if (!d->validRow(row) || !d->validColumn(column))
        return;
    const ColumnId columnId = d->columns[size_t(column)];
    CheckColumn *checks = d->checkColumn(columnId);
    if (!checks) {
        if (state == CheckState::None)
            return;
        checks = &d->checkColumns.emplace_back(CheckColumn{columnId, {}});
    }
    const RowId id = d->rowId(row);
    if (id >= RowId(checks->states.size()))
        checks->states.resize(size_t(d->nextRowId), quint8(CheckState::None));
    checks->states[size_t(id)] = quint8(state);
    d->cellChanged(row, column);
}

CellStyle ImportGrid::style(qsizetype row, int column) const
{
    if (!d->validRow(row) || !d->validColumn(column))
        return {};
    if (const RowExtras *extras = d->extras(d->rowId(row))) {
        const auto it = extras->styles.find(d->columns[size_t(column)]);
        if (it != extras->styles.end())
            return it->second;
    }
    return {};
}

void ImportGrid::setStyle(qsizetype row, int column, const CellStyle &style)
{
    if (!d->validRow(row) || !d->validColumn(column))
        return;
    d->extrasFor(d->rowId(row)).styles[d->columns[size_t(column)]] = style;
    d->cellChanged(row, column);
}

QString ImportGrid::rowTag(qsizetype row) const
{
    if (!d->validRow(row))
        return {};
    const RowExtras *extras = d->extras(d->rowId(row));
    return extras ? extras->tag : QString();
}

void ImportGrid::setRowTag(qsizetype row, const QString &tag)
{
    if (!d->validRow(row))
        return;
    d->extrasFor(d->rowId(row)).tag = tag;
    d->rowsChanged(row, row);
}

bool ImportGrid::rowHidden(qsizetype row) const
{
    if (!d->validRow(row))
        return false;
    const RowExtras *extras = d->extras(d->rowId(row));
    return extras && extras->hidden;
}

void ImportGrid::setRowHidden(qsizetype row, bool hidden)
{
    if (!d->validRow(row) || rowHidden(row) == hidden)
        return;
    d->extrasFor(d->rowId(row)).hidden = hidden;
    d->rowsChanged(row, row);
}

QString ImportGrid::columnTag(int column) const
{
    if (!d->validColumn(column))
        return {};
    const auto it = d->columnTags.find(d->columns[size_t(column)]);
    return it == d->columnTags.end() ? QString() : it->second;
}

void ImportGrid::setColumnTag(int column, const QString &tag)
{
    if (!d->validColumn(column))
        return;
    d->columnTags[d->columns[size_t(column)]] = tag;
    d->notify(Change{Change::Cells, 0, d->rowCount - 1, column, column});
}

void ImportGrid::addRow()
{
    insertRow(d->rowCount);
}

void ImportGrid::insertRow(qsizetype row)
{
    if (row < 0 || row > d->rowCount)
        return;
    const RowId id = d->nextRowId++;
    if (row == d->rowCount) {
        // Rows added at the bottom one after another extend one run.
        if (!d->runs.empty() && d->runs.back().firstId + d->runs.back().count == id)
            ++d->runs.back().count;
        else
            d->runs.push_back(RowRun{id, 1});
        d->recountRuns();
    } else {
        const size_t run = d->runOf(row);
        const qsizetype before = row - d->runStarts[run];
        const RowRun old = d->runs[run];
        const RowRun parts[] = {{old.firstId, before},
                                {id, 1},
                                {old.firstId + before, old.count - before}};
        d->runs.erase(d->runs.begin() + qsizetype(run));
        d->runs.insert(d->runs.begin() + qsizetype(run), std::begin(parts), std::end(parts));
        d->recountRuns();
    }
    if (d->selectionFirst >= row) {
        ++d->selectionFirst;
        ++d->selectionLast;
    } else if (d->selectionLast >= row) {
        ++d->selectionLast;
    }
    d->structureChanged();
}

void ImportGrid::removeRow(qsizetype row)
{
    if (!d->validRow(row))
        return;
    const size_t run = d->runOf(row);
    const qsizetype before = row - d->runStarts[run];
    const RowRun old = d->runs[run];
    d->dropRowExtras(old.firstId + before);
    for (CheckColumn &checks : d->checkColumns) {
        if (size_t(old.firstId + before) < checks.states.size())
            checks.states[size_t(old.firstId + before)] = quint8(CheckState::None);
    }
    const RowRun parts[] = {{old.firstId, before},
                            {old.firstId + before + 1, old.count - before - 1}};
    d->runs.erase(d->runs.begin() + qsizetype(run));
    d->runs.insert(d->runs.begin() + qsizetype(run), std::begin(parts), std::end(parts));
    d->recountRuns();
    if (d->selectionFirst > row)
        --d->selectionFirst;
    if (d->selectionLast >= row)
        --d->selectionLast;
    if (d->selectionLast < d->selectionFirst)
        d->selectionFirst = d->selectionLast = -1;
    d->structureChanged();
}

void ImportGrid::addColumn()
{
    d->columns.push_back(d->nextColumnId++);
    d->structureChanged();
}

void ImportGrid::moveColumn(int from, int to)
{
    if (!d->validColumn(from) || !d->validColumn(to) || from == to)
        return;
    const auto first = d->columns.begin();
    if (from < to)
        std::rotate(first + from, first + from + 1, first + to + 1);
    else
        std::rotate(first + to, first + from, first + from + 1);
    d->structureChanged();
}

void ImportGrid::setColumnCount(int count)
{
    count = std::max(count, 0);
    const int current = int(d->columns.size());
    if (count == current)
        return;
    for (int c = count; c < current; ++c)
        d->dropColumn(d->columns[size_t(c)]);
    d->columns.resize(size_t(count));
    for (int c = current; c < count; ++c)
        d->columns[size_t(c)] = d->nextColumnId++;
    d->structureChanged();
}

QString ImportGrid::comboList() const
{
    return d->comboList;
}

void ImportGrid::setComboList(const QString &list)
{
    d->comboList = list;
}

qsizetype ImportGrid::selectionFirstRow() const
{
    return d->selectionFirst;
}

qsizetype ImportGrid::selectionLastRow() const
{
    return d->selectionLast;
}

void ImportGrid::setSelection(qsizetype firstRow, qsizetype lastRow)
{
    if (firstRow > lastRow)
        std::swap(firstRow, lastRow);
    if (firstRow < 0 || lastRow >= d->rowCount)
        firstRow = lastRow = -1;
    d->selectionFirst = firstRow;
    d->selectionLast = lastRow;
}

void ImportGrid::setObserver(Observer observer)
{
    d->observer = std::move(observer);
}

void ImportGrid::beginUpdate()
{
    ++d->updateDepth;
}

void ImportGrid::endUpdate()
{
    if (d->updateDepth == 0 || --d->updateDepth > 0)
        return;
    if (std::optional<Change> change = std::exchange(d->pending, std::nullopt))
        d->notify(*change);
}

qsizetype ImportGrid::memoryUsage() const
{
    qsizetype bytes = d->table ? d->table->memoryUsage() : 0;
    bytes += qsizetype(d->runs.capacity() * sizeof(RowRun)
                       + d->runStarts.capacity() * sizeof(qsizetype)
                       + d->columns.capacity() * sizeof(ColumnId));
    for (const CheckColumn &checks : d->checkColumns)
        bytes += qsizetype(checks.states.capacity());
    for (const auto &[id, extras] : d->rowExtras) {
        bytes += qsizetype(sizeof(RowExtras)) + extras.tag.capacity() * 2;
        for (const auto &[column, text] : extras.texts)
            bytes += qsizetype(sizeof(QString)) + text.capacity() * 2;
        bytes += qsizetype(extras.styles.size() * sizeof(CellStyle));
    }
    return bytes;
}

} // namespace MGImport8
