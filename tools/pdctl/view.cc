#include "view.h"

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <nlohmann/json.hpp>
#include <optional>

namespace pdctl {
namespace {

using Json = nlohmann::ordered_json;

// Control characters would break the alignment of a table or a tree.
std::string one_line(std::string text) {
  for (char &c : text)
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = ' ';
  return text;
}

// A whole number that fits 64 bits, with a minus sign when `sign` allows
// one; nothing for any other text.
std::optional<int64_t> whole_number(const std::string &text, bool sign) {
  size_t digits = sign && !text.empty() && text[0] == '-' ? 1 : 0;
  if (text.size() == digits || text.find_first_not_of("0123456789", digits) != std::string::npos)
    return std::nullopt;
  errno = 0;
  long long value = std::strtoll(text.c_str(), nullptr, 10);
  if (errno == ERANGE) return std::nullopt;
  return value;
}

// Seconds since the epoch in `format`, local or UTC; anything that is not a
// plain count of seconds, or lies past the year 9999, gives nothing.
std::optional<std::string> format_time(const std::string &text, const char *format, bool utc) {
  std::optional<int64_t> seconds = whole_number(text, false);
  if (!seconds) return std::nullopt;
  std::time_t time = static_cast<std::time_t>(*seconds);
  std::tm parts{};
  char buffer[64];
  if ((utc ? gmtime_r(&time, &parts) : localtime_r(&time, &parts)) == nullptr ||
      parts.tm_year > 9999 - 1900 || std::strftime(buffer, sizeof buffer, format, &parts) == 0)
    return std::nullopt;
  return std::string(buffer);
}

// Characters a terminal shows for a UTF-8 text: continuation bytes take no
// column of their own.
size_t width(const std::string &text) {
  size_t columns = 0;
  for (unsigned char c : text)
    if ((c & 0xc0) != 0x80) ++columns;
  return columns;
}

void pad(std::ostream &out, const std::string &text, size_t to) {
  out << text;
  for (size_t i = width(text); i < to; ++i) out << ' ';
}

bool shown(const Cell &cell) { return !cell.heading.empty(); }

void render_table(const List &list, std::ostream &out) {
  const std::vector<Cell> &first = list.nodes.front().cells;
  std::vector<size_t> columns;
  for (size_t i = 0; i < first.size(); ++i)
    if (shown(first[i])) columns.push_back(i);
  std::vector<std::vector<std::string>> rows;
  std::vector<std::string> headings;
  for (size_t i : columns) headings.push_back(first[i].heading);
  rows.push_back(headings);
  for (const Node &node : list.nodes) {
    std::vector<std::string> row;
    for (size_t i : columns) {
      std::string text = i < node.cells.size() ? display_text(node.cells[i]) : std::string();
      row.push_back(text.empty() ? "-" : text);
    }
    rows.push_back(std::move(row));
  }
  std::vector<size_t> widths(columns.size(), 0);
  for (const auto &row : rows)
    for (size_t c = 0; c < row.size(); ++c) widths[c] = std::max(widths[c], width(row[c]));
  std::vector<std::string> rule;
  for (size_t w : widths) rule.push_back(std::string(w, '-'));
  rows.insert(rows.begin() + 1, rule);
  for (const auto &row : rows) {
    for (size_t c = 0; c < row.size(); ++c) {
      if (c + 1 == row.size()) {
        out << row[c];
      } else {
        pad(out, row[c], widths[c]);
        out << "  ";
      }
    }
    out << '\n';
  }
}

void render_node(const Node &node, size_t indent, std::ostream &out) {
  std::string margin(indent, ' ');
  if (!node.title.empty()) out << margin << node.title << '\n';
  size_t label = 0;
  for (const Cell &cell : node.cells)
    if (shown(cell) && !display_text(cell).empty()) label = std::max(label, width(cell.heading));
  for (const Cell &cell : node.cells) {
    std::string text = display_text(cell);
    if (!shown(cell) || text.empty()) continue;
    out << margin << "  ";
    pad(out, cell.heading, label);
    out << "  " << text << '\n';
  }
  for (const List &list : node.lists)
    if (list.shown)
      for (const Node &child : list.nodes) render_node(child, indent + 2, out);
}

Json json_value(const Value &value, Style style) {
  if (const auto *number = std::get_if<int64_t>(&value)) return *number;
  const auto *text = std::get_if<std::string>(&value);
  if (text == nullptr) return nullptr;
  if (style == Style::number) {
    if (std::optional<int64_t> number = whole_number(*text, true)) return *number;
  } else if (style == Style::flag) {
    if (*text == "true" || *text == "false") return *text == "true";
  }
  return *text;
}

void add_cells(Json &object, const std::vector<Cell> &cells) {
  for (const Cell &cell : cells) {
    if (cell.key.empty()) continue;
    object[cell.key] = json_value(cell.value, cell.style);
    if (cell.style == Style::time) {
      const auto *text = std::get_if<std::string>(&cell.value);
      std::optional<std::string> iso;
      if (text != nullptr) iso = format_time(*text, "%Y-%m-%dT%H:%M:%SZ", true);
      object[cell.key + "_iso"] = iso ? Json(*iso) : Json(nullptr);
    }
  }
}

Json json_node(const Node &node);

Json json_list(const List &list) {
  Json array = Json::array();
  for (const Node &child : list.nodes) array.push_back(json_node(child));
  return array;
}

Json json_node(const Node &node) {
  Json object = Json::object();
  add_cells(object, node.cells);
  for (const List &list : node.lists) object[list.key] = json_list(list);
  return object;
}

const Cell *head_cell(const View &view, const std::string &key) {
  for (const Cell &cell : view.head)
    if (cell.key == key) return &cell;
  return nullptr;
}

}  // namespace

std::string display_text(const Cell &cell) {
  if (const auto *number = std::get_if<int64_t>(&cell.value)) return std::to_string(*number);
  const auto *text = std::get_if<std::string>(&cell.value);
  if (text == nullptr) return {};
  if (cell.style == Style::time)
    return one_line(format_time(*text, "%Y-%m-%d %H:%M", false).value_or(*text));
  return one_line(*text);
}

void render_text(const View &view, std::ostream &out) {
  if (view.layout == Layout::note || view.list.nodes.empty()) {
    out << view.note << '\n';
    return;
  }
  if (view.layout == Layout::table) {
    render_table(view.list, out);
  } else {
    for (size_t i = 0; i < view.list.nodes.size(); ++i) {
      if (i > 0) out << '\n';
      render_node(view.list.nodes[i], 0, out);
    }
  }
  // Only the first page is fetched; say so when the gateway holds more.
  const Cell *more = head_cell(view, "has_next");
  if (more != nullptr && display_text(*more) == "true") {
    const Cell *next = head_cell(view, "start_context");
    out << "(the gateway holds more"
        << (next != nullptr && !display_text(*next).empty() ? ", from " + display_text(*next) : "")
        << ")\n";
  }
}

void render_json(const View &view, std::ostream &out) {
  Json document = Json::object();
  if (view.layout == Layout::note) {
    document["message"] = view.note;
  } else if (view.layout == Layout::record && !view.list.nodes.empty()) {
    document = json_node(view.list.nodes.front());
    add_cells(document, view.head);
  } else {
    add_cells(document, view.head);
    document[view.list.key] = json_list(view.list);
  }
  // Replies may carry bytes that are not UTF-8; they must not stop the output.
  out << document.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

}  // namespace pdctl
