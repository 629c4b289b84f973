// Feeds arbitrary bytes to the ".reg" reader and to the writer that edits such files: neither may
// crash or hang, and a value the writer sets must read back from the bytes it produced, whatever
// the file held before.
#include "common/registrystore.h"
#include "common/registrywriter.h"

#include <QString>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace MGImport8;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArrayView bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const RegistryStore store = RegistryStore::fromBytes(bytes);
    if (store.isValid() != store.errorString().isEmpty())
        std::abort();
    for (const char16_t *key : {u"HKLM\\SOFTWARE", u"HKEY_CURRENT_USER\\A", u"HKCR\\B\\C"}) {
        // A key with values always exists.
        if (store.value(key, u"") && !store.hasKey(key))
            std::abort();
    }

    // Two texts: one that fits a quoted string, and one that needs the hex spelling.
    const QStringView key = u"HKCU\\Software\\Fuzz";
    for (const QString &text : {QStringLiteral("a \"b\" \\c"), QStringLiteral("x\r\ny")}) {
        const std::optional<QByteArray> edited = registryFileWithString(bytes, key, u"Name", text);
        if (!edited)
            continue;
        const std::optional<RegistryValue> value = RegistryStore::fromBytes(*edited).value(key,
                                                                                           u"name");
        const QString expected = text.contains(u'\n') ? text + QChar(u'\0') : text;
        if (!value || !value->isPlainString() || value->text != expected)
            std::abort();
    }
    return 0;
}
