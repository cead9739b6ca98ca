#include "pd_assert.h"

#include <assert.h>

namespace pd {

void assert_fail(const char *expression, const char *source, int line,
                 const char *function) noexcept {
  // The C library's own report ("prog: file:line: function: Assertion `x'
  // failed."), so the platform's crash tooling reads it, and its abort.
  __assert_fail(expression, source, static_cast<unsigned int>(line), function);
}

}  // namespace pd
