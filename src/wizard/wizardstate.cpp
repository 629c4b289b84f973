#include "wizard/wizardstate.h"

using namespace Qt::StringLiterals;

namespace MGImport8 {

QString panelKey(Panel panel)
{
    switch (panel) {
    case Panel::MethodPanel:
        return u"MethodPanel"_s;
    case Panel::FilePanel:
        return u"FilePanel"_s;
    case Panel::DatabasePanel:
        return u"DatabasePanel"_s;
    case Panel::TablePanel:
        return u"TablePanel"_s;
    case Panel::SpreadsheetPanel:
        return u"SpreadsheetPanel"_s;
    case Panel::DelimiterPanel:
        return u"DelimiterPanel"_s;
    case Panel::MapPanel:
        return u"MapPanel"_s;
    case Panel::FilterPanel:
        return u"FilterPanel"_s;
    case Panel::PreviewPanel:
        return u"PreviewPanel"_s;
    case Panel::OptionsPanel:
        return u"OptionsPanel"_s;
    case Panel::ImportPanel:
        return u"ImportPanel"_s;
    }
    return {};
}

} // namespace MGImport8
