#include "support/golden.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace pd_test {

std::string data_path(const std::string &relative) {
  return std::string(PD_TEST_DATA_DIR) + "/" + relative;
}

std::string read_data(const std::string &relative) {
  std::ifstream in(data_path(relative), std::ios::binary);
  if (!in) ADD_FAILURE() << "missing test data file " << relative;
  return std::string(std::istreambuf_iterator<char>(in), {});
}

std::vector<std::string> data_lines(const std::string &relative) {
  std::vector<std::string> lines;
  std::istringstream in(read_data(relative));
  for (std::string line; std::getline(in, line);)
    if (!line.empty() && line[0] != '#') lines.push_back(line);
  return lines;
}

::testing::AssertionResult matches_golden(const std::string &relative, const std::string &actual) {
  const char *update = std::getenv("PD_UPDATE_GOLDEN");
  if (update != nullptr && std::string(update) == "1") {
    std::filesystem::create_directories(std::filesystem::path(data_path(relative)).parent_path());
    std::ofstream(data_path(relative), std::ios::binary) << actual;
    return ::testing::AssertionSuccess();
  }
  std::ifstream in(data_path(relative), std::ios::binary);
  if (!in) return ::testing::AssertionFailure() << "missing golden file " << relative;
  const std::string want(std::istreambuf_iterator<char>(in), {});
  if (want == actual) return ::testing::AssertionSuccess();
  // The first differing byte, with a little context, for a readable failure.
  size_t at = std::mismatch(want.begin(), want.end(), actual.begin(), actual.end()).first - want.begin();
  size_t from = at > 40 ? at - 40 : 0;
  return ::testing::AssertionFailure() << relative << " differs; first difference at byte " << at
                                       << "\n  expected: ..." << want.substr(from, 80)
                                       << "\n  actual:   ..." << actual.substr(from, 80);
}

}  // namespace pd_test
