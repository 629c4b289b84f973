#pragma once

#include "wizard/wizardstate.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace MGImport8 {

/// Guesses a text file's delimiter for the "Detect delimiters" button: of the single-character
/// delimiters the boxes offer (tab, semicolon, comma, space), the one that splits the file's first
/// lines into the most consistent number of fields, more than one.
namespace DelimiterDetect {

/// Lines looked at: enough to see the shape, few enough to stay instant on any file.
constexpr int SampleLines = 100;

/// The box whose delimiter fits `text` best, judged on its first `SampleLines` lines as the reader
/// splits them; nothing when no delimiter splits the lines at all.
std::optional<int> bestBox(const QByteArray &text);

/// Reads the start of the file and judges it; nothing when it cannot be read or nothing fits.
std::optional<int> bestBoxForFile(const QString &path);

/// The boxes to tick for `box`: that one alone, "&Other:" cleared.
std::array<bool, DelimiterBoxCount> boxesFor(int box);

} // namespace DelimiterDetect

} // namespace MGImport8
