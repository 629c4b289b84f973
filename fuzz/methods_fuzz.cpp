// Feeds arbitrary bytes to the import method file loader: encoding sniffing, transcoding, the XML
// parse and the attribute reader must neither crash nor leak, and what loads must be consistent.
#include "methods/catalogueloader.h"

#include <MGImport8/importtypes.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    MGImport8::ImportTypes catalogue;
    const auto report
        = MGImport8::CatalogueLoader::LoadBuffer(catalogue,
                                                 QByteArray(reinterpret_cast<const char *>(data),
                                                            qsizetype(size)),
                                                 QStringLiteral("fuzz.ImportMethods"));
    if (report.loaded != catalogue.LastError().isEmpty())
        std::abort();
    for (const MGImport8::ImportType *method : catalogue) {
        if (method->Name().isEmpty() || catalogue.Item(method->Name()) != method)
            std::abort();
        if (method->HasPanelList())
            (void)method->IncludePanel(QStringLiteral("MethodPanel"));
    }
    return 0;
}
