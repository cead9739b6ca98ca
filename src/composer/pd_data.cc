// Text copies, keyword converters and checks, and display helpers shared
// by the composer and the parsers.
#include "pd-plugin/pd_data.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string_view>

#include "log.h"

namespace {

// Index of `text` in a keyword table, -1 for null, -255 when not found.
template <size_t N>
int32_t keyword_index(const char *text, const char *const (&keywords)[N]) {
  if (text == nullptr) return PD_DATA_MISSING;
  for (size_t i = 0; i < N; ++i)
    if (std::strcmp(text, keywords[i]) == 0) return static_cast<int32_t>(i);
  return PD_DATA_UNKNOWN;
}

constexpr const char *kSexes[] = {"male", "female"};
constexpr const char *kServiceProviders[] = {"palisade", "velora", "vesper"};

constexpr const char *kSendTypes[] = {"reply", "forward", "new"};
constexpr const char *kFullTexts[] = {"full", "header"};
constexpr const char *kFolders[] = {"inbox", "outbox", "save", "trash", "temp", "all", "commenting"};
constexpr const char *kTargetTypes[] = {"photo",   "note",     "video",     "profile",
                                        "activity", "bulletin", "statuslist"};

// 0 when the keyword is in the table, 1 otherwise. A missing keyword is not
// an allowed one: the callers then refuse the request instead of writing an
// element the gateway would reject.
template <size_t N>
int check_keyword(const char *text, const char *const (&keywords)[N]) {
  return keyword_index(text, keywords) >= 0 ? 0 : 1;
}

constexpr const char *kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

}  // namespace

extern "C" {

char *data_Cpy(const char *text) {
  if (text == nullptr) return nullptr;
  size_t length = std::strlen(text) + 1;
  auto *copy = static_cast<char *>(std::malloc(length));
  if (copy != nullptr) std::memcpy(copy, text, length);
  return copy;
}

void data_Del(void *p) {
  if (p != nullptr) std::free(p);
}

void data_Str(char *dst, const char *src) {
  if (dst == nullptr || src == nullptr) return;
  size_t length = std::strlen(src);
  // The first four bytes are cleared as always, but never past the
  // length + 2 bytes the destination is known to hold.
  std::memset(dst, 0, 4 < length + 2 ? 4 : length + 2);
  std::memcpy(dst, src, length + 1);
  // One NUL more past the terminator: callers that read the text as a
  // double-terminated list rely on it.
  dst[length + 1] = '\0';
}

void data_Int(const char *text, int32_t *out) {
  if (out == nullptr) return;
  if (text == nullptr) {
    *out = PD_DATA_MISSING;
    return;
  }
  // Out-of-range numbers saturate, as they always did where long has 32 bits.
  long long value = std::strtoll(text, nullptr, 10);
  if (value > INT32_MAX) value = INT32_MAX;
  if (value < INT32_MIN) value = INT32_MIN;
  *out = static_cast<int32_t>(value);
}

void data_Sex(const char *text, int32_t *out) {
  if (out != nullptr) *out = keyword_index(text, kSexes);
}

void data_SP(const char *text, int32_t *out) {
  if (out != nullptr) *out = keyword_index(text, kServiceProviders);
}

void data_iBool(const char *text, int32_t *out) {
  // Inverted on purpose: the callers' convention is 0 for true.
  if (out != nullptr) *out = text != nullptr && std::strcmp(text, "true") == 0 ? 0 : 1;
}

void data_Bool(const char *text, uint8_t *out, uint8_t fallback) {
  if (out == nullptr) return;
  *out = fallback;
  if (text == nullptr) return;
  if (std::strcmp(text, "true") == 0) *out = 1;
  else if (std::strcmp(text, "false") == 0) *out = 0;
}

int checkSendType(const char *text) { return check_keyword(text, kSendTypes); }

int checkFullText(const char *text) { return check_keyword(text, kFullTexts); }

int checkFolder(const char *text) { return check_keyword(text, kFolders); }

int checkTargetType(const char *text) {
  PD_LOG_STDOUT("checkTargetType : %s\n", PD_STR(text));
  return check_keyword(text, kTargetTypes);
}

void data_Date(char *dst, const char *seconds) {
  if (dst == nullptr || seconds == nullptr) return;
  std::time_t when = static_cast<std::time_t>(std::strtoll(seconds, nullptr, 10));
  std::tm local{};
  if (localtime_r(&when, &local) == nullptr) return;  // beyond what a calendar year can hold
  // The date always cleared four times the old text's length, which runs past
  // a destination that was only sized for that text. Clearing the old text
  // itself leaves the same visible result (no stale tail after the new date)
  // and writes nothing beyond the old text and the new one.
  std::memset(dst, 0, std::strlen(dst));
  // Hours up to 12 read "am" as they stand (noon is "12:mm am"); later ones
  // lose 12 and read "pm".
  bool morning = local.tm_hour <= 12;
  char text[32];
  int length = std::snprintf(text, sizeof text, "%s %02d at %02d:%02d %s", kMonths[local.tm_mon],
                             local.tm_mday, morning ? local.tm_hour : local.tm_hour - 12,
                             local.tm_min, morning ? "am" : "pm");
  // A broken-down time keeps every field in range, so the date always has
  // PD_DATA_DATE_SIZE - 1 characters; the bound only guards the destination.
  std::memcpy(dst, text, std::min<size_t>(length, PD_DATA_DATE_SIZE - 1));
  dst[std::min<size_t>(length, PD_DATA_DATE_SIZE - 1)] = '\0';
}

void data_Phone(const char *text) {
  if (text == nullptr) return;
  size_t length = std::strlen(text);
  auto *digits = static_cast<char *>(std::malloc(length + 1));
  if (digits == nullptr) return;
  // A separator is dropped together with the eight characters after it. The
  // scan makes strlen(text) steps but stops at the end of the text, where a
  // skip would otherwise carry it.
  size_t at = 0, kept = 0;
  for (size_t step = 0; step < length && at < length; ++step) {
    if (text[at] == '-') {
      at += 9;
    } else {
      digits[kept++] = text[at++];
    }
  }
  digits[kept] = '\0';
  // Nothing uses the result yet; it is not kept.
  std::free(digits);
}

char *data_RejectCDATA(const char *text) {
  if (text == nullptr) return nullptr;
  constexpr std::string_view kOpen = "<![CDATA[";
  constexpr std::string_view kClose = "]]>";
  std::string_view in(text);
  auto *out = static_cast<char *>(std::calloc(in.size() + 1, 1));
  if (out == nullptr) return nullptr;
  // Every step consumes at least one input character, so scanning to the
  // terminator gives the same text as a scan of strlen(text) steps, without
  // ever looking past the input.
  size_t written = 0;
  bool open = false;
  for (size_t at = 0; at < in.size();) {
    std::string_view rest = in.substr(at);
    if (rest.starts_with(kOpen)) {
      at += kOpen.size();
      open = true;
    } else if (open && rest.starts_with(kClose)) {
      at += kClose.size();
      open = false;
    } else {
      out[written++] = in[at++];
    }
  }
  return out;
}

}  // extern "C"
