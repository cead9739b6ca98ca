// The element record family: every type read from one element of
// tests/data/replies/elements/all.xml, with its tracing lines.
#include <gtest/gtest.h>

#include <libxml/parser.h>

#include <string>

#include "parser/pd_xml_handlers.h"
#include "record_dump.h"
#include "support/golden.h"
#include "support/log_capture.h"

namespace pd_test {
namespace {

using pd::log::Channel;

struct ElementOps {
  const char *type;
  size_t fields;
  void *(*init)();
  void (*set)(void *record, xmlNode *node);
  void (*remove)(void *record);
};

#define PD_ELEMENT_TYPES(X) \
  X(link_photo) \
  X(thumbnail) \
  X(attachedphoto) \
  X(video) \
  X(url) \
  X(event) \
  X(note) \
  X(photo) \
  X(link) \
  X(group) \
  X(photothumbnail) \
  X(owner) \
  X(content) \
  X(activity) \
  X(sender) \
  X(message) \
  X(profilephoto) \
  X(receiver) \
  X(requester) \
  X(deleted) \
  X(poke) \
  X(friendrequest) \
  X(description) \
  X(relationship) \
  X(attribute_address) \
  X(attribute_school) \
  X(attribute_work) \
  X(attribute_page) \
  X(attribute_group) \
  X(attribute_network) \
  X(attribute_iminfo) \
  X(attribute_phone_num) \
  X(attribute_favorite) \
  X(people) \
  X(status) \
  X(mood) \
  X(response_base)

#define X(type)                                                                          \
  {#type, sizeof(xml_element_##type) / sizeof(char *),                                   \
   []() -> void * { return xml_element_##type##_init(); },                               \
   [](void *r, xmlNode *n) { xml_element_##type##_set(static_cast<xml_element_##type *>(r), n); }, \
   [](void *r) { xml_element_##type##_delete(static_cast<xml_element_##type *>(r)); }},
const ElementOps kTypes[] = {PD_ELEMENT_TYPES(X)};
#undef X

const ElementOps *ops_for(const char *element) {
  for (const ElementOps &ops : kTypes)
    if (std::string(ops.type) == element) return &ops;
  return nullptr;
}

class ElementDoc : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string xml = read_data("replies/elements/all.xml");
    doc_ = xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr, 0);
    ASSERT_NE(doc_, nullptr);
  }
  void TearDown() override { xmlFreeDoc(doc_); }
  xmlNode *element(const char *name) {
    for (xmlNode *n = xmlDocGetRootElement(doc_)->children; n; n = n->next)
      if (n->type == XML_ELEMENT_NODE && std::string(reinterpret_cast<const char *>(n->name)) == name)
        return n;
    return nullptr;
  }
  xmlDoc *doc_ = nullptr;
};

// init, set from the element, the fields in order, delete: all on the
// record's own lines, and the tracing lines in between.
TEST_F(ElementDoc, EveryTypeReadsItsElementInFieldOrder) {
  EXPECT_EQ(std::size(kTypes), 37u);
  std::string dump;
  size_t seen = 0;
  for (xmlNode *n = xmlDocGetRootElement(doc_)->children; n; n = n->next) {
    if (n->type != XML_ELEMENT_NODE) continue;
    const ElementOps *ops = ops_for(reinterpret_cast<const char *>(n->name));
    ASSERT_NE(ops, nullptr) << n->name;
    ++seen;
    LogCapture log;
    void *record = ops->init();
    ops->set(record, n);
    std::string fields;
    for (size_t i = 0; i < ops->fields; ++i)
      fields += "  " + std::to_string(i + 1) + ": " + quoted(static_cast<char **>(record)[i]) + "\n";
    ops->remove(record);
    dump += "== " + std::string(ops->type) + "\n" + fields + log.text(Channel::out);
  }
  EXPECT_EQ(seen, std::size(kTypes));
  EXPECT_TRUE(matches_golden("replies/elements/all.dump", dump));
}

TEST_F(ElementDoc, NullRecordsAndNodesAreIgnoredBetweenTheirTracingLines) {
  for (const ElementOps &ops : kTypes) {
    SCOPED_TRACE(ops.type);
    LogCapture log;
    ops.set(nullptr, element(ops.type));
    ops.remove(nullptr);
    const std::string type = ops.type;
    auto pair = [](const std::string &name) {
      return "Xml_Element : " + name + " - Start\n" + "Xml_Element : " + name + " - End\n";
    };
    // One setter has always printed its type's name without "_set".
    std::string want = pair(type == "attribute_school" ? "xml_element_attribute_school"
                                                       : "xml_element_" + type + "_set") +
                       pair("xml_element_" + type + "_delete");
    if (type == "link_photo") want.clear();
    EXPECT_EQ(log.text(Channel::out), want);

    // A null node gives null attributes and leaves text fields alone.
    void *record = ops.init();
    ops.set(record, nullptr);
    for (size_t i = 0; i < ops.fields; ++i) EXPECT_EQ(static_cast<char **>(record)[i], nullptr);
    ops.remove(record);
  }
}

TEST_F(ElementDoc, SparseElementsLeaveTheRestNull) {
  std::string xml =
      "<r><photo ID='77'/><message ID='m'/><content/><people Commentable='1' Name='n'/></r>";
  xmlDoc *doc = xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr, 0);
  xmlNode *photo = xmlDocGetRootElement(doc)->children;
  xmlNode *message = photo->next, *content = message->next, *people = content->next;

  xml_element_photo *p = xml_element_photo_init();
  xml_element_photo_set(p, photo);
  EXPECT_STREQ(p->pszID, "77");
  EXPECT_EQ(p->pszAlbumID, nullptr);
  EXPECT_EQ(p->pszCounts, nullptr);
  xml_element_photo_delete(p);

  xml_element_message *m = xml_element_message_init();
  xml_element_message_set(m, message);
  EXPECT_STREQ(m->pszID, "m");
  EXPECT_EQ(m->pszContent, nullptr);
  xml_element_message_delete(m);

  xml_element_content *c = xml_element_content_init();
  xml_element_content_set(c, content);
  EXPECT_EQ(c->pszContent, nullptr);
  xml_element_content_delete(c);

  xml_element_people *q = xml_element_people_init();
  xml_element_people_set(q, people);
  EXPECT_STREQ(q->pszCommentable, "1");
  EXPECT_STREQ(q->pszCommentable2, "1");
  EXPECT_STREQ(q->pszName, "n");
  xml_element_people_set(q, people);  // a second set replaces, leaking nothing
  xml_element_people_delete(q);
  xmlFreeDoc(doc);
}

}  // namespace
}  // namespace pd_test
