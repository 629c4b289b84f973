#pragma once

#include "testsupport.h"
#include "wizard/workbook/workbookreader.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <utility>
#include <vector>

namespace MGImport8::Test {

/// The table's rows as "a|b|c" texts (empty cells stay empty between bars).
QStringList tableRows(const TextTable &table);

/// The rows of a loaded sheet, or "error N: description" as the only line.
QStringList loadedRows(const SheetLoad &load);

/// A file of the shared corpus's spreadsheets folder.
QString spreadsheet(const QString &name);

/// Writes a zip archive of the given parts (deflated) and returns its bytes.
QByteArray zipParts(const std::vector<std::pair<QString, QByteArray>> &parts);

/// A minimal .xlsx package around one worksheet's XML: workbook, relationships, and optional
/// shared strings and styles parts. `workbookPr` goes into the workbook's <workbookPr> element.
QByteArray minimalXlsx(const QByteArray &sheetXml, const QByteArray &sharedStrings = {},
                       const QByteArray &styles = {}, const QByteArray &workbookPr = {});

/// A worksheet part with `rows` inside its <sheetData>.
QByteArray sheetXml(const QByteArray &rows, const QByteArray &afterData = {});

} // namespace MGImport8::Test
