#include "wizard/workbook/xlsxworkbook.h"

#include "wizard/workbook/sheetcells.h"
#include "wizard/workbook/workbookerror.h"
#include "wizard/workbook/xmlitemstream.h"

#include <charconv>
#include <map>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

constexpr unsigned WholeParse = pugi::parse_default | pugi::parse_ws_pcdata_single;
const std::string RootRelationships = "_rels/.rels";
const std::string DefaultWorkbook = "xl/workbook.xml";

QString text(const std::string &value)
{
    return QString::fromStdString(value);
}

bool endsWith(std::string_view value, std::string_view suffix)
{
    return value.size() >= suffix.size() && value.substr(value.size() - suffix.size()) == suffix;
}

WorkbookStatus loadWhole(pugi::xml_document &document, std::string &bytes,
                         const std::string &part)
{
    const pugi::xml_parse_result result = document.load_buffer_inplace(bytes.data(), bytes.size(),
                                                                       WholeParse);
    if (!result)
        return WorkbookError{WorkbookErrorNumber::InvalidFileFormat,
                             u"The part "_s % text(part) % u" is not valid XML: "_s
                                 % text(describeParseFailure(result))};
    return true;
}

// Reads a part whole into `bytes` and parses it in place into `document`.
WorkbookStatus loadPart(ZipContainer &zip, const std::string &part, std::string &bytes,
                        pugi::xml_document &document)
{
    WorkbookResult<std::string> read = zip.read(part);
    if (!read)
        return read.failure();
    bytes = read.take();
    return loadWhole(document, bytes, part);
}

pugi::xml_node childByLocalName(const pugi::xml_node &node, std::string_view name)
{
    for (pugi::xml_node child : node.children()) {
        if (localName(child.name()) == name)
            return child;
    }
    return {};
}

// A relationship's target as a part name: relative to the folder of the source part, or from the
// package root when it starts with "/".
std::string resolveTarget(const std::string &sourcePart, std::string_view target)
{
    std::vector<std::string> segments;
    std::string_view rest = target;
    if (!target.empty() && target.front() == '/') {
        rest = target.substr(1);
    } else {
        size_t from = 0;
        for (size_t slash = sourcePart.find('/'); slash != std::string::npos;
             slash = sourcePart.find('/', from)) {
            segments.push_back(sourcePart.substr(from, slash - from));
            from = slash + 1;
        }
    }
    while (!rest.empty()) {
        const size_t slash = rest.find('/');
        const std::string_view segment = rest.substr(0, slash);
        if (segment == "..") {
            if (!segments.empty())
                segments.pop_back();
        } else if (!segment.empty() && segment != ".") {
            segments.emplace_back(segment);
        }
        if (slash == std::string_view::npos)
            break;
        rest = rest.substr(slash + 1);
    }
    std::string path;
    for (const std::string &segment : segments)
        path += (path.empty() ? "" : "/") + segment;
    return path;
}

std::string relationshipsOf(const std::string &part)
{
    const size_t slash = part.rfind('/');
    const std::string folder = slash == std::string::npos ? std::string()
                                                          : part.substr(0, slash + 1);
    const std::string name = slash == std::string::npos ? part : part.substr(slash + 1);
    return folder + "_rels/" + name + ".rels";
}

struct Relationship
{
    std::string type;
    std::string target;
};

using Relationships = std::map<std::string, Relationship>;

WorkbookResult<Relationships> readRelationships(ZipContainer &zip, const std::string &part)
{
    Relationships result;
    const std::string relsPath = relationshipsOf(part);
    const std::optional<std::string> stored = zip.find(relsPath);
    if (!stored)
        return result;
    std::string bytes;
    pugi::xml_document document;
    if (const WorkbookStatus loaded = loadPart(zip, *stored, bytes, document); !loaded)
        return loaded.failure();
    for (pugi::xml_node node : document.document_element().children()) {
        if (localName(node.name()) != "Relationship")
            continue;
        if (std::string_view(node.attribute("TargetMode").value()) == "External")
            continue;
        result[node.attribute("Id").value()] = {node.attribute("Type").value(),
                                                resolveTarget(part,
                                                              node.attribute("Target").value())};
    }
    return result;
}

// Text of a shared or inline string: its own <t>, or the <t> of each rich-text run; phonetic
// runs are left out. "_x000D_" and the like stand for the character with that code.
void appendStringItem(const pugi::xml_node &item, std::string &out)
{
    const size_t start = out.size();
    for (pugi::xml_node child : item.children()) {
        const std::string_view name = localName(child.name());
        if (name == "t") {
            out += child.child_value();
        } else if (name == "r") {
            for (pugi::xml_node part : child.children()) {
                if (localName(part.name()) == "t")
                    out += part.child_value();
            }
        }
    }
    if (out.find("_x", start) == std::string::npos)
        return;
    std::string decoded;
    for (size_t i = start; i < out.size(); ++i) {
        unsigned code = 0;
        if (out[i] == '_' && i + 6 < out.size() && out[i + 1] == 'x' && out[i + 6] == '_'
            && std::from_chars(out.data() + i + 2, out.data() + i + 6, code, 16).ptr
                   == out.data() + i + 6) {
            const QByteArray utf8 = QString(QChar(char16_t(code))).toUtf8();
            decoded.append(utf8.constData(), size_t(utf8.size()));
            i += 6;
        } else {
            decoded += out[i];
        }
    }
    out.replace(start, std::string::npos, decoded);
}

bool isTrueWord(std::string_view value)
{
    return value == "1" || value == "true";
}

// The relationship id of a sheet is its one attribute "id" in a namespace ("r:id").
std::string sheetRelationshipId(const pugi::xml_node &sheet)
{
    std::string id;
    for (pugi::xml_attribute attribute : sheet.attributes()) {
        const std::string_view name = attribute.name();
        if (name != "id" && localName(attribute.name()) == "id")
            id = attribute.value();
    }
    return id;
}

// The part of each sheet of the workbook element, in the workbook's order; empty for a sheet
// without cells (a chart or dialog sheet).
WorkbookResult<std::vector<std::string>> sheetParts(const pugi::xml_node &workbook,
                                                    const Relationships &relationships)
{
    std::vector<std::string> parts;
    for (pugi::xml_node sheet : childByLocalName(workbook, "sheets").children()) {
        if (localName(sheet.name()) != "sheet")
            continue;
        const auto found = relationships.find(sheetRelationshipId(sheet));
        if (found == relationships.end())
            return WorkbookError{WorkbookErrorNumber::InvalidFileFormat,
                                 u"The sheet \""_s
                                     % QString::fromUtf8(sheet.attribute("name").value())
                                     % u"\" names no part of the workbook"_s};
        const bool cells = endsWith(found->second.type, "/worksheet")
                           || endsWith(found->second.type, "/xlMacrosheet");
        parts.push_back(cells ? found->second.target : std::string());
    }
    return parts;
}

} // namespace

XlsxWorkbook::XlsxWorkbook(ZipContainer zip)
    : m_zip(std::move(zip))
{}

bool XlsxWorkbook::recognise(const ZipContainer &zip)
{
    return zip.find(RootRelationships) || zip.find(DefaultWorkbook);
}

WorkbookStatus XlsxWorkbook::load()
{
    const WorkbookResult<Relationships> root = readRelationships(m_zip, "");
    if (!root)
        return root.failure();
    m_workbookPath = DefaultWorkbook;
    for (const auto &[id, relationship] : root.value()) {
        if (endsWith(relationship.type, "/officeDocument")) {
            m_workbookPath = relationship.target;
            break;
        }
    }
    if (endsWith(m_workbookPath, ".bin"))
        return WorkbookError{WorkbookErrorNumber::ReaderMissing,
                             u"Binary workbooks (.xlsb) have no reader here; save the workbook as "
                             ".xlsx"_s};
    const std::optional<std::string> stored = m_zip.find(m_workbookPath);
    if (!stored)
        return WorkbookError{WorkbookErrorNumber::InvalidFileFormat,
                             u"The workbook part "_s % text(m_workbookPath) % u" is missing"_s};
    m_workbookPath = *stored;
    std::string bytes;
    pugi::xml_document document;
    if (const WorkbookStatus loaded = loadPart(m_zip, m_workbookPath, bytes, document); !loaded)
        return loaded;
    const pugi::xml_node workbook = document.document_element();
    if (localName(workbook.name()) != "workbook")
        return WorkbookError{WorkbookErrorNumber::InvalidFileFormat,
                             u"The part "_s % text(m_workbookPath) % u" holds no workbook"_s};
    if (isTrueWord(childByLocalName(workbook, "workbookPr").attribute("date1904").value()))
        m_dateSystem = CellValues::DateSystem::From1904;

    const WorkbookResult<Relationships> relationships = readRelationships(m_zip, m_workbookPath);
    if (!relationships)
        return relationships.failure();
    for (const auto &[id, relationship] : relationships.value()) {
        if (endsWith(relationship.type, "/sharedStrings"))
            m_sharedStringsPath = relationship.target;
        else if (endsWith(relationship.type, "/styles")) {
            if (const WorkbookStatus styles = readStyles(relationship.target); !styles)
                return styles;
        }
    }
    const WorkbookResult<std::vector<std::string>> parts = sheetParts(workbook,
                                                                      relationships.value());
    if (!parts)
        return parts.failure();
    for (const std::string &part : parts.value())
        m_sheets.push_back({part});
    return true;
}

WorkbookStatus XlsxWorkbook::readStyles(const std::string &path)
{
    const std::optional<std::string> stored = m_zip.find(path);
    if (!stored)
        return true;
    std::string bytes;
    pugi::xml_document document;
    if (const WorkbookStatus loaded = loadPart(m_zip, *stored, bytes, document); !loaded)
        return loaded;
    const pugi::xml_node styleSheet = document.document_element();
    std::map<int, CellValues::NumberKind> custom;
    for (pugi::xml_node format : childByLocalName(styleSheet, "numFmts").children()) {
        if (localName(format.name()) == "numFmt")
            custom[format.attribute("numFmtId").as_int(-1)] = CellValues::formatCodeKind(
                format.attribute("formatCode").value());
    }
    for (pugi::xml_node xf : childByLocalName(styleSheet, "cellXfs").children()) {
        if (localName(xf.name()) != "xf")
            continue;
        const int id = xf.attribute("numFmtId").as_int(0);
        const auto found = custom.find(id);
        m_styleKinds.push_back(found != custom.end() ? found->second
                                                     : CellValues::builtinFormatKind(id));
    }
    return true;
}

WorkbookStatus XlsxWorkbook::readSharedStrings(const std::string &path)
{
    m_sharedStringsRead = true;
    const std::optional<std::string> stored = m_zip.find(path);
    if (!stored)
        return true;
    XmlItemStream stream(*stored, "sst", "si",
                         [&](const pugi::xml_document &fragment) -> WorkbookStatus {
        for (pugi::xml_node item : fragment.children()) {
            if (localName(item.name()) != "si")
                continue;
            appendStringItem(item, m_strings);
            m_stringEnds.push_back(m_strings.size());
        }
        if (m_strings.size() > SheetLimits::MaxTextBytes)
            return WorkbookError{WorkbookErrorNumber::TooLarge,
                                 u"The workbook's shared strings are larger than can be "
                                 "imported"_s};
        return true;
    });
    if (const WorkbookStatus streamed
        = m_zip.stream(*stored, [&](std::string_view piece) { return stream.feed(piece); });
        !streamed)
        return streamed;
    return stream.finish();
}

WorkbookResult<std::string_view> XlsxWorkbook::sharedString(const std::string &path,
                                                             std::string_view index) const
{
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(index.data(), index.data() + index.size(), number);
    if (error != std::errc() || end != index.data() + index.size() || number >= m_stringEnds.size())
        return WorkbookError{WorkbookErrorNumber::InvalidFileFormat,
                             u"A cell of "_s % text(path) % u" refers to shared string "_s
                                 % QString::fromUtf8(index.data(), qsizetype(index.size()))
                                 % u", but the workbook has "_s
                                 % QString::number(m_stringEnds.size())};
    const std::uint64_t begin = number == 0 ? 0 : m_stringEnds[number - 1];
    return std::string_view(m_strings).substr(begin, m_stringEnds[number] - begin);
}

WorkbookResult<std::string_view> XlsxWorkbook::cellText(const std::string &path,
                                                        const pugi::xml_node &cell,
                                                        std::string &value) const
{
    const std::string_view type = attributeByLocalName(cell, "t").value();
    if (type == "inlineStr") {
        value.clear();
        appendStringItem(childByLocalName(cell, "is"), value);
        return std::string_view(value);
    }
    const std::string_view raw = childByLocalName(cell, "v").child_value();
    if (type == "s")
        return sharedString(path, raw);
    if (type == "str" || type == "e")
        return raw;
    if (type == "b") {
        value = raw == "1" ? "TRUE" : raw == "0" ? "FALSE" : std::string(raw);
        return std::string_view(value);
    }
    if (type == "d") {
        value = CellValues::isoDateText(raw);
        return std::string_view(value);
    }
    if (raw.empty())
        return raw;
    double number = 0;
    const auto [end, error] = std::from_chars(raw.data(), raw.data() + raw.size(), number);
    if (error != std::errc() || end != raw.data() + raw.size())
        return raw;
    const pugi::xml_attribute style = attributeByLocalName(cell, "s");
    const unsigned index = style.as_uint(0);
    const CellValues::NumberKind kind = index < m_styleKinds.size()
                                            ? m_styleKinds[index]
                                            : CellValues::NumberKind::General;
    value = CellValues::serialDateText(number, kind, m_dateSystem);
    return std::string_view(value);
}

namespace {

// Merged areas follow the cells: the <mergeCells> element, in whatever the item stream left after
// the rows, is parsed on its own.
void addMergedAreas(std::string &tail, SheetCells &cells)
{
    const size_t open = tail.find("mergeCells");
    if (open == std::string::npos)
        return;
    size_t from = open;
    while (from > 0 && tail[from - 1] != '<' && tail[from - 1] != '>')
        --from;
    const std::string prefix = tail.substr(from, open - from);
    const std::string closing = "</" + prefix + "mergeCells>";
    const size_t close = tail.find(closing, open);
    if (from == 0 || tail[from - 1] != '<' || close == std::string::npos)
        return;
    pugi::xml_document merges;
    if (!merges.load_buffer_inplace(tail.data() + from - 1, close + closing.size() - (from - 1),
                                    pugi::parse_default | pugi::parse_fragment))
        return;
    for (pugi::xml_node merge : merges.first_child().children()) {
        SheetRange range;
        if (localName(merge.name()) == "mergeCell"
            && parseRangeReference(merge.attribute("ref").value(), range))
            cells.addMerge(range);
    }
}

} // namespace

// A cell sits at its own reference, or just after the cell before it in the row.
WorkbookStatus XlsxWorkbook::addRowCells(const std::string &path, const pugi::xml_node &row,
                                         std::uint32_t rowIndex, SheetCells &cells,
                                         std::string &scratch) const
{
    std::uint32_t nextColumn = 0;
    for (pugi::xml_node cell : row.children()) {
        if (localName(cell.name()) != "c")
            continue;
        std::uint32_t cellRow = rowIndex;
        std::uint32_t column = nextColumn;
        const pugi::xml_attribute reference = attributeByLocalName(cell, "r");
        if (reference && !parseCellReference(reference.value(), cellRow, column))
            return WorkbookError{WorkbookErrorNumber::InvalidFileFormat,
                                 u"A cell of "_s % text(path) % u" has the bad reference \""_s
                                     % QString::fromUtf8(reference.value()) % u"\""_s};
        nextColumn = column + 1;
        const WorkbookResult<std::string_view> value = cellText(path, cell, scratch);
        if (!value)
            return value.failure();
        if (const WorkbookStatus added = cells.add(cellRow, column, value.value()); !added)
            return added;
    }
    return true;
}

// The rows come in batches from the part as it is unpacked; a row without a number follows the
// one before it.
WorkbookResult<std::shared_ptr<const TextTable>> XlsxWorkbook::readSheet(int position)
{
    const std::string &path = m_sheets.at(size_t(position)).path;
    if (path.empty())
        return TextTable::Builder().finish();
    if (!m_sharedStringsRead && !m_sharedStringsPath.empty()) {
        if (const WorkbookStatus strings = readSharedStrings(m_sharedStringsPath); !strings)
            return strings.failure();
    }
    const std::optional<std::string> stored = m_zip.find(path);
    if (!stored)
        return WorkbookError{WorkbookErrorNumber::InvalidFileFormat,
                             u"The worksheet part "_s % text(path) % u" is missing"_s};

    SheetCells cells;
    std::uint32_t nextRow = 0;
    std::string scratch;
    XmlItemStream stream(*stored, "sheetData", "row",
                         [&](const pugi::xml_document &fragment) -> WorkbookStatus {
                             for (pugi::xml_node row : fragment.children()) {
                                 if (localName(row.name()) != "row")
                                     continue;
                                 const unsigned number = attributeByLocalName(row, "r").as_uint(0);
                                 const std::uint32_t index = number > 0 ? number - 1 : nextRow;
                                 nextRow = index + 1;
                                 if (const WorkbookStatus added = addRowCells(path, row, index,
                                                                              cells, scratch);
                                     !added)
                                     return added;
                             }
                             return true;
                         });
    if (const WorkbookStatus streamed
        = m_zip.stream(*stored, [&](std::string_view piece) { return stream.feed(piece); });
        !streamed)
        return streamed.failure();
    if (const WorkbookStatus finished = stream.finish(); !finished)
        return finished.failure();
    addMergedAreas(stream.tail(), cells);
    return cells.finish();
}

} // namespace MGImport8
