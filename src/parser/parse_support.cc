#include "parser/parse_support.h"

#include <libxml/xmlmemory.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace pd::parser {

namespace {

// The text xmlGetProp gives for an attribute node: one piece of text (nearly
// every value) is copied straight from the tree, anything else (entity
// references in the value) is assembled by libxml2.
char *copy_value(const xmlAttr *attr) {
  const xmlNode *text = attr->children;
  if (text == nullptr) return data_Cpy("");
  if (text->next == nullptr && (text->type == XML_TEXT_NODE || text->type == XML_CDATA_SECTION_NODE))
    return data_Cpy(reinterpret_cast<const char *>(text->content));
  xmlChar *value = xmlNodeListGetString(attr->doc, attr->children, 1);
  char *copy = data_Cpy(value != nullptr ? reinterpret_cast<const char *>(value) : "");
  xmlFree(value);
  return copy;
}

// A document with a DTD may give attributes defaults that the element does
// not carry; xmlGetProp finds those, the attribute list does not.
bool has_dtd(const xmlNode *node) {
  return node->doc != nullptr && (node->doc->intSubset != nullptr || node->doc->extSubset != nullptr);
}

DictNames *names_of(const xmlNode *node) noexcept;

// Attribute names against the names asked for: by address within the
// parse's own document, as strings anywhere else.
class NameMatch {
 public:
  explicit NameMatch(const xmlNode *node) noexcept : names_(names_of(node)) {}
  bool operator()(const xmlChar *attr_name, const char *name) const noexcept {
    if (names_ != nullptr) {
      if (const xmlChar *held = names_->get(name)) return attr_name == held;
    }
    return std::strcmp(reinterpret_cast<const char *>(attr_name), name) == 0;
  }

 private:
  DictNames *names_;
};

}  // namespace

char *copy_attr(const xmlNode *node, const char *name) {
  if (node == nullptr) return nullptr;
  xmlAttr *attr = xmlHasProp(node, reinterpret_cast<const xmlChar *>(name));
  if (attr == nullptr) return nullptr;
  if (attr->type == XML_ATTRIBUTE_NODE) return copy_value(attr);
  xmlChar *value = xmlGetProp(node, reinterpret_cast<const xmlChar *>(name));
  if (value == nullptr) return nullptr;
  char *copy = data_Cpy(reinterpret_cast<const char *>(value));
  xmlFree(value);
  return copy;
}

void store_attrs(const xmlNode *node, char **const *fields, const char *const *names,
                 size_t count, const AttrIndex &index) {
  for (size_t i = 0; i < count; ++i) store(*fields[i], nullptr);
  if (node == nullptr || node->type != XML_ELEMENT_NODE) return;
  if (has_dtd(node)) {
    for (size_t i = 0; i < count; ++i) *fields[i] = copy_attr(node, names[i]);
    return;
  }
  const NameMatch same(node);
  for (const xmlAttr *attr = node->properties; attr != nullptr; attr = attr->next) {
    const char *name = reinterpret_cast<const char *>(attr->name);
    size_t c = static_cast<unsigned char>(name[0]);
    if (c > 127) continue;
    for (size_t k = index.begin[c]; k < index.begin[c + 1]; ++k) {
      size_t i = index.order[k];
      if (*fields[i] == nullptr && same(attr->name, names[i])) *fields[i] = copy_value(attr);
    }
  }
}

void store_attrs(const xmlNode *node, const AttrField *fields, size_t count) {
  for (size_t i = 0; i < count; ++i) store(*fields[i].field, nullptr);
  // Only elements carry attributes (xmlGetProp finds none on other nodes).
  if (node == nullptr || node->type != XML_ELEMENT_NODE) return;
  if (has_dtd(node)) {
    for (size_t i = 0; i < count; ++i) *fields[i].field = copy_attr(node, fields[i].name);
    return;
  }
  const NameMatch same(node);
  size_t left = count;
  for (const xmlAttr *attr = node->properties; attr != nullptr && left > 0; attr = attr->next) {
    const char *name = reinterpret_cast<const char *>(attr->name);
    for (size_t i = 0; i < count; ++i) {
      const AttrField &f = fields[i];
      if (*f.field != nullptr || name[0] != f.name[0] || !same(attr->name, f.name)) continue;
      *f.field = copy_value(attr);
      --left;
    }
  }
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

ParseScope::ParseScope(DictNames *names) noexcept : names_(names), previous_(t_scope) {
  t_scope = this;
}

namespace {

DictNames *names_of(const xmlNode *node) noexcept {
  DictNames *names = t_scope != nullptr ? t_scope->names() : nullptr;
  if (names == nullptr || names->dict() == nullptr || node->doc == nullptr ||
      node->doc->dict != names->dict())
    return nullptr;
  return names;
}

}  // namespace

void DictNames::reset(xmlDict *dict) noexcept {
  dict_ = dict;
  for (Slot &slot : slots_) slot = Slot{};
}

const xmlChar *DictNames::get(const char *name) noexcept {
  // Literals sit a few bytes apart: a multiplicative hash spreads them.
  uint64_t address = reinterpret_cast<uintptr_t>(name);
  size_t at = static_cast<size_t>((address * 0x9E3779B97F4A7C15ull) >> (64 - kSlotBits));
  for (size_t probes = 0; probes < kSlots; ++probes, at = (at + 1) % kSlots) {
    Slot &slot = slots_[at];
    if (slot.name == name) return slot.held;
    if (slot.name != nullptr) continue;
    const xmlChar *held = xmlDictLookup(dict_, reinterpret_cast<const xmlChar *>(name), -1);
    if (held != nullptr) slot = Slot{name, held};
    return held;
  }
  return nullptr;
}

ParseScope::~ParseScope() { t_scope = previous_; }

ParseScope::Entry *ParseScope::find(const void *head_slot) noexcept {
  if (entries_[recent_].head_slot == head_slot) return &entries_[recent_];
  if (entries_[before_].head_slot == head_slot) {
    std::swap(recent_, before_);
    return &entries_[recent_];
  }
  for (size_t i = 0; i < kEntries; ++i) {
    if (entries_[i].head_slot == head_slot) {
      before_ = recent_;
      recent_ = i;
      return &entries_[i];
    }
  }
  return nullptr;
}

ParseScope::Entry &ParseScope::slot_for(const void *head_slot) noexcept {
  if (Entry *entry = find(head_slot)) return *entry;
  size_t oldest = 0;
  for (size_t i = 1; i < kEntries; ++i)
    if (entries_[i].used < entries_[oldest].used) oldest = i;
  entries_[oldest] = Entry{};
  entries_[oldest].head_slot = head_slot;
  before_ = recent_;
  recent_ = oldest;
  return entries_[oldest];
}

namespace tails {

ParseScope::Entry *known(const void *head_slot, const void *head) noexcept {
  if (t_scope == nullptr) return nullptr;
  ParseScope::Entry *entry = t_scope->find(head_slot);
  if (entry == nullptr) return nullptr;
  if (entry->head != head) {
    entry->head = head;
    entry->tail = nullptr;
  }
  entry->used = t_scope->tick();
  return entry;
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
