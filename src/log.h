// The plug-in's one output sink.
//
// Every line the plug-in writes goes through here, so a host can silence it
// with PD_PLUGIN_LOG=all|error|none (default all) and no formatting work is
// done for a silenced line: the macros test the level before evaluating
// their arguments.
//
// Line forms:
//   PD_LOG_DEBUG / PD_LOG_ERROR: "[PD-PLUGIN-DEBUG]" or "[PD-PLUGIN-ERROR]",
//     then "<source path>:<function>:<line>: ", then the message, which
//     carries its own trailing line breaks ("START >>>>>>>>\n\n").
//     The calling file names its source path in PD_LOG_SOURCE before use.
//   PD_LOG_STDOUT: a prefix-less line on standard output (tracing lines,
//     diagnostic dumps); the format carries its own line break.
//   PD_LOG_STDERR: a prefix-less line on standard error.
// Debug, stdout and stderr lines are written at level "all"; error lines at
// "all" and "error".
//
// Never pass a null pointer for %s: wrap possibly-null texts in PD_STR().
#ifndef PD_PLUGIN_SRC_LOG_H
#define PD_PLUGIN_SRC_LOG_H

#include <atomic>
#include <cstdarg>
#include <functional>
#include <string_view>

namespace pd::log {

enum class Level { all = 0, error = 1, none = 2 };

enum class Channel { debug, error, out, err };

namespace detail {
constexpr int kUnset = -1;
extern std::atomic<int> g_level;
Level first_level() noexcept;
}  // namespace detail

// Level of the process, read from PD_PLUGIN_LOG on first use. Inline: a
// parse asks it several times per element.
inline Level level() noexcept {
  int current = detail::g_level.load(std::memory_order_relaxed);
  return current != detail::kUnset ? static_cast<Level>(current) : detail::first_level();
}
void set_level(Level level) noexcept;
// Reads PD_PLUGIN_LOG again (tests change it within one process).
void reload_from_env() noexcept;

inline bool debug_on() noexcept { return level() == Level::all; }
inline bool error_on() noexcept { return level() != Level::none; }

// Writes one already-formatted record. Replaceable so tests can capture
// exactly what the plug-in writes; pass an empty function to restore the
// standard streams.
using Writer = std::function<void(Channel, std::string_view)>;
void set_writer(Writer writer);

void line(Channel channel, const char *source, const char *function, int line,
          const char *format, ...) __attribute__((format(printf, 5, 6)));
void plain(Channel channel, const char *format, ...)
    __attribute__((format(printf, 2, 3)));

inline const char *str(const char *text) noexcept { return text ? text : "(null)"; }

}  // namespace pd::log

#define PD_STR(text) ::pd::log::str(text)

#define PD_LOG_DEBUG(...)                                                        \
  do {                                                                           \
    if (::pd::log::debug_on())                                                   \
      ::pd::log::line(::pd::log::Channel::debug, PD_LOG_SOURCE, __func__, __LINE__, \
                      __VA_ARGS__);                                              \
  } while (0)

#define PD_LOG_ERROR(...)                                                        \
  do {                                                                           \
    if (::pd::log::error_on())                                                   \
      ::pd::log::line(::pd::log::Channel::error, PD_LOG_SOURCE, __func__, __LINE__, \
                      __VA_ARGS__);                                              \
  } while (0)

#define PD_LOG_STDOUT(...)                                              \
  do {                                                                  \
    if (::pd::log::debug_on()) ::pd::log::plain(::pd::log::Channel::out, __VA_ARGS__); \
  } while (0)

#define PD_LOG_STDERR(...)                                              \
  do {                                                                  \
    if (::pd::log::debug_on()) ::pd::log::plain(::pd::log::Channel::err, __VA_ARGS__); \
  } while (0)

// For a helper shared by several named functions: the line names the
// function the helper works for, as if that function wrote it.
#define PD_LOG_DEBUG_FOR(function, ...)                                         \
  do {                                                                           \
    if (::pd::log::debug_on())                                                   \
      ::pd::log::line(::pd::log::Channel::debug, PD_LOG_SOURCE, function, __LINE__, \
                      __VA_ARGS__);                                              \
  } while (0)

#define PD_LOG_ERROR_FOR(function, ...)                                         \
  do {                                                                           \
    if (::pd::log::error_on())                                                   \
      ::pd::log::line(::pd::log::Channel::error, PD_LOG_SOURCE, function, __LINE__, \
                      __VA_ARGS__);                                              \
  } while (0)

// Brackets of a function's work.
#define PD_LOG_START() PD_LOG_DEBUG("START >>>>>>>>\n\n")
#define PD_LOG_END() PD_LOG_DEBUG("END >>>>>>>>\n\n")

#endif
