// Every reply under tests/data/replies/<family>/ parses into exactly the
// records its .dump file shows.
#include <gtest/gtest.h>

#include <libxml/parser.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "parser/parse_support.h"
#include "parser/pd_parser.h"
#include "parser/pd_xml_handlers.h"
#include "record_dump.h"
#include "support/golden.h"
#include "support/release_records.h"

namespace pd_test {
namespace {

struct Family {
  const char *dir;
  int32_t index;  // parser index, or -1: walk with `handler` directly
  Dumper dump;
  pd_xml_handler handler = nullptr;
  void (*release)(intptr_t result) = nullptr;  // for a handler walked directly
};

void release_logout(intptr_t result) {
  auto *record = reinterpret_cast<xml_logout *>(result);
  xml_logout_delete(&record);
}

// The deletion answer keeps its records in process-wide slots.
void walk_activity_delete(uint32_t depth, const char *parent, xmlNode *node, intptr_t *) {
  xml_activity_delete_parser(depth, parent, node);
}

// Each case starts as a fresh process does: nothing has chosen a links list,
// and no deletion answer has been kept.
void fresh_process() {
  LinkType = 0;
  release_activity_delete_slots();
}

// Handlers without a parser index are walked over the reply directly.
const Family kFamilies[] = {
    {"login", 0, dump_login},
    {"logout", -1, dump_logout, xml_logout_parser, release_logout},
    {"activity", 5, dump_activity},
    {"activity_delete", -1, dump_activity_delete_slots, walk_activity_delete},
    {"people_search", 23, dump_people_search},
    {"profile_set", 26, dump_profile_set},
    {"message_folder", 16, dump_message_folder},
    {"message_post", -1, dump_message_post, xml_message_post_parser, release_message_post},
    {"friends", 8, dump_friends},
    {"comment_post", 6, dump_comment_post},
    {"comment_retrieve", 7, dump_comment_retrieve},
    {"albums", 31, dump_albums},
    {"album_photos", 32, dump_album_photos},
    // The error envelope, with an index that has no handler (a sent
    // message's reply): whatever the check leaves is the result.
    {"envelope", 15, dump_number},
};

std::vector<std::string> cases_of(const std::string &family) {
  std::vector<std::string> names;
  for (const auto &entry : std::filesystem::directory_iterator(data_path("replies/" + family)))
    if (entry.path().extension() == ".xml") names.push_back(entry.path().stem().string());
  std::sort(names.begin(), names.end());
  return names;
}

intptr_t walk_with(pd_xml_handler handler, const std::string &reply) {
  intptr_t result = 0;
  xmlDoc *doc = xmlReadMemory(reply.data(), static_cast<int>(reply.size()), nullptr, nullptr, 0);
  pd::parser::walk(xmlDocGetRootElement(doc), 0, nullptr,
                   [&](uint32_t depth, const char *parent, xmlNode *node) {
                     handler(depth, parent, node, &result);
                   });
  xmlFreeDoc(doc);
  return result;
}

class GoldenReplies : public ::testing::TestWithParam<Family> {};

TEST_P(GoldenReplies, ParseIntoTheirDumps) {
  const Family &family = GetParam();
  std::vector<std::string> cases = cases_of(family.dir);
  ASSERT_GE(cases.size(), 2u) << family.dir;
  // With the log written and with it silenced (which skips work done only
  // for the log), the records are the same.
  for (pd::log::Level level : {pd::log::Level::all, pd::log::Level::none}) {
    pd::log::set_level(level);
    for (const std::string &name : cases) {
      SCOPED_TRACE(std::string(family.dir) + "/" + name +
                   (level == pd::log::Level::none ? " (log silenced)" : ""));
      fresh_process();
      std::string reply = read_data("replies/" + std::string(family.dir) + "/" + name + ".xml");
      // Whatever the reply, libxml2's complaints stay out of the process's
      // standard error: the plug-in writes only through its log sink.
      ::testing::internal::CaptureStderr();
      intptr_t result = family.index >= 0
                            ? __xml_parser(static_cast<uint32_t>(family.index), reply.c_str())
                            : walk_with(family.handler, reply);
      std::string written = ::testing::internal::GetCapturedStderr();
      if (family.index >= 0) {
        EXPECT_EQ(written, "");
      }
      EXPECT_TRUE(matches_golden("replies/" + std::string(family.dir) + "/" + name + ".dump",
                                 family.dump(result)));
      if (family.index >= 0) release_result(static_cast<uint32_t>(family.index), result);
      else if (family.release != nullptr && result > 0) family.release(result);
    }
  }
  pd::log::reload_from_env();
  fresh_process();
}

INSTANTIATE_TEST_SUITE_P(Families, GoldenReplies, ::testing::ValuesIn(kFamilies),
                         [](const auto &info) { return std::string(info.param.dir); });

}  // namespace
}  // namespace pd_test
