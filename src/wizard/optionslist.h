#pragma once

#include "wizard/wizardstate.h"

#include <MGImport8/importoption.h>

#include <QList>
#include <QPointer>

namespace MGImport8 {

class ImportOptions;

/// The options panel's list: one check box row per host option, each row holding its option so a
/// click writes the option's `Value` at once (cancelling the wizard afterwards keeps it).
class OptionsList
{
public:
    /// Rebuilds the rows from the host's options, in collection order.
    void fill(const ImportOptions *options, WizardState &state);
    /// Flips the clicked row and writes the option's `Value`; rows without an option (or an option
    /// the host has since removed) do nothing.
    void click(int row, WizardState &state);

private:
    QList<QPointer<ImportOption>> m_rows;
};

} // namespace MGImport8
