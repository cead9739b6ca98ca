// The parser frame and the reply trees beyond their golden replies: the
// walk, bad and hostile replies, every tracing line of the activity tree and
// its process-wide state, the list and record operations an engine may call
// on their own, and the printers. Each case runs in a process of its own.
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <pthread.h>

#include <cstring>
#include <map>
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

std::string walk_dump(xmlNode *first) {
  const std::map<int, std::string> kinds = {{XML_ELEMENT_NODE, "element"}, {XML_TEXT_NODE, "text"},
                                            {XML_COMMENT_NODE, "comment"}, {XML_PI_NODE, "processing instruction"},
                                            {XML_ENTITY_REF_NODE, "entity reference"}};
  std::string out;
  pd::parser::walk(first, 0, nullptr, [&](uint32_t depth, const char *parent, xmlNode *node) {
    out += std::string(2 * depth, ' ') + std::to_string(depth) + " " +
           (parent ? parent : "(root)") + " > " + reinterpret_cast<const char *>(node->name) +
           " (" + kinds.at(node->type) + ")\n";
  });
  return out;
}

TEST(Walk, VisitsEveryNamedNodeInDocumentOrderParentsFirst) {
  std::string xml = read_data("replies/walk/order.xml");
  xmlDoc *doc = xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr, 0);
  ASSERT_NE(doc, nullptr);
  EXPECT_TRUE(matches_golden("replies/walk/order.dump", walk_dump(xmlDocGetRootElement(doc))));
  // The frame's own walk hands the same nodes to a handler, text and comment
  // nodes too while traced, and gives back the result address it was given.
  LogCapture log;
  intptr_t result = 0;
  __xml_parser_explore(PD_PARSER_ACTIVITY, 0, nullptr, xmlDocGetRootElement(doc), &result);
  EXPECT_TRUE(matches_golden("parser/walk_order.trace", log.text(Channel::out)));
  release_result(PD_PARSER_ACTIVITY, result);
  result = 0;
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
  // Only the friend right under the root is one, as it is only under a
  // "Response" when a handler is called on its own.
  xml_friend_grouping_retrieve_parser(1, "Friends", xmlDocGetRootElement(doc)->children, &result);
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

// Neither a bad reply, for any index, nor a valid one for an index without
// a handler gives a record.
TEST(BadReplies, GiveNoRecord) {
  const std::string garbage("\x01\xff<\x00>", 5);
  const char *replies[] = {nullptr, "", "<", "</Response>", "<Response", garbage.c_str(),
                           "<Response/><Response/>", "<![CDATA[", "]]>"};
  for (uint32_t index = 0; index <= 40; ++index)
    for (const char *reply : replies) EXPECT_EQ(__xml_parser(index, reply), 0) << index;
  for (uint32_t index : {1u, 2u, 9u, 15u, 17u, 22u, 27u, 28u, 33u, 1000u})
    EXPECT_EQ(__xml_parser(index, "<Response ErrCode='0' HasNext='true'><Friend ID='1'/></Response>"), 0);
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

// Each add appends in call order and the last is the end of the list, also
// of one the engine linked further by hand; a null parent has no last.
template <class P, class N>
void check_list(P *parent, N *(*add)(P *), N *(*last)(P *)) {
  EXPECT_EQ(last(parent), nullptr);
  N *first = add(parent);
  N *second = add(parent);
  EXPECT_EQ(first->pstNext, second);
  second->pstNext = add(nullptr);  // linked by hand
  EXPECT_EQ(last(parent), second->pstNext);
  EXPECT_EQ(last(nullptr), nullptr);
}

// The list operations keep working when an engine calls them itself; the
// releases follow every link (the sanitizer build sees nothing leak).
TEST(Lists, AppendAndLastOutsideAParse) {
  xml_friend_grouping_retrieve *friends = __xml_friend_grouping_retrieve_init();
  check_list(friends, __xml_friend_grouping_friend_init, __xml_friend_get_last_friend);
  release_result(PD_PARSER_FRIENDS, reinterpret_cast<intptr_t>(friends));
  xml_comment_retrieve *comments = __xml_comment_retrieve_init();
  check_list(comments, __xml_comment_retrieve_comment_init, __xml_comment_retrieve_get_last_comment);
  xml_comment_retrieve_delete(comments);
  xml_photo_album_get *albums = __xml_photo_album_get_init();
  check_list(albums, __xml_photo_album_get_album_init, __xml_photo_album_get_last_album);
  xml_photo_album_get_delete(albums);
  xml_people_search *search = __xml_people_search_init();
  check_list(search, __xml_people_search_people_init, __xml_poeple_get_last_profile);
  EXPECT_NE(search->pstPeople->pstMood, nullptr);
  release_result(PD_PARSER_PEOPLE_SEARCH, reinterpret_cast<intptr_t>(search));

  xml_message_folder_retrieve *folder = __xml_message_folder_retrieve_init();
  check_list(folder, __xml_message_folder_thread_init, __xml_message_folder_get_last_thread);
  check_list(folder->pstThread, __xml_message_folder_message_init, __xml_message_get_last_folder_message);
  xml_message_folder_message *message = folder->pstThread->pstMessage;
  check_list(message, __xml_message_folder_receivers_init, __xml_message_folder_receivers_get_last_recievers);
  check_list(message->pstReceivers, __xml_message_folder_receiver_init, __xml_message_folder_get_last_reciever);
  EXPECT_EQ(message->pstReceivers->uCount, 2u);  // the one linked by hand is not counted
  release_result(PD_PARSER_MESSAGE_FOLDER, reinterpret_cast<intptr_t>(folder));

  // Posted comments are kept in a head of the caller's.
  xml_comment_post_comment *head = nullptr;
  xml_comment_post_comment *a = __xml_comment_post_comment_init(&head);
  xml_comment_post_comment *b = __xml_comment_post_comment_init(&head);
  EXPECT_EQ(head, a);
  EXPECT_EQ(a->pstNext, b);
  xml_comment_post *post = __xml_comment_post_init();
  post->pstComment = head;
  xml_comment_post_delete(post);
  data_Del(__xml_comment_post_comment_init(nullptr));
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

// Labels padded, values in brackets; a field filled to its end without a
// terminator prints to its end only.
TEST(Printers, WriteTheirFieldsOnStandardOutput) {
  std::string login = read_data("replies/login/full.xml");
  intptr_t result = __xml_parser(0, login.c_str());
  ASSERT_GT(result, 0);
  xml_logout logout = {const_cast<char *>("sk-7Q2fA9x1"), nullptr};
  db_friend flat;
  __db_friend_init(&flat);
  std::strcpy(flat.szDisplayName, "Mira");
  db_activity activity{};
  activity.iResponseHasNext = 1;
  activity.pszID = const_cast<char *>("a-1");
  activity.iSP = -255;
  activity.pszOwnerProfilePhotoURL = const_cast<char *>("http://img.palisade.example/p/100235.jpg");
  activity.iPhotoCounts = 12;
  activity.pszVideoPlaytimeLength = const_cast<char *>("95");

  LogCapture log;
  xml_login_print(reinterpret_cast<xml_base *>(result));
  xml_logout_print(&logout);
  __db_friend_print(&flat);
  __db_activity_data_print(&activity);
  xml_login_print(nullptr);
  xml_logout_print(nullptr);
  __db_friend_print(nullptr);
  __db_activity_data_print(nullptr);
  std::memset(flat.szID, 'x', sizeof flat.szID);
  __db_friend_print(&flat);
  EXPECT_TRUE(matches_golden("records/prints.txt", log.text(Channel::out)));
  EXPECT_EQ(log.text(Channel::out), log.all());
  release_result(PD_PARSER_LOGIN, result);
}

// An item of a kind with content and links, a link and its link photo; the
// release's lines below show where each hangs, but for the untraced link
// photo.
#define ITEM(kind, Field)                                                                      \
  __xml_activity_get_activity_##kind##_init(activity);                                          \
  __xml_activity_get_activity_##kind##_content_init(activity->pst##Field);                      \
  __xml_activity_get_activity_##kind##_links_link_link_photo_init(                              \
      __xml_activity_get_activity_##kind##_links_link_init(                                     \
          __xml_activity_get_activity_##kind##_links_init(activity->pst##Field)))

// Every init hangs its node under the parent it is given (appended to a
// list, or into a slot whose earlier holder is released), and the release
// of a tree with one node of each kind runs every delete.
TEST(ActivityOperations, EveryNamedOperationHangsItsNodeAndTracesItself) {
  LogCapture log;
  xml_activity_get *top = __xml_activity_get_init();
  xml_activity_get_activity *activity = __xml_activity_get_activity_init(top);
  __xml_activity_get_activity_content_init(activity);
  xml_activity_get_content *content = __xml_activity_get_activity_content_init(activity);
  xml_activity_get_owner *owner = __xml_activity_get_activity_owner_init(activity);
  __xml_activity_get_activity_owner_profilephoto_init(owner);
  __xml_activity_get_activity_owner_photothumbnail_init(owner);
  ITEM(group, Group);
  ITEM(note, Note);
  ITEM(event, Event);
  ITEM(url, URL);
  for (const xml_activity_get_links *item_links : {activity->pstGroup->pstLinks, activity->pstNote->pstLinks,
                                                   activity->pstEvent->pstLinks, activity->pstURL->pstLinks})
    EXPECT_NE(item_links->pstLink->pstLinkPhoto, nullptr);
  xml_activity_get_group *group = activity->pstGroup;
  xml_activity_get_photo *photo = __xml_activity_get_activity_photo_init(activity);
  __xml_activity_get_activity_photo_thumbnail_init(photo);
  xml_activity_get_video *video = __xml_activity_get_activity_video_init(activity);
  __xml_activity_get_activity_video_content_init(video);
  __xml_activity_get_activity_video_thumbnail_init(video);
  xml_activity_get_attachedphoto *attached = __xml_activity_get_activity_attachedphoto_init(activity);
  __xml_activity_get_activity_attachedphoto_thumbnail_init(attached);
  // A second group is appended; a second links holder replaces the first.
  xml_activity_get_group *second = __xml_activity_get_activity_group_init(activity);
  xml_activity_get_links *links = __xml_activity_get_activity_group_links_init(group);
  EXPECT_TRUE(matches_golden("records/activity_inits.txt", log.text(Channel::out)));

  // Where a node went shows in the order of the release's lines below; a
  // replaced holder does not.
  EXPECT_EQ(activity->pstContent, content);
  EXPECT_EQ(group->pstNext, second);
  EXPECT_EQ(group->pstLinks, links);
  EXPECT_EQ(__xml_activity_get_last_activity(top), activity);

  // The release follows the heads only: the second group is the engine's.
  log.clear();
  activity->pstGroup->pstNext = nullptr;
  xml_activity_get_delete(top);
  EXPECT_TRUE(matches_golden("records/activity_deletes.txt", log.text(Channel::out)));
  __xml_activity_get_activity_group_delete(second);

  // Without a parent a node stands alone.
  xml_activity_get_owner *alone = __xml_activity_get_activity_owner_init(nullptr);
  __xml_activity_get_activity_owner_delete(alone);
  log.clear();
  EXPECT_EQ(__xml_activity_get_last_activity(nullptr), nullptr);
  EXPECT_EQ(log.text(Channel::out), "Xml_Activity : __xml_activity_get_last_activity - Start\n");
}
#undef ITEM

// 0 at load, set by a note's, event's or URL's "Links", never reset.
TEST(LinkTypeChoice, StartsAtZeroAndOutlivesItsReply) {
  EXPECT_EQ(LinkType, 0);
  const std::pair<const char *, int32_t> replies[] = {
      {"full", 4},                  // the URL's "Links" came last
      {"first_node_of_a_kind", 4},  // no "Links" at all
      {"group_links_after_note", 2},
  };
  for (const auto &[file, after] : replies) {
    std::string reply = read_data(std::string("replies/activity/") + file + ".xml");
    release_result(PD_PARSER_ACTIVITY, __xml_parser(PD_PARSER_ACTIVITY, reply.c_str()));
    EXPECT_EQ(LinkType, after) << file;
  }
}


// A profile is released whole, every list followed; a new post holder
// replaces, and releases, the one before.
TEST(Lists, ProfilesAndPostHolders) {
  xml_people_profile_get *profile = __xml_people_profile_get_init();
  for (int i = 0; i < 2; ++i) {
    xml_people_profile_people *people = __xml_people_profile_people_init(profile);
    people->pszText[14] = data_Cpy("text");
    for (int j = 0; j < 2; ++j) {
      xml_people_profile_profilephotos *photos = __xml_people_profile_profilephotos_init(people);
      __xml_people_profile_profilephoto_init(&photos->pstProfilePhoto)->pszText[1] = data_Cpy("u");
      __xml_people_profile_profilephoto_init(&photos->pstProfilePhoto);
    }
  }
  EXPECT_NE(profile->pstPeople->pstNext->pstProfilePhotos->pstNext->pstProfilePhoto->pstNext, nullptr);
  xml_people_profile_get_delete(profile);
  data_Del(__xml_people_profile_profilephoto_init(nullptr));
  data_Del(__xml_people_profile_people_init(nullptr));
  xml_people_profile_get_delete(nullptr);
  xml_people_search_delete(nullptr);
  xml_people_profile_set_delete(nullptr);

  xml_message_post *post = __xml_message_post_init();
  __xml_message_post_message_init(post)->pstMessage = xml_element_message_init();
  xml_message_post_message *holder = __xml_message_post_message_init(post);
  EXPECT_EQ(post->pstMessage, holder);
  release_message_post(reinterpret_cast<intptr_t>(post));
}

}  // namespace
}  // namespace pd_test
