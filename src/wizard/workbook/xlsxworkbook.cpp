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

void loadWhole(pugi::xml_document &document, std::string &bytes, const std::string &part)
{
    const pugi::xml_parse_result result = document.load_buffer_inplace(bytes.data(), bytes.size(),
                                                                       WholeParse);
    if (!result)
        failWorkbook(WorkbookErrorNumber::InvalidFileFormat,
                     u"The part "_s % text(part) % u" is not valid XML: "_s
                         % text(describeParseFailure(result)));
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

std::map<std::string, Relationship> readRelationships(ZipContainer &zip, const std::string &part)
{
    std::map<std::string, Relationship> result;
    const std::string relsPath = relationshipsOf(part);
    const std::optional<std::string> stored = zip.find(relsPath);
    if (!stored)
        return result;
    std::string bytes = zip.read(*stored);
    pugi::xml_document document;
    loadWhole(document, bytes, relsPath);
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

} // namespace

XlsxWorkbook::XlsxWorkbook(ZipContainer zip)
    : m_zip(std::move(zip))
{
    readWorkbookPart();
}

bool XlsxWorkbook::recognise(const ZipContainer &zip)
{
    return zip.find(RootRelationships) || zip.find(DefaultWorkbook);
}

void XlsxWorkbook::readWorkbookPart()
{
    m_workbookPath = DefaultWorkbook;
    for (const auto &[id, relationship] : readRelationships(m_zip, "")) {
        if (endsWith(relationship.type, "/officeDocument")) {
            m_workbookPath = relationship.target;
            break;
        }
    }
    if (endsWith(m_workbookPath, ".bin"))
        failWorkbook(WorkbookErrorNumber::ReaderMissing,
                     u"Binary workbooks (.xlsb) have no reader here; save the workbook as .xlsx"_s);
    const std::optional<std::string> stored = m_zip.find(m_workbookPath);
    if (!stored)
        failWorkbook(WorkbookErrorNumber::InvalidFileFormat,
                     u"The workbook part "_s % text(m_workbookPath) % u" is missing"_s);
    m_workbookPath = *stored;
    std::string bytes = m_zip.read(m_workbookPath);
    pugi::xml_document document;
    loadWhole(document, bytes, m_workbookPath);
    const pugi::xml_node workbook = document.document_element();
    if (localName(workbook.name()) != "workbook")
        failWorkbook(WorkbookErrorNumber::InvalidFileFormat,
                     u"The part "_s % text(m_workbookPath) % u" holds no workbook"_s);
    if (isTrueWord(childByLocalName(workbook, "workbookPr").attribute("date1904").value()))
        m_dateSystem = CellValues::DateSystem::From1904;

    const std::map<std::string, Relationship> relationships = readRelationships(m_zip,
                                                                                m_workbookPath);
    for (const auto &[id, relationship] : relationships) {
        if (endsWith(relationship.type, "/sharedStrings"))
            m_sharedStringsPath = relationship.target;
        else if (endsWith(relationship.type, "/styles"))
            readStyles(relationship.target);
    }
    for (pugi::xml_node sheet : childByLocalName(workbook, "sheets").children()) {
        if (localName(sheet.name()) != "sheet")
            continue;
        // The relationship id is the one attribute "id" in a namespace ("r:id").
        std::string id;
        for (pugi::xml_attribute attribute : sheet.attributes()) {
            const std::string_view name = attribute.name();
            if (name != "id" && localName(attribute.name()) == "id")
                id = attribute.value();
        }
        const auto found = relationships.find(id);
        if (found == relationships.end())
            failWorkbook(WorkbookErrorNumber::InvalidFileFormat,
                         u"The sheet \""_s % QString::fromUtf8(sheet.attribute("name").value())
                             % u"\" names no part of the workbook"_s);
        const bool cells = endsWith(found->second.type, "/worksheet")
                           || endsWith(found->second.type, "/xlMacrosheet");
        m_sheets.push_back({cells ? found->second.target : std::string()});
    }
}

void XlsxWorkbook::readStyles(const std::string &path)
{
    const std::optional<std::string> stored = m_zip.find(path);
    if (!stored)
        return;
    std::string bytes = m_zip.read(*stored);
    pugi::xml_document document;
    loadWhole(document, bytes, path);
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
}

void XlsxWorkbook::readSharedStrings(const std::string &path)
{
    m_sharedStringsRead = true;
    const std::optional<std::string> stored = m_zip.find(path);
    if (!stored)
        return;
    XmlItemStream stream(*stored, "sst", "si", [&](const pugi::xml_document &fragment) {
        for (pugi::xml_node item : fragment.children()) {
            if (localName(item.name()) != "si")
                continue;
            appendStringItem(item, m_strings);
            m_stringEnds.push_back(m_strings.size());
        }
        if (m_strings.size() > SheetLimits::MaxTextBytes)
            failWorkbook(WorkbookErrorNumber::TooLarge,
                         u"The workbook's shared strings are larger than can be imported"_s);
    });
    m_zip.stream(*stored, [&](std::string_view piece) { stream.feed(piece); });
    stream.finish();
}

std::string_view XlsxWorkbook::sharedString(const std::string &path, std::string_view index) const
{
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(index.data(), index.data() + index.size(), number);
    if (error != std::errc() || end != index.data() + index.size() || number >= m_stringEnds.size())
        failWorkbook(WorkbookErrorNumber::InvalidFileFormat,
                     u"A cell of "_s % text(path) % u" refers to shared string "_s
                         % QString::fromUtf8(index.data(), qsizetype(index.size()))
                         % u", but the workbook has "_s % QString::number(m_stringEnds.size()));
    const std::uint64_t begin = number == 0 ? 0 : m_stringEnds[number - 1];
    return std::string_view(m_strings).substr(begin, m_stringEnds[number] - begin);
}

std::string_view XlsxWorkbook::cellText(const std::string &path, const pugi::xml_node &cell,
                                        std::string &value) const
{
    const std::string_view type = attributeByLocalName(cell, "t").value();
    if (type == "inlineStr") {
        value.clear();
        appendStringItem(childByLocalName(cell, "is"), value);
        return value;
    }
    const std::string_view raw = childByLocalName(cell, "v").child_value();
    if (type == "s")
        return sharedString(path, raw);
    if (type == "str" || type == "e")
        return raw;
    if (type == "b") {
        value = raw == "1" ? "TRUE" : raw == "0" ? "FALSE" : std::string(raw);
        return value;
    }
    if (type == "d") {
        value = CellValues::isoDateText(raw);
        return value;
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
    return value;
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
void XlsxWorkbook::addRowCells(const std::string &path, const pugi::xml_node &row,
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
            failWorkbook(WorkbookErrorNumber::InvalidFileFormat,
                         u"A cell of "_s % text(path) % u" has the bad reference \""_s
                             % QString::fromUtf8(reference.value()) % u"\""_s);
        nextColumn = column + 1;
        cells.add(cellRow, column, cellText(path, cell, scratch));
    }
}

// The rows come in batches from the part as it is unpacked; a row without a number follows the
// one before it.
std::shared_ptr<const TextTable> XlsxWorkbook::readSheet(int position)
{
    const std::string &path = m_sheets.at(size_t(position)).path;
    if (path.empty())
        return TextTable::Builder().finish();
    if (!m_sharedStringsRead && !m_sharedStringsPath.empty())
        readSharedStrings(m_sharedStringsPath);
    const std::optional<std::string> stored = m_zip.find(path);
    if (!stored)
        failWorkbook(WorkbookErrorNumber::InvalidFileFormat,
                     u"The worksheet part "_s % text(path) % u" is missing"_s);

    SheetCells cells;
    std::uint32_t nextRow = 0;
    std::string scratch;
    XmlItemStream stream(*stored, "sheetData", "row", [&](const pugi::xml_document &fragment) {
        for (pugi::xml_node row : fragment.children()) {
            if (localName(row.name()) != "row")
                continue;
            const unsigned rowNumber = attributeByLocalName(row, "r").as_uint(0);
            const std::uint32_t rowIndex = rowNumber > 0 ? rowNumber - 1 : nextRow;
            nextRow = rowIndex + 1;
            addRowCells(path, row, rowIndex, cells, scratch);
        }
    });
    m_zip.stream(*stored, [&](std::string_view piece) { stream.feed(piece); });
    stream.finish();
    addMergedAreas(stream.tail(), cells);
    return cells.finish();
}

} // namespace MGImport8
