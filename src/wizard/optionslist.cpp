#include "wizard/optionslist.h"

#include <MGImport8/importoptions.h>

namespace MGImport8 {

void OptionsList::fill(const ImportOptions *options, WizardState &state)
{
    m_rows.clear();
    state.options.clear();
    if (!options)
        return;
    for (ImportOption *option : *options) {
        state.options.append(
            {option->Value() ? CheckState::Checked : CheckState::Unchecked, option->Caption()});
        m_rows.append(option);
    }
}

void OptionsList::click(int row, WizardState &state)
{
    if (row < 0 || row >= m_rows.size() || row >= state.options.size() || !m_rows.at(row))
        return;
    OptionListRow &shown = state.options[row];
    shown.check = shown.check == CheckState::Checked ? CheckState::Unchecked : CheckState::Checked;
    m_rows.at(row)->setValue(shown.check == CheckState::Checked);
}

} // namespace MGImport8
