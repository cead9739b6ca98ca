// Small pieces every reply parser uses: element matching, copying values
// out of the tree, and singly linked lists that append without walking.
#ifndef PD_PLUGIN_SRC_PARSER_PARSE_SUPPORT_H
#define PD_PLUGIN_SRC_PARSER_PARSE_SUPPORT_H

#include <libxml/tree.h>

#include <cstdint>
#include <initializer_list>
#include <cstdlib>
#include <cstring>

#include "log.h"
#include "pd-plugin/pd_data.h"

namespace pd::parser {

// True for a node called `name`. Handlers match by name whatever the kind
// of node: a processing instruction or an entity reference named "Friend"
// is a friend, with no fields (it has no attributes). Text and comment
// nodes are named "text" and "comment", which no handler looks for.
inline bool is_named(const char *text, const char *name) noexcept {
  // Most names differ in their first letter: no call for those.
  return text != nullptr && text[0] == name[0] && std::strcmp(text, name) == 0;
}

inline bool is_element(const xmlNode *node, const char *name) noexcept {
  return node != nullptr && is_named(reinterpret_cast<const char *>(node->name), name);
}

// An owned copy of attribute `name` of `node`, or null when it is absent.
char *copy_attr(const xmlNode *node, const char *name);

// An owned copy of the text of the node's first child, or null when there
// is no child (or the child carries no text).
char *copy_first_text(const xmlNode *node);

// Stores a new copy into a field, releasing what the field held: an element
// that comes twice replaces the first copy instead of losing it.
inline void store(char *&field, char *copy) noexcept {
  if (field != nullptr) data_Del(field);
  field = copy;
}
inline void store_attr(char *&field, const xmlNode *node, const char *name) {
  store(field, copy_attr(node, name));
}

// Several attributes of one element into their fields: each field receives
// its own copy of the first attribute of its name, or null. The element's
// attribute list is walked once, however many names are asked for.
struct AttrField {
  char **field;
  const char *name;
};
void store_attrs(const xmlNode *node, const AttrField *fields, size_t count);
inline void store_attrs(const xmlNode *node, std::initializer_list<AttrField> fields) {
  store_attrs(node, fields.begin(), fields.size());
}

// The names of a record that reads many attributes, grouped by their first
// letter, so that each attribute of an element is compared with the one or
// two names that begin like it rather than with all of them.
struct AttrIndex {
  static constexpr size_t kMaxNames = 32;
  uint8_t order[kMaxNames]{};  // positions of the names, by first letter
  uint8_t begin[129]{};        // the names beginning with c: order[begin[c] .. begin[c + 1])

  constexpr AttrIndex() = default;
  constexpr AttrIndex(const char *const *names, size_t count) {
    if (count > kMaxNames) throw "too many names";
    uint8_t runs[129]{};
    for (size_t i = 0; i < count; ++i) ++runs[letter(names[i])];
    for (size_t c = 0; c < 128; ++c) begin[c + 1] = static_cast<uint8_t>(begin[c] + runs[c]);
    uint8_t next[128]{};
    for (size_t i = 0; i < count; ++i) {
      size_t c = letter(names[i]);
      order[begin[c] + next[c]++] = static_cast<uint8_t>(i);
    }
  }
  static constexpr size_t letter(const char *name) {
    return static_cast<unsigned char>(name[0]) & 127u;
  }
};

// store_attrs for `names`, given with their index: fields[i] receives the
// attribute names[i].
void store_attrs(const xmlNode *node, char **const *fields, const char *const *names,
                 size_t count, const AttrIndex &index);

// A zero-filled block (null when memory is exhausted). Not calloc: glibc's
// calloc passes by the per-thread cache that makes small allocations cheap,
// and a reply makes thousands of small records.
inline void *zeroed(size_t bytes) noexcept {
  void *block = std::malloc(bytes);
  if (block != nullptr) std::memset(block, 0, bytes);
  return block;
}

// A new record with every field null (null when memory is exhausted).
template <class Record>
Record *new_record() noexcept {
  return static_cast<Record *>(zeroed(sizeof(Record)));
}

// Releases a record that is a row of `count` owned texts, and the record.
inline void release_row(void *record, size_t count) noexcept {
  if (record == nullptr) return;
  auto *fields = static_cast<char **>(record);
  // Most fields of a wide record are null: no call for those.
  for (size_t i = 0; i < count; ++i)
    if (fields[i] != nullptr) data_Del(fields[i]);
  data_Del(record);
}

// The same for an element record, without its tracing lines.
template <class Row>
void release_row(Row *record) noexcept {
  static_assert(sizeof(Row) % sizeof(char *) == 0, "a row of texts");
  release_row(static_cast<void *>(record), sizeof(Row) / sizeof(char *));
}

// The tracing lines of the reply records: "<prefix><name> - Start" when
// made and "<prefix><name> - End" when it goes out of scope, on every way
// out. A null name leaves its line out.
class TraceLines {
 public:
  TraceLines(const char *prefix, const char *start, const char *end) noexcept
      : prefix_(prefix), end_(end) {
    if (start != nullptr) PD_LOG_STDOUT("%s%s - Start\n", prefix, start);
  }
  ~TraceLines() {
    if (end_ != nullptr) PD_LOG_STDOUT("%s%s - End\n", prefix_, end_);
  }
  TraceLines(const TraceLines &) = delete;
  TraceLines &operator=(const TraceLines &) = delete;

 private:
  const char *prefix_;
  const char *end_;
};

// A 32-bit decimal conversion that saturates like strtol on the 32-bit
// device; text that does not begin with digits gives 0.
int32_t decimal_i32(const char *text) noexcept;

// The record a handler keeps in the result word, or null.
template <class Record>
Record *record_in(const intptr_t *result) noexcept {
  return result != nullptr ? reinterpret_cast<Record *>(*result) : nullptr;
}

// Releases texts of a record, in the order given.
template <class... Texts>
void release_texts(Texts... texts) noexcept {
  ((texts != nullptr ? data_Del(texts) : void()), ...);
}

// Result records that begin with the paging head: two slots nothing fills,
// then the root's "StartContext" and "HasNext".
template <class Record>
concept Paged = requires(Record record) {
  record.pszReserved1;
  record.pszReserved2;
  record.pszStartContext;
  record.pszHasNext;
};

template <Paged Record>
void read_paging(Record *record, const xmlNode *root) {
  store_attr(record->pszHasNext, root, "HasNext");
  store_attr(record->pszStartContext, root, "StartContext");
}

template <Paged Record>
void release_paging(Record *record) noexcept {
  release_texts(record->pszReserved1, record->pszReserved2, record->pszStartContext,
                record->pszHasNext);
}

// The start of every reply record: on the "Response" root, a new record
// from `init` goes into the result word (with its paging head read, when it
// has one). Returns it, or null for any other node.
template <class Record>
Record *open_reply(const xmlNode *root, intptr_t *result, Record *(*init)()) {
  if (result == nullptr || !is_element(root, "Response")) return nullptr;
  Record *record = init();
  *result = reinterpret_cast<intptr_t>(record);
  if constexpr (Paged<Record>)
    if (record != nullptr) read_paging(record, root);
  return record;
}

// Visits `first`, its following siblings and everything under them in
// document order, each parent before its children:
// visit(depth, parent name, node). Every named node is visited, text and
// comment nodes included; a chain ends at a node without a name.
//
// The walk is a loop over the tree's own links rather than a recursion, so
// no nesting can exhaust the stack. Parent names are the parents' own names,
// which live as long as the document. Only elements are entered: an entity
// reference's children are the entity's declaration, outside the document.
template <class Visit>
void walk(xmlNode *first, uint32_t depth, const char *parent, Visit &&visit) {
  walk(first, depth, parent, visit, [](xmlNode *) {});
}

// The same walk; `left(node)` is told of each child of the chain we were
// given once the walk has moved past it and everything below it, after the
// walk has read the links it still needs: the node may go.
template <class Visit, class Left>
void walk(xmlNode *first, uint32_t depth, const char *parent, Visit &&visit, Left &&left) {
  if (first == nullptr || first->name == nullptr) return;
  uint32_t level = 0;  // below the chain we were given
  xmlNode *current = first;
  for (;;) {
    visit(depth + level,
          level == 0 ? parent : reinterpret_cast<const char *>(current->parent->name), current);
    xmlNode *child = current->type == XML_ELEMENT_NODE ? current->children : nullptr;
    if (child != nullptr && child->name != nullptr) {
      current = child;
      ++level;
      continue;
    }
    for (;;) {
      xmlNode *next = current->next;
      xmlNode *up = current->parent;
      if (next != nullptr && next->name != nullptr) {
        if (level == 1) left(current);
        current = next;
        break;
      }
      if (level == 0) return;
      if (level == 1) left(current);
      current = up;
      --level;
    }
  }
}

// The names the handlers look for, as one libxml2 dictionary holds them.
// Every name in a document that libxml2 parsed with a dictionary is that
// dictionary's one copy, so an attribute of such a document is matched by
// comparing one address instead of two strings. The names asked for are
// literals and are known here by their address; the first look-up of each
// puts it in the dictionary. Used only by the parse in progress, which
// holds the parse lock; reset before its dictionary goes.
class DictNames {
 public:
  void reset(xmlDict *dict) noexcept;
  xmlDict *dict() const noexcept { return dict_; }
  // The dictionary's copy of the literal `name`, or null (out of memory).
  const xmlChar *get(const char *name) noexcept;

 private:
  struct Slot {
    const char *name = nullptr;
    const xmlChar *held = nullptr;
  };
  // Open addressing, never full: the handlers know a few hundred names.
  static constexpr unsigned kSlotBits = 10;
  static constexpr size_t kSlots = size_t{1} << kSlotBits;
  xmlDict *dict_ = nullptr;
  Slot slots_[kSlots];
};

// ---------------------------------------------------------------------------
// Lists. Every list of the reply records is singly linked through pstNext
// from a head field of its parent. A parse appends thousands of nodes and
// asks for the last one on every child element, so the parse in progress on
// this thread remembers the tail of each list it touched (see ParseScope);
// outside a parse, or for a list it does not know, the list is walked.
// While alive, the current thread remembers list tails, and matches the
// attribute names of documents of `names`' dictionary through it.
// __xml_parser holds one for the length of a parse. The few lists that a
// parse is appending to at any moment stay remembered (least recently used
// is forgotten first), so a reply of any size costs the same per element.
class ParseScope {
 public:
  // `names` serves the documents of its dictionary.
  explicit ParseScope(DictNames *names) noexcept;
  ~ParseScope();
  ParseScope(const ParseScope &) = delete;
  ParseScope &operator=(const ParseScope &) = delete;

  struct Entry {
    const void *head_slot = nullptr;
    const void *head = nullptr;  // the head when remembered: a list emptied
                                 // and refilled since is not taken for the old
    const void *tail = nullptr;
    uint64_t used = 0;
  };
  Entry *find(const void *head_slot) noexcept;
  Entry &slot_for(const void *head_slot) noexcept;
  uint64_t tick() noexcept { return ++clock_; }
  DictNames *names() const noexcept { return names_; }

 private:
  static constexpr size_t kEntries = 16;
  Entry entries_[kEntries];
  // The two entries found last: a parse alternates between a few lists
  // (the last activity, then the list a part of it is appended to).
  size_t recent_ = 0, before_ = 0;
  uint64_t clock_ = 0;
  DictNames *names_;
  ParseScope *previous_;
};

namespace tails {
// Lists shorter than this are walked: remembering them would cost more.
constexpr size_t kLongList = 8;
// The remembered end of the list whose head is at `head_slot` (holding
// `head`), to read and update, or null when it is not remembered (or
// outside a parse). A list emptied and refilled since starts over.
ParseScope::Entry *known(const void *head_slot, const void *head) noexcept;
// Starts remembering a list's end.
void remember(const void *head_slot, const void *head, const void *tail) noexcept;
void forget(const void *head_slot) noexcept;
}  // namespace tails

// `next(node)` gives a reference to the node's link: lists whose link is
// not a `pstNext` member (rows of words described by a table) use these
// forms directly.
template <class Node, class Next>
Node *last_node(Node *const *head_slot, Next next) noexcept {
  if (head_slot == nullptr || *head_slot == nullptr) return nullptr;
  Node *node = *head_slot;
  ParseScope::Entry *known = tails::known(head_slot, node);
  if (known != nullptr && known->tail != nullptr)
    node = static_cast<Node *>(const_cast<void *>(known->tail));
  size_t steps = 0;
  for (; next(node) != nullptr; ++steps) node = next(node);
  if (known != nullptr)
    known->tail = node;
  else if (steps >= tails::kLongList)
    tails::remember(head_slot, *head_slot, node);
  return node;
}

template <class Node, class Next>
Node *append_node(Node **head_slot, Node *node, Next next) noexcept {
  if (head_slot == nullptr || node == nullptr) return node;
  if (Node *tail = last_node(head_slot, next)) {
    next(tail) = node;
    if (ParseScope::Entry *known = tails::known(head_slot, *head_slot)) known->tail = node;
  } else {
    *head_slot = node;
  }
  return node;
}

// Releases every node of a list with `release_one`, which must not follow
// the link itself, and empties the head.
template <class Node, class Release, class Next>
void release_list(Node **head_slot, Release release_one, Next next) noexcept {
  if (head_slot == nullptr) return;
  tails::forget(head_slot);
  for (Node *node = *head_slot; node != nullptr;) {
    Node *after = next(node);
    release_one(node);
    node = after;
  }
  *head_slot = nullptr;
}

struct MemberNext {
  template <class Node>
  Node *&operator()(Node *node) const noexcept {
    return node->pstNext;
  }
};

template <class Node>
Node *last_node(Node *const *head_slot) noexcept {
  return last_node(head_slot, MemberNext{});
}

template <class Node>
Node *append_node(Node **head_slot, Node *node) noexcept {
  return append_node(head_slot, node, MemberNext{});
}

template <class Node, class Release>
void release_list(Node **head_slot, Release release_one) noexcept {
  release_list(head_slot, release_one, MemberNext{});
}

}  // namespace pd::parser

#endif
