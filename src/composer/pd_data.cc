// Text copies and releases shared by the composer and the parsers.
#include "pd-plugin/pd_data.h"

#include <cstdlib>
#include <cstring>
#include <string_view>

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

}  // namespace

extern "C" {

char *data_Cpy(const char *text) {
  if (text == nullptr) return nullptr;
  size_t length = std::strlen(text);
  auto *copy = static_cast<char *>(std::calloc(length + 1, 1));
  if (copy == nullptr) return nullptr;
  std::memcpy(copy, text, length);
  copy[length] = '\0';
  return copy;
}

void data_Del(void *p) {
  if (p != nullptr) std::free(p);
}

void data_Str(char *dst, const char *src) {
  if (dst == nullptr || src == nullptr) return;
  size_t length = std::strlen(src);
  std::memset(dst, 0, 4 < length + 2 ? 4 : length + 2);
  std::memcpy(dst, src, length + 1);
  // One NUL more past the terminator: callers that read the text as a
  // double-terminated list rely on it.
  dst[length + 1] = '\0';
}

void data_Int(const char *text, int32_t *out) {
  if (out == nullptr) return;
  *out = text == nullptr ? PD_DATA_MISSING
                         : static_cast<int32_t>(std::strtol(text, nullptr, 10));
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
