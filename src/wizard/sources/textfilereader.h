#pragma once

#include <QString>

namespace MGImport8 {

class ImportGrid;
class WizardView;

/// The text file as the wizard reads it: into the grid, with the delimiter panel's set.
namespace TextFileReader {

/// Reads the text file into the grid with the delimiter set, after clearing the grid. Shows
/// "Please select at least one delimiter" when the set is empty and `onDelimiterPanel` (elsewhere
/// an empty set makes each line one field), and the "Cannot open '...'" message when the file
/// cannot be read. True when the grid was filled.
bool readFile(const QString &path, const QString &delimiters, bool onDelimiterPanel,
              ImportGrid &grid, WizardView &view);

} // namespace TextFileReader

} // namespace MGImport8
