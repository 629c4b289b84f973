#include "wizard/sources/textsplitter.h"

#include "wizard/table/texttable_p.h"

#include <QList>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <limits>

#if defined(__SSE2__)
#include <immintrin.h>
#endif

namespace MGImport8 {

namespace {

// Deletes every carriage return from text[begin..], in place.
void removeCarriageReturns(QByteArray &text, qsizetype begin)
{
    char *data = text.data();
    const char *end = data + text.size();
    char *in = static_cast<char *>(std::memchr(data + begin, '\r', size_t(end - data - begin)));
    if (!in)
        return;
    char *out = in;
    while (in < end) {
        ++in; // past the carriage return
        const char *next = static_cast<const char *>(std::memchr(in, '\r', size_t(end - in)));
        const char *stop = next ? next : end;
        std::memmove(out, in, size_t(stop - in));
        out += stop - in;
        in = const_cast<char *>(stop);
    }
    text.truncate(out - data);
}

#if defined(__SSE2__)

// Where a block's line feeds, carriage returns and field separators (delimiters and line feeds)
// are: bit i for the block's byte i.
struct BlockMasks
{
    std::uint64_t lineFeeds;
    std::uint64_t carriageReturns;
    std::uint64_t separators;
};

// The delimiters among the special bytes (all but line feed and carriage return), D of them.
template<int D>
std::array<char, D> delimiterBytes(const std::vector<unsigned char> &specialBytes)
{
    std::array<char, D> bytes{};
    int next = 0;
    for (const unsigned char byte : specialBytes) {
        if (byte != '\n' && byte != '\r')
            bytes[size_t(next++)] = char(byte);
    }
    return bytes;
}

// A block's masks sixteen bytes at a time, for D delimiters broadcast into `delimiters`.
template<int D>
[[gnu::always_inline]] inline BlockMasks sse2BlockMasks(const char *p, const __m128i *delimiters)
{
    const __m128i lineFeed = _mm_set1_epi8('\n');
    const __m128i carriageReturn = _mm_set1_epi8('\r');
    const auto bits = [](__m128i m) { return std::uint64_t(std::uint16_t(_mm_movemask_epi8(m))); };
    BlockMasks masks{0, 0, 0};
    for (int lane = 0; lane < 4; ++lane) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p) + lane);
        const __m128i lf = _mm_cmpeq_epi8(v, lineFeed);
        __m128i any = lf;
        for (int i = 0; i < D; ++i)
            any = _mm_or_si128(any, _mm_cmpeq_epi8(v, delimiters[i]));
        const int shift = 16 * lane;
        masks.lineFeeds |= bits(lf) << shift;
        masks.separators |= bits(any) << shift;
        masks.carriageReturns |= bits(_mm_cmpeq_epi8(v, carriageReturn)) << shift;
    }
    return masks;
}

// The same thirty-two bytes at a time.
template<int D>
[[gnu::target("avx2,bmi,popcnt"), gnu::always_inline]] inline BlockMasks
avx2BlockMasks(const char *p, const __m256i *delimiters)
{
    const __m256i lineFeed = _mm256_set1_epi8('\n');
    const __m256i carriageReturn = _mm256_set1_epi8('\r');
    BlockMasks masks{0, 0, 0};
    for (int lane = 0; lane < 2; ++lane) {
        const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p) + lane);
        const __m256i lf = _mm256_cmpeq_epi8(v, lineFeed);
        __m256i any = lf;
        for (int i = 0; i < D; ++i)
            any = _mm256_or_si256(any, _mm256_cmpeq_epi8(v, delimiters[i]));
        const __m256i cr = _mm256_cmpeq_epi8(v, carriageReturn);
        const int shift = 32 * lane;
        masks.lineFeeds |= std::uint64_t(std::uint32_t(_mm256_movemask_epi8(lf))) << shift;
        masks.separators |= std::uint64_t(std::uint32_t(_mm256_movemask_epi8(any))) << shift;
        masks.carriageReturns |= std::uint64_t(std::uint32_t(_mm256_movemask_epi8(cr)))
                                 << shift;
    }
    return masks;
}

#endif

} // namespace

// A pass's record of the table: where each field starts and where each row ends. The scan tells
// it of separators one at a time or sixty-four bytes at a time.
class TextSplitter::RowRecorder
{
public:
    static constexpr qsizetype blockBytes = 64;

    RowRecorder(const QByteArray &text, qsizetype begin, TextTable::Private &table)
        : m_t(table)
        , m_data(text.constData())
    {
        m_t.starts.clear();
        m_t.rowFirst.clear();
        m_t.shortRows.clear();
        m_t.maxColumns = 0;
        // Every byte adds at most one start and one row.
        const qsizetype bound = (text.size() - begin) + 2 + startsSlack;
        m_t.starts.reserveAddressSpace(bound);
        m_t.rowFirst.reserveAddressSpace(bound);
        m_t.starts.append(offset(m_data + begin));
        m_t.rowFirst.append(0);
    }

    /// A delimiter ends a field at `at`; the next one starts at `next`.
    void fieldStart(const char *next) { m_t.starts.append(offset(next)); }

    void lineFeed(const char *at)
    {
        const qsizetype index = m_t.starts.size();
        m_t.starts.append(offset(at) + 1);
        endLine(index, at);
    }

    /// One block's separators (delimiters and line feeds) and, among them, its line feeds: bit i
    /// for the block's byte i.
    [[gnu::always_inline]] void block(const char *p, std::uint64_t separators,
                                      std::uint64_t lineFeeds)
    {
        if (!separators)
            return;
        PodArray<std::uint32_t> &starts = m_t.starts;
        const qsizetype base = starts.size();
        starts.reserveExtra(startsSlack);
        std::uint32_t *out = starts.data() + base;
        const std::uint32_t after = offset(p) + 1;
        const int count = std::popcount(separators);
        std::uint64_t bits = separators;
        for (int written = 0; written < count; written += 8) {
            for (int i = 0; i < 8; ++i) {
                out[written + i] = after + std::uint32_t(std::countr_zero(bits));
                bits &= bits - 1;
            }
        }
        starts.setSize(base + count);
        for (std::uint64_t lf = lineFeeds; lf; lf &= lf - 1) {
            const int bit = std::countr_zero(lf);
            const std::uint64_t below = (std::uint64_t(1) << bit) - 1;
            endLine(base + std::popcount(separators & below), p + bit);
        }
    }

    /// The end of the text ends the last line as a line feed would. False when a line has more
    /// fields than a row has columns.
    bool finish(const char *end)
    {
        const qsizetype last = m_t.starts.size();
        m_t.starts.append(offset(end) + 1);
        endLine(last, end);
        if (m_tooManyFields)
            return false;
        // Text that is empty once its carriage returns are gone has no lines at all.
        if (m_t.rowFirst.size() == 2 && m_t.cellCount(0) == 0) {
            m_t.rowFirst.clear();
            m_t.rowFirst.append(0);
            m_t.shortRows.clear();
        }
        return true;
    }

private:
    // Field starts are written eight at a time, unconditionally; the table keeps room for a
    // block's worth of them and more.
    static constexpr qsizetype startsSlack = blockBytes + 8;
    // Columns are counted in an int.
    static constexpr qsizetype maxColumnsPerRow = std::numeric_limits<int>::max();

    std::uint32_t offset(const char *at) const { return std::uint32_t(at - m_data); }

    // The line ending at `lineFeed` (or at the end) is complete; its line feed's start is
    // starts[index], which also starts the next line.
    void endLine(qsizetype index, const char *lineFeed)
    {
        const qsizetype row = m_t.rowFirst.size() - 1;
        // The last raw field is no cell when nothing but carriage returns is left in it.
        const char *fieldStart = m_data + m_t.starts[index - 1];
        const char *fieldEnd = lineFeed;
        while (fieldEnd > fieldStart && fieldEnd[-1] == '\r')
            --fieldEnd;
        qsizetype cells = index - qsizetype(m_t.rowFirst.last());
        if (fieldEnd == fieldStart) {
            m_t.markShort(row);
            --cells;
        }
        if (cells > m_t.maxColumns) {
            if (cells > maxColumnsPerRow) [[unlikely]]
                m_tooManyFields = true;
            m_t.maxColumns = int(std::min(cells, maxColumnsPerRow));
        }
        m_t.rowFirst.append(std::uint32_t(index));
    }

    TextTable::Private &m_t;
    const char *const m_data;
    bool m_tooManyFields = false;
};

// One pass over the text. Only a few bytes matter: line feeds, carriage returns, delimiters and
// the first bytes of delimiters of several bytes. For a few delimiters of one byte each, the pass
// finds them sixty-four bytes at a time with vector compares and hands the record a block's
// separators at once; any other delimiter set takes the byte-by-byte loop.
class TextSplitter::Pass
{
public:
    Pass(const TextSplitter &splitter, const QByteArray &text, qsizetype begin,
         TextTable::Private &table)
        : m_splitter(splitter)
        , m_rows(text, begin, table)
        , m_begin(text.constData() + begin)
        , m_end(text.constData() + text.size())
    {}

    Scan run()
    {
        const char *p = vectorBlocks(m_begin);
        if (!p)
            return Scan::CarriageReturnInLine;
        for (; p < m_end; ++p) {
            if (m_splitter.m_classes[static_cast<unsigned char>(*p)] != Plain && !special(p))
                return Scan::CarriageReturnInLine;
        }
        return m_rows.finish(m_end) ? Scan::Done : Scan::TooManyFields;
    }

private:
    // A carriage return before a line feed, before another one or at the very end is skipped
    // where it is; one inside a line has to go from the text itself.
    bool carriageReturnEndsLine(const char *at) const
    {
        return at + 1 == m_end || at[1] == '\n' || at[1] == '\r';
    }

    bool special(const char *at)
    {
        switch (m_splitter.m_classes[static_cast<unsigned char>(*at)]) {
        case Plain:
            break;
        case Delimiter:
            m_rows.fieldStart(at + 1);
            break;
        case DelimiterLead:
            if (const qsizetype length = m_splitter.matchDelimiter(at, m_end))
                m_rows.fieldStart(at + length);
            break;
        case CarriageReturn:
            return carriageReturnEndsLine(at);
        case LineFeed:
            m_rows.lineFeed(at);
            break;
        }
        return true;
    }

    // Handles the whole blocks from `p` with vector compares where the delimiter set allows it;
    // returns where the rest begins, or nullptr when a carriage return inside a line stops the
    // pass.
    const char *vectorBlocks(const char *p)
    {
#if defined(__SSE2__)
        if (m_splitter.m_unit == VectorUnit::None || !m_splitter.m_wideDelimiters.empty())
            return p;
        using Blocks = const char *(Pass::*)(const char *);
        static constexpr Blocks byDelimiterCount[] = {&Pass::blocks<0>, &Pass::blocks<1>,
                                                      &Pass::blocks<2>, &Pass::blocks<3>,
                                                      &Pass::blocks<4>, &Pass::blocks<5>,
                                                      &Pass::blocks<6>};
        // Line feed and carriage return are special bytes too.
        const size_t delimiters = m_splitter.m_specialBytes.size() - 2;
        if (delimiters < std::size(byDelimiterCount))
            return (this->*byDelimiterCount[delimiters])(p);
#endif
        return p;
    }

#if defined(__SSE2__)
    template<int D>
    const char *blocks(const char *p)
    {
        return m_splitter.m_unit == VectorUnit::Avx2 ? blocksAvx2<D>(p) : blocksSse2<D>(p);
    }

    template<int D>
    const char *blocksSse2(const char *p)
    {
        const std::array<char, D> bytes = delimiterBytes<D>(m_splitter.m_specialBytes);
        __m128i delimiters[D > 0 ? D : 1] = {};
        for (int i = 0; i < D; ++i)
            delimiters[i] = _mm_set1_epi8(bytes[size_t(i)]);
        for (; m_end - p >= RowRecorder::blockBytes; p += RowRecorder::blockBytes) {
            if (!consume(p, sse2BlockMasks<D>(p, delimiters)))
                return nullptr;
        }
        return p;
    }

    template<int D>
    [[gnu::target("avx2,bmi,popcnt")]] const char *blocksAvx2(const char *p)
    {
        const std::array<char, D> bytes = delimiterBytes<D>(m_splitter.m_specialBytes);
        __m256i delimiters[D > 0 ? D : 1] = {};
        for (int i = 0; i < D; ++i)
            delimiters[i] = _mm256_set1_epi8(bytes[size_t(i)]);
        for (; m_end - p >= RowRecorder::blockBytes; p += RowRecorder::blockBytes) {
            if (!consume(p, avx2BlockMasks<D>(p, delimiters)))
                return nullptr;
        }
        return p;
    }

    // Records one block's field starts and line ends.
    [[gnu::always_inline]] bool consume(const char *p, const BlockMasks &masks)
    {
        for (std::uint64_t cr = masks.carriageReturns; cr; cr &= cr - 1) {
            if (!carriageReturnEndsLine(p + std::countr_zero(cr)))
                return false;
        }
        m_rows.block(p, masks.separators, masks.lineFeeds);
        return true;
    }
#endif

    const TextSplitter &m_splitter;
    RowRecorder m_rows;
    const char *const m_begin;
    const char *const m_end;
};

TextSplitter::TextSplitter(const QString &delimiters, VectorUnit unit)
    : m_unit(unit)
{
#if defined(__SSE2__)
    static const bool hasAvx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi")
                                && __builtin_cpu_supports("popcnt");
    if (m_unit == VectorUnit::Best || (m_unit == VectorUnit::Avx2 && !hasAvx2))
        m_unit = hasAvx2 ? VectorUnit::Avx2 : VectorUnit::Sse2;
#else
    m_unit = VectorUnit::None;
#endif
    const QList<uint> codePoints = delimiters.toUcs4();
    for (const uint c : codePoints) {
        // Unpaired surrogates cannot occur in the text; carriage returns and line feeds are gone
        // before fields are split.
        if (c == '\r' || c == '\n' || (c >= 0xD800 && c <= 0xDFFF) || c > 0x10FFFF)
            continue;
        if (c < 0x80) {
            m_classes[c] = Delimiter;
            continue;
        }
        const char32_t character = c;
        const QByteArray utf8 = QString::fromUcs4(&character, 1).toUtf8();
        if (std::find(m_wideDelimiters.begin(), m_wideDelimiters.end(), utf8)
            == m_wideDelimiters.end())
            m_wideDelimiters.push_back(utf8);
        m_classes[static_cast<unsigned char>(utf8[0])] = DelimiterLead;
    }
    m_classes['\r'] = CarriageReturn;
    m_classes['\n'] = LineFeed;
    for (int byte = 0; byte < 256; ++byte) {
        if (m_classes[size_t(byte)] != Plain)
            m_specialBytes.push_back(static_cast<unsigned char>(byte));
    }
}

qsizetype TextSplitter::matchDelimiter(const char *at, const char *end) const
{
    for (const QByteArray &delimiter : m_wideDelimiters) {
        if (end - at >= delimiter.size()
            && std::memcmp(at, delimiter.constData(), size_t(delimiter.size())) == 0)
            return delimiter.size();
    }
    return 0;
}

Result<std::shared_ptr<const TextTable>> TextSplitter::split(DecodedText text) const
{
    std::shared_ptr<TextTable> table(new TextTable);
    TextTable::Private &t = *table->d;
    t.delimitedText = true;
    Scan scan = Pass(*this, text.utf8, text.begin, t).run();
    if (scan == Scan::CarriageReturnInLine) {
        removeCarriageReturns(text.utf8, text.begin);
        scan = Pass(*this, text.utf8, text.begin, t).run();
    }
    if (scan == Scan::TooManyFields)
        return Error{QStringLiteral("A line has more fields than the grid has columns")};
    t.text = std::move(text.utf8);
    t.starts.squeeze();
    t.rowFirst.squeeze();
    t.shortRows.squeeze();
    return std::shared_ptr<const TextTable>(std::move(table));
}

} // namespace MGImport8
