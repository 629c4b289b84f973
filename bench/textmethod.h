#pragma once

#include "wizard/wizardcontroller.h"
#include "wizard/wizardstate.h"

namespace MGImport8::Bench {

/// Picks the shipped "Text File" method on the wizard's method panel, as a user clicking it in the
/// list would. Header-only, so the fuzzers share it without linking the benchmark support.
/// False when the list does not offer it.
inline bool selectTextFileMethod(WizardController &wizard)
{
    const QList<MethodListRow> &methods = wizard.state().methods;
    for (int row = 0; row < methods.size(); ++row) {
        if (methods.at(row).name == QStringLiteral("Text File")) {
            wizard.selectMethodRow(row);
            return true;
        }
    }
    return false;
}

} // namespace MGImport8::Bench
