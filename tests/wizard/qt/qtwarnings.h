#pragma once

#include <QStringList>

namespace MGImport8::Test {

/// Qt's warnings since the last call, less the offscreen platform's notes about what it cannot do.
/// The widget tests' main installs the trap; every test fails on what it catches.
QStringList takeQtWarnings();
void installQtWarningTrap();

} // namespace MGImport8::Test
