// A plug-in instance bound to the transport double, with the engine's
// callback collecting every notification; and the helpers its tests share.
#ifndef PD_TESTS_FRAME_FRAME_FIXTURE_H
#define PD_TESTS_FRAME_FRAME_FIXTURE_H

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include "pd-plugin/pd_plugin.h"
#include "sns_double.h"
#include "support/golden.h"
#include "support/log_capture.h"

namespace pd_test {

// Notifications the engine received, copied; the records themselves are
// released as the engine would release them.
inline std::mutex g_notification_mutex;
inline std::vector<pd_notification> g_notifications;

inline void engine_callback(pd_notification *notification) {
  std::lock_guard<std::mutex> lock(g_notification_mutex);
  g_notifications.push_back(*notification);
  std::free(notification);
}

// Log text with the addresses it prints masked: they differ from run to run.
inline std::string without_addresses(std::string log) {
  for (size_t at = log.find("0x"); at != std::string::npos; at = log.find("0x", at + 2)) {
    size_t end = log.find_first_not_of("0123456789abcdef", at + 2);
    if (end != at + 2) log.replace(at, (end == std::string::npos ? log.size() : end) - at, "0x...");
  }
  return log;
}

// The rows of a table under tests/data: fields split at '|', blank lines and
// '#' lines skipped.
inline std::vector<std::vector<std::string>> data_rows(const std::string &relative) {
  std::vector<std::vector<std::string>> rows;
  std::istringstream in(read_data(relative));
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream fields(line);
    rows.emplace_back();
    for (std::string field; std::getline(fields, field, '|');) rows.back().push_back(field);
  }
  return rows;
}

// Another program's view of the settings: gconftool-2 in the same session.
// A key it cannot read (also an unset one) reads as the empty text.
inline std::string gconftool(const std::string &arguments) {
  std::FILE *pipe = popen(("gconftool-2 " + arguments + " 2>/dev/null").c_str(), "r");
  std::string out;
  char chunk[256];
  while (size_t n = pipe ? std::fread(chunk, 1, sizeof chunk, pipe) : 0) out.append(chunk, n);
  if (pipe) pclose(pipe);
  if (!out.empty() && out.back() == '\n') out.pop_back();
  return out;
}

class FrameTest : public ::testing::Test {
 protected:
  void SetUp() override {
    sns_double::reset();
    g_notifications.clear();
    ASSERT_EQ(pd_init(&handle_), 0);
    ASSERT_EQ(pd_setattr(handle_, 3, 3, reinterpret_cast<void *>(&engine_callback)), 0);
  }
  void TearDown() override {
    if (handle_ != nullptr) pd_finalize(handle_);
    sns_double::reset();
  }
  pd_inst *inst() const { return static_cast<pd_inst *>(handle_); }
  std::vector<pd_notification> notifications() const {
    std::lock_guard<std::mutex> lock(g_notification_mutex);
    return g_notifications;
  }
  // Delivers a reply as the transport would, for a request of this instance.
  void reply(uint32_t code, uint32_t status, const char *body, void *priv = nullptr,
             uint32_t id = 41, uintptr_t pass_through = 0xfeed) {
    sns_nt_response response{0, id, code, status, 0, const_cast<char *>(body),
                             body ? static_cast<uint32_t>(std::strlen(body)) : 0, 0, handle_,
                             pass_through, priv};
    sns_double::deliver(inst()->hTransport, &response);
  }

  void *handle_ = nullptr;
};

}  // namespace pd_test

#endif
