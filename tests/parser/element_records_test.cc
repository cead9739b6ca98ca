// The element record family: every type read from its element of
// tests/data/replies/elements/all.xml, from no element and into no record,
// with its tracing lines.
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

// Per element: init, set from the element (`sets` times), the fields in
// order, delete; then a set into no record and its delete; then a record set
// from no element. All on the record's own lines, the tracing lines between.
std::string dump_elements(const std::string &file, int sets) {
  std::string xml = read_data(file), dump;
  xmlDoc *doc = xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr, 0);
  for (xmlNode *n = xmlDocGetRootElement(doc)->children; n; n = n->next) {
    if (n->type != XML_ELEMENT_NODE) continue;
    const ElementOps *ops = ops_for(reinterpret_cast<const char *>(n->name));
    if (ops == nullptr) {
      ADD_FAILURE() << "no record type " << n->name;
      break;
    }
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
    dump += "== " + std::string(ops->type) + "\n" + fields(record) + log.text(Channel::out);
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
  EXPECT_EQ(std::size(kTypes), 37u);
  const std::string dump = dump_elements("replies/elements/all.xml", 1);
  for (const ElementOps &ops : kTypes) EXPECT_NE(dump.find("== " + std::string(ops.type) + "\n"), std::string::npos);
  EXPECT_TRUE(matches_golden("replies/elements/all.dump", dump));
  EXPECT_TRUE(matches_golden("replies/elements/sparse.dump", dump_elements("replies/elements/sparse.xml", 2)));
}

}  // namespace
}  // namespace pd_test
