// The reply trees beyond their golden replies: every tracing line of the
// activity tree, its process-wide state, the named operations used on their
// own (as an engine may), and the list operations of the people and message
// records. Each case runs in a process of its own.
#include <gtest/gtest.h>

#include <libxml/parser.h>

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

// A reply walked with a handler that has no parser index.
template <class Visit>
void walk_reply(const std::string &file, Visit visit) {
  std::string xml = read_data(file);
  xmlDoc *doc = xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr, 0);
  ASSERT_NE(doc, nullptr);
  pd::parser::walk(xmlDocGetRootElement(doc), 0, nullptr, visit);
  xmlFreeDoc(doc);
}

TEST(ActivityTrace, AParseAndItsReleaseWriteEveryLineInOrder) {
  std::string reply = read_data("replies/activity/traced.xml");
  LogCapture log;
  intptr_t result = __xml_parser(PD_PARSER_ACTIVITY, reply.c_str());
  ASSERT_GT(result, 0);
  xml_activity_get_delete(reinterpret_cast<xml_activity_get *>(result));
  EXPECT_TRUE(matches_golden("replies/activity/traced.trace", log.text(Channel::out)));
  EXPECT_EQ(log.text(Channel::out), log.all());
}

template <class Item>
Item *build_item(xml_activity_get_activity *activity,
                 Item *(*item_init)(xml_activity_get_activity *),
                 xml_activity_get_content *(*content_init)(Item *),
                 xml_activity_get_links *(*links_init)(Item *),
                 xml_activity_get_link *(*link_init)(xml_activity_get_links *),
                 xml_activity_get_link_photo *(*link_photo_init)(xml_activity_get_link *)) {
  Item *item = item_init(activity);
  content_init(item);
  xml_activity_get_link *link = link_init(links_init(item));
  link_photo_init(link);
  EXPECT_EQ(item->pstLinks->pstLink, link);
  EXPECT_NE(link->pstLinkPhoto, nullptr);
  return item;
}

#define ITEM(kind)                                                                     \
  build_item(activity, __xml_activity_get_activity_##kind##_init,                      \
             __xml_activity_get_activity_##kind##_content_init,                        \
             __xml_activity_get_activity_##kind##_links_init,                          \
             __xml_activity_get_activity_##kind##_links_link_init,                     \
             __xml_activity_get_activity_##kind##_links_link_link_photo_init)

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
  xml_activity_get_group *group = ITEM(group);
  ITEM(note);
  ITEM(event);
  ITEM(url);
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

// Each deletion answer replaces the records of the one before without
// releasing them: an engine that kept them releases them itself (the
// sanitizer build sees no double release and no leak), and a record its
// owner releases while still in its slot leaves the slot empty.
TEST(ActivityDeletion, AnswersReplaceTheirSlots) {
  auto visit = [](uint32_t depth, const char *parent, xmlNode *node) {
    xml_activity_delete_parser(depth, parent, node);
  };
  LogCapture log;
  walk_reply("replies/activity_delete/deleted.xml", visit);
  EXPECT_TRUE(matches_golden("replies/activity_delete/deleted.trace", log.text(Channel::out)));
  xml_activity_delete *kept = xml_activity_delete_return();
  xml_activity_delete_deleted *kept_deleted = activity_delete_deleted;
  walk_reply("replies/activity_delete/deleted.xml", visit);
  EXPECT_EQ(dump_activity_delete_slots(0), read_data("replies/activity_delete/deleted.dump"));
  EXPECT_EQ(xml_activity_delete_return(), activity_delete);
  ASSERT_NE(activity_delete, kept);
  xml_activity_delete_delete(kept);
  EXPECT_STREQ(kept_deleted->pszCount, activity_delete_deleted->pszCount);
  data_Del(kept_deleted->pszCount);
  __xml_activity_delete_deleted_delete(kept_deleted);

  log.clear();
  release_activity_delete_slots();
  EXPECT_EQ(activity_delete, nullptr);
  EXPECT_EQ(activity_delete_deleted, nullptr);
  EXPECT_EQ(xml_activity_delete_return(), nullptr);
  EXPECT_TRUE(matches_golden("parser/activity_delete_release.txt", log.text(Channel::out)));
}

TEST(ActivityPrint, LabelsPaddedTo27WithValuesInBrackets) {
  db_activity flat{};
  flat.iResponseHasNext = 1;
  flat.pszID = const_cast<char *>("a-1");
  flat.iSP = -255;
  flat.pszOwnerProfilePhotoURL = const_cast<char *>("http://img.palisade.example/p/100235.jpg");
  flat.iPhotoCounts = 12;
  flat.pszVideoPlaytimeLength = const_cast<char *>("95");
  LogCapture log;
  __db_activity_data_print(&flat);
  __db_activity_data_print(nullptr);
  EXPECT_TRUE(matches_golden("records/activity_print.txt", log.text(Channel::out)));
}

// The people and message list operations also work when an engine calls
// them itself, outside a parse.
TEST(Lists, PeopleAndMessageOperationsOnTheirOwn) {
  xml_people_search *search = __xml_people_search_init();
  EXPECT_EQ(__xml_poeple_get_last_profile(search), nullptr);
  __xml_people_search_people_init(search);
  xml_people_search_people *last = __xml_people_search_people_init(search);
  EXPECT_EQ(__xml_poeple_get_last_profile(search), last);
  EXPECT_NE(last->pstMood, nullptr);
  release_result(PD_PARSER_PEOPLE_SEARCH, reinterpret_cast<intptr_t>(search));

  // The profile records are released whole, every list followed.
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

  xml_message_folder_retrieve *folder = __xml_message_folder_retrieve_init();
  EXPECT_EQ(__xml_message_folder_get_last_thread(folder), nullptr);
  xml_message_folder_thread *thread = __xml_message_folder_thread_init(folder);
  xml_message_folder_message *message = __xml_message_folder_message_init(thread);
  EXPECT_EQ(__xml_message_get_last_folder_message(thread), message);
  xml_message_folder_receivers *group = __xml_message_folder_receivers_init(message);
  __xml_message_folder_receiver_init(group);
  xml_message_folder_receiver *receiver = __xml_message_folder_receiver_init(group);
  EXPECT_EQ(group->uCount, 2u);
  EXPECT_EQ(__xml_message_folder_receivers_get_last_recievers(message), group);
  EXPECT_EQ(__xml_message_folder_get_last_reciever(group), receiver);
  EXPECT_EQ(__xml_message_folder_get_last_reciever(nullptr), nullptr);
  release_result(PD_PARSER_MESSAGE_FOLDER, reinterpret_cast<intptr_t>(folder));

  // A new post holder replaces, and releases, the one before.
  xml_message_post *post = __xml_message_post_init();
  __xml_message_post_message_init(post)->pstMessage = xml_element_message_init();
  xml_message_post_message *holder = __xml_message_post_message_init(post);
  EXPECT_EQ(post->pstMessage, holder);
  release_message_post(reinterpret_cast<intptr_t>(post));
}

}  // namespace
}  // namespace pd_test
