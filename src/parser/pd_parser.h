/* The reply parser frame: the walk over a parsed reply, the handler table
 * that the walk feeds, and the gateway's error envelope.
 *
 * Element handler contract, shared by every reply parser:
 *   handler(depth, parent, node, result)
 *   depth   0 for the root, one more per level below it
 *   parent  element name of the node's parent (null for the root); valid
 *           only during the call
 *   node    the libxml2 node visited; every named node is visited, text
 *           and comment nodes included, so handlers match element names
 *   result  address of the parse's result word, which receives the top
 *           record (usually on the "Response" root)
 * The walk is pre-order, siblings in document order, each parent before its
 * children. A handler must not unlink nodes. */
#ifndef PD_PLUGIN_SRC_PARSER_PD_PARSER_H
#define PD_PLUGIN_SRC_PARSER_PD_PARSER_H

#include <libxml/tree.h>
#include <stdint.h>

#include "pd-plugin/pd_export.h"

PD_BEGIN_DECLS

typedef void (*pd_xml_handler)(uint32_t depth, const char *parent, xmlNode *node,
                               intptr_t *result);

/* Parser indexes with a handler (the response dispatcher maps engine request
 * codes onto them). */
enum pd_parser_index {
  PD_PARSER_LOGIN = 0,
  PD_PARSER_ACTIVITY = 5,
  PD_PARSER_COMMENT_POST = 6,
  PD_PARSER_COMMENT_RETRIEVE = 7,
  PD_PARSER_FRIENDS = 8,
  PD_PARSER_MESSAGE_FOLDER = 16,
  PD_PARSER_PEOPLE_SEARCH = 23,
  PD_PARSER_PROFILE_SET = 26,
  PD_PARSER_UPLOAD_LOCATION = 29,
  PD_PARSER_UPLOAD_PHOTO = 30,
  PD_PARSER_ALBUMS = 31,
  /* The one whole-document parser: called once with the root. */
  PD_PARSER_ALBUM_PHOTOS = 32
};

/* Parses a gateway reply with the element handler of `code` (a parser
 * index, not an engine request code). Returns the address of the top record,
 * 0, or a negative gateway error number. */
PD_API intptr_t __xml_parser(uint32_t code, const char *reply);

/* Walks `node`, its following siblings and everything under them; returns
 * `result`. */
PD_API intptr_t *__xml_parser_explore(uint32_t code, uint32_t depth, const char *parent,
                                      xmlNode *node, intptr_t *result);

/* Hands one node to the handler of `code`; always 0. */
PD_API int __xml_parser_store(uint32_t code, uint32_t depth, const char *parent,
                              xmlNode *node, intptr_t *result);

/* 0, or the negative gateway error number of the root's error envelope. */
PD_API int32_t xml_error_check(uint32_t depth, const char *ignored, xmlNode *root);

/* Stores a new error record (pd_xml_base.h) into *result when node is the
 * "Response" root. */
PD_API void __xml_error_parser(uint32_t depth, const char *ignored, xmlNode *node,
                               intptr_t *result);

PD_END_DECLS

#ifdef __cplusplus
namespace pd::parser {

// Releases a parse result whole, list tails included, for a reply that
// cannot be handed to anybody. Numbers (0, negative, or a bare error value)
// are left alone.
void discard_result(uint32_t code, intptr_t result) noexcept;

}  // namespace pd::parser
#endif

#endif
