// Value converters, keyword checks and the copying and display helpers, by
// the rows of tests/data/composer/values.txt.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <memory>
#include <string>

#include "pd-plugin/pd_data.h"
#include "pd-plugin/pd_xml_album.h"
#include "pd-plugin/pd_xml_comment.h"
#include "rows.h"
#include "support/golden.h"
#include "support/log_capture.h"

namespace pd_test {
namespace {

// A heap copy of exactly the text's size, so that AddressSanitizer reports
// any read or write past it.
std::unique_ptr<char[]> exact(const std::string &text) {
  std::unique_ptr<char[]> copy(new char[text.size() + 1]);
  std::memcpy(copy.get(), text.c_str(), text.size() + 1);
  return copy;
}

template <void (*Convert)(const char *, int32_t *)>
Text converted(const char *text) {
  int32_t out = 7;
  Convert(text, &out);
  return std::to_string(out);
}
template <uint8_t Fallback>
Text flag(const char *text) {
  uint8_t out = 9;
  data_Bool(text, &out, Fallback);
  return std::to_string(out);
}
template <int (*Check)(const char *)>
Text checked(const char *text) {
  return std::to_string(Check(text));
}
// The destination holds an old text longer than a date; all of it is shown
// but its trailing NULs, so a stale tail behind the date would show.
template <const char *Zone>
Text date(const char *seconds) {
  setenv("TZ", Zone, 1);
  tzset();
  const std::string old = "kept and longer than any date";
  auto dst = exact(old);
  data_Date(dst.get(), seconds);
  data_Date(nullptr, seconds);
  std::string all(dst.get(), old.size() + 1);
  return all.erase(all.find_last_not_of('\0') + 1);
}
// The copy, or none.
template <char *(*Make)(const char *)>
Text made(const char *text) {
  char *out = Make(text);
  Text result = out != nullptr ? Text(out) : Text();
  data_Del(out);
  return result;
}
// Two terminators, within the length + 2 bytes the destination holds: all
// of them are shown.
Text str(const char *text) {
  size_t size = text != nullptr ? std::strlen(text) + 2 : 3;
  auto dst = std::make_unique<char[]>(size);
  std::memset(dst.get(), 'x', size);
  data_Str(dst.get(), text);
  data_Str(nullptr, text);
  return std::string(dst.get(), size);
}
// Nothing observable comes out of the phone scan; AddressSanitizer checks
// that a separator near the end never carries it past the text.
Text phone(const char *text) {
  data_Phone(text);
  return Text();
}
constexpr char kUtc[] = "UTC", kEst5[] = "EST5";

const std::map<std::string, Text (*)(const char *)> kConverters = {
    {"int", converted<data_Int>},          {"sex", converted<data_Sex>},
    {"sp", converted<data_SP>},            {"ibool", converted<data_iBool>},
    {"bool/0", flag<0>},                   {"bool/1", flag<1>},
    {"sendtype", checked<checkSendType>},  {"fulltext", checked<checkFullText>},
    {"folder", checked<checkFolder>},      {"targettype", checked<checkTargetType>},
    {"date", date<kUtc>},                  {"date/EST5", date<kEst5>},
    {"recommend", checked<__data_Recommend>}, {"visible", checked<__data_album_get_visible>},
    {"cdata", made<data_RejectCDATA>},      {"copy", made<data_Cpy>},
    {"str", str},                          {"phone", phone}};

// Every input is a heap copy of its exact size (see `exact`). What the
// checks print on the way (the target type names what it checks) goes to a
// golden file of its own.
TEST(Data, ConvertersAndChecksGiveTheResultsOfTheirRows) {
  LogCapture log;
  for (const std::string &line : data_lines("composer/values.txt")) {
    auto row = tokens(line);
    ASSERT_EQ(row.size(), 3u) << line;
    auto converter = kConverters.find(row[0].first.value_or(""));
    ASSERT_TRUE(converter != kConverters.end()) << line;
    std::unique_ptr<char[]> input = row[1].first ? exact(*row[1].first) : nullptr;
    EXPECT_EQ(converter->second(input.get()), row[2].first) << line;
  }
  EXPECT_TRUE(matches_golden("composer/values.printed", log.all()));
}

}  // namespace
}  // namespace pd_test
