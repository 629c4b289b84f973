#pragma once

#include "wizard/importgrid.h"

#include <QAbstractTableModel>
#include <QColor>

namespace MGImport8 {

/// The working grid as a Qt table model: a thin adapter that reads `ImportGrid` on demand and
/// holds nothing per cell, so a view over ten million lines costs what the visible cells cost.
/// Check cells answer `Qt::CheckStateRole`; colours, bold and font size come from the cell styles.
/// The grid's change notices become resets (rows or columns changed) or `dataChanged` (cells).
/// Editing goes through the wizard (the delegate), never through `setData`.
class ImportGridModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    explicit ImportGridModel(ImportGrid &grid, QObject *parent = nullptr);
    ~ImportGridModel() override;

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

    ImportGrid &grid() const { return m_grid; }

    /// The heading of the tick column.
    static QString tickHeading();

    /// A colour stored as 0x00BBGGRR.
    static QColor color(GridColor value);

private:
    void gridChanged(const ImportGrid::Change &change);
    bool holds(const QModelIndex &index) const;
    /// The grid's row count as the view can address it.
    int gridRows() const;

    ImportGrid &m_grid;
    /// The counts the view was last told of: a structural change has already happened in the grid
    /// when its notice arrives, so the model answers with these until it resets.
    int m_rows = 0;
    int m_columns = 0;
};

} // namespace MGImport8
