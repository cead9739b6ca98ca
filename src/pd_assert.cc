#include "pd_assert.h"

#include <cstdio>
#include <cstdlib>

namespace pd {

void assert_fail(const char *expression, const char *source, int line,
                 const char *function) noexcept {
  // Same shape as glibc's message, so the platform's crash tooling reads it.
  std::fprintf(stderr, "%s:%d: %s: Assertion `%s' failed.\n", source, line, function,
               expression);
  std::fflush(stderr);
  std::abort();
}

}  // namespace pd
