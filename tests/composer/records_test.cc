// The composer records as lists: filling in place, appending in call order,
// empty and null records. What the records write is checked through the
// request documents.
#include <gtest/gtest.h>

#include <string>

#include "composer/pd_composer.h"
#include "log.h"

namespace pd_test {
namespace {

// Every _xml of an empty or null record writes nothing and succeeds.
TEST(Records, EmptyAndNullRecordsWriteNothing) {
  char buffer[64] = "";
  xml_composer_set_xml_last_index(5);
#define PD_EMPTY(type)                                                  \
  do {                                                                  \
    type *record = type##_create();                                     \
    ASSERT_NE(record, nullptr);                                         \
    EXPECT_EQ(record->pstHead, nullptr);                                \
    EXPECT_EQ(type##_xml(buffer, record), 0) << #type;                  \
    EXPECT_EQ(type##_xml(buffer, nullptr), 0) << #type;                 \
    type##_delete(record);                                              \
    type##_delete(nullptr);                                             \
  } while (0)
  PD_EMPTY(Composer_File);
  PD_EMPTY(Composer_Album);
  PD_EMPTY(Composer_Params);
  PD_EMPTY(Composer_Notification);
  PD_EMPTY(Composer_Poke);
  PD_EMPTY(Composer_Reply);
  PD_EMPTY(Composer_Receiver);
  PD_EMPTY(Composer_Thread);
  PD_EMPTY(Composer_Message);
  PD_EMPTY(Composer_FriendRequest);
  PD_EMPTY(Composer_People);
  PD_EMPTY(Composer_Target);
  PD_EMPTY(Composer_Activity);
#undef PD_EMPTY
  Composer_Photo *photo = Composer_Photo_create();
  EXPECT_EQ(Composer_Photo_xml(buffer, photo, nullptr, nullptr), 0);
  EXPECT_EQ(Composer_Photo_xml(buffer, nullptr, nullptr, nullptr), 0);
  Composer_Photo_delete(photo);
  EXPECT_EQ(Composer_Response_xml(buffer, nullptr), 0);
  EXPECT_EQ(Composer_FullText_xml(buffer, nullptr), 0);
  EXPECT_EQ(Composer_Comment_xml(buffer, nullptr), 0);
  EXPECT_EQ(xml_last_index, 5u);
}

TEST(Records, FirstAddFillsInPlaceLaterOnesAppendInOrder) {
  EXPECT_EQ(Composer_People_add(nullptr, "1", 0, 0, 0, 0, 0), nullptr);

  Composer_Album *album = Composer_Album_create();
  ASSERT_EQ(Composer_Album_add(album, "owner", "a1", "Trips"), album);
  EXPECT_EQ(album->pstHead, album);
  EXPECT_EQ(album->pstNext, nullptr);
  // The owner comes first among the arguments and last among the fields.
  EXPECT_STREQ(album->pszID, "a1");
  EXPECT_STREQ(album->pszName, "Trips");
  EXPECT_STREQ(album->pszOwnerID, "owner");

  Composer_Album_add(album, nullptr, "a2", nullptr);
  Composer_Album_add(album, nullptr, "a3", nullptr);
  ASSERT_NE(album->pstNext, nullptr);
  EXPECT_STREQ(album->pstNext->pszID, "a2");
  EXPECT_EQ(album->pstNext->pstHead, album);
  EXPECT_STREQ(album->pstNext->pstNext->pszID, "a3");
  EXPECT_EQ(album->pstNext->pstNext->pstNext, nullptr);
  Composer_Album_delete(album);

  // Types is the last argument but not the last field.
  Composer_Target *target = Composer_Target_add(Composer_Target_create(), "i", "o", "t", "a", "r", "c", "ts");
  EXPECT_STREQ(target->pszTypes, "ts");
  EXPECT_STREQ(target->pszRecommend, "r");
  EXPECT_STREQ(target->pszContent, "c");
  Composer_Target_delete(target);
}

// Appending keeps call order however long the list grows; the whole list is
// released by one delete.
TEST(Records, LongListsKeepCallOrder) {
  constexpr int kNodes = 100000;
  Composer_Thread *threads = Composer_Thread_create();
  for (int i = 0; i < kNodes; ++i) Composer_Thread_add(threads, std::to_string(i).c_str());
  // Appending through a later node reaches the same end.
  Composer_Thread_add(threads->pstNext, "last");
  int i = 0;
  const Composer_Thread *node = threads;
  for (; node->pstNext != nullptr; node = node->pstNext, ++i) {
    ASSERT_EQ(node->pszID, std::to_string(i)) << i;
    ASSERT_EQ(node->pstHead, threads);
  }
  EXPECT_EQ(i, kNodes);
  EXPECT_STREQ(node->pszID, "last");
  xml_composer_set_xml_last_index(0);
  EXPECT_EQ(Composer_Thread_xml(nullptr, threads), 0);
  EXPECT_GT(xml_last_index, 14u * kNodes);
  Composer_Thread_delete(threads);
}

TEST(Records, NotificationAddOnNullGivesAnEmptyRecord) {
  Composer_Notification *record = Composer_Notification_add(nullptr, "n1", "x", "name", "s", "9");
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record->pstHead, nullptr);
  EXPECT_EQ(record->pszNotificationID, nullptr);
  EXPECT_EQ(record->pszName, nullptr);
  EXPECT_EQ(Composer_Notification_add(record, "n1", "x", "name", "s", "9"), record);
  EXPECT_STREQ(record->pszSecondValue, "x");
  Composer_Notification_delete(record);
}

TEST(Records, FullTextRefusesOtherValuesBeforeWriting) {
  char buffer[64] = "";
  for (const char *value : {(const char *)nullptr, "", "Full", "partial"}) {
    Composer_FullText *record = Composer_FullText_create(value, "10");
    xml_composer_set_xml_last_index(0);
    EXPECT_EQ(Composer_FullText_xml(buffer, record), 1000) << PD_STR(value);
    EXPECT_EQ(xml_last_index, 0u);
    Composer_FullText_delete(record);
  }
}

}  // namespace
}  // namespace pd_test
