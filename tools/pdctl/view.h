// What pdctl prints, apart from the records it comes from: a tree of nodes,
// each a row of cells and named lists of child nodes. One description of a
// record (which cell holds which field, under which JSON name and heading)
// serves every layout: an aligned table, an indented tree, a single record,
// and JSON.
#ifndef PDCTL_VIEW_H
#define PDCTL_VIEW_H

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <variant>
#include <vector>

namespace pdctl {

// A cell's value: absent, a text, or a number.
using Value = std::variant<std::monostate, std::string, int64_t>;

// What a text of the gateway stands for. Replies carry every value as text;
// tables show them so, JSON types them (see render_json).
enum class Style {
  text,
  time,    // seconds since the epoch: a local date and time in tables
  number,  // a count or a quantity
  flag,    // "true" or "false"
};

struct Cell {
  std::string key;      // JSON name; empty: shown only
  std::string heading;  // table heading or tree label; empty: JSON only
  Value value;
  Style style = Style::text;
};

struct Node;

struct List {
  std::string key;      // JSON name
  bool shown = true;    // false: JSON only (its content is shown in a cell)
  std::vector<Node> nodes;
};

struct Node {
  std::string title;  // tree and record layouts: the node's first line
  std::vector<Cell> cells;
  std::vector<List> lists;
};

enum class Layout {
  table,   // the nodes of `list` as rows, one column per shown cell
  tree,    // every node with its shown cells and lists, indented
  record,  // the one node of `list`, its cells as "heading  value" lines
  note,    // only `note`: a request whose answer carries nothing to show
};

struct View {
  Layout layout = Layout::table;
  std::vector<Cell> head;  // paging cells of the whole answer
  List list;
  std::string note;     // note layout: the sentence; table and tree: shown for an empty list
};

// A cell's value as a person reads it (times as local dates, absent as "").
std::string display_text(const Cell &cell);

void render_text(const View &view, std::ostream &out);
// One rule for every record: a number is a JSON number and a flag true or
// false, an absent value null; a time is the gateway's text of seconds
// since the epoch under its own name and, under the name with "_iso", the
// same moment in ISO 8601 (UTC). A value that does not read as its kind
// stays the gateway's text (a time's "_iso" is then null), so nothing is lost.
void render_json(const View &view, std::ostream &out);

// Describes one field of a record type R: where its value comes from and
// how it is named.
template <class R>
struct Field {
  std::string key;
  std::string heading;
  std::function<Value(const R &)> get;
  Style style = Style::text;
};

template <class R>
using Fields = std::vector<Field<R>>;

// A text field held directly in the record.
template <class R>
Field<R> text(std::string key, std::string heading, char *R::*member, Style style = Style::text) {
  return {std::move(key), std::move(heading),
          [member](const R &record) -> Value {
            const char *value = record.*member;
            return value != nullptr ? Value(std::string(value)) : Value();
          },
          style};
}

// The fields of a record that R points to, with `prefix` before each key;
// headings are kept when `shown`, else the fields become JSON only.
template <class R, class Inner>
void add_lifted(Fields<R> &fields, Inner *R::*link, const Fields<Inner> &inner,
                const std::string &prefix, bool shown = true) {
  for (const Field<Inner> &field : inner)
    fields.push_back({prefix + field.key, shown ? field.heading : std::string(),
                      [link, get = field.get](const R &record) -> Value {
                        const Inner *target = record.*link;
                        return target != nullptr ? get(*target) : Value();
                      },
                      field.style});
}

template <class R>
std::vector<Cell> cells_of(const R &record, const Fields<R> &fields) {
  std::vector<Cell> cells;
  cells.reserve(fields.size());
  for (const Field<R> &field : fields)
    cells.push_back({field.key, field.heading, field.get(record), field.style});
  return cells;
}

// Calls `visit` for every node of a singly linked list (pstNext).
template <class N, class Visit>
void for_each_node(const N *head, Visit visit) {
  for (const N *node = head; node != nullptr; node = node->pstNext) visit(*node);
}

}  // namespace pdctl

#endif
