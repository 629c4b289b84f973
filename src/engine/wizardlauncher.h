#pragma once

class QObject;

namespace MGImport8 {

class Engine;

/// Shows the wizard for an engine and returns its result. The engine knows nothing of the wizard:
/// the shared library installs the Qt form's launcher when it loads (src/library.cpp).
using WizardLauncher = bool (*)(Engine &engine, QObject *parent);

void setWizardLauncher(WizardLauncher launcher);
WizardLauncher wizardLauncher();

} // namespace MGImport8
