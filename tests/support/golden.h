// Golden files under tests/data: the exact bytes of the protocol.
#ifndef PD_TESTS_SUPPORT_GOLDEN_H
#define PD_TESTS_SUPPORT_GOLDEN_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace pd_test {

// The path of a file under tests/data.
std::string data_path(const std::string &relative);

// The whole content of a file under tests/data; fails the test when missing.
std::string read_data(const std::string &relative);

// The lines of a data file under tests/data, without blank lines and
// '#' comment lines.
std::vector<std::string> data_lines(const std::string &relative);

// Compares `actual` with a golden file byte for byte. With PD_UPDATE_GOLDEN=1
// in the environment the file is (re)written instead, for reviewing new
// protocol bytes with git diff.
::testing::AssertionResult matches_golden(const std::string &relative, const std::string &actual);

}  // namespace pd_test

#endif
