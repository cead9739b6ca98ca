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
#include "pd-plugin/pd_settings.h"
#include "settings.h"
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

// What the transport was handed, as the golden files show it.
inline std::string describe(const sns_double::Recorded &recorded) {
  const sns_nt_request &r = *recorded.request;
  char words[240];
  std::snprintf(words, sizeof words,
                "ID %u CODE %u KIND %u WORD16 %u WORD20 %u WORD24 %u WORD28 %u UPLOAD %u LENGTH %u PRIVATE %s "
                "HEADER %s\n",
                r.uReqId, r.uReqCode, r.uKind, r.uWord16, r.uWord20, r.uWord24, r.uWord28, r.uUploadValue,
                r.uBodyLen, r.pPrivData ? "upload-record" : "none", r.pheader ? r.pheader : "none");
  return "URL " + recorded.url + "\n" + words + "\n" + recorded.body;
}

// What the bounded settings reader finds: "found:value".
inline std::string read_setting(uint32_t index) {
  std::string value = "<unset>";
  int found = pd::settings::read(index, value);
  return std::to_string(found) + ":" + value;
}

// Plays the calls of a table under tests/data in turn and gives back each row,
// its result and (when `logged`) its log lines. A row is one call:
// get|INDEX (into a buffer holding "untouched"), set|INDEX|TEXT ("-": a null
// text), read|INDEX, key|INDEX, init, gconftool|ARGUMENTS (another program's
// view), or on instance `handle` send|CODE|PARAMETERS (pd_sendreq, then what
// the transport was handed, if anything) and dispatch|CODE|PARAMETERS
// (pd_send_pluggin_request). PARAMETERS: "none", "text|T" or "block|W|...",
// an array of texts ("-" a null one, "\"\"" an empty one, "$photo" `photo`).
inline std::string play_calls(const std::string &table, void *handle = nullptr, bool logged = true,
                              std::string photo = "") {
  std::string transcript;
  for (auto &row : data_rows(table)) {
    LogCapture log;
    const std::string &call = row[0];
    uint32_t index = call == "gconftool" || call == "init" ? 0 : std::stoul(row[1]);
    std::string result;
    char buffer[64] = "untouched";
    std::vector<char *> block;
    for (size_t i = 3; i < row.size(); ++i)
      block.push_back(row[i] == "-"        ? nullptr
                      : row[i] == "$photo" ? photo.data()
                      : row[i] == "\"\""   ? const_cast<char *>("")
                                           : row[i].data());
    void *params = row.size() < 3 || row[2] == "none" ? nullptr
                   : row[2] == "text"                 ? static_cast<void *>(block.at(0))
                                                      : static_cast<void *>(block.data());
    if (call == "get") {
      result = std::to_string(sns_gconf_get_string(index, buffer)) + " " + buffer;
    } else if (call == "set") {
      const char *text = row.size() < 3 ? "" : row[2] == "-" ? nullptr : row[2].c_str();
      result = std::to_string(sns_gconf_set_string(index, text));
    } else if (call == "read") {
      result = read_setting(index);
    } else if (call == "key") {
      result = pd::settings::key(index) ? pd::settings::key(index) : "(null)";
    } else if (call == "send" || call == "dispatch") {
      size_t before = sns_double::request_count();
      result = std::to_string(call == "send" ? pd_sendreq(handle, index, params, nullptr)
                                             : pd_send_pluggin_request(handle, index, params, nullptr));
      for (size_t i = before; i < sns_double::request_count(); ++i) {
        const sns_double::Recorded sent = sns_double::requests()[i];
        EXPECT_EQ(sent.request->pInstance, handle);
        EXPECT_EQ(sent.request->hTransport, static_cast<pd_inst *>(handle)->hTransport);
        result += "\n" + describe(sent);
      }
    } else {
      result = call == "init" ? std::to_string(sns_gconf_init()) : gconftool(row[1]);
    }
    std::string shown;
    for (const std::string &field : row) shown += (shown.empty() ? "> " : "|") + field;
    transcript += shown + "\n" + result + "\n" + (logged ? log.all() : "");
  }
  return transcript;
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
