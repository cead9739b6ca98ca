// Value converters and keyword checks, by the rows of
// tests/data/composer/values.txt, and the copying and display helpers.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <memory>
#include <string>

#include "pd-plugin/pd_data.h"
#include "rows.h"
#include "support/golden.h"
#include "support/log_capture.h"

namespace pd_test {
namespace {

// A heap copy of exactly the text's size, so that AddressSanitizer reports
// any read or write past it.
std::unique_ptr<char[]> exact(const std::string &text, size_t extra = 0) {
  std::unique_ptr<char[]> copy(new char[text.size() + 1 + extra]);
  std::memcpy(copy.get(), text.c_str(), text.size() + 1);
  return copy;
}

TEST(Data, CopyAndStr) {
  EXPECT_EQ(data_Cpy(nullptr), nullptr);
  char *copy = data_Cpy("a\"<&\xff");
  EXPECT_STREQ(copy, "a\"<&\xff");
  data_Del(copy);
  data_Del(nullptr);

  // Two terminators, within the length + 2 bytes the destination holds.
  for (std::string source : {"", "a", "abc", "abcdef"}) {
    auto dst = std::make_unique<char[]>(source.size() + 2);
    std::memset(dst.get(), 'x', source.size() + 2);
    data_Str(dst.get(), source.c_str());
    EXPECT_EQ(std::string(dst.get(), source.size() + 2), source + std::string(2, '\0'));
  }
  char untouched[4] = "abc";
  data_Str(untouched, nullptr);
  data_Str(nullptr, "abc");
  EXPECT_STREQ(untouched, "abc");
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
template <const char *Zone>
Text date(const char *seconds) {
  setenv("TZ", Zone, 1);
  tzset();
  char dst[PD_DATA_DATE_SIZE] = "kept";
  data_Date(dst, seconds);
  return dst;
}
Text cdata(const char *text) {
  char *out = data_RejectCDATA(text);
  Text result = out != nullptr ? Text(out) : Text();
  data_Del(out);
  return result;
}
constexpr char kUtc[] = "UTC", kEst5[] = "EST5";

const std::map<std::string, Text (*)(const char *)> kConverters = {
    {"int", converted<data_Int>},          {"sex", converted<data_Sex>},
    {"sp", converted<data_SP>},            {"ibool", converted<data_iBool>},
    {"bool/0", flag<0>},                   {"bool/1", flag<1>},
    {"sendtype", checked<checkSendType>},  {"fulltext", checked<checkFullText>},
    {"folder", checked<checkFolder>},      {"targettype", checked<checkTargetType>},
    {"date", date<kUtc>},                  {"date/EST5", date<kEst5>},
    {"cdata", cdata}};

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

TEST(Data, OldDateTextIsClearedWithoutWritingPastIt) {
  setenv("TZ", "UTC", 1);
  tzset();
  // A longer old text leaves no stale tail behind the date.
  auto dst = exact(std::string(40, 'z'));
  data_Date(dst.get(), "0");
  EXPECT_EQ(std::string(dst.get(), 41), "Jan 01 at 00:00 am" + std::string(23, '\0'));
  // A destination sized for the date alone, holding a full-length old text:
  // clearing four times its length would run far past it.
  auto tight = exact(std::string(PD_DATA_DATE_SIZE - 1, 'z'));
  data_Date(tight.get(), "86399");
  EXPECT_STREQ(tight.get(), "Jan 01 at 11:59 pm");
  data_Date(nullptr, "0");
}

// Nothing observable comes out of the phone scan; AddressSanitizer checks
// that a separator near the end never carries it past the text.
TEST(Data, PhoneScanStaysInsideItsText) {
  data_Phone(nullptr);
  for (std::string text : {"", "-", "12-", "0-123-4567", "123456789-", "--------", "555-0100-22"})
    data_Phone(exact(text).get());
}

}  // namespace
}  // namespace pd_test
