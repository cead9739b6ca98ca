// What the request documents do not reach: the primitives an engine may
// call itself, adds on no record, and lists far longer than any document's.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "composer/pd_composer.h"

namespace pd_test {
namespace {

TEST(Writer, AddStringCopiesAtTheGivenIndexOnly) {
  char buffer[16];
  std::memset(buffer, 'x', sizeof buffer);
  xml_composer_set_xml_last_index(3);
  EXPECT_EQ(__add_string(buffer, "abcdef", 2, 4), 6u);
  EXPECT_EQ(std::string(buffer, 7), std::string("xxabcd\0", 7));
  EXPECT_EQ(xml_last_index, 3u);
  // Nothing copied, the terminator still written; negative lengths and a
  // null source copy nothing; a null buffer only counts.
  EXPECT_EQ(__add_string(buffer, "abc", 1, 0), 1u);
  EXPECT_EQ(__add_string(buffer, "abc", 4, -5), 4u);
  EXPECT_EQ(__add_string(buffer, nullptr, 5, 3), 5u);
  EXPECT_EQ(std::string(buffer, 7), std::string("x\0ab\0\0\0", 7));
  EXPECT_EQ(__add_string(nullptr, "abc", 10, 3), 13u);
}

TEST(Writer, CommentsGoOutAsTheyStand) {
  char buffer[16] = "";
  xml_composer_set_xml_last_index(0);
  EXPECT_EQ(__add_comment(buffer, nullptr), 0);
  EXPECT_EQ(__add_comment(buffer, "<!-- as is"), 1);
  EXPECT_EQ(xml_last_index, 10u);
  EXPECT_STREQ(buffer, "<!-- as is");
}

TEST(Records, AddsOnNoRecord) {
  EXPECT_EQ(Composer_People_add(nullptr, "1", 0, 0, 0, 0, 0), nullptr);
  // A notification's gives an empty record instead, left unfilled.
  Composer_Notification *record = Composer_Notification_add(nullptr, "n1", "x", "name", "s", "9");
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record->pstHead, nullptr);
  EXPECT_EQ(record->pszNotificationID, nullptr);
  Composer_Notification_delete(record);
}

// Appending keeps call order however long the list grows; the whole list is
// written and released without running out of stack.
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

}  // namespace
}  // namespace pd_test
