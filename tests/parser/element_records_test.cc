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

#define PD_ELEMENT_TYPES(X) X(link_photo) X(thumbnail) X(attachedphoto) X(video) X(url) X(event) X(note) \
  X(photo) X(link) X(group) X(photothumbnail) X(owner) X(content) X(activity) X(sender) X(message) \
  X(profilephoto) X(receiver) X(requester) X(deleted) X(poke) X(friendrequest) X(description) \
  X(relationship) X(attribute_address) X(attribute_school) X(attribute_work) X(attribute_page) \
  X(attribute_group) X(attribute_network) X(attribute_iminfo) X(attribute_phone_num) X(attribute_favorite) \
  X(people) X(status) X(mood) X(response_base)

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

// init, set from the element (twice where the file asks), the fields in
// order, delete: all on the record's own lines, the tracing lines between.
std::string dump_elements(xmlDoc *doc, int sets) {
  std::string dump;
  for (xmlNode *n = xmlDocGetRootElement(doc)->children; n; n = n->next) {
    if (n->type != XML_ELEMENT_NODE) continue;
    const ElementOps *ops = ops_for(reinterpret_cast<const char *>(n->name));
    if (ops == nullptr) {
      ADD_FAILURE() << "no record type " << n->name;
      return "";
    }
    LogCapture log;
    void *record = ops->init();
    for (int i = 0; i < sets; ++i) ops->set(record, n);
    std::string fields;
    for (size_t i = 0; i < ops->fields; ++i)
      fields += "  " + std::to_string(i + 1) + ": " + quoted(static_cast<char **>(record)[i]) + "\n";
    ops->remove(record);
    dump += "== " + std::string(ops->type) + "\n" + fields + log.text(Channel::out);
  }
  return dump;
}

TEST_F(ElementDoc, EveryTypeReadsItsElementInFieldOrder) {
  EXPECT_EQ(std::size(kTypes), 37u);
  const std::string dump = dump_elements(doc_, 1);
  for (const ElementOps &ops : kTypes) EXPECT_NE(dump.find("== " + std::string(ops.type) + "\n"), std::string::npos);
  EXPECT_TRUE(matches_golden("replies/elements/all.dump", dump));
  std::string sparse = read_data("replies/elements/sparse.xml");
  xmlDoc *doc = xmlReadMemory(sparse.data(), static_cast<int>(sparse.size()), nullptr, nullptr, 0);
  EXPECT_TRUE(matches_golden("replies/elements/sparse.dump", dump_elements(doc, 2)));
  xmlFreeDoc(doc);
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

}  // namespace
}  // namespace pd_test
