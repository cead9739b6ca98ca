// A plug-in instance bound to the transport double, with the engine's
// callback collecting every notification; and the helpers its tests share.
#ifndef PD_TESTS_FRAME_FRAME_FIXTURE_H
#define PD_TESTS_FRAME_FRAME_FIXTURE_H

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "pd-plugin/pd_plugin.h"
#include "pd-plugin/pd_settings.h"
#include "pd-plugin/pd_upload.h"
#include "settings.h"
#include "sns_double.h"
#include "support/golden.h"
#include "support/log_capture.h"
#include "support/release_records.h"

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
  for (const std::string &line : data_lines(relative)) {
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

// The same bytes for the same seed on every host.
inline std::string random_bytes(size_t size, unsigned seed) {
  std::mt19937 generator(seed);
  std::string bytes(size, '\0');
  for (char &byte : bytes) byte = static_cast<char>(generator());
  return bytes;
}

// What the transport was handed, as the golden files show it; a chunk of the
// photo by its size and upload state.
inline std::string describe(const sns_double::Recorded &recorded) {
  const sns_nt_request &r = *recorded.request;
  char words[240];
  std::snprintf(words, sizeof words,
                "ID %u CODE %u KIND %u WORD16 %u WORD20 %u WORD24 %u WORD28 %u UPLOAD %u LENGTH %u PRIVATE %s "
                "HEADER %s\n",
                r.uReqId, r.uReqCode, r.uKind, r.uWord16, r.uWord20, r.uWord24, r.uWord28, r.uUploadValue, r.uBodyLen,
                r.pPrivData ? "upload-record" : "none", r.pheader ? r.pheader : "none");
  if (r.uKind == SNS_NT_KIND_CHUNK)
    return "URL " + recorded.url + "\n" + words + "CHUNK " + std::to_string(recorded.body.size()) + " bytes, state " +
           std::to_string(recorded.upload_state) + "\n";
  return "URL " + recorded.url + "\n" + words + "\n" + recorded.body;
}

// What the bounded settings reader finds: "found:value".
inline std::string read_setting(uint32_t index) {
  std::string value = "<unset>";
  int found = pd::settings::read(index, value);
  return std::to_string(found) + ":" + value;
}

// Delivers a reply as the transport would, for a request of `handle`; with
// no instance straight to the plug-in's callback, naming none.
inline int reply_to(void *handle, uint32_t code, uint32_t status, const char *body, void *record = nullptr) {
  uint32_t length = body ? static_cast<uint32_t>(std::strlen(body)) : 0;
  sns_nt_response response{0, 41, code, status, 0, const_cast<char *>(body), length, 0, handle, 0xfeed, record};
  if (handle == nullptr) return pd_response_cb(&response);
  return sns_double::deliver(static_cast<pd_inst *>(handle)->hTransport, &response);
}

// An instance's attributes and callbacks.
inline std::string describe_instance(void *handle) {
  if (handle == nullptr) return "";
  auto *inst = static_cast<pd_inst *>(handle);
  const char *engine = inst->pfnEngineCb == &engine_callback ? "ours" : inst->pfnEngineCb ? "other" : "none";
  return std::string(" '") + inst->szAttribute1 + "' '" + inst->szAttribute2 + "' caller data " +
         (inst->pCallerData ? "set" : "none") + ", engine callback " + engine + ", transport calls back " +
         (sns_double::callback(inst->hTransport) == &pd_response_cb ? "pd_response_cb" : "elsewhere");
}

// What the engine heard since the last call, a line each; the records are
// released as the engine releases them, a photo's fields shown first.
inline std::string take_notifications() {
  std::lock_guard<std::mutex> lock(g_notification_mutex);
  std::string heard;
  for (const pd_notification &n : g_notifications) {
    char line[160];
    std::snprintf(line, sizeof line, "-> marker %d code %u status %u id %u reserved %u pass %lu result ", n.iMarker,
                  n.uReqCode, n.uHttpStatus, n.uReqId, n.uReserved, static_cast<unsigned long>(n.uPassThrough));
    auto *photo = reinterpret_cast<xml_photo *>(n.iResult);
    heard += line + (n.iResult <= 0                      ? std::to_string(n.iResult)
                     : n.uReqCode != PD_REQ_UPLOAD_PHOTO ? std::string("record")
                                                         : std::string(photo->pszID) + " " + photo->pszAlbumID + " " +
                                                               photo->pszSP + " " + photo->pszStatus);
    heard += "\n";
    release_notification_result(n.uReqCode, n.iResult);
  }
  g_notifications.clear();
  return heard;
}

// Plays the calls of a table under tests/data in turn and gives back each
// row, its result, (when `logged`) its log lines, then what the transport
// was handed and what the engine heard meanwhile. A row is one call:
// - settings: get|INDEX (into a buffer holding "untouched"), set|INDEX|TEXT
//   ("-": a null text), read|INDEX, key|INDEX, init, gconftool|ARGUMENTS
//   (another program's view);
// - on the current instance (`handle` first): send|CODE|PARAMETERS
//   (pd_sendreq), dispatch|CODE|PARAMETERS (pd_send_pluggin_request),
//   pd_getattr|ID (with "|null": no outputs), pd_setattr|ID|KIND|VALUE
//   ("-": null, "$engine": the engine's callback, else a text),
//   reply|CODE|STATUS|BODY (from the transport; "-": no body, "@FILE": a reply
//   under tests/data/replies) with "|record" an upload record for `photo`,
//   a bare "reply" a null one;
// - instances: pd_init (a new current one; "pd_init|-": no place for it),
//   handle|- (none is current), pd_finalize (the current one; `handle` is
//   current again), results|INIT|CONNECT (what the transport says to the
//   next pd_init);
// - the photo upload: write|SIZE|SEED, append|SIZE|SEED, truncate|SIZE and
//   remove change the file `photo`; respond|STATUS|BODY answers the last
//   request; chunks accepts every chunk of the current instance, the last
//   with the photo done; reset forgets the transport's requests.
// PARAMETERS: "none", "text|T" or "block|W|...", an array of texts ("-" a
// null one, "\"\"" an empty one, "$photo" `photo`).
inline std::string play_calls(const std::string &table, void *handle = nullptr, bool logged = true,
                              std::string photo = "") {
  void *const first = handle;
  std::string transcript, written;
  for (auto &row : data_rows(table)) {
    LogCapture log;
    size_t before = sns_double::request_count();
    const std::string &call = row[0];
    auto number = [&row](size_t i) { return static_cast<uint32_t>(std::stoul(row.at(i))); };
    std::string result, loaded;
    auto body = [&row, &loaded](size_t i) -> const char * {
      if (row.size() <= i || row[i] == "-") return nullptr;
      loaded = row[i][0] == '@' ? read_data("replies/" + row[i].substr(1)) : row[i];
      return loaded.c_str();
    };
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
      result = std::to_string(sns_gconf_get_string(number(1), buffer)) + " " + buffer;
    } else if (call == "set") {
      const char *text = row.size() < 3 ? "" : row[2] == "-" ? nullptr : row[2].c_str();
      result = std::to_string(sns_gconf_set_string(number(1), text));
    } else if (call == "read") {
      result = read_setting(number(1));
    } else if (call == "key") {
      result = pd::settings::key(number(1)) ? pd::settings::key(number(1)) : "(null)";
    } else if (call == "init") {
      result = std::to_string(sns_gconf_init());
    } else if (call == "gconftool") {
      result = gconftool(row[1]);
    } else if (call == "send" || call == "dispatch") {
      result = std::to_string(call == "send" ? pd_sendreq(handle, number(1), params, nullptr)
                                             : pd_send_pluggin_request(handle, number(1), params, nullptr));
    } else if (call == "pd_getattr") {
      int kind = 77;
      void *value = nullptr;
      bool outputs = row.size() < 3;
      result = std::to_string(pd_getattr(handle, number(1), outputs ? &kind : nullptr, outputs ? &value : nullptr));
      if (outputs)
        result +=
            " kind " + std::to_string(kind) + " value " +
            (value ? "at +" + std::to_string(static_cast<char *>(value) - static_cast<char *>(handle)) : "untouched");
    } else if (call == "pd_setattr") {
      void *value = row[3] == "-"         ? nullptr
                    : row[3] == "$engine" ? reinterpret_cast<void *>(&engine_callback)
                                          : static_cast<void *>(row[3].data());
      result = std::to_string(pd_setattr(handle, number(1), number(2), value));
      result += describe_instance(handle);
    } else if (call == "reply" && row.size() == 1) {
      result = std::to_string(pd_response_cb(nullptr));
    } else if (call == "reply") {
      void *record = row.size() > 4 ? sns_photo_upload_init(photo.c_str()) : nullptr;
      result = std::to_string(reply_to(handle, number(1), number(2), body(3), record));
    } else if (call == "pd_init") {
      result = std::to_string(pd_init(row.size() > 1 ? nullptr : &handle));
      result += describe_instance(handle);
    } else if (call == "handle") {
      handle = nullptr;
    } else if (call == "pd_finalize") {
      result = std::to_string(pd_finalize(handle));
      result += ", the transport finalized " + std::to_string(sns_double::finalized()) + " times";
      handle = first;
    } else if (call == "results") {
      sns_double::set_results(std::stoi(row[1]), std::stoi(row[2]));
    } else if (call == "write" || call == "append") {
      std::string bytes = random_bytes(number(1), number(2));
      written = call == "write" ? bytes : written + bytes;
      std::ofstream(photo, call == "write" ? std::ios::binary : std::ios::binary | std::ios::app) << bytes;
    } else if (call == "truncate") {
      std::filesystem::resize_file(photo, number(1));
    } else if (call == "remove") {
      std::filesystem::remove(photo);
    } else if (call == "respond") {
      result = std::to_string(sns_double::respond(sns_double::request_count() - 1, number(1), body(2)));
    } else if (call == "chunks") {
      std::string received;
      for (size_t answered = 0; answered < sns_double::request_count(); ++answered) {
        const sns_double::Recorded sent = sns_double::requests()[answered];
        if (sent.request->uKind != SNS_NT_KIND_CHUNK || sent.request->pInstance != handle) continue;
        if (!g_notifications.empty()) result += "the engine heard before the end; ";
        received += sent.body;
        bool last = sent.upload_state == PD_UPLOAD_LAST_CHUNK;
        sns_double::respond(
            answered, 200,
            read_data(last ? "replies/upload/photo-done.xml" : "replies/upload/photo-partial.xml").c_str());
      }
      result += std::to_string(received.size()) + " bytes" +
                (written.compare(0, received.size(), received) == 0 ? ", as written" : ", NOT as written");
    } else if (call == "reset") {
      sns_double::reset();
    } else {
      ADD_FAILURE() << "no such call: " << call;
    }
    std::string shown;
    for (const std::string &field : row) shown += (shown.empty() ? "> " : "|") + field;
    // The photo's name differs from run to run, as do addresses.
    std::string lines = logged ? without_addresses(log.all()) : "";
    for (size_t at; !photo.empty() && (at = lines.find(photo)) != std::string::npos;)
      lines.replace(at, photo.size(), "$photo");
    transcript += shown + "\n" + result + "\n" + lines;
    for (size_t i = before; i < sns_double::request_count(); ++i) {
      const sns_double::Recorded sent = sns_double::requests()[i];
      EXPECT_TRUE(handle != nullptr && sent.request->pInstance == handle &&
                  sent.request->hTransport == static_cast<pd_inst *>(handle)->hTransport);
      transcript += describe(sent) + "\n";
    }
    transcript += take_notifications();
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
  void reply(uint32_t code, uint32_t status, const char *body) { reply_to(handle_, code, status, body); }

  void *handle_ = nullptr;
};

}  // namespace pd_test

#endif
