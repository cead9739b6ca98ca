// Text copies and releases shared by the composer and the parsers.
#include "pd-plugin/pd_data.h"

#include <cstdlib>
#include <cstring>

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

}  // extern "C"
