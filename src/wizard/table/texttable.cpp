#include "wizard/table/texttable.h"

#include "wizard/table/texttable_p.h"

#include <QStringDecoder>

namespace MGImport8 {

TextTable::TextTable()
    : d(std::make_unique<Private>())
{
    d->rowFirst.append(0);
}

TextTable::~TextTable() = default;

qsizetype TextTable::rowCount() const
{
    return d->rowFirst.size() - 1;
}

int TextTable::cellCount(qsizetype row) const
{
    if (row < 0 || row >= rowCount())
        return 0;
    return d->cellCount(row);
}

int TextTable::maxColumns() const
{
    return d->maxColumns;
}

QByteArrayView TextTable::cell(qsizetype row, int column) const
{
    if (row < 0 || row >= rowCount())
        return {};
    return d->cell(row, column);
}

QString TextTable::text(qsizetype row, int column) const
{
    const QByteArrayView utf8 = cell(row, column);
    // QString::fromUtf8() drops a byte-order mark at the start; in a cell it is text.
    if (utf8.startsWith("\xEF\xBB\xBF")) {
        QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom);
        return decoder(utf8);
    }
    return QString::fromUtf8(utf8);
}

qsizetype TextTable::memoryUsage() const
{
    return d->text.capacity()
           + (d->starts.capacity() + d->rowFirst.capacity()) * qsizetype(sizeof(std::uint32_t))
           + d->shortRows.capacity() * qsizetype(sizeof(std::uint64_t));
}

TextTable::Builder::Builder()
    : m_table(new TextTable)
{}

TextTable::Builder::~Builder() = default;

void TextTable::Builder::addRow()
{
    closeRow();
    m_rowOpen = true;
}

void TextTable::Builder::closeRow()
{
    if (!m_rowOpen)
        return;
    Private &t = *m_table->d;
    // A row without cells still has its one raw field, empty, which does not count.
    if (t.starts.size() == qsizetype(t.rowFirst.last())) {
        appendField({});
        t.markShort(t.rowFirst.size() - 1);
    }
    t.rowFirst.append(std::uint32_t(t.starts.size()));
    m_rowOpen = false;
}

void TextTable::Builder::appendField(QByteArrayView utf8)
{
    Private &t = *m_table->d;
    t.starts.append(std::uint32_t(t.text.size()));
    t.text.append(utf8.data(), utf8.size());
    // Every field is followed by one byte that marks where it ends.
    t.text.append('\n');
}

void TextTable::Builder::addCell(QByteArrayView utf8)
{
    if (!m_rowOpen)
        addRow();
    Private &t = *m_table->d;
    // Offsets are 32 bits wide; a table that would outgrow them keeps its further cells empty,
    // and takes no more cells once even those would not fit.
    if (t.text.size() + utf8.size() + 2 > maxTableOffset)
        utf8 = {};
    if (t.text.size() + 2 > maxTableOffset)
        return;
    appendField(utf8);
    const int cells = int(t.starts.size() - t.rowFirst.last());
    if (cells > t.maxColumns)
        t.maxColumns = cells;
}

void TextTable::Builder::addCell(const QString &text)
{
    addCell(QByteArrayView(text.toUtf8()));
}

std::shared_ptr<const TextTable> TextTable::Builder::finish()
{
    closeRow();
    Private &t = *m_table->d;
    // The start after the last field ends it.
    t.starts.append(std::uint32_t(t.text.size()));
    t.text.squeeze();
    t.starts.squeeze();
    t.rowFirst.squeeze();
    std::shared_ptr<const TextTable> table(m_table.release());
    m_table.reset(new TextTable);
    return table;
}

} // namespace MGImport8
