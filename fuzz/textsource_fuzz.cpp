// Feeds arbitrary bytes to the delimited-text reader: the first byte picks a delimiter set (one
// byte, several, none, characters of several bytes), the rest is the file. Decoding and splitting
// must neither crash nor hang, every cell must read back, and where the text is valid UTF-8 the
// table must equal the plain reading (delete carriage returns, split lines on line feeds, cut
// each line at every delimiter, unquote each field).
#include "common/codepage.h"
#include "wizard/sources/textdecoder.h"
#include "wizard/sources/textsource.h"

#include "plainreading.h"

#include <QList>
#include <QString>
#include <QStringDecoder>
#include <QStringList>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>

using namespace MGImport8;

namespace {

// Beyond this size the plain reading, which is slow on purpose, is skipped.
constexpr size_t maxComparedBytes = 8192;

const QString delimiterSets[] = {
    QStringLiteral(","),
    QStringLiteral(";"),
    QStringLiteral("\t"),
    QStringLiteral(", "),
    QStringLiteral("\t;, "),
    QStringLiteral(",;:|/\\-"), // more single bytes than the vector search takes
    QString(),
    QStringLiteral("\u00A7"),
    QStringLiteral(",\u00E9"),
    QStringLiteral("\u20AC\U0001F600"),
    QStringLiteral("\r\n,"),
    QString(QChar(u'\0')),
    QStringLiteral("\"'"),
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const QString &delimiters = delimiterSets[data[0] % std::size(delimiterSets)];
    const QByteArray bytes(reinterpret_cast<const char *>(data) + 1, qsizetype(size - 1));
    const auto table = splitDelimitedText(bytes, delimiters);

    QList<QStringList> rows;
    for (qsizetype r = 0; r < table->rowCount(); ++r) {
        const int cells = table->cellCount(r);
        if (cells > table->maxColumns())
            std::abort();
        QStringList row;
        for (int c = 0; c < cells; ++c)
            row.append(table->text(r, c));
        if (!table->cell(r, cells).isEmpty())
            std::abort();
        rows.append(row);
    }

    if (bytes.size() > qsizetype(maxComparedBytes))
        return 0;
    const std::optional<DecodedText> decoded = decodeText(bytes,
                                                          std::numeric_limits<qsizetype>::max());
    if (!decoded)
        std::abort();
    const QByteArrayView text = QByteArrayView(decoded->utf8).sliced(decoded->begin);
    if (!isValidUtf8(text))
        return 0;
    // Only the file's first byte-order mark is dropped; another one is text.
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom);
    const QList<QStringList> expected = Test::plainReading(utf8(text), delimiters);
    if (rows != expected) {
        for (qsizetype r = 0; r < std::max(rows.size(), expected.size()); ++r) {
            const QStringList got = rows.value(r);
            const QStringList want = expected.value(r);
            if (got != want) {
                std::fprintf(stderr, "row %lld of %lld/%lld differs:\n  read  [%s]\n  plain [%s]\n",
                             static_cast<long long>(r), static_cast<long long>(rows.size()),
                             static_cast<long long>(expected.size()),
                             got.join(u'|').toUtf8().toPercentEncoding(" |").constData(),
                             want.join(u'|').toUtf8().toPercentEncoding(" |").constData());
                break;
            }
        }
        std::abort();
    }
    return 0;
}
