// The parser frame: from reply text to parsed document, the error envelope,
// the walk, and the table of element handlers by parser index.
#include "parser/pd_parser.h"

#include <libxml/parser.h>
#include <libxml/parserInternals.h>

#include <array>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "log.h"
#include "parser/parse_support.h"
#include "parser/pd_xml_handlers.h"
#include "parser/pdXmlPhoto.h"
#include "pd-plugin/pd_data.h"
#include "pd-plugin/pd_records.h"

namespace {

using pd::parser::is_element;

// ---------------------------------------------------------------------------
// Handlers by parser index. An empty row has no handler: the walk runs and
// the result is whatever the error check left (null).

constexpr uint32_t kIndexCount = PD_PARSER_ALBUM_PHOTOS + 1;

struct ParserRow {
  pd_xml_handler handler;
  // Releases a result of this parser whole, list tails included.
  void (*discard)(intptr_t result);
};

template <class Node, class Release>
void release_chain(Node *first, Release release) {
  pd::parser::release_list(&first, release);
}

void discard_login(intptr_t result) {
  auto *record = reinterpret_cast<xml_base *>(result);
  xml_login_delete(&record);
}

void discard_friends(intptr_t result) {
  auto *record = reinterpret_cast<xml_friend_grouping_retrieve *>(result);
  // The record's own release takes the first friend only.
  if (record->pstFriend != nullptr) {
    release_chain(record->pstFriend->pstNext, __xml_friend_grouping_friend_delete);
    record->pstFriend->pstNext = nullptr;
  }
  __xml_friend_grouping_retrieve_delete(record);
}

void discard_activity(intptr_t result) {
  pd::parser::discard_activity(reinterpret_cast<xml_activity_get *>(result));
}

void discard_message_folder(intptr_t result) {
  pd::parser::discard_message_folder(reinterpret_cast<xml_message_folder_retrieve *>(result));
}

void discard_people_search(intptr_t result) {
  pd::parser::discard_people_search(reinterpret_cast<xml_people_search *>(result));
}

void discard_profile_set(intptr_t result) {
  xml_people_profile_set_delete(reinterpret_cast<xml_people_profile_set *>(result));
}

void discard_comment_post(intptr_t result) {
  xml_comment_post_delete(reinterpret_cast<xml_comment_post *>(result));
}

void discard_comment_retrieve(intptr_t result) {
  xml_comment_retrieve_delete(reinterpret_cast<xml_comment_retrieve *>(result));
}

void discard_albums(intptr_t result) {
  xml_photo_album_get_delete(reinterpret_cast<xml_photo_album_get *>(result));
}

void discard_album_photos(intptr_t result) {
  auto *record = reinterpret_cast<xml_photo_album_photo_list *>(result);
  release_chain(record->pstPhoto, [](xml_photo_album_photo *photo) {
    pd::parser::release_texts(photo->pszID, photo->pszTitle, photo->pszMainPhotoURL,
                              photo->pszThumbnailURL);
    data_Del(photo);
  });
  pd::parser::release_paging(record);
  data_Del(record);
}

void discard_upload_location(intptr_t result) {
  pd::upload::location_delete(reinterpret_cast<xml_photo_upload_location *>(result));
}

void discard_uploaded_photo(intptr_t result) {
  __xml_photo_delete(reinterpret_cast<xml_photo *>(result));
}

constexpr std::array<ParserRow, kIndexCount> kParsers = [] {
  std::array<ParserRow, kIndexCount> rows{};
  rows[PD_PARSER_LOGIN] = {xml_login_parser, discard_login};
  rows[PD_PARSER_ACTIVITY] = {xml_activity_get_parser, discard_activity};
  rows[PD_PARSER_COMMENT_POST] = {xml_comment_post_parser, discard_comment_post};
  rows[PD_PARSER_COMMENT_RETRIEVE] = {xml_comment_retrieve_parser, discard_comment_retrieve};
  rows[PD_PARSER_FRIENDS] = {xml_friend_grouping_retrieve_parser, discard_friends};
  rows[PD_PARSER_MESSAGE_FOLDER] = {xml_message_folder_retrieve_parser, discard_message_folder};
  rows[PD_PARSER_PEOPLE_SEARCH] = {xml_people_search_parser, discard_people_search};
  rows[PD_PARSER_PROFILE_SET] = {xml_people_profile_set_parser, discard_profile_set};
  rows[PD_PARSER_UPLOAD_LOCATION] = {xml_photo_update_location, discard_upload_location};
  rows[PD_PARSER_UPLOAD_PHOTO] = {xml_photo_upload, discard_uploaded_photo};
  rows[PD_PARSER_ALBUMS] = {xml_photo_album_get_parser, discard_albums};
  // Whole-document parser: __xml_parser_store calls it directly.
  rows[PD_PARSER_ALBUM_PHOTOS] = {nullptr, discard_album_photos};
  return rows;
}();

// libxml2 reports malformed replies on standard error unless told
// otherwise; the plug-in writes nothing outside its log sink, and a reply
// that does not parse simply yields no record.
void ignore_xml_error(void *, xmlError *) {}

// Replies are parsed one at a time in the whole process, also when several
// instances receive at once on their own transport threads: the activity
// handler's links choice (LinkType) lives from one reply to the next, and a
// parse must neither see another's half-made choice nor leave one behind in
// the middle of it.
std::mutex g_one_parse_at_a_time;

// One parser context serves every parse (they are one at a time, above):
// libxml2 resets a context it is handed again. A fresh context costs a
// dictionary, and allocating its table makes the C library tidy up every
// block the last reply's tree and records gave back, a large part of a small
// reply's parse. The dictionary of names is kept from parse to parse; a
// reply with ever new element names could grow it without end, so past
// kDictionaryLimit names the context is replaced.
constexpr int kDictionaryLimit = 4096;

// Goes with the library (at exit or when the engine unloads the plug-in),
// not while a transport thread may still be inside a parse.
struct ReusedContext {
  xmlParserCtxt *context = nullptr;
  pd::parser::DictNames names;  // the handlers' names in its dictionary
  void reset(xmlParserCtxt *next = nullptr) {
    names.reset(next != nullptr ? next->dict : nullptr);
    if (context != nullptr) xmlFreeParserCtxt(context);
    context = next;
  }
  ~ReusedContext() {
    std::lock_guard<std::mutex> parsing(g_one_parse_at_a_time);
    reset();
  }
};
ReusedContext g_reused;

xmlParserCtxt *reusable_context() {
  xmlParserCtxt *&context = g_reused.context;
  if (context != nullptr && xmlDictSize(context->dict) > kDictionaryLimit) g_reused.reset();
  if (context == nullptr) {
    xmlInitParser();  // as libxml2's own readers do first
    g_reused.reset(xmlNewParserCtxt());
    if (context != nullptr) context->sax->serror = ignore_xml_error;
  }
  return context;
}

// What xmlCtxtReadMemory does, with one setting it cannot pass: libxml2
// registers no IDs (XML_SKIP_IDS). Nothing here looks an element up by its
// ID, and the registration asks of every attribute of every element whether
// it is one.
xmlDoc *read_on(xmlParserCtxt *context, const char *text, int length, int options) {
  xmlCtxtReset(context);
  xmlParserInputBuffer *buffer = xmlParserInputBufferCreateMem(text, length, XML_CHAR_ENCODING_NONE);
  if (buffer == nullptr) return nullptr;
  xmlParserInput *stream = xmlNewIOInputStream(context, buffer, XML_CHAR_ENCODING_NONE);
  if (stream == nullptr) {
    xmlFreeParserInputBuffer(buffer);
    return nullptr;
  }
  inputPush(context, stream);
  xmlCtxtUseOptions(context, options);
  context->loadsubset |= XML_SKIP_IDS;
  xmlParseDocument(context);
  xmlDoc *doc = context->myDoc;
  context->myDoc = nullptr;
  if (!context->wellFormed && !context->recovery && doc != nullptr) {
    xmlFreeDoc(doc);
    doc = nullptr;
  }
  return doc;
}

// Parses like xmlReadMemory(text, length, no base, no encoding, options 0),
// on a context of our own so that its error reports stay quiet. A reply
// that declares an encoding its bytes do not hold is reported without the
// context, through the thread's handler: that one is quiet too for the
// length of the parse, and then given back to whoever else uses libxml2 on
// this thread. The tree is only read, never changed, so libxml2 may keep
// short texts inside their nodes (XML_PARSE_COMPACT) instead of allocating
// each: the same tree to every reader, for fewer allocations. Called with
// the parse lock held.
xmlDoc *read_reply(const char *text) {
  if (text == nullptr) return nullptr;
  size_t length = std::strlen(text);
  if (length > INT_MAX) return nullptr;  // libxml2 takes an int length
  xmlParserCtxt *context = reusable_context();
  if (context == nullptr) return nullptr;
  xmlStructuredErrorFunc thread_handler = xmlStructuredError;
  void *thread_context = xmlStructuredErrorContext;
  xmlSetStructuredErrorFunc(nullptr, ignore_xml_error);
  xmlDoc *doc = read_on(context, text, static_cast<int>(length), XML_PARSE_COMPACT);
  xmlSetStructuredErrorFunc(thread_context, thread_handler);
  return doc;
}

// The walk of a parse. A parse of its own document (`consume`) lets each
// child of the root go once the walk is past it: the records hold copies of
// everything they take, and a long reply then never holds its whole tree and
// all its records at once. An element's attributes go even sooner, right
// after its handler: no handler reads the attributes of an element it was
// not given, and the records made next take over their memory while it is
// still warm.
void explore(uint32_t code, uint32_t depth, const char *parent, xmlNode *node, intptr_t *result,
             bool consume) {
  if (code == PD_PARSER_ALBUM_PHOTOS) {
    __xml_parser_store(code, depth, parent, node, result);
    return;
  }
  // A second node named "Response" at the root's level (a processing
  // instruction after the root) opens a new record over the one a handler
  // made before; that one is released rather than lost.
  intptr_t made = 0;
  // No handler looks for a node named "text" or "comment": such a node only
  // ever gets trace lines. With those silenced it is not handed over.
  const bool traced = pd::log::debug_on();
  auto visit = [&](uint32_t at, const char *above, xmlNode *visited) {
    if (!traced && (visited->type == XML_TEXT_NODE || visited->type == XML_COMMENT_NODE)) return;
    intptr_t before = result != nullptr ? *result : 0;
    __xml_parser_store(code, at, above, visited, result);
    if (consume && visited->type == XML_ELEMENT_NODE && visited->properties != nullptr) {
      xmlFreePropList(visited->properties);
      visited->properties = nullptr;
    }
    intptr_t now = result != nullptr ? *result : 0;
    if (now == before) return;
    if (now != 0 && before != 0 && before == made) pd::parser::discard_result(code, before);
    made = now;
  };
  if (consume) {
    pd::parser::walk(node, depth, parent, visit, [](xmlNode *done) {
      xmlUnlinkNode(done);
      xmlFreeNode(done);
    });
  } else {
    pd::parser::walk(node, depth, parent, visit);
  }
}

}  // namespace

namespace pd::parser {

void discard_result(uint32_t code, intptr_t result) noexcept {
  if (result <= 0 || code >= kIndexCount || kParsers[code].discard == nullptr) return;
  kParsers[code].discard(result);
}

}  // namespace pd::parser

extern "C" {

intptr_t __xml_parser(uint32_t code, const char *reply) {
  std::lock_guard<std::mutex> parsing(g_one_parse_at_a_time);
  intptr_t result = 0;
  // The reply may arrive wrapped in CDATA sections; the markers go before
  // parsing. Without an opening marker nothing would be removed, so the
  // reply is read as it stands; a copy goes right after parsing (the
  // document keeps no pointer into it).
  xmlDoc *doc = nullptr;
  if (reply != nullptr && std::strstr(reply, "<![CDATA[") == nullptr) {
    doc = read_reply(reply);
  } else {
    char *clean = data_RejectCDATA(reply);
    doc = read_reply(clean);
    data_Del(clean);
  }
  xmlNode *root = doc != nullptr ? xmlDocGetRootElement(doc) : nullptr;

  int32_t checked = xml_error_check(0, nullptr, root);
  if (checked < 0) {
    xmlFreeDoc(doc);
    return checked;
  }
  result = checked;
  {
    pd::parser::ParseScope scope(&g_reused.names);
    explore(code, 0, nullptr, root, &result, true);
  }
  if (doc != nullptr) xmlFreeDoc(doc);
  return result;
}

intptr_t *__xml_parser_explore(uint32_t code, uint32_t depth, const char *parent,
                               xmlNode *node, intptr_t *result) {
  explore(code, depth, parent, node, result, false);
  return result;
}

int __xml_parser_store(uint32_t code, uint32_t depth, const char *parent, xmlNode *node,
                       intptr_t *result) {
  if (code == PD_PARSER_ALBUM_PHOTOS) {
    if (result != nullptr)
      *result = reinterpret_cast<intptr_t>(xml_photo_album_get_photo_list_parser(node));
    return 0;
  }
  if (code < kIndexCount && kParsers[code].handler != nullptr)
    kParsers[code].handler(depth, parent, node, result);
  return 0;
}

// ---------------------------------------------------------------------------
// The error envelope

void __xml_error_parser(uint32_t depth, const char *, xmlNode *node, intptr_t *result) {
  if (depth != 0 || result == nullptr || node == nullptr) return;
  if (!is_element(node, "Response")) return;
  xml_error *record = __xml_error_init();
  *result = reinterpret_cast<intptr_t>(record);
  if (record == nullptr) return;
  record->pszErrCode = pd::parser::copy_attr(node, "ErrCode");
  record->pszErrSubCode = pd::parser::copy_attr(node, "ErrSubCode");
  record->pszErrContext = pd::parser::copy_attr(node, "ErrContext");
}

// A positive sub-code wins; otherwise the code counts in tens. A missing
// sub-code reads as 0. The arithmetic saturates at the 32-bit range rather
// than overflow on absurd codes.
int32_t xml_error_check(uint32_t depth, const char *ignored, xmlNode *root) {
  // A root without an error code is no error, whatever else it says: no
  // envelope record is made for it.
  if (root != nullptr && xmlHasProp(root, reinterpret_cast<const xmlChar *>("ErrCode")) == nullptr)
    return 0;
  intptr_t word = 0;
  __xml_error_parser(depth, ignored, root, &word);
  auto *record = reinterpret_cast<xml_error *>(word);
  int32_t code = 0;
  if (record != nullptr && record->pszErrCode != nullptr) {
    int64_t error = pd::parser::decimal_i32(record->pszErrCode);
    int64_t sub = pd::parser::decimal_i32(record->pszErrSubCode);
    int64_t value = sub > 0 ? -sub : -error * 10;
    code = static_cast<int32_t>(value < INT32_MIN ? INT32_MIN : value > INT32_MAX ? INT32_MAX : value);
  }
  __xml_error_delete(&record);
  return code;
}

xml_error *__xml_error_init(void) {
  return static_cast<xml_error *>(pd::parser::zeroed(sizeof(xml_error)));
}

void __xml_error_delete(xml_error **slot) {
  if (slot == nullptr || *slot == nullptr) return;
  xml_error *record = *slot;
  pd::parser::release_texts(record->pszErrCode, record->pszErrSubCode, record->pszErrContext);
  data_Del(record);
  *slot = nullptr;
}

}  // extern "C"
