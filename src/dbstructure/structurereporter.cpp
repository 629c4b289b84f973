#include "dbstructure/structurereporter.h"

namespace MGImport8::DbStructure {

namespace {
CriticalMessagePresenter g_presenter = nullptr;
} // namespace

void setCriticalMessagePresenter(CriticalMessagePresenter presenter)
{
    g_presenter = presenter;
}

CriticalMessagePresenter criticalMessagePresenter()
{
    return g_presenter;
}

} // namespace MGImport8::DbStructure
