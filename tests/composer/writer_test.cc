// The writer primitives and their write position.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "composer/pd_composer.h"

namespace pd_test {
namespace {

class Writer : public ::testing::Test {
 protected:
  void SetUp() override {
    std::memset(buffer_, 'x', sizeof buffer_);
    xml_composer_set_xml_last_index(0);
  }
  std::string written() const { return std::string(buffer_, xml_last_index); }
  // The buffer always holds exactly the written text.
  void expect_terminated() const {
    EXPECT_EQ(buffer_[xml_last_index], '\0');
    EXPECT_EQ(std::strlen(buffer_), xml_last_index);
  }
  char buffer_[256];
};

TEST_F(Writer, ElementFormsAndPositionAfterEveryPrimitive) {
  EXPECT_EQ(__open_node(buffer_, "UserName"), 1);
  expect_terminated();
  EXPECT_EQ(__add_attr(buffer_, "Value", "u"), 1);
  expect_terminated();
  EXPECT_EQ(__close_node(buffer_), 1);
  expect_terminated();
  EXPECT_EQ(__start_node(buffer_, "Photo"), 1);
  EXPECT_EQ(__close_node_child(buffer_), 1);
  expect_terminated();
  EXPECT_EQ(__open_node_context(buffer_, "Content", "a<b&\"c\""), 1);
  expect_terminated();
  EXPECT_EQ(__end_node(buffer_, "Photo"), 1);
  EXPECT_EQ(__add_comment(buffer_, "<!-- as is"), 1);
  expect_terminated();
  EXPECT_EQ(written(),
            "<UserName Value=\"u\" />\n"
            "<Photo >\n"
            "<Content>a<b&\"c\"</Content>\n"
            "</Photo>\n"
            "<!-- as is");
}

TEST_F(Writer, NullValuesLeaveNoTraceAndEmptyOnesAreWritten) {
  __open_node(buffer_, "Name");
  EXPECT_EQ(__add_attr(buffer_, "A", nullptr), 0);
  EXPECT_EQ(__add_attr(buffer_, "B", ""), 1);
  __close_node(buffer_);
  EXPECT_EQ(__open_node_context(buffer_, "Status", nullptr), 0);
  EXPECT_EQ(__add_comment(buffer_, nullptr), 0);
  EXPECT_EQ(__open_node_context(buffer_, "Status", ""), 1);
  EXPECT_EQ(written(), "<Name B=\"\" />\n<Status></Status>\n");
  expect_terminated();
}

TEST_F(Writer, AddStringCopiesAtTheGivenIndexOnly) {
  xml_composer_set_xml_last_index(3);
  EXPECT_EQ(__add_string(buffer_, "abcdef", 2, 4), 6u);
  EXPECT_EQ(std::string(buffer_, 7), std::string("xxabcd\0", 7));
  EXPECT_EQ(xml_last_index, 3u);
  // Nothing copied, the terminator still written; negative lengths and a
  // null source copy nothing.
  EXPECT_EQ(__add_string(buffer_, "abc", 1, 0), 1u);
  EXPECT_EQ(__add_string(buffer_, "abc", 4, -5), 4u);
  EXPECT_EQ(__add_string(buffer_, nullptr, 5, 3), 5u);
  EXPECT_EQ(std::string(buffer_, 7), std::string("x\0ab\0\0\0", 7));
}

// A null buffer measures: the position moves exactly as when writing.
TEST_F(Writer, NullBufferMeasures) {
  __open_node(nullptr, "People");
  __add_attr(nullptr, "ID", "123");
  __add_attr(nullptr, "SP", nullptr);
  __close_node_child(nullptr);
  __open_node_context(nullptr, "Message", "hi");
  __end_node(nullptr, "People");
  __add_comment(nullptr, "!");
  EXPECT_EQ(xml_last_index, std::strlen("<People ID=\"123\" >\n<Message>hi</Message>\n</People>\n!"));
  EXPECT_EQ(__add_string(nullptr, "abc", 10, 3), 13u);
}

}  // namespace
}  // namespace pd_test
