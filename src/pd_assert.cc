#include "pd_assert.h"

// The C library declares its assertion reporter only for builds that keep
// assertions; this one always does.
#undef NDEBUG
#include <assert.h>

namespace pd {

void assert_fail(const char *expression, const char *source, int line,
                 const char *function) noexcept {
  // The C library's own report ("prog: file:line: function: Assertion `x'
  // failed."), so the platform's crash tooling reads it, and its abort.
  __assert_fail(expression, source, static_cast<unsigned int>(line), function);
}

}  // namespace pd
