#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QtGlobal>

namespace MGImport8 {

class ImportGrid;

/// Reads the cells of a column as UTF-8, for scans over millions of rows (IP detection, the
/// header search, the automatic row selection) that must not build a QString per cell.
class CellScanner
{
public:
    explicit CellScanner(const ImportGrid &grid)
        : m_grid(grid)
    {}

    /// The cell's text as UTF-8. The view stays valid until the next call.
    QByteArrayView utf8(qsizetype row, int column);

private:
    const ImportGrid &m_grid;
    QByteArray m_scratch;
};

/// The same answer as IsValidIPAddress() on the decoded text, without decoding the common cases:
/// plain "digits.digits.digits.digits" is judged on the bytes, anything that cannot be an address
/// (not exactly three dots, or a character no address part may hold) is refused on the bytes, and
/// only the rare remainder (blanks, signs, exponents, "&H" parts) goes through the full test.
bool isValidIPAddressUtf8(QByteArrayView utf8);

/// Whether the text contains "HEADER:" in any case.
bool containsHeaderMark(QByteArrayView utf8);

} // namespace MGImport8
