// Another program's view of the settings: gconftool-2 in the same session.
#ifndef PD_TESTS_FRAME_GCONFTOOL_H
#define PD_TESTS_FRAME_GCONFTOOL_H

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace pd_test {

// What gconftool-2 reads for a key: the empty text also when it is unset.
inline std::string gconftool_get(const std::string &key) {
  std::FILE *pipe = popen(("gconftool-2 --get " + key + " 2>/dev/null").c_str(), "r");
  if (pipe == nullptr) return "<popen failed>";
  std::string out;
  char chunk[256];
  while (size_t n = std::fread(chunk, 1, sizeof chunk, pipe)) out.append(chunk, n);
  pclose(pipe);
  if (!out.empty() && out.back() == '\n') out.pop_back();
  return out;
}

inline void gconftool_set(const std::string &key, const std::string &value) {
  ASSERT_EQ(std::system(("gconftool-2 --type string --set " + key + " '" + value + "'").c_str()), 0);
}

}  // namespace pd_test

#endif
