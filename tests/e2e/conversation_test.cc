// Every served request through the plug-in, libcurl and gateway-sim: what
// reached the gateway (tests/data/e2e/tour/*.request) and what the engine
// was told (*.dump), in one session whose changes read back.
#include <cstdio>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

#include "e2e_fixture.h"
#include "support/golden.h"

namespace pd_test {
namespace {

struct Step {
  std::string name;  // tests/data/e2e/tour/<name>.request and .dump
  uint32_t code;
  std::string kind;  // of the parameter block: none, text or words
  std::vector<std::string> words;
};

// The tour of tests/data/e2e/tour/steps.txt, the upload of `picture`.
std::vector<Step> tour(const std::string &picture) {
  std::vector<Step> steps;
  for (const std::string &line : data_lines("e2e/tour/steps.txt")) {
    std::vector<std::string> fields;
    std::istringstream in(line);
    for (std::string field; std::getline(in, field, '\t');) fields.push_back(field == "<picture>" ? picture : field);
    steps.push_back({fields[0], static_cast<uint32_t>(std::stoul(fields[1])), fields[2], {fields.begin() + 3, fields.end()}});
  }
  return steps;
}

class Conversation : public EndToEnd {
 protected:
  // One step: one notification, the requests it made, both against their
  // golden files.
  pd_notification step(const Step &s) {
    SCOPED_TRACE(s.name);
    size_t before = requests().size();
    pd_notification done = send(s);
    if (s.code == PD_REQ_LOGIN) mask_keys();
    std::vector<RecordedRequest> after = requests();
    std::string sent;
    for (size_t i = before; i < after.size(); ++i) sent += (i > before ? "\n" : "") + describe(after[i], masks_);
    EXPECT_TRUE(matches_golden(std::string("e2e/tour/") + s.name + ".request", sent));
    EXPECT_TRUE(matches_golden(std::string("e2e/tour/") + s.name + ".dump", describe(done, masks_)));
    // Every request took one id, and the answer to the last is delivered.
    EXPECT_EQ(done.iMarker, -1);
    EXPECT_EQ(done.uReqId, ids_before_ + after.size());
    EXPECT_EQ(done.uReserved, 0u);
    // The transport hands back the caller word the engine keeps in its
    // instance.
    EXPECT_EQ(done.uPassThrough, reinterpret_cast<uintptr_t>(&engine_));
    return done;
  }

  // The step's request, its block as the engine builds it.
  pd_notification send(const Step &s) {
    std::vector<const char *> words;
    for (const std::string &word : s.words) words.push_back(word == "(null)" ? nullptr : word.c_str());
    if (s.kind == "words") return exchange(s.code, words);
    return exchange(s.code, s.kind == "text" ? static_cast<void *>(const_cast<char *>(words.at(0))) : nullptr);
  }

  // The whole tour, with the stored picture read back; the notifications
  // and the requests as the golden files show them.
  void tour_against_golden_files() {
    std::string picture = photo("harbour.jpg", 100000);  // two chunks, the last partial
    for (const Step &s : tour(path_of("harbour.jpg"))) {  // the steps point into it
      pd_notification done = step(s);
      if (s.code == PD_REQ_UPLOAD_PHOTO && done.iResult > 0) {
        const char *id = reinterpret_cast<const xml_photo *>(done.iResult)->pszID;
        EXPECT_EQ(sim_.fetch(std::string("/media/") + id), picture) << "the stored picture differs";
      }
    }
  }

  size_t ids_before_ = 0;  // request ids taken before this simulator started
};

TEST_F(Conversation, EveryServedRequestAndWhatItChanges) {
  start();
  tour_against_golden_files();

  // The keys went with the logout; nothing more leaves the plug-in.
  EXPECT_EQ(stored_setting(PD_SETTING_SESSION_KEY), "");
  EXPECT_EQ(stored_setting(PD_SETTING_PERSIST_KEY), "");
  size_t sent = requests().size();
  for (uint32_t code : {PD_REQ_FRIENDS, PD_REQ_ALBUM_LIST, PD_REQ_LOGOUT})
    EXPECT_EQ(engine_.send(code, static_cast<void *>(nullptr)), PD_ERR_INVALID) << code;
  EXPECT_EQ(requests().size(), sent);

  // The recorded tour, replayed by a simulator that knows nothing but the
  // records, tells the engine the same, and every record is used once.
  std::string recorded = dir_ + "/recorded";
  std::filesystem::copy(sim_.trace_dir(), recorded);
  ids_before_ = requests().size();
  start({"--replay", recorded});
  tour_against_golden_files();
  EXPECT_EQ(sim_.counter("replay_unmatched"), 0);
  EXPECT_EQ(sim_.counter("replay_unused"), 0);
}

// Whoever reads the plug-in's log finds every line under one of its source
// paths and a function an engine knows by name (tests/abi/exports.txt),
// never an internal helper: through a refused login, the whole tour and a
// refused code.
TEST_F(Conversation, EveryLogLineNamesASourceAndANamedFunction) {
  start();
  photo("harbour.jpg", 100000);
  ::testing::internal::CaptureStdout();  // where the plug-in logs
  EXPECT_EQ(exchange(PD_REQ_LOGIN, std::vector<const char *>{kAnn[0], "wrong"}).iResult, -301);
  for (const Step &s : tour(path_of("harbour.jpg"))) send(s);
  EXPECT_EQ(engine_.send(1, static_cast<void *>(nullptr)), PD_ERR_INVALID);
  engine_.close();  // the last lines are written before pd_finalize returns
  std::string log = ::testing::internal::GetCapturedStdout();
  if (HasFailure()) std::fputs(log.c_str(), stdout);

  const std::set<std::string> sources = {
      "plugins/client-plugin/palisade/src/pd-plugin", "plugins/client-plugin/palisade/src/pd-plugin-util",
      "plugins/client-plugin/palisade/src/pd_gconf", "plugins/client-plugin/palisade/src/composer/pd_api_composer",
      "plugins/client-plugin/palisade/src/parser/pdXmlPhoto"};
  std::set<std::string> named;
  std::ifstream exports(std::string(PD_TEST_DATA_DIR) + "/../abi/exports.txt");
  for (std::string name; std::getline(exports, name);)
    if (!name.empty() && name[0] != '#') named.insert(name);
  const std::regex line(R"(\[PD-PLUGIN-(DEBUG|ERROR)\]([^:\n]*):([^:\n]*):[0-9]+: [^\n]*)");
  size_t lines = 0, prefixed = 0;
  for (std::sregex_iterator it(log.begin(), log.end(), line), end; it != end; ++it, ++lines)
    if (!sources.count((*it)[2]) || !named.count((*it)[3])) ADD_FAILURE() << it->str();
  for (size_t at = log.find("[PD-PLUGIN-"); at != std::string::npos; at = log.find("[PD-PLUGIN-", at + 1)) ++prefixed;
  EXPECT_EQ(lines, prefixed) << "lines without source, function and line number";
  EXPECT_GT(lines, 500u);
}

}  // namespace
}  // namespace pd_test
