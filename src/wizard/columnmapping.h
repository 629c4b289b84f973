#pragma once

#include <QString>

#include <optional>

namespace MGImport8 {

class ImportGrid;

/// Binds source columns to the host's target columns in the mapping row (row 0), checks the
/// bindings before the mapping panel is left, and pre-selects rows by their IP addresses.
namespace ColumnMapping {

/// A column is the IP column by content only when more than this share of the data rows (less
/// one) hold valid addresses.
constexpr double AddressShareThreshold = 0.75;

/// Mapping-cell names (upper case) whose cells must hold a valid address for a row to start
/// checked.
inline constexpr const char16_t *AddressColumnNames[] = {u"IP", u"IP ADDRESS", u"ADDRESS",
                                                         u"AGENTIP"};

/// The column whose data rows (1 to the last) hold the most valid IP addresses, the right-hand one
/// on a tie, when its count is strictly greater than AddressShareThreshold x (data rows - 1);
/// otherwise -1.
int detectAddressColumn(const ImportGrid &grid);

/// The automatic bindings of a freshly inserted mapping row: the IP column by content (when
/// `ipColumn` is one of `columns`), then the columns whose text in the "HEADER:" row names a target
/// column, then the method's field map ("header=target" pairs separated by ","), which overrides
/// the header bindings. `columns` is the engine's comma-separated target list.
void bindColumns(ImportGrid &grid, const QString &columns, const QString &ipColumn,
                 const QString &fieldMap);

/// The first data row whose cell in column 0 contains "HEADER:" (any case), or -1.
qsizetype findHeaderRow(const ImportGrid &grid);

/// Checks that every required column (comma-separated) is bound, then that none is bound twice.
/// The message to show for the first problem, or nothing when the panel may be left.
std::optional<QString> validate(const ImportGrid &grid, const QString &requiredColumns);

/// The automatic row selection, once the selection column is in place: a database table's
/// field-name row goes, then every data row is checked unless one of its address columns (bound to
/// "IP", "IP ADDRESS", "ADDRESS" or "AGENTIP") holds something that is not a valid address.
void selectRowsByAddress(ImportGrid &grid);

} // namespace ColumnMapping

} // namespace MGImport8
