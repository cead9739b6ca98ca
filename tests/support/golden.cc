#include "support/golden.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace pd_test {

std::string data_path(const std::string &relative) {
  return std::string(PD_TEST_DATA_DIR) + "/" + relative;
}

std::string read_data(const std::string &relative) {
  std::ifstream in(data_path(relative), std::ios::binary);
  if (!in) {
    ADD_FAILURE() << "missing test data file " << relative;
    return {};
  }
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

namespace {
// The first differing position, with a little context, for a readable failure.
std::string first_difference(const std::string &want, const std::string &got) {
  size_t at = 0;
  while (at < want.size() && at < got.size() && want[at] == got[at]) ++at;
  size_t from = at > 40 ? at - 40 : 0;
  std::ostringstream out;
  out << "first difference at byte " << at << "\n  expected: ..." << want.substr(from, 80)
      << "\n  actual:   ..." << got.substr(from, 80);
  return out.str();
}
}  // namespace

::testing::AssertionResult matches_golden(const std::string &relative, const std::string &actual) {
  const char *update = std::getenv("PD_UPDATE_GOLDEN");
  if (update != nullptr && std::string(update) == "1") {
    std::filesystem::create_directories(std::filesystem::path(data_path(relative)).parent_path());
    std::ofstream(data_path(relative), std::ios::binary) << actual;
    return ::testing::AssertionSuccess();
  }
  std::ifstream in(data_path(relative), std::ios::binary);
  if (!in) return ::testing::AssertionFailure() << "missing golden file " << relative;
  std::ostringstream want;
  want << in.rdbuf();
  if (want.str() == actual) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << relative << " differs; "
                                       << first_difference(want.str(), actual);
}

}  // namespace pd_test
