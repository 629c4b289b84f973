#pragma once

class QObject;

namespace MGImport8 {

class Engine;

/// Shows the wizard for an engine and returns its result. The engine knows nothing of the wizard:
/// the wizard layer installs its launcher when the library loads.
using WizardLauncher = bool (*)(Engine &engine, QObject *parent);

void setWizardLauncher(WizardLauncher launcher);
WizardLauncher wizardLauncher();

} // namespace MGImport8
