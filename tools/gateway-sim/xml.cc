#include "xml.h"

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <climits>

namespace gateway_sim {
namespace {

std::string text_of(const xmlChar *text) {
  return text != nullptr ? std::string(reinterpret_cast<const char *>(text)) : std::string();
}

Element convert(const xmlNode *node) {
  Element element;
  element.name = text_of(node->name);
  for (const xmlAttr *attribute = node->properties; attribute != nullptr;
       attribute = attribute->next) {
    xmlChar *value = xmlNodeListGetString(node->doc, attribute->children, 1);
    element.attributes.emplace_back(text_of(attribute->name), text_of(value));
    xmlFree(value);
  }
  for (const xmlNode *child = node->children; child != nullptr; child = child->next) {
    if (child->type == XML_ELEMENT_NODE)
      element.children.push_back(convert(child));
    else if (child->type == XML_TEXT_NODE || child->type == XML_CDATA_SECTION_NODE)
      element.text += text_of(child->content);
  }
  return element;
}

void escape(std::string &out, std::string_view text, bool in_attribute) {
  for (char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += in_attribute ? "&quot;" : "\""; break;
      default: out += c;
    }
  }
}

void wrap_cdata(std::string &out, std::string_view text) {
  // "]]>" cannot stand inside a section: it is split across two.
  out += "<![CDATA[";
  for (size_t at; (at = text.find("]]>")) != std::string_view::npos;) {
    out += text.substr(0, at + 2);
    out += "]]><![CDATA[";
    text.remove_prefix(at + 2);
  }
  out += text;
  out += "]]>";
}

void write(std::string &out, const Node &node, size_t depth, bool cdata) {
  out.append(2 * depth, ' ');
  out += '<';
  out += node.name;
  for (const auto &[key, value] : node.attributes) {
    out += ' ';
    out += key;
    out += "=\"";
    escape(out, value, true);
    out += '"';
  }
  if (!node.text && node.children.empty()) {
    out += "/>\n";
    return;
  }
  out += '>';
  if (node.text) {
    if (cdata)
      wrap_cdata(out, *node.text);
    else
      escape(out, *node.text, false);
  }
  if (!node.children.empty()) {
    out += '\n';
    for (const Node &child : node.children) write(out, child, depth + 1, cdata);
    out.append(2 * depth, ' ');
  }
  out += "</";
  out += node.name;
  out += ">\n";
}

}  // namespace

const std::string *Element::attribute(std::string_view key) const {
  for (const auto &[name, value] : attributes)
    if (name == key) return &value;
  return nullptr;
}

const Element *Element::child(std::string_view key) const {
  for (const Element &element : children)
    if (element.name == key) return &element;
  return nullptr;
}

std::vector<const Element *> Element::children_named(std::string_view key) const {
  std::vector<const Element *> found;
  for (const Element &element : children)
    if (element.name == key) found.push_back(&element);
  return found;
}

std::optional<Element> parse_document(std::string_view bytes) {
  if (bytes.size() > INT_MAX) return std::nullopt;
  // No network access and no messages on the console: a broken request is
  // answered, not logged by the library.
  xmlDoc *doc = xmlReadMemory(bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr,
                              XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
  if (doc == nullptr) return std::nullopt;
  std::optional<Element> root;
  if (const xmlNode *node = xmlDocGetRootElement(doc)) root = convert(node);
  xmlFreeDoc(doc);
  return root;
}

Node &Node::set(std::string key, std::string value) {
  attributes.emplace_back(std::move(key), std::move(value));
  return *this;
}

Node &Node::set_if(std::string key, const std::string *value) {
  if (value != nullptr) set(std::move(key), *value);
  return *this;
}

Node &Node::set_text(std::string value) {
  text = std::move(value);
  return *this;
}

Node &Node::add(Node child) {
  children.push_back(std::move(child));
  return children.back();
}

std::string render(const Node &root, bool cdata) {
  std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  write(out, root, 0, cdata);
  return out;
}

}  // namespace gateway_sim
