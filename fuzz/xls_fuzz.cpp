// Feeds arbitrary bytes to the workbook reader as a file: the OLE2 (.xls) path through libfreexl,
// and the sniffing that sends other content elsewhere. The bytes live in an anonymous memory file
// that the reader opens by its /proc path. Every sheet position up to the third is read.
#include "wizard/workbook/workbookreader.h"

#include <QString>

#include <cstddef>
#include <cstdint>

#include <sys/mman.h>
#include <unistd.h>

using namespace MGImport8;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const int fd = memfd_create("workbook", MFD_CLOEXEC);
    if (fd < 0)
        return 0;
    size_t done = 0;
    while (done < size) {
        const ssize_t n = write(fd, data + done, size - done);
        if (n <= 0)
            break;
        done += size_t(n);
    }
    const QString path = QStringLiteral("/proc/self/fd/") + QString::number(fd);
    for (int sheet = 0; sheet < 3; ++sheet) {
        const SheetLoad load = loadWorkbookSheet(path, sheet);
        if (load.error && load.error->description.isEmpty())
            __builtin_trap();
    }
    close(fd);
    return 0;
}
