// Every reply under tests/data/replies/<family>/ parses into exactly the
// records its .dump file shows (and traces the lines of its .trace, where it
// has one), and every element record type reads its element of
// replies/elements as the element dumps show.
#include <gtest/gtest.h>
#include <libxml/parser.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "parser/parse_support.h"
#include "parser/pd_parser.h"
#include "parser/pd_xml_handlers.h"
#include "record_dump.h"
#include "support/golden.h"
#include "support/log_capture.h"
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
  // A reply of ever new element names first: the parser context it leaves
  // behind is replaced, and the replies after it read as they should.
  if (family.index >= 0) {
    std::string names = "<Response>";
    for (int i = 0; i < 5000; ++i) names += "<n" + std::to_string(i) + "/>";
    release_result(static_cast<uint32_t>(family.index), __xml_parser(family.index, (names + "</Response>").c_str()));
  }
  // With the log written and with it silenced (which skips work done only
  // for the log), the records are the same.
  for (pd::log::Level level : {pd::log::Level::all, pd::log::Level::none}) {
    pd::log::set_level(level);
    for (const std::string &name : cases) {
      SCOPED_TRACE(std::string(family.dir) + "/" + name +
                   (level == pd::log::Level::none ? " (log silenced)" : ""));
      fresh_process();
      const std::string base = "replies/" + std::string(family.dir) + "/" + name;
      std::string reply = read_data(base + ".xml");
      LogCapture log;
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
      EXPECT_TRUE(matches_golden(base + ".dump", family.dump(result)));
      if (family.index >= 0) release_result(static_cast<uint32_t>(family.index), result);
      else if (family.release != nullptr && result > 0) family.release(result);
      // Where a case has a .trace, the parse and the release write exactly
      // its lines, in order, all on standard output.
      if (level == pd::log::Level::all && std::filesystem::exists(data_path(base + ".trace"))) {
        EXPECT_TRUE(matches_golden(base + ".trace", log.text(pd::log::Channel::out)));
        EXPECT_EQ(log.text(pd::log::Channel::out), log.all());
      }
    }
  }
  pd::log::reload_from_env();
  fresh_process();
}

INSTANTIATE_TEST_SUITE_P(Families, GoldenReplies, ::testing::ValuesIn(kFamilies),
                         [](const auto &info) { return std::string(info.param.dir); });

using pd::log::Channel;

struct ElementOps {
  size_t fields;
  void *(*init)();
  void (*set)(void *record, xmlNode *node);
  void (*remove)(void *record);
};

#define PD_ELEMENT_TYPES(X) X(link_photo) X(thumbnail) X(attachedphoto) X(video) X(url) X(event) X(note) \
  X(photo) X(link) X(group) X(photothumbnail) X(owner) X(content) X(activity) X(sender) X(message) \
  X(profilephoto) X(receiver) X(requester) X(deleted) X(poke) X(friendrequest) X(description) \
  X(relationship) X(attribute_address) X(attribute_school) X(attribute_work) X(attribute_page) \
  X(attribute_group) X(attribute_network) X(attribute_iminfo) X(attribute_phone_num) X(attribute_favorite) \
  X(people) X(status) X(mood) X(response_base)

#define X(type)                                                                            \
  {#type,                                                                                  \
   {sizeof(xml_element_##type) / sizeof(char *), []() -> void * { return xml_element_##type##_init(); }, \
    [](void *r, xmlNode *n) { xml_element_##type##_set(static_cast<xml_element_##type *>(r), n); }, \
    [](void *r) { xml_element_##type##_delete(static_cast<xml_element_##type *>(r)); }}},
const std::map<std::string, ElementOps> kTypes = {PD_ELEMENT_TYPES(X)};
#undef X

// Each deletion answer replaces the records of the one before without
// releasing them: an engine that kept them releases them itself (the
// sanitizer build sees no double release and no leak), and a record its
// owner releases while still in its slot leaves the slot empty.
TEST(ActivityDeletion, AnswersReplaceTheirSlots) {
  const std::string reply = read_data("replies/activity_delete/deleted.xml");
  walk_with(walk_activity_delete, reply);
  xml_activity_delete *kept = xml_activity_delete_return();
  xml_activity_delete_deleted *kept_deleted = activity_delete_deleted;
  walk_with(walk_activity_delete, reply);
  EXPECT_EQ(dump_activity_delete_slots(0), read_data("replies/activity_delete/deleted.dump"));
  EXPECT_EQ(xml_activity_delete_return(), activity_delete);
  ASSERT_NE(activity_delete, kept);
  xml_activity_delete_delete(kept);
  EXPECT_STREQ(kept_deleted->pszCount, activity_delete_deleted->pszCount);
  data_Del(kept_deleted->pszCount);
  __xml_activity_delete_deleted_delete(kept_deleted);

  LogCapture log;
  release_activity_delete_slots();
  EXPECT_EQ(activity_delete, nullptr);
  EXPECT_EQ(activity_delete_deleted, nullptr);
  EXPECT_EQ(xml_activity_delete_return(), nullptr);
  EXPECT_TRUE(matches_golden("parser/activity_delete_release.txt", log.text(Channel::out)));
}

// Per element: init, set from the element (`sets` times), the fields in
// order, delete; then a set into no record and its delete; then a record set
// from no element. All on the record's own lines, the tracing lines between.
std::string dump_elements(const std::string &file, int sets) {
  std::string xml = read_data(file), dump;
  xmlDoc *doc = xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr, 0);
  for (xmlNode *n = xmlDocGetRootElement(doc)->children; n; n = n->next) {
    if (n->type != XML_ELEMENT_NODE) continue;
    const std::string type = reinterpret_cast<const char *>(n->name);
    if (!kTypes.contains(type)) {
      ADD_FAILURE() << "no record type " << type;
      break;
    }
    const ElementOps *ops = &kTypes.at(type);
    LogCapture log;
    auto fields = [&](void *record) {
      std::string out;
      for (size_t i = 0; i < ops->fields; ++i)
        out += "  " + std::to_string(i + 1) + ": " + quoted(static_cast<char **>(record)[i]) + "\n";
      ops->remove(record);
      return out;
    };
    void *record = ops->init();
    for (int i = 0; i < sets; ++i) ops->set(record, n);
    std::string read = fields(record);  // before the trace, which then holds the delete
    dump += "== " + type + "\n" + read + log.text(Channel::out);
    log.clear();
    ops->set(nullptr, n);
    ops->remove(nullptr);
    dump += "-- into no record\n" + log.text(Channel::out);
    record = ops->init();
    ops->set(record, nullptr);
    log.clear();
    dump += "-- from no element\n" + fields(record);
  }
  xmlFreeDoc(doc);
  return dump;
}

TEST(Elements, EveryTypeReadsItsElementInFieldOrder) {
  EXPECT_EQ(kTypes.size(), 37u);
  const std::string dump = dump_elements("replies/elements/all.xml", 1);
  for (const auto &[type, ops] : kTypes) EXPECT_NE(dump.find("== " + type + "\n"), std::string::npos);
  EXPECT_TRUE(matches_golden("replies/elements/all.dump", dump));
  EXPECT_TRUE(matches_golden("replies/elements/sparse.dump", dump_elements("replies/elements/sparse.xml", 2)));
}

}  // namespace
}  // namespace pd_test
