// Value converters, keyword checks and display helpers.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>

#include "pd-plugin/pd_data.h"
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

TEST(Data, NumberAndKeywordConverters) {
  int32_t out = 7;
  struct Int {
    const char *text;
    int32_t want;
  };
  for (Int c : {Int{"  -42abc", -42}, Int{"+17", 17}, Int{"abc", 0}, Int{nullptr, -1},
                Int{"99999999999", INT32_MAX}, Int{"-99999999999", INT32_MIN}}) {
    data_Int(c.text, &out);
    EXPECT_EQ(out, c.want) << PD_STR(c.text);
  }

  struct Keyword {
    void (*convert)(const char *, int32_t *);
    const char *text;
    int32_t want;
  };
  for (Keyword c : {Keyword{data_Sex, "male", 0}, Keyword{data_Sex, "female", 1},
                    Keyword{data_Sex, "Female", -255}, Keyword{data_Sex, nullptr, -1},
                    Keyword{data_SP, "palisade", 0}, Keyword{data_SP, "velora", 1},
                    Keyword{data_SP, "vesper", 2}, Keyword{data_SP, "Palisade", -255},
                    Keyword{data_SP, nullptr, -1}, Keyword{data_iBool, "true", 0},
                    Keyword{data_iBool, "false", 1}, Keyword{data_iBool, "TRUE", 1},
                    Keyword{data_iBool, nullptr, 1}}) {
    c.convert(c.text, &out);
    EXPECT_EQ(out, c.want) << PD_STR(c.text);
  }

  struct Bool {
    const char *text;
    uint8_t fallback, want;
  };
  for (Bool c : {Bool{"true", 0, 1}, Bool{"false", 1, 0}, Bool{"yes", 1, 1}, Bool{nullptr, 0, 0},
                 Bool{"", 1, 1}}) {
    uint8_t flag = 9;
    data_Bool(c.text, &flag, c.fallback);
    EXPECT_EQ(flag, c.want) << PD_STR(c.text);
  }
}

TEST(Data, KeywordChecksAreExactAndRefuseNull) {
  struct Check {
    int (*check)(const char *);
    std::vector<const char *> allowed, refused;
  };
  const Check checks[] = {
      {checkSendType, {"reply", "forward", "new"}, {"New", "send", "reply "}},
      {checkFullText, {"full", "header"}, {"Full", "headers"}},
      {checkFolder,
       {"inbox", "outbox", "save", "trash", "temp", "all", "commenting"},
       {"All", "drafts", "inbox\n"}},
      {checkTargetType,
       {"photo", "note", "video", "profile", "activity", "bulletin", "statuslist"},
       {"Photo", "status"}},
  };
  for (const Check &c : checks) {
    for (const char *text : c.allowed) EXPECT_EQ(c.check(text), 0) << text;
    for (const char *text : c.refused) EXPECT_EQ(c.check(text), 1) << text;
    EXPECT_EQ(c.check(""), 1);
    EXPECT_EQ(c.check(nullptr), 1);
  }
}

TEST(Data, CheckTargetTypeNamesWhatItChecks) {
  LogCapture log;
  checkTargetType("photo");
  checkTargetType(nullptr);
  EXPECT_EQ(log.text(pd::log::Channel::out), "checkTargetType : photo\ncheckTargetType : (null)\n");
}

class Dates : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("TZ", "UTC", 1);
    tzset();
  }
  static std::string date(const char *seconds) {
    char dst[PD_DATA_DATE_SIZE] = "";
    data_Date(dst, seconds);
    return dst;
  }
};

TEST_F(Dates, TwelveHourClockWithNoonAsAm) {
  EXPECT_EQ(date("0"), "Jan 01 at 00:00 am");
  EXPECT_EQ(date("43200"), "Jan 01 at 12:00 am");  // noon
  EXPECT_EQ(date("47100"), "Jan 01 at 01:05 pm");
  EXPECT_EQ(date("86399"), "Jan 01 at 11:59 pm");
  EXPECT_EQ(date("1700000000"), "Nov 14 at 10:13 pm");
  EXPECT_EQ(date("4102444800"), "Jan 01 at 00:00 am");  // 2100, past 32-bit time
  EXPECT_EQ(date("-1"), "Dec 31 at 11:59 pm");
  EXPECT_EQ(date("1700000000junk"), "Nov 14 at 10:13 pm");
  setenv("TZ", "EST5", 1);
  tzset();
  EXPECT_EQ(date("0"), "Dec 31 at 07:00 pm");
}

TEST_F(Dates, OldTextIsClearedWithoutWritingPastIt) {
  // A longer old text leaves no stale tail behind the date.
  std::string old(40, 'z');
  auto dst = exact(old);
  data_Date(dst.get(), "0");
  EXPECT_EQ(std::string(dst.get(), 41), "Jan 01 at 00:00 am" + std::string(23, '\0'));
  // A destination sized for the date alone, holding a full-length old text:
  // clearing four times its length would run far past it.
  auto tight = exact(std::string(PD_DATA_DATE_SIZE - 1, 'z'));
  data_Date(tight.get(), "86399");
  EXPECT_STREQ(tight.get(), "Jan 01 at 11:59 pm");
}

TEST_F(Dates, NothingWrittenWithoutATime) {
  char dst[PD_DATA_DATE_SIZE] = "kept";
  data_Date(dst, nullptr);
  data_Date(nullptr, "0");
  data_Date(dst, "99999999999999999999");  // beyond any calendar year
  EXPECT_STREQ(dst, "kept");
}

// Nothing observable comes out of the phone scan; AddressSanitizer checks
// that a separator near the end never carries it past the text.
TEST(Data, PhoneScanStaysInsideItsText) {
  data_Phone(nullptr);
  for (std::string text : {"", "-", "12-", "0-123-4567", "123456789-", "--------", "555-0100-22"})
    data_Phone(exact(text).get());
}

TEST(Data, RejectCDATA) {
  struct Case {
    const char *text, *want;
  };
  for (Case c : {Case{"<![CDATA[abc]]>", "abc"}, Case{"x]]>y", "x]]>y"},
                 Case{"a<![CDATA[b]]>c]]>d", "abc]]>d"}, Case{"<![CDATA[open", "open"},
                 Case{"<![CDA", "<![CDA"}, Case{"]]", "]]"}, Case{"", ""},
                 Case{"<![CDATA[<![CDATA[x]]>]]>", "x]]>"}}) {
    char *out = data_RejectCDATA(exact(c.text).get());
    EXPECT_STREQ(out, c.want) << c.text;
    data_Del(out);
  }
  EXPECT_EQ(data_RejectCDATA(nullptr), nullptr);
}

}  // namespace
}  // namespace pd_test
