// The parser frame: the walk, bad and hostile replies, list helpers used on
// their own, and the small converters and printers of the reply families.
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <pthread.h>

#include <cstring>
#include <string>

#include "parser/parse_support.h"
#include "parser/pd_parser.h"
#include "parser/pd_xml_handlers.h"
#include "record_dump.h"
#include "support/golden.h"
#include "support/log_capture.h"
#include "support/release_records.h"

namespace pd_test {
namespace {

using pd::log::Channel;

const char *kind(const xmlNode *node) {
  switch (node->type) {
    case XML_ELEMENT_NODE: return "element";
    case XML_TEXT_NODE: return "text";
    case XML_COMMENT_NODE: return "comment";
    case XML_PI_NODE: return "processing instruction";
    case XML_ENTITY_REF_NODE: return "entity reference";
    default: return "other";
  }
}

std::string walk_dump(xmlNode *first) {
  std::string out;
  pd::parser::walk(first, 0, nullptr, [&](uint32_t depth, const char *parent, xmlNode *node) {
    out += std::string(2 * depth, ' ') + std::to_string(depth) + " " +
           (parent ? parent : "(root)") + " > " + reinterpret_cast<const char *>(node->name) +
           " (" + kind(node) + ")\n";
  });
  return out;
}

TEST(Walk, VisitsEveryNamedNodeInDocumentOrderParentsFirst) {
  std::string xml = read_data("replies/walk/order.xml");
  xmlDoc *doc = xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr, 0);
  ASSERT_NE(doc, nullptr);
  EXPECT_TRUE(matches_golden("replies/walk/order.dump", walk_dump(xmlDocGetRootElement(doc))));
  // The frame's own walk hands the same nodes to a handler and gives back
  // the result address it was given.
  intptr_t result = 0;
  EXPECT_EQ(__xml_parser_explore(8, 0, nullptr, xmlDocGetRootElement(doc), &result), &result);
  EXPECT_EQ(dump_friends(result), read_data("replies/friends/entity_references.dump"));
  release_result(PD_PARSER_FRIENDS, result);
  xmlFreeDoc(doc);
}

// A tree far deeper than any parsed reply can be (libxml2 refuses those)
// is walked on a small stack.
void *walk_deep_tree(void *count) {
  xmlDoc *doc = xmlNewDoc(BAD_CAST "1.0");
  xmlNode *node = xmlNewNode(nullptr, BAD_CAST "Response");
  xmlDocSetRootElement(doc, node);
  for (int i = 0; i < 200000; ++i) node = xmlAddChild(node, xmlNewNode(nullptr, BAD_CAST "Friend"));
  uint32_t deepest = 0;
  pd::parser::walk(xmlDocGetRootElement(doc), 0, nullptr,
                   [&](uint32_t depth, const char *, xmlNode *) { deepest = depth; });
  *static_cast<uint32_t *>(count) = deepest;
  intptr_t result = 0;
  __xml_parser_explore(8, 0, nullptr, xmlDocGetRootElement(doc), &result);
  // Only the friend right under the root is one.
  auto *record = reinterpret_cast<xml_friend_grouping_retrieve *>(result);
  EXPECT_NE(record->pstFriend, nullptr);
  EXPECT_EQ(record->pstFriend->pstNext, nullptr);
  release_result(PD_PARSER_FRIENDS, result);
  xmlFreeDoc(doc);
  return nullptr;
}

TEST(Walk, DeepNestingDoesNotGrowTheStack) {
  pthread_attr_t attr;
  pthread_attr_init(&attr);
  pthread_attr_setstacksize(&attr, 256 * 1024);
  pthread_t thread;
  uint32_t deepest = 0;
  ASSERT_EQ(pthread_create(&thread, &attr, walk_deep_tree, &deepest), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attr);
  EXPECT_EQ(deepest, 200000u);

  // As text, such nesting is refused by libxml2 before any walk.
  std::string deep;
  for (int i = 0; i < 100000; ++i) deep += "<Response>";
  for (uint32_t index : {0u, 8u, 32u}) EXPECT_EQ(__xml_parser(index, deep.c_str()), 0);
}

TEST(BadReplies, GiveNoRecordForEveryIndex) {
  const std::string garbage("\x01\xff<\x00>", 5);
  const char *replies[] = {nullptr, "", "<", "</Response>", "<Response", garbage.c_str(),
                           "<Response/><Response/>", "<![CDATA[", "]]>"};
  for (uint32_t index = 0; index <= 40; ++index)
    for (const char *reply : replies) EXPECT_EQ(__xml_parser(index, reply), 0) << index;
}

TEST(BadReplies, AValidReplyWithoutAHandlerIsNull) {
  for (uint32_t index : {1u, 2u, 9u, 15u, 17u, 22u, 27u, 28u, 33u, 1000u})
    EXPECT_EQ(__xml_parser(index, "<Response ErrCode='0' HasNext='true'><Friend ID='1'/></Response>"),
              0);
}

TEST(BadReplies, ATenMegabyteReplyIsReadWhole) {
  std::string reply = "<Response HasNext='false'>";
  int friends = 0;
  while (reply.size() < 10u * 1024 * 1024) {
    reply += "<Friend ID='" + std::to_string(friends++) +
             "' DisplayName='" + std::string(150, 'n') + "'><Status ID='s'>" +
             std::string(200, 'w') + "</Status></Friend>";
  }
  reply += "</Response>";
  intptr_t result = __xml_parser(8, reply.c_str());
  ASSERT_GT(result, 0);
  auto *record = reinterpret_cast<xml_friend_grouping_retrieve *>(result);
  int count = 0;
  xml_friend_grouping_friend *last = nullptr;
  for (auto *f = record->pstFriend; f != nullptr; f = f->pstNext, ++count) last = f;
  EXPECT_EQ(count, friends);
  EXPECT_EQ(std::string(last->pszID), std::to_string(friends - 1));
  EXPECT_EQ(std::string(last->pszStatus), std::string(200, 'w'));
  release_result(PD_PARSER_FRIENDS, result);
}

// The list operations keep working when an engine calls them itself, also
// on lists it has linked by hand.
TEST(Lists, AppendAndLastOutsideAParse) {
  xml_friend_grouping_retrieve *friends = __xml_friend_grouping_retrieve_init();
  EXPECT_EQ(__xml_friend_get_last_friend(friends), nullptr);
  xml_friend_grouping_friend *first = __xml_friend_grouping_friend_init(friends);
  xml_friend_grouping_friend *second = __xml_friend_grouping_friend_init(friends);
  second->pstNext = __xml_friend_grouping_friend_init(nullptr);  // linked by hand
  EXPECT_EQ(friends->pstFriend, first);
  EXPECT_EQ(first->pstNext, second);
  EXPECT_EQ(__xml_friend_get_last_friend(friends), second->pstNext);
  EXPECT_EQ(__xml_friend_get_last_friend(nullptr), nullptr);
  release_result(PD_PARSER_FRIENDS, reinterpret_cast<intptr_t>(friends));

  xml_comment_post_comment *head = nullptr;
  xml_comment_post_comment *a = __xml_comment_post_comment_init(&head);
  xml_comment_post_comment *b = __xml_comment_post_comment_init(&head);
  EXPECT_EQ(head, a);
  EXPECT_EQ(a->pstNext, b);
  xml_comment_post *post = __xml_comment_post_init();
  post->pstComment = head;
  xml_comment_post_delete(post);
  data_Del(__xml_comment_post_comment_init(nullptr));

  xml_comment_retrieve *comments = __xml_comment_retrieve_init();
  EXPECT_EQ(__xml_comment_retrieve_get_last_comment(comments), nullptr);
  __xml_comment_retrieve_comment_init(comments);
  xml_comment_retrieve_comment *c = __xml_comment_retrieve_comment_init(comments);
  EXPECT_EQ(__xml_comment_retrieve_get_last_comment(comments), c);
  xml_comment_retrieve_delete(comments);

  xml_photo_album_get *albums = __xml_photo_album_get_init();
  __xml_photo_album_get_album_init(albums);
  xml_photo_album_get_album *album = __xml_photo_album_get_album_init(albums);
  EXPECT_EQ(__xml_photo_album_get_last_album(albums), album);
  xml_photo_album_get_delete(albums);
  xml_photo_album_get_delete(nullptr);
  xml_comment_retrieve_delete(nullptr);
  xml_comment_post_delete(nullptr);
}

TEST(Records, SlotsAreNulledAndEmptySlotsIgnored) {
  xml_base *login = __xml_base_init();
  xml_login_delete(&login);
  EXPECT_EQ(login, nullptr);
  xml_login_delete(&login);
  __xml_base_delete(nullptr);
  xml_logout *logout = __xml_logout_init();
  __xml_logout_delete(&logout);
  EXPECT_EQ(logout, nullptr);
  xml_error *error = __xml_error_init();
  __xml_error_delete(&error);
  EXPECT_EQ(error, nullptr);
  __xml_error_delete(&error);
}

TEST(Converters, RecommendAndVisible) {
  EXPECT_EQ(__data_Recommend("true"), 1);
  for (const char *other : {"True", "true ", "1", "", "false"}) EXPECT_EQ(__data_Recommend(other), 0);
  EXPECT_EQ(__data_Recommend(nullptr), 0);
  EXPECT_EQ(__data_album_get_visible("true"), 0);
  EXPECT_EQ(__data_album_get_visible("false"), -1);
  EXPECT_EQ(__data_album_get_visible("TRUE"), -1);
  EXPECT_EQ(__data_album_get_visible(nullptr), -255);
}

TEST(Printers, WriteTheirFieldsOnStandardOutput) {
  std::string login = read_data("replies/login/full.xml");
  intptr_t result = __xml_parser(0, login.c_str());
  ASSERT_GT(result, 0);
  xml_logout logout = {const_cast<char *>("sk-7Q2fA9x1"), nullptr};
  db_friend flat;
  __db_friend_init(&flat);
  std::strcpy(flat.szDisplayName, "Mira");

  LogCapture log;
  xml_login_print(reinterpret_cast<xml_base *>(result));
  xml_logout_print(&logout);
  __db_friend_print(&flat);
  xml_login_print(nullptr);
  xml_logout_print(nullptr);
  __db_friend_print(nullptr);
  EXPECT_TRUE(matches_golden("records/prints.txt", log.text(Channel::out)));
  EXPECT_EQ(log.text(Channel::out), log.all());

  // A field filled to its end without a terminator prints to its end only.
  std::memset(flat.szID, 'x', sizeof flat.szID);
  log.clear();
  __db_friend_print(&flat);
  EXPECT_EQ(log.records().at(0).text, "id                     [" + std::string(100, 'x') + "]\n");
  release_result(PD_PARSER_LOGIN, result);
}

}  // namespace
}  // namespace pd_test
