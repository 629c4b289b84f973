// libMGImport8.so: the layers, linked whole. The library's contents come from the layer archives;
// what lives here is the wiring of the layers that cannot see each other.
#include "dbstructure/structurereporter.h"
#include "wizard/qt/criticalmessagebox.h"

namespace {

// Structure maintenance shows its critical messages through the Qt layer's message box.
const bool structureMessagesWired = [] {
    MGImport8::DbStructure::setCriticalMessagePresenter(&MGImport8::showCriticalMessage);
    return true;
}();

} // namespace
