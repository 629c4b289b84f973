// Feeds arbitrary bytes to the .xls reader in process: the compound-file container, the workbook
// records of every generation and the cell texts, for the first sheets. A refusal must say why;
// anything else (a crash, a sanitizer report, a hang) is a finding.
#include "wizard/workbook/workbookerror.h"
#include "wizard/workbook/xlsworkbook.h"

#include <cstddef>
#include <cstdint>
#include <new>
#include <string_view>

using namespace MGImport8;

namespace {
constexpr int SheetsTried = 4;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string_view bytes(reinterpret_cast<const char *>(data), size);
    for (int sheet = 0; sheet < SheetsTried; ++sheet) {
        try {
            const auto read = XlsWorkbook::readSheet(bytes, sheet);
            if (read)
                continue;
            if (read.failure().description.isEmpty())
                __builtin_trap();
            if (read.failure().number == WorkbookErrorNumber::SubscriptOutOfRange)
                break;
        } catch (const std::bad_alloc &) {
            break;
        }
    }
    return 0;
}
