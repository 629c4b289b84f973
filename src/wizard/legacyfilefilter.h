#pragma once

#include <QString>

namespace MGImport8 {

/// Import methods give their file pattern in the legacy common-dialog form: pairs of a caption and
/// ";"-separated patterns, all joined by "|" ("Text Files (*.txt;*.csv)|*.txt;*.csv"). Qt's file
/// dialog wants "Text Files (*.txt *.csv)" entries joined by ";;". A caption's own "(...)" is
/// replaced by the pair's patterns, "*.*" means every file, and a caption without patterns (an odd
/// count of parts) stands for every file. An empty or blank pattern gives "All Files (*)".
QString qtFileFilter(const QString &legacyPattern);

} // namespace MGImport8
