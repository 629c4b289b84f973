// A host program that calls one library-internal member; only the CONTROL variant may compile.
#include <MGImport8/MGImport8.h>

int main()
{
    MGImport8::Engine engine;
    MGImport8::ImportRow row;
    [[maybe_unused]] QString status;
    [[maybe_unused]] bool skip = false;
#if defined(CALL_ColumnChoices)
    (void)engine.ColumnChoices();
#elif defined(CALL_FireNewRow)
    engine.FireNewRow(&row, status, skip);
#elif defined(CALL_FireImportComplete)
    engine.FireImportComplete();
#elif defined(CALL_EmitNewRow)
    emit engine.NewRow(&row, status, skip);
#elif defined(CALL_EmitImportComplete)
    emit engine.ImportComplete();
#elif defined(CALL_SetColumn)
    row.Item(1)->setColumn(QStringLiteral("IP"));
#elif defined(CALL_SetOptionName)
    engine.ImportOptions()
        ->Add(QStringLiteral("A"), QStringLiteral("a"))
        ->setName(QStringLiteral("B"));
#elif defined(CALL_RowAdd)
    row.Add(QStringLiteral("IP"), QStringLiteral("10.0.0.1"));
#elif defined(CALL_NewColumn)
    MGImport8::ImportColumn column;
#endif
    return engine.ImportOptions()->Count();
}
