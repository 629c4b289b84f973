#pragma once

#include "wizard/workbook/workbookerror.h"

#include <pugixml.hpp>

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace MGImport8 {

/// Limits of the piecewise XML reading.
namespace XmlLimits {
/// One item (a worksheet row, a shared string) may not be larger than this.
constexpr std::size_t MaxItemBytes = 64 * 1024 * 1024;
/// What follows the items (merged areas, hyperlinks ...) is kept up to this size.
constexpr std::size_t MaxTailBytes = 64 * 1024 * 1024;
/// Bytes gathered before a batch of complete items is parsed.
constexpr std::size_t BatchBytes = 4 * 1024 * 1024;
} // namespace XmlLimits

/// The local part of an element or attribute name ("x:row" -> "row").
std::string_view localName(const char *name);
/// The first attribute of `node` whose local name is `name`.
pugi::xml_attribute attributeByLocalName(const pugi::xml_node &node, std::string_view name);
/// pugixml's reason for a parse failure, for messages.
std::string describeParseFailure(const pugi::xml_parse_result &result);

/// Reads a large XML part in pieces without holding it whole: it finds the container element
/// (say `sheetData`, with whatever prefix the writer chose), and hands batches of its complete
/// item children (`row`) to `consume` as a parsed fragment; memory stays near one batch. What
/// follows the container is kept (bounded) for `tail()`. Damaged XML fails the feeding with an
/// error naming `part`, as does a failure of `consume`.
class XmlItemStream
{
public:
    using Consumer = std::function<WorkbookStatus(const pugi::xml_document &fragment)>;
    XmlItemStream(std::string part, std::string_view container, std::string_view item,
                  Consumer consume);

    WorkbookStatus feed(std::string_view piece);
    /// Call after the last piece: parses what is left.
    WorkbookStatus finish();
    /// The XML after the container's end (up to the tail limit), empty when there was none.
    std::string &tail() { return m_tail; }
    bool containerFound() const { return m_phase != Phase::Seeking; }

private:
    enum class Phase { Seeking, Items, Tail };
    void seekContainer();
    WorkbookStatus takeItems(bool last);
    WorkbookStatus parseBatch(std::size_t length);
    WorkbookError broken(const std::string &why) const;

    std::string m_part;
    std::string m_container;
    std::string m_item;
    Consumer m_consume;
    Phase m_phase = Phase::Seeking;
    std::string m_buffer;
    std::string m_itemEnd;      // "</x:row>"
    std::string m_containerEnd; // "</x:sheetData>"
    std::string m_tail;
};

} // namespace MGImport8
