// Rows of the composer tests' data files: texts separated by blanks, in
// double quotes when they hold blanks or quotes (with \" \\ and \xNN), ~ for
// none; outside quotes [ | and ] stand on their own.
#ifndef PD_TESTS_COMPOSER_ROWS_H
#define PD_TESTS_COMPOSER_ROWS_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/golden.h"

namespace pd_test {

using Text = std::optional<std::string>;  // nullopt: no text

// Each token as (text, 0), or (none, one of "~[|]"); an unquoted $ is `fill`.
inline std::vector<std::pair<Text, char>> tokens(const std::string &line, const std::string &fill = "$") {
  std::vector<std::pair<Text, char>> out;
  for (size_t i = 0; i < line.size();) {
    char c = line[i];
    if (c == ' ') { ++i; continue; }
    if (c == '[' || c == '|' || c == ']') { out.push_back({std::nullopt, c}), ++i; continue; }
    std::string text;
    if (c == '"') {
      for (++i; line.at(i) != '"'; ++i) {
        if (line[i] != '\\') { text += line[i]; continue; }
        char e = line.at(++i);
        if (e == 'x') text += static_cast<char>(std::stoi(line.substr(i + 1, 2), nullptr, 16)), i += 2;
        else text += e;
      }
      out.push_back({text, 0}), ++i;
      continue;
    }
    while (i < line.size() && std::string(" []|").find(line[i]) == std::string::npos) text += line[i++];
    out.push_back({text == "~" ? Text{} : text == "$" ? Text{fill} : Text{text}, text == "~" ? '~' : 0});
  }
  return out;
}

}  // namespace pd_test

#endif
