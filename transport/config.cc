#include "config.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace sns_tiface {
namespace {

const char *env(const char *name) {
  const char *value = std::getenv(name);
  return value != nullptr && *value != '\0' ? value : nullptr;
}

// A positive decimal number, or `fallback` for anything else.
template <typename T>
T positive(const char *text, T fallback) {
  if (text == nullptr) return fallback;
  errno = 0;
  char *end = nullptr;
  unsigned long long value = std::strtoull(text, &end, 10);
  if (errno != 0 || end == text || *end != '\0' || value == 0 || *text == '-') return fallback;
  if (value > static_cast<unsigned long long>(static_cast<T>(-1) >> 1)) return fallback;
  return static_cast<T>(value);
}

std::vector<std::string> split_entries(std::string_view text) {
  std::vector<std::string> entries;
  while (!text.empty()) {
    size_t comma = text.find(',');
    std::string_view entry = text.substr(0, comma);
    while (!entry.empty() && (entry.front() == ' ' || entry.front() == '\t')) entry.remove_prefix(1);
    while (!entry.empty() && (entry.back() == ' ' || entry.back() == '\t')) entry.remove_suffix(1);
    if (!entry.empty()) entries.emplace_back(entry);
    if (comma == std::string_view::npos) break;
    text.remove_prefix(comma + 1);
  }
  return entries;
}

}  // namespace

Config Config::from_environment() {
  Config config;
  if (const char *connect_to = env("SNS_NT_CONNECT_TO")) config.connect_to = split_entries(connect_to);
  if (const char *cainfo = env("SNS_NT_CAINFO")) config.cainfo = cainfo;
  config.timeout_ms = positive(env("SNS_NT_TIMEOUT_MS"), config.timeout_ms);
  // The response record keeps the body length in a 32-bit word.
  config.max_reply_bytes = std::min<size_t>(
      positive(env("SNS_NT_MAX_REPLY_BYTES"), config.max_reply_bytes), UINT32_MAX - 1);
  const char *debug = env("SNS_NT_DEBUG");
  config.debug = debug != nullptr && std::string_view(debug) != "0";
  return config;
}

}  // namespace sns_tiface
