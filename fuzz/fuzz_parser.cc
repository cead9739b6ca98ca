// Any bytes, under any parser index, parse without a crash, a sanitizer
// report or a leak. The first byte chooses the index (0..33, beyond the last
// one with a handler) or one of the two handlers that no index selects (34:
// the message post answer, 35: the activity deletion answer, walked over the
// parsed reply directly); the rest is the reply. Whatever comes back is
// released as an engine releases it. Process-wide state (the activity's
// links choice, the deletion slots) carries over from one input to the
// next, as it does in the plug-in.
#include <libxml/parser.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <string>

#include "log.h"
#include "parser/parse_support.h"
#include "parser/pd_parser.h"
#include "parser/pd_xml_handlers.h"
#include "support/release_records.h"

namespace {

constexpr uint32_t kIndexes = 34;
constexpr uint32_t kMessagePost = kIndexes;  // and kIndexes + 1: the activity deletion

bool has_record(uint32_t index) {
  switch (index) {
    case 0: case 5: case 6: case 7: case 8: case 16: case 23: case 26: case 29: case 30: case 31:
    case 32:
      return true;
    default:
      return false;
  }
}

// A record is an address: a small positive number would be taken for one.
void check_record(intptr_t result) {
  if (result > 0 && result < 4096) __builtin_trap();
}

void walk_directly(uint32_t which, const std::string &reply) {
  if (reply.size() > INT_MAX) return;
  xmlDoc *doc = xmlReadMemory(reply.data(), static_cast<int>(reply.size()), nullptr, nullptr,
                              XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
  if (doc == nullptr) return;
  intptr_t result = 0;
  pd::parser::walk(xmlDocGetRootElement(doc), 0, nullptr,
                   [&](uint32_t depth, const char *parent, xmlNode *node) {
                     if (which == kMessagePost) {
                       xml_message_post_parser(depth, parent, node, &result);
                       return;
                     }
                     // What a deletion reply replaces is the engine's, which
                     // releases it.
                     xml_activity_delete *kept = activity_delete;
                     xml_activity_delete_deleted *kept_deleted = activity_delete_deleted;
                     xml_activity_delete_parser(depth, parent, node);
                     if (kept != activity_delete) xml_activity_delete_delete(kept);
                     if (kept_deleted != nullptr && kept_deleted != activity_delete_deleted) {
                       data_Del(kept_deleted->pszCount);
                       __xml_activity_delete_deleted_delete(kept_deleted);
                     }
                   });
  xmlFreeDoc(doc);
  check_record(result);
  pd_test::release_message_post(result);
  pd_test::release_activity_delete_slots();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  pd::log::set_level(pd::log::Level::none);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  uint32_t index = data[0] % (kIndexes + 2);
  std::string reply(reinterpret_cast<const char *>(data + 1), size - 1);
  if (index >= kIndexes) {
    walk_directly(index, reply);
    return 0;
  }
  intptr_t result = __xml_parser(index, reply.c_str());
  if (has_record(index)) {
    check_record(result);
    pd_test::release_result(index, result);
  }
  return 0;
}
