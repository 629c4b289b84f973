#pragma once

#include <QString>

namespace MGImport8 {

/// The folder that holds the module this code was linked into: the folder of libMGImport8.so for
/// hosts, the test program's own folder for tests that link a layer directly. Empty when the
/// platform cannot tell. A program that links the layers and stands in for the library (the
/// command-line tool) names the library's folder with setComponentFolder().
QString componentFolder();

/// Makes `folder` the component folder from now on; an empty text goes back to the module's own.
void setComponentFolder(const QString &folder);

} // namespace MGImport8
