#include "wizard/workbook/xlsworkbook.h"

#include "wizard/workbook/biffworkbook.h"
#include "wizard/workbook/cellvalues.h"
#include "wizard/workbook/sheetcells.h"

#include <QFile>

#include <charconv>
#include <cmath>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

// Whole numbers below this print the same as the General format shows them, without the
// general formatting's search for the shortest digits.
constexpr double PlainIntegerLimit = 1e15;

// Turns the parser's typed cells into the texts every workbook format yields.
class CellTexts : public BiffCellSink
{
public:
    CellTexts(SheetCells &cells, const BiffWorkbook &book)
        : m_cells(cells)
        , m_book(book)
        , m_system(book.dates1904() ? CellValues::DateSystem::From1904
                                    : CellValues::DateSystem::From1900)
    {}

    void number(std::uint32_t row, std::uint32_t column, double value, std::uint32_t format) override
    {
        if (!m_kindsKnown)
            learnKinds();
        const CellValues::NumberKind kind = format < m_kinds.size()
                                                ? m_kinds[format]
                                                : CellValues::NumberKind::General;
        if (kind == CellValues::NumberKind::General && value == std::trunc(value)
            && std::fabs(value) < PlainIntegerLimit) {
            char digits[24];
            const auto end
                = std::to_chars(digits, digits + sizeof digits, static_cast<long long>(value)).ptr;
            add(row, column, std::string_view(digits, std::size_t(end - digits)));
            return;
        }
        add(row, column, CellValues::serialDateText(value, kind, m_system));
    }
    void text(std::uint32_t row, std::uint32_t column, std::string_view utf8) override
    {
        add(row, column, utf8);
    }
    void boolean(std::uint32_t row, std::uint32_t column, bool value) override
    {
        add(row, column, value ? "TRUE" : "FALSE");
    }
    void merge(std::uint32_t firstRow, std::uint32_t lastRow, std::uint32_t firstColumn,
               std::uint32_t lastColumn) override
    {
        m_cells.addMerge(SheetRange{firstRow, firstColumn, lastRow, lastColumn});
    }

    /// Why a cell was refused, once one was.
    const std::optional<WorkbookError> &failure() const { return m_failure; }

private:
    void add(std::uint32_t row, std::uint32_t column, std::string_view text)
    {
        if (stopped())
            return;
        if (const WorkbookStatus added = m_cells.add(row, column, text); !added) {
            m_failure = added.failure();
            stop();
        }
    }

    // Once per sheet: its formats are known by the time its first number comes.
    void learnKinds()
    {
        m_kindsKnown = true;
        for (const BiffNumberFormat &format : m_book.numberFormats())
            m_kinds.push_back(format.hasCode ? CellValues::formatCodeKind(format.code)
                                             : CellValues::builtinFormatKind(format.builtinId));
    }

    SheetCells &m_cells;
    const BiffWorkbook &m_book;
    CellValues::DateSystem m_system;
    std::vector<CellValues::NumberKind> m_kinds;
    bool m_kindsKnown = false;
    std::optional<WorkbookError> m_failure;
};

WorkbookError failure(const BiffError &error)
{
    switch (error.problem) {
    case BiffProblem::Encrypted:
    case BiffProblem::NotWorkbook:
        return {WorkbookErrorNumber::ReaderMissing, error.description};
    case BiffProblem::NoSuchSheet:
        return {WorkbookErrorNumber::SubscriptOutOfRange, error.description};
    case BiffProblem::Damaged:
        break;
    }
    return {WorkbookErrorNumber::InvalidFileFormat, error.description};
}

} // namespace

WorkbookResult<std::shared_ptr<const TextTable>> XlsWorkbook::readSheet(const QString &path,
                                                                        int position)
{
    const WorkbookError tooLarge{WorkbookErrorNumber::TooLarge,
                                 u"The workbook is larger than %1 bytes"_s.arg(
                                     XlsLimits::MaxFileBytes)};
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return WorkbookError{WorkbookErrorNumber::DeviceIo, file.errorString()};
    if (file.size() > XlsLimits::MaxFileBytes)
        return tooLarge;
    // Mapped where the file system allows it, read whole where not (pipes, some /proc files).
    QByteArray copy;
    std::string_view bytes;
    if (file.size() > 0) {
        if (const uchar *mapped = file.map(0, file.size()))
            bytes = std::string_view(reinterpret_cast<const char *>(mapped),
                                     std::size_t(file.size()));
    }
    if (bytes.empty()) {
        copy = file.read(XlsLimits::MaxFileBytes + 1);
        if (copy.size() > XlsLimits::MaxFileBytes)
            return tooLarge;
        bytes = std::string_view(copy.constData(), std::size_t(copy.size()));
    }

    return readSheet(bytes, position);
}

WorkbookResult<std::shared_ptr<const TextTable>> XlsWorkbook::readSheet(std::string_view bytes,
                                                                        int position)
{
    BiffWorkbook book;
    if (const std::optional<BiffError> error = book.open(bytes))
        return failure(*error);
    SheetCells cells;
    CellTexts texts(cells, book);
    const std::optional<BiffError> error = book.readSheet(position, texts);
    if (texts.failure())
        return *texts.failure();
    if (error)
        return failure(*error);
    return cells.finish();
}

} // namespace MGImport8
