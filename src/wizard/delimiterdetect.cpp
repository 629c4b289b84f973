#include "wizard/delimiterdetect.h"

#include "wizard/delimiterchoice.h"

#include <QFile>
#include <QList>

#include <map>

namespace MGImport8::DelimiterDetect {

namespace {

/// Bytes read from the file's start: a hundred lines of any sensible width.
constexpr qint64 SampleBytes = 1 << 20;

/// Fields of a line as the reader counts them: a delimiter at the very end adds no empty field.
int fieldCount(QByteArrayView line, char delimiter)
{
    if (line.isEmpty())
        return 0;
    int fields = 1;
    for (qsizetype at = 0; at < line.size(); ++at) {
        if (line.at(at) == delimiter && at + 1 < line.size())
            ++fields;
    }
    return fields;
}

struct Fit
{
    int linesAgreeing = 0;
    int fields = 0;
};

/// How many of the lines share the most common field count, and that count.
Fit judge(const QList<QByteArrayView> &lines, char delimiter)
{
    std::map<int, int> counts;
    for (QByteArrayView line : lines)
        ++counts[fieldCount(line, delimiter)];
    Fit best;
    for (const auto &[fields, lineCount] : counts) {
        if (fields > 1
            && (lineCount > best.linesAgreeing
                || (lineCount == best.linesAgreeing && fields > best.fields))) {
            best = {lineCount, fields};
        }
    }
    return best;
}

} // namespace

std::optional<int> bestBox(const QByteArray &text)
{
    QList<QByteArrayView> lines;
    qsizetype start = 0;
    while (start < text.size() && lines.size() < SampleLines) {
        qsizetype end = text.indexOf('\n', start);
        if (end < 0)
            end = text.size();
        QByteArrayView line(text.constData() + start, end - start);
        while (line.endsWith('\r'))
            line.chop(1);
        if (!line.isEmpty())
            lines.append(line);
        start = end + 1;
    }
    std::optional<int> chosen;
    Fit best;
    for (int box = 0; box < OtherDelimiterBox; ++box) {
        const Fit fit = judge(lines, char(DelimiterChoice::BoxTags[box][0]));
        if (fit.fields == 0)
            continue;
        // More lines agreeing wins; on a tie, the delimiter that gives more fields.
        if (!chosen || fit.linesAgreeing > best.linesAgreeing
            || (fit.linesAgreeing == best.linesAgreeing && fit.fields > best.fields)) {
            chosen = box;
            best = fit;
        }
    }
    return chosen;
}

std::optional<int> bestBoxForFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return bestBox(file.read(SampleBytes));
}

std::array<bool, DelimiterBoxCount> boxesFor(int box)
{
    std::array<bool, DelimiterBoxCount> checked{};
    if (box >= 0 && box < OtherDelimiterBox)
        checked[std::size_t(box)] = true;
    return checked;
}

} // namespace MGImport8::DelimiterDetect
