#pragma once

#include <QString>

namespace MGImport8 {

/// The folder that holds the module this code was linked into: the folder of libMGImport8.so for
/// hosts and the tools, the test program's own folder for tests that link a layer directly.
/// Empty when the platform cannot tell.
QString componentFolder();

} // namespace MGImport8
