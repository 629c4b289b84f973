// Built with nothing but `pkg-config --cflags --libs MGImport8`.
#include <MGImport8/MGImport8.h>

int main()
{
    MGImport8::Engine engine;
    return engine.Title() == QStringLiteral("Import Wizard") && !engine.Import(QString()) ? 0 : 1;
}
