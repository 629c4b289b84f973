// Feeds arbitrary bytes to the Access reader as a database file: the header and size checks, the
// catalogue, every user table read with a small record limit and one SELECT statement must end
// with rows or a reason, never a crash, a hang or unbounded memory. The database library is not
// instrumented, so coverage guides only through the reader's own code; the seeds (the shared
// Access files, read in place) supply real structure.
#include "wizard/access/accessdatabase.h"

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>

using namespace MGImport8;
using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype RecordLimit = 50;
constexpr qsizetype MaxTables = 16;

class CountingSink : public AccessRowSink
{
public:
    void addRow() override { ++rows; }
    void addCell(QByteArrayView utf8) override { bytes += utf8.size(); }
    qsizetype rows = 0;
    qsizetype bytes = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    Result<std::unique_ptr<AccessDatabase>> database = AccessDatabase::openBytes(bytes);
    if (!database) {
        // Every refusal carries its reason.
        if (database.error().isEmpty())
            __builtin_trap();
        return 0;
    }
    const QStringList tables = database.value()->userTables();
    CountingSink sink;
    for (qsizetype i = 0; i < tables.size() && i < MaxTables; ++i)
        (void)database.value()->readTable(tables.at(i), RecordLimit, sink);
    if (!tables.isEmpty())
        (void)database.value()->runQuery(u"SELECT TOP 20 * FROM ["_s % tables.first() % u"]"_s,
                                         sink);
    return 0;
}
