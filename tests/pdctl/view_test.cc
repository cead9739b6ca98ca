// What pdctl prints for texts a reply may carry but the seeded network
// does not: characters of several bytes, control characters, bytes that are
// not UTF-8, times that are no times.
#include "view.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>

namespace {

using pdctl::Cell;
using pdctl::Layout;
using pdctl::List;
using pdctl::Node;
using pdctl::Style;
using pdctl::View;

Node row(std::string name, std::string note) {
  return Node{{}, {{"name", "Name", name}, {"note", "Note", note}}, {}};
}

std::string text_of(const View &view) {
  std::ostringstream out;
  pdctl::render_text(view, out);
  return out.str();
}

std::string json_of(const View &view) {
  std::ostringstream out;
  pdctl::render_json(view, out);
  return out.str();
}

TEST(PdctlView, TablesAlignByCharactersAndStayOnOneLine) {
  View view{Layout::table, {}, List{"rows", true, {row("Café", "a\nb\tc"), row("Bob", "")}}, ""};
  EXPECT_EQ(text_of(view),
            "Name  Note\n"
            "----  -----\n"
            "Café  a b c\n"
            "Bob   -\n");
}

TEST(PdctlView, BytesThatAreNotUtf8DoNotStopTheJson) {
  View view{Layout::record, {}, List{"record", true, {row("\xff\xfe", "ok")}}, ""};
  EXPECT_EQ(json_of(view), "{\n  \"name\": \"\xef\xbf\xbd\xef\xbf\xbd\",\n  \"note\": \"ok\"\n}\n");
}

TEST(PdctlView, TimesThatAreNoCountOfSecondsAreShownAsTheyAre) {
  setenv("TZ", "UTC", 1);
  const std::pair<const char *, const char *> rows[] = {
      {"0", "1970-01-01 00:00"}, {"1700000200", "2023-11-14 22:16"}, {"-5", "-5"}, {"soon", "soon"},
      {"99999999999999999999", "99999999999999999999"}, {"999999999999999999", "999999999999999999"}, {"", ""}};
  for (const auto &[value, shown] : rows) EXPECT_EQ(pdctl::display_text(Cell{"t", "T", value, Style::time}), shown);
}

TEST(PdctlView, AbsentValuesAreNullInJsonAndLeftOutOfTrees) {
  Node node{"Thing", {{"a", "A", std::monostate{}}, {"b", "B", int64_t{7}}, {"", "Shown", "only"}}, {}};
  View view{Layout::tree, {}, List{"things", true, {node}}, ""};
  EXPECT_EQ(text_of(view), "Thing\n  B      7\n  Shown  only\n");
  EXPECT_EQ(json_of(view), "{\n  \"things\": [\n    {\n      \"a\": null,\n      \"b\": 7\n    }\n  ]\n}\n");
}

// Every value typed by its kind, and what does not read as its kind kept
// as the gateway's text.
TEST(PdctlView, JsonTypesByKindAndKeepsWhatDoesNotRead) {
  auto cell = [](std::string key, std::string value, Style style) {
    return Cell{std::move(key), "", std::move(value), style};
  };
  Node node{{}, {cell("n", "-5", Style::number), cell("odd_n", "12a", Style::number),
                 cell("huge_n", "12345678901234567890", Style::number), cell("f", "false", Style::flag),
                 cell("odd_f", "yes", Style::flag), cell("t", "0", Style::time),
                 cell("odd_t", "soon", Style::time), {"absent_t", "", std::monostate{}, Style::time}},
            {}};
  EXPECT_EQ(json_of(View{Layout::record, {}, List{"record", true, {node}}, ""}),
            "{\n  \"n\": -5,\n  \"odd_n\": \"12a\",\n  \"huge_n\": \"12345678901234567890\",\n"
            "  \"f\": false,\n  \"odd_f\": \"yes\",\n  \"t\": \"0\",\n"
            "  \"t_iso\": \"1970-01-01T00:00:00Z\",\n  \"odd_t\": \"soon\",\n  \"odd_t_iso\": null,\n"
            "  \"absent_t\": null,\n  \"absent_t_iso\": null\n}\n");
}

}  // namespace
