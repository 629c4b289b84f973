// A small host: creates an engine, fills its options, connects the events and prints what it
// reads back, including the engine's members in meta-object order.
#include <MGImport8/MGImport8.h>

#include <QCoreApplication>
#include <QMetaProperty>

#include <cstdio>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    MGImport8::Engine engine;
    engine.setColumns("Name,IP");
    engine.setRequiredColumns("IP");
    engine.setIPColumn("IP");
    engine.ImportOptions()->Add("Overwrite", "Overwrite existing nodes");
    engine.ImportOptions()->Add("overwrite", "Overwrite existing nodes", true);
    QObject::connect(&engine, &MGImport8::Engine::NewRow,
                     [](MGImport8::ImportRow *, QString &status, bool &) { status = "seen"; });
    QObject::connect(&engine, &MGImport8::Engine::ImportComplete, [] {});

    const QMetaObject *meta = engine.metaObject();
    for (int i = meta->propertyOffset(); i < meta->propertyCount(); ++i) {
        const QMetaProperty property = meta->property(i);
        std::printf("%s=%s\n", property.name(),
                    property.read(&engine).toString().toUtf8().constData());
    }
    MGImport8::ImportOption *option = engine.ImportOptions()->Item("OVERWRITE");
    std::printf("options=%d %s %s\n", engine.ImportOptions()->Count(),
                option->Caption().toUtf8().constData(), option->Value() ? "on" : "off");
    std::printf("missing=%s\n", engine.ImportOptions()->Item(2) ? "found" : "nullptr");
    return 0;
}
