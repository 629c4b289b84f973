// Feeds arbitrary dictionary files (and table lists) to the data dictionary update, over a fixed
// database that stands in for a server (none runs under a fuzzer): it must neither crash nor leak;
// a failed update must leave the file byte for byte as it was; a successful one must leave a file
// that a second update with the same list leaves unchanged and adds nothing to.
#include "dbstructure/datadictionary.h"
#include "sqladmin/manageddatabase.h"
#include "sqladmin/managementserver.h"

#include <QFile>
#include <QTemporaryDir>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace MGImport8;
using namespace MGImport8::SqlAdmin;

namespace {

// Two tables; the second one's column names need escaping in XML.
class FixedSession : public SqlSession
{
public:
    Result<Rows> query(const QString &, const QVariantList &values) override
    {
        if (values.isEmpty())
            return Rows{{QStringLiteral("public"), QStringLiteral("Nodes")},
                        {QStringLiteral("public"), QStringLiteral("a&b <c>")}};
        return Rows{{QStringLiteral("id"), QStringLiteral("integer"), 4, false, false, {}, {}},
                    {QStringLiteral("x<&>'y"), QStringLiteral("text"), -1, true, false, {}, {}}};
    }
    Result<bool> execute(const QString &) override { return true; }
    Result<bool> begin() override { return true; }
    Result<bool> commit() override { return true; }
    Result<bool> rollback() override { return true; }
};

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray input(reinterpret_cast<const char *>(data), qsizetype(size));
    // The first line is the table list, the rest the file.
    const qsizetype newline = input.indexOf('\n');
    const QString tables = QString::fromUtf8(newline < 0 ? input : input.first(newline));
    const QByteArray file = newline < 0 ? QByteArray() : input.sliced(newline + 1);

    static QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("dictionary.xml"));
    {
        QFile out(path);
        if (!out.open(QIODevice::WriteOnly) || out.write(file) != file.size())
            std::abort();
    }
    ManagementServer server(ServerKind::PostgreSql, [](ServerKind, const LoginSettings &) {
        return Result<std::unique_ptr<SqlSession>>(std::make_unique<FixedSession>());
    });
    ManagedDatabase database(server, QStringLiteral("fuzz"));
    QString log;
    if (!DbStructure::updateDataDictionary(database, ServerKind::PostgreSql, tables, path, log)) {
        if (contents(path) != file)
            std::abort();
        return 0;
    }
    const QByteArray first = contents(path);
    QString again;
    if (!DbStructure::updateDataDictionary(database, ServerKind::PostgreSql, tables, path, again))
        std::abort();
    if (again.contains(QStringLiteral("Added Field")) || contents(path) != first)
        std::abort();
    return 0;
}
