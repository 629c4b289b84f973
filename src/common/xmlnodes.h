#pragma once

#include <QString>
#include <QStringView>
#include <QVariant>

#include <pugixml.hpp>

namespace MGImport8 {

/// The fallback name that AddElement() and AddAttribute() use when nothing of a name is left.
inline constexpr QStringView emptyXmlNameFallback = u"_";

/// A name made safe for an element or attribute: "\", "/", ":" and every other character that is
/// not a letter A-Z (judged upper-cased, so lower-case letters stay as they are), a digit, "_",
/// "-", "." or "@" become "_", one per UTF-16 unit. An empty name gives `fallback`.
/// "Node Name/IP" gives "Node_Name_IP". A leading digit is kept, as existing files have it.
QString SafeXMLName(QStringView name, QStringView fallback);

/// The text an attribute gets for a value, as automation writes it: nothing for a null; "True" or
/// "False" for a Boolean; integers in decimal; floating-point numbers in the shortest form that
/// reads back the same, with "." as the decimal point; dates as yyyy-MM-dd, times as HH:mm:ss and
/// date-times as yyyy-MM-ddTHH:mm:ss (ISO 8601, milliseconds only when there are any); text as is;
/// anything else as QVariant converts it to a string.
QString xmlTextOf(const QVariant &value);

/// Appends to `parent` an element named SafeXMLName(name) holding `text` (no text node when the
/// text is empty) and returns it; an empty node when `parent` cannot have children. The document
/// is the one `parent` belongs to; it is taken to mirror the callers' usage.
pugi::xml_node AddElement(pugi::xml_document &document, pugi::xml_node parent, QStringView name,
                          QStringView text);

/// Gives `element` an attribute named SafeXMLName(name) with the value's text (xmlTextOf(); a
/// null leaves it empty), replacing the value of an attribute of the same name in its place.
/// Returns the attribute, or an empty one when `element` is not an element.
pugi::xml_attribute AddAttribute(pugi::xml_document &document, pugi::xml_node element,
                                 QStringView name, const QVariant &value);

/// Sets the attribute's value when `element` has it, and adds it otherwise. Never fails loudly.
void SetAttribute(pugi::xml_document &document, pugi::xml_node element, QStringView name,
                  const QVariant &value);

/// The text of the first node that the XPath expression selects from `node`: an attribute's
/// value, or for an element (or the document) the text of all its descendant text and CDATA nodes
/// joined in document order. Empty when nothing matches, the expression is invalid or does not
/// select nodes.
QString GetNodeText(const pugi::xml_node &node, QStringView xpath);

} // namespace MGImport8
