// Exhausted memory for the plug-in's own records stops the process with an
// assertion naming the variable, printed by the platform's own assertion
// facility. Unlike assert(), this one is never compiled out.
#ifndef PD_PLUGIN_SRC_PD_ASSERT_H
#define PD_PLUGIN_SRC_PD_ASSERT_H

namespace pd {
[[noreturn]] void assert_fail(const char *expression, const char *source, int line,
                              const char *function) noexcept;
}

#define PD_ASSERT(expr) PD_ASSERT_FOR(__func__, expr)

// In a helper that works for a named function: the message names that
// function, as if it had failed itself.
#define PD_ASSERT_FOR(function, expr)                                \
  do {                                                               \
    if (!(expr)) ::pd::assert_fail(#expr, PD_LOG_SOURCE, __LINE__, function); \
  } while (0)

// For an expression text that is not the tested condition (the upload path
// limit asserts on "0").
#define PD_ASSERT_TEXT(cond, text)                                   \
  do {                                                               \
    if (!(cond)) ::pd::assert_fail(text, PD_LOG_SOURCE, __LINE__, __func__); \
  } while (0)

#endif
