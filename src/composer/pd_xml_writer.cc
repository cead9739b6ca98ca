// The text writer under every request document.
#include <cstring>

#include "composer/pd_composer.h"

namespace {

// Appends `length` bytes at the write position and moves it. Internal
// appends take a size_t so that a text longer than the signed length of
// __add_string is still copied whole.
void append(char *buffer, const char *text, size_t length) {
  if (buffer != nullptr) {
    if (length != 0) std::memcpy(buffer + xml_last_index, text, length);
    buffer[xml_last_index + length] = '\0';
  }
  xml_last_index += static_cast<uint32_t>(length);
}

// The writer never validates names; a null one is written as empty rather
// than read.
void append(char *buffer, const char *text) {
  if (text != nullptr) append(buffer, text, std::strlen(text));
  else append(buffer, "", 0);
}

}  // namespace

extern "C" {

uint32_t xml_last_index = 0;

uint32_t __add_string(char *buffer, const char *source, uint32_t start, int32_t length) {
  size_t count = source != nullptr && length > 0 ? static_cast<size_t>(length) : 0;
  if (buffer != nullptr) {
    if (count != 0) std::memcpy(buffer + start, source, count);
    buffer[start + count] = '\0';
  }
  return start + static_cast<uint32_t>(count);
}

int __open_node(char *buffer, const char *name) {
  append(buffer, "<", 1);
  append(buffer, name);
  append(buffer, " ", 1);
  return 1;
}

// A second entry point with the same bytes; the Photo element uses it.
int __start_node(char *buffer, const char *name) { return __open_node(buffer, name); }

int __add_attr(char *buffer, const char *name, const char *value) {
  if (value == nullptr) return 0;
  append(buffer, name);
  append(buffer, "=\"", 2);
  append(buffer, value);
  append(buffer, "\" ", 2);
  return 1;
}

int __close_node(char *buffer) {
  append(buffer, "/>\n", 3);
  return 1;
}

int __close_node_child(char *buffer) {
  append(buffer, ">\n", 2);
  return 1;
}

int __end_node(char *buffer, const char *name) {
  append(buffer, "</", 2);
  append(buffer, name);
  append(buffer, ">\n", 2);
  return 1;
}

int __open_node_context(char *buffer, const char *name, const char *text) {
  if (text == nullptr) return 0;
  append(buffer, "<", 1);
  append(buffer, name);
  append(buffer, ">", 1);
  append(buffer, text);
  append(buffer, "</", 2);
  append(buffer, name);
  append(buffer, ">\n", 2);
  return 1;
}

int __add_comment(char *buffer, const char *text) {
  if (text == nullptr) return 0;
  append(buffer, text);
  return 1;
}

int xml_composer_set_xml_last_index(uint32_t index) {
  xml_last_index = index;
  return 1;
}

}  // extern "C"
