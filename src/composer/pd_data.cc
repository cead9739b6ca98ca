// Text copies and releases shared by the composer and the parsers.
#include "pd-plugin/pd_data.h"

#include <cstdlib>
#include <cstring>
#include <string_view>

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
