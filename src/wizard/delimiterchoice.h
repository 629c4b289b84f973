#pragma once

#include "wizard/wizardstate.h"

#include <QString>

namespace MGImport8 {

class ImportType;

/// The delimiter panel's check boxes.
namespace DelimiterChoice {

/// The delimiter each box stands for, by index. Box 0's tab is given to it when the wizard opens;
/// the "&Other:" box has none and stands for the whole text of `txtOtherDelimit`.
inline constexpr char16_t BoxTags[DelimiterBoxCount][2] = {u"\t", u";", u",", u" ", u""};

/// The box checked when the wizard opens: "&Comma".
constexpr int InitialBox = 2;

/// What an import method without delimiters gets.
inline constexpr char16_t DefaultDelimiter[] = u",";

/// Sets the boxes from the method's `Delimiter`, storing "," there first when it is empty. Each
/// character sets all five boxes again, so only the box of the last character stays checked, and
/// the "&Other:" box is always left unchecked.
void preset(ImportType &method, WizardState &state);

/// The delimiter set: the tags of the checked boxes from 0 to 4, the "other" text for box 4.
QString delimiterSet(const WizardState &state);

} // namespace DelimiterChoice

} // namespace MGImport8
