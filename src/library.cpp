// libMGImport8.so: the layers, linked whole, and the wiring between them that no layer may do
// itself, done once when the library loads. The engine knows nothing of the wizard, so StartWizard
// reaches the Qt form through the launcher installed here; structure maintenance knows nothing of
// widgets, so its critical messages reach the user through the Qt layer's message box.
#include "dbstructure/structurereporter.h"
#include "engine/wizardlauncher.h"
#include "wizard/qt/criticalmessagebox.h"
#include "wizard/qt/wizardlauncher.h"

namespace MGImport8 {
namespace {

const bool layersWired = [] {
    setWizardLauncher(&launchQtWizard);
    DbStructure::setCriticalMessagePresenter(&showCriticalMessage);
    return true;
}();

} // namespace
} // namespace MGImport8
