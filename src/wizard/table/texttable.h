#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <cstdint>
#include <memory>
#include <vector>

namespace MGImport8 {

/// Immutable rows of text cells, stored compactly: one UTF-8 buffer and an offset per cell, no
/// object per cell. Readers build one and hand it to `ImportGrid::setTable`.
class TextTable
{
public:
    /// Builds a table cell by cell (workbook and database readers).
    class Builder
    {
    public:
        Builder();
        ~Builder();
        /// Starts a new row; cells added next go into it.
        void addRow();
        /// Adds a cell to the current row (starting the first row when there is none). Cells past
        /// 4 GiB of text in all stay empty.
        void addCell(QByteArrayView utf8);
        void addCell(const QByteArray &utf8) { addCell(QByteArrayView(utf8)); }
        void addCell(const QString &text);
        /// The table built so far; the builder starts again empty.
        std::shared_ptr<const TextTable> finish();

    private:
        void closeRow();
        void appendField(QByteArrayView utf8);
        std::unique_ptr<TextTable> m_table;
        bool m_rowOpen = false;
    };

    qsizetype rowCount() const;
    int cellCount(qsizetype row) const;
    int maxColumns() const;
    /// The cell's text as stored (UTF-8); empty beyond the row's last cell.
    QByteArrayView cell(qsizetype row, int column) const;
    /// The cell's text; a U+FEFF at its start is kept as text.
    QString text(qsizetype row, int column) const;
    qsizetype memoryUsage() const;

private:
    friend class TextSplitter; // builds tables straight from a file's buffer
    TextTable();
    struct Private;
    std::unique_ptr<Private> d;

public:
    ~TextTable();
};

} // namespace MGImport8
