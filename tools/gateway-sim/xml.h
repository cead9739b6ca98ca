// The simulator's two sides of XML: request documents as the plug-in sends
// them, read with libxml2, and reply documents written as the gateway's
// parsers expect them.
#ifndef GATEWAY_SIM_XML_H
#define GATEWAY_SIM_XML_H

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace gateway_sim {

using Attributes = std::vector<std::pair<std::string, std::string>>;

// An element of a request document.
struct Element {
  std::string name;
  Attributes attributes;
  std::string text;  // the element's own text, its children's excluded
  std::vector<Element> children;

  // Null when absent.
  const std::string *attribute(std::string_view key) const;
  // The first child of that name, or null.
  const Element *child(std::string_view key) const;
  std::vector<const Element *> children_named(std::string_view key) const;
};

// The root element, or nothing when the bytes are not a well-formed document.
std::optional<Element> parse_document(std::string_view bytes);

// An element of a reply document.
struct Node {
  std::string name;
  Attributes attributes;
  std::optional<std::string> text;
  std::vector<Node> children;

  explicit Node(std::string element) : name(std::move(element)) {}
  Node &set(std::string key, std::string value);
  // Leaves the attribute out when there is no value.
  Node &set_if(std::string key, const std::string *value);
  Node &set_text(std::string value);
  // Appends a child and returns it.
  Node &add(Node child);
};

// The reply as bytes: an XML declaration, then one element per line. Texts
// and attribute values are escaped; with `cdata` element texts are wrapped in
// CDATA sections instead (attribute values stay escaped, so the reply remains
// well-formed XML for any reader).
std::string render(const Node &root, bool cdata);

}  // namespace gateway_sim

#endif
