// The start of any file the user picks goes through delimiter detection. Whatever the bytes, it
// must answer one of the four fixed boxes or nothing, and a box it answers must split at least
// one of the lines it judged into more than one field.
#include "wizard/delimiterchoice.h"
#include "wizard/delimiterdetect.h"

#include <QByteArray>
#include <QList>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    using namespace MGImport8;
    const QByteArray text(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const auto box = DelimiterDetect::bestBox(text);
    if (!box)
        return 0;
    if (*box < 0 || *box >= OtherDelimiterBox)
        std::abort();
    const char delimiter = char(DelimiterChoice::BoxTags[*box][0]);
    bool splits = false;
    const QList<QByteArray> lines = text.split('\n');
    for (QByteArray line : lines) {
        while (line.endsWith('\r'))
            line.chop(1);
        // A delimiter that ends the line adds no field.
        const qsizetype at = line.indexOf(delimiter);
        if (at >= 0 && at + 1 < line.size())
            splits = true;
    }
    if (!splits)
        std::abort();
    const auto boxes = DelimiterDetect::boxesFor(*box);
    if (!boxes[std::size_t(*box)] || boxes[OtherDelimiterBox])
        std::abort();
    return 0;
}
