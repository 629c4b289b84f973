#include "wizard/workbook/odsworkbook.h"

#include "wizard/workbook/cellvalues.h"
#include "wizard/workbook/sheetcells.h"
#include "wizard/workbook/xmlitemstream.h"

#include <charconv>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

const std::string ContentPart = "content.xml";
const std::string MimetypePart = "mimetype";
const std::string ManifestPart = "META-INF/manifest.xml";
constexpr std::string_view SpreadsheetMimetype = "application/vnd.oasis.opendocument.spreadsheet";
/// Row groups nest; deeper nesting than this is not followed.
constexpr int MaxGroupDepth = 32;
/// Spans inside spans in a paragraph; deeper nesting than this is not read.
constexpr int MaxTextDepth = 32;
/// "text:s" stands for this many spaces at most.
constexpr unsigned MaxSpaces = 1024;

unsigned repeatCount(const pugi::xml_node &node, std::string_view attribute)
{
    const unsigned count = attributeByLocalName(node, attribute).as_uint(1);
    return count == 0 ? 1 : count;
}

void appendText(const pugi::xml_node &node, std::string &out, int depth)
{
    for (pugi::xml_node child : node.children()) {
        if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) {
            out += child.value();
            continue;
        }
        const std::string_view name = localName(child.name());
        if (name == "s")
            out.append(std::min(repeatCount(child, "c"), MaxSpaces), ' ');
        else if (name == "tab")
            out += '\t';
        else if (name == "line-break")
            out += '\n';
        else if (name == "annotation" || name == "note")
            continue;
        else if (depth < MaxTextDepth)
            appendText(child, out, depth + 1);
    }
}

// The cell as the sheet shows it, by its value type; a cell without one shows its paragraphs.
std::string cellText(const pugi::xml_node &cell)
{
    const std::string_view type = attributeByLocalName(cell, "value-type").value();
    if (type == "float" || type == "percentage" || type == "currency") {
        const std::string_view raw = attributeByLocalName(cell, "value").value();
        double number = 0;
        const auto [end, error] = std::from_chars(raw.data(), raw.data() + raw.size(), number);
        if (error == std::errc() && end == raw.data() + raw.size())
            return CellValues::generalNumber(number);
    } else if (type == "date") {
        return CellValues::isoDateText(attributeByLocalName(cell, "date-value").value());
    } else if (type == "time") {
        return CellValues::isoDurationText(attributeByLocalName(cell, "time-value").value());
    } else if (type == "boolean") {
        const std::string_view value = attributeByLocalName(cell, "boolean-value").value();
        return value == "true" || value == "1" ? "TRUE" : "FALSE";
    } else if (type == "string") {
        const pugi::xml_attribute value = attributeByLocalName(cell, "string-value");
        if (value)
            return value.value();
    }
    std::string text;
    bool first = true;
    for (pugi::xml_node paragraph : cell.children()) {
        if (localName(paragraph.name()) != "p" && localName(paragraph.name()) != "h")
            continue;
        if (!first)
            text += '\n';
        first = false;
        appendText(paragraph, text, 0);
    }
    return text;
}

class TableWalker
{
public:
    explicit TableWalker(SheetCells &cells)
        : m_cells(cells)
    {}

    WorkbookStatus walk(const pugi::xml_node &parent, int depth)
    {
        for (pugi::xml_node child : parent.children()) {
            const std::string_view name = localName(child.name());
            WorkbookStatus walked = true;
            if (name == "table-row")
                walked = row(child);
            else if ((name == "table-row-group" || name == "table-header-rows"
                      || name == "table-rows")
                     && depth < MaxGroupDepth)
                walked = walk(child, depth + 1);
            if (!walked)
                return walked;
        }
        return true;
    }

private:
    WorkbookStatus row(const pugi::xml_node &node)
    {
        const std::uint64_t repeat = repeatCount(node, "number-rows-repeated");
        std::uint64_t column = 0;
        for (pugi::xml_node cell : node.children()) {
            const std::string_view name = localName(cell.name());
            if (name != "table-cell" && name != "covered-table-cell")
                continue;
            const std::uint64_t columns = repeatCount(cell, "number-columns-repeated");
            if (name == "table-cell") {
                const std::string text = cellText(cell);
                if (!text.empty()) {
                    if (const WorkbookStatus placed = place(m_row, column, repeat, columns, text);
                        !placed)
                        return placed;
                }
            }
            column += columns;
        }
        m_row += repeat;
        return true;
    }

    // A value repeated over rows and columns becomes that many cells, within the grid's limit.
    WorkbookStatus place(std::uint64_t row, std::uint64_t column, std::uint64_t rows,
                         std::uint64_t columns, const std::string &text)
    {
        if (rows * columns > SheetLimits::MaxGridCells - m_cells.cellCount())
            return WorkbookError{WorkbookErrorNumber::GridTooLarge,
                                 u"The worksheet's used area holds more than %1 cells, more than "
                                 "can be imported"_s.arg(SheetLimits::MaxGridCells)};
        if (row + rows - 1 > SheetLimits::MaxRow || column + columns - 1 > SheetLimits::MaxColumn)
            return WorkbookError{WorkbookErrorNumber::InvalidFileFormat,
                                 u"A cell lies outside the sheet (row %1, column %2)"_s
                                     .arg(row + rows)
                                     .arg(column + columns)};
        for (std::uint64_t r = row; r < row + rows; ++r) {
            for (std::uint64_t c = column; c < column + columns; ++c) {
                if (const WorkbookStatus added = m_cells.add(std::uint32_t(r), std::uint32_t(c),
                                                             text);
                    !added)
                    return added;
            }
        }
        return true;
    }

    SheetCells &m_cells;
    std::uint64_t m_row = 0;
};

} // namespace

OdsWorkbook::OdsWorkbook(ZipContainer zip)
    : m_zip(std::move(zip))
{}

WorkbookStatus OdsWorkbook::load()
{
    if (const std::optional<std::string> manifest = m_zip.find(ManifestPart)) {
        const WorkbookResult<std::string> text = m_zip.read(*manifest);
        if (!text)
            return text.failure();
        if (text.value().find("encryption-data") != std::string::npos)
            return WorkbookError{WorkbookErrorNumber::ReaderMissing,
                                 u"The workbook is encrypted; it cannot be read without its "
                                 "password"_s};
    }
    const std::optional<std::string> stored = m_zip.find(ContentPart);
    if (!stored)
        return WorkbookError{WorkbookErrorNumber::InvalidFileFormat,
                             u"The spreadsheet's content part is missing"_s};
    WorkbookResult<std::string> content = m_zip.read(*stored);
    if (!content)
        return content.failure();
    m_content = content.take();
    const pugi::xml_parse_result result
        = m_document.load_buffer_inplace(m_content.data(), m_content.size(),
                                         pugi::parse_default | pugi::parse_ws_pcdata_single);
    if (!result)
        return WorkbookError{WorkbookErrorNumber::InvalidFileFormat,
                             u"The part content.xml is not valid XML: "_s
                                 % QString::fromStdString(describeParseFailure(result))};
    pugi::xml_node spreadsheet;
    for (pugi::xml_node body : m_document.document_element().children()) {
        if (localName(body.name()) != "body")
            continue;
        for (pugi::xml_node kind : body.children()) {
            if (localName(kind.name()) == "spreadsheet")
                spreadsheet = kind;
        }
    }
    if (!spreadsheet)
        return WorkbookError{WorkbookErrorNumber::InvalidFileFormat,
                             u"The document holds no spreadsheet"_s};
    for (pugi::xml_node table : spreadsheet.children()) {
        if (localName(table.name()) == "table")
            m_tables.push_back(table);
    }
    return true;
}

WorkbookResult<bool> OdsWorkbook::recognise(ZipContainer &zip)
{
    if (const std::optional<std::string> mimetype = zip.find(MimetypePart)) {
        const WorkbookResult<std::string> type = zip.read(*mimetype);
        if (!type)
            return type.failure();
        return type.value().starts_with(SpreadsheetMimetype);
    }
    return zip.find(ContentPart).has_value() && !zip.find("xl/workbook.xml");
}

WorkbookResult<std::shared_ptr<const TextTable>> OdsWorkbook::readSheet(int position)
{
    SheetCells cells;
    if (const WorkbookStatus walked = TableWalker(cells).walk(m_tables.at(size_t(position)), 0);
        !walked)
        return walked.failure();
    return cells.finish();
}

} // namespace MGImport8
