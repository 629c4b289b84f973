// libMGImport8.so: the layers, linked whole, and the wiring between them that no layer may do
// itself. The engine knows nothing of the wizard, so StartWizard reaches the Qt form through the
// launcher installed here, once, when the library loads.
#include "engine/wizardlauncher.h"
#include "wizard/qt/wizardlauncher.h"

namespace MGImport8 {
namespace {

const bool wizardWired = [] {
    setWizardLauncher(&launchQtWizard);
    return true;
}();

} // namespace
} // namespace MGImport8
