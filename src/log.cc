#include "log.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

namespace pd::log {

namespace detail {
std::atomic<int> g_level{kUnset};
}  // namespace detail

namespace {

using detail::g_level;
using detail::kUnset;

Level level_from_env() noexcept {
  const char *value = std::getenv("PD_PLUGIN_LOG");
  if (value == nullptr) return Level::all;
  if (std::strcmp(value, "none") == 0) return Level::none;
  if (std::strcmp(value, "error") == 0) return Level::error;
  return Level::all;
}

// The writer is replaced only by tests, before or between requests; the
// mutex keeps a replacement from racing a line written on the transport's
// callback thread.
std::mutex g_writer_mutex;
Writer g_writer;

void emit(Channel channel, std::string_view text) {
  std::lock_guard<std::mutex> lock(g_writer_mutex);
  if (g_writer) {
    g_writer(channel, text);
    return;
  }
  // One fwrite per record keeps lines from two threads from interleaving.
  std::FILE *stream = channel == Channel::err ? stderr : stdout;
  std::fwrite(text.data(), 1, text.size(), stream);
  if (channel == Channel::err) std::fflush(stream);
}

void append_formatted(std::string &out, const char *format, va_list args) {
  char small[512];
  va_list copy;
  va_copy(copy, args);
  int n = std::vsnprintf(small, sizeof small, format, copy);
  va_end(copy);
  if (n < 0) return;
  if (static_cast<size_t>(n) < sizeof small) {
    out.append(small, static_cast<size_t>(n));
    return;
  }
  size_t at = out.size();
  out.resize(at + static_cast<size_t>(n) + 1);
  std::vsnprintf(out.data() + at, static_cast<size_t>(n) + 1, format, args);
  out.resize(at + static_cast<size_t>(n));
}

}  // namespace

Level detail::first_level() noexcept {
  int current = static_cast<int>(level_from_env());
  g_level.store(current, std::memory_order_relaxed);
  return static_cast<Level>(current);
}

void reload_from_env() noexcept {
  g_level.store(static_cast<int>(level_from_env()), std::memory_order_relaxed);
}

void set_level(Level level) noexcept {
  g_level.store(static_cast<int>(level), std::memory_order_relaxed);
}

void set_writer(Writer writer) {
  std::lock_guard<std::mutex> lock(g_writer_mutex);
  g_writer = std::move(writer);
}

void line(Channel channel, const char *source, const char *function, int line_number,
          const char *format, ...) {
  std::string text = channel == Channel::error ? "[PD-PLUGIN-ERROR]" : "[PD-PLUGIN-DEBUG]";
  text += source;
  text += ':';
  text += function;
  text += ':';
  char number[16];
  std::snprintf(number, sizeof number, "%d: ", line_number);
  text += number;
  va_list args;
  va_start(args, format);
  append_formatted(text, format, args);
  va_end(args);
  emit(channel == Channel::error ? Channel::error : Channel::debug, text);
}

void plain(Channel channel, const char *format, ...) {
  std::string text;
  va_list args;
  va_start(args, format);
  append_formatted(text, format, args);
  va_end(args);
  emit(channel, text);
}

}  // namespace pd::log
