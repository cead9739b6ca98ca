#include "parser/parse_support.h"

#include <libxml/xmlmemory.h>

#include <cerrno>
#include <climits>
#include <cstdlib>

namespace pd::parser {

// An attribute that is one piece of text (nearly every one) is copied
// straight from the tree; anything else (entity references in the value, a
// default from the document's DTD) goes through xmlGetProp, which assembles
// it. Both give the text xmlGetProp gives.
char *copy_attr(const xmlNode *node, const char *name) {
  if (node == nullptr) return nullptr;
  xmlAttr *attr = xmlHasProp(node, reinterpret_cast<const xmlChar *>(name));
  if (attr == nullptr) return nullptr;
  if (attr->type == XML_ATTRIBUTE_NODE) {
    const xmlNode *text = attr->children;
    if (text == nullptr) return data_Cpy("");
    if (text->next == nullptr && (text->type == XML_TEXT_NODE || text->type == XML_CDATA_SECTION_NODE))
      return data_Cpy(reinterpret_cast<const char *>(text->content));
  }
  xmlChar *value = xmlGetProp(node, reinterpret_cast<const xmlChar *>(name));
  if (value == nullptr) return nullptr;
  char *copy = data_Cpy(reinterpret_cast<const char *>(value));
  xmlFree(value);
  return copy;
}

char *copy_first_text(const xmlNode *node) {
  if (node == nullptr || node->children == nullptr) return nullptr;
  return data_Cpy(reinterpret_cast<const char *>(node->children->content));
}

int32_t decimal_i32(const char *text) noexcept {
  if (text == nullptr) return 0;
  long value = std::strtol(text, nullptr, 10);
  if (value > INT32_MAX) return INT32_MAX;
  if (value < INT32_MIN) return INT32_MIN;
  return static_cast<int32_t>(value);
}

// ---------------------------------------------------------------------------

namespace {
thread_local ParseScope *t_scope = nullptr;
}

ParseScope::ParseScope() noexcept : previous_(t_scope) { t_scope = this; }

ParseScope::~ParseScope() { t_scope = previous_; }

ParseScope::Entry *ParseScope::find(const void *head_slot) noexcept {
  for (Entry &entry : entries_)
    if (entry.head_slot == head_slot) return &entry;
  return nullptr;
}

ParseScope::Entry &ParseScope::slot_for(const void *head_slot) noexcept {
  if (Entry *entry = find(head_slot)) return *entry;
  Entry *oldest = &entries_[0];
  for (Entry &entry : entries_)
    if (entry.used < oldest->used) oldest = &entry;
  *oldest = Entry{};
  oldest->head_slot = head_slot;
  return *oldest;
}

namespace tails {

const void *lookup(const void *head_slot, const void *head) noexcept {
  if (t_scope == nullptr) return nullptr;
  ParseScope::Entry *entry = t_scope->find(head_slot);
  if (entry == nullptr || entry->head != head) return nullptr;
  entry->used = t_scope->tick();
  return entry->tail;
}

void remember(const void *head_slot, const void *head, const void *tail) noexcept {
  if (t_scope == nullptr) return;
  ParseScope::Entry &entry = t_scope->slot_for(head_slot);
  entry.head = head;
  entry.tail = tail;
  entry.used = t_scope->tick();
}

void forget(const void *head_slot) noexcept {
  if (t_scope == nullptr) return;
  if (ParseScope::Entry *entry = t_scope->find(head_slot)) *entry = ParseScope::Entry{};
}

}  // namespace tails
}  // namespace pd::parser
