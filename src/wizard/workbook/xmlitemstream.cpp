#include "wizard/workbook/xmlitemstream.h"

#include <QString>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

constexpr unsigned FragmentParse = pugi::parse_default | pugi::parse_fragment
                                   | pugi::parse_ws_pcdata_single;
// While seeking, this much of the end is kept in case the start tag is cut in two.
constexpr std::size_t SeekOverlap = 1024;

bool isNameChar(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_'
           || c == '-' || c == '.' || c == ':';
}

} // namespace

std::string_view localName(const char *name)
{
    const std::string_view full(name);
    const size_t colon = full.rfind(':');
    return colon == std::string_view::npos ? full : full.substr(colon + 1);
}

pugi::xml_attribute attributeByLocalName(const pugi::xml_node &node, std::string_view name)
{
    for (pugi::xml_attribute attribute : node.attributes()) {
        if (localName(attribute.name()) == name)
            return attribute;
    }
    return {};
}

std::string describeParseFailure(const pugi::xml_parse_result &result)
{
    return std::string(result.description()) + " at byte " + std::to_string(result.offset);
}

XmlItemStream::XmlItemStream(std::string part, std::string_view container, std::string_view item,
                             Consumer consume)
    : m_part(std::move(part))
    , m_container(container)
    , m_item(item)
    , m_consume(std::move(consume))
{}

WorkbookError XmlItemStream::broken(const std::string &why) const
{
    return {WorkbookErrorNumber::InvalidFileFormat,
            u"The part "_s % QString::fromStdString(m_part) % u" is not valid XML: "_s
                % QString::fromStdString(why)};
}

WorkbookStatus XmlItemStream::feed(std::string_view piece)
{
    if (m_phase == Phase::Tail) {
        if (m_tail.size() < XmlLimits::MaxTailBytes)
            m_tail.append(piece.substr(0, XmlLimits::MaxTailBytes - m_tail.size()));
        return true;
    }
    m_buffer.append(piece);
    if (m_phase == Phase::Seeking)
        seekContainer();
    if (m_phase == Phase::Items && m_buffer.size() >= XmlLimits::BatchBytes)
        return takeItems(false);
    return true;
}

WorkbookStatus XmlItemStream::finish()
{
    if (m_phase == Phase::Items) {
        if (const WorkbookStatus taken = takeItems(true); !taken)
            return taken;
    }
    if (m_phase == Phase::Items)
        return broken("the element " + m_container + " is not closed");
    m_buffer.clear();
    return true;
}

// Finds "<container" or "<prefix:container" as a start tag and keeps only what follows it.
void XmlItemStream::seekContainer()
{
    size_t from = 0;
    for (;;) {
        const size_t at = m_buffer.find(m_container, from);
        if (at == std::string::npos)
            break;
        from = at + 1;
        const size_t after = at + m_container.size();
        size_t start = at;
        while (start > 0 && isNameChar(m_buffer[start - 1]) && m_buffer[start - 1] != '<')
            --start;
        if (start == 0 || m_buffer[start - 1] != '<')
            continue;
        const std::string prefix = m_buffer.substr(start, at - start);
        if (!prefix.empty() && prefix.back() != ':')
            continue;
        if (after >= m_buffer.size())
            return; // the tag is cut; wait for more
        const char next = m_buffer[after];
        if (next != '>' && next != '/' && next != ' ' && next != '\t' && next != '\r'
            && next != '\n')
            continue;
        const size_t close = m_buffer.find('>', after);
        if (close == std::string::npos)
            return;
        m_itemEnd = "</" + prefix + m_item + ">";
        m_containerEnd = "</" + prefix + m_container + ">";
        if (m_buffer[close - 1] == '/') {
            m_phase = Phase::Tail; // an empty container
            m_tail = m_buffer.substr(close + 1, XmlLimits::MaxTailBytes);
            m_buffer.clear();
        } else {
            m_phase = Phase::Items;
            m_buffer.erase(0, close + 1);
        }
        return;
    }
    if (m_buffer.size() > SeekOverlap)
        m_buffer.erase(0, m_buffer.size() - SeekOverlap);
}

WorkbookStatus XmlItemStream::takeItems(bool last)
{
    const size_t end = m_buffer.find(m_containerEnd);
    if (end != std::string::npos) {
        if (const WorkbookStatus parsed = parseBatch(end); !parsed)
            return parsed;
        m_phase = Phase::Tail;
        m_tail = m_buffer.substr(end + m_containerEnd.size(), XmlLimits::MaxTailBytes);
        m_buffer.clear();
        return true;
    }
    if (last)
        return true;
    const size_t itemEnd = m_buffer.rfind(m_itemEnd);
    if (itemEnd == std::string::npos) {
        if (m_buffer.size() > XmlLimits::MaxItemBytes)
            return broken("an element " + m_item + " is larger than "
                          + std::to_string(XmlLimits::MaxItemBytes / (1024 * 1024)) + " MiB");
        return true;
    }
    const size_t length = itemEnd + m_itemEnd.size();
    if (const WorkbookStatus parsed = parseBatch(length); !parsed)
        return parsed;
    m_buffer.erase(0, length);
    return true;
}

WorkbookStatus XmlItemStream::parseBatch(std::size_t length)
{
    if (length == 0)
        return true;
    pugi::xml_document fragment;
    // The buffer is parsed in place; what is parsed is erased right after.
    const pugi::xml_parse_result result = fragment.load_buffer_inplace(m_buffer.data(), length,
                                                                       FragmentParse,
                                                                       pugi::encoding_utf8);
    if (!result)
        return broken(describeParseFailure(result));
    return m_consume(fragment);
}

} // namespace MGImport8
