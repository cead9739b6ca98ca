// Comment answers: the confirmation of a posted comment and the comments of
// an item.
#include <cstdlib>
#include <cstring>

#include "parser/parse_support.h"
#include "parser/pd_xml_handlers.h"

using pd::parser::copy_first_text;
using pd::parser::is_element;
using pd::parser::is_named;
using pd::parser::new_record;
using pd::parser::record_in;
using pd::parser::store;
using pd::parser::store_attr;
using pd::parser::store_attrs;

extern "C" {

int32_t __data_Recommend(const char *text) {
  return text != nullptr && std::strcmp(text, "true") == 0 ? 1 : 0;
}

// ---------------------------------------------------------------------------
// Posting

xml_comment_post *__xml_comment_post_init(void) { return new_record<xml_comment_post>(); }

xml_comment_post_comment *__xml_comment_post_comment_init(xml_comment_post_comment **head) {
  auto *node = new_record<xml_comment_post_comment>();
  if (head != nullptr) pd::parser::append_node(head, node);
  return node;
}

void __xml_comment_post_delete(xml_comment_post *record) {
  if (record == nullptr) return;
  pd::parser::release_list(&record->pstComment, [](xml_comment_post_comment *node) {
    pd::parser::release_texts(node->pszID, node->pszTargetID, node->pszResult);
    data_Del(node);
  });
  data_Del(record);
}

void xml_comment_post_delete(xml_comment_post *record) { __xml_comment_post_delete(record); }

void xml_comment_post_parser(uint32_t depth, const char *parent, xmlNode *node, intptr_t *result) {
  if (node == nullptr || result == nullptr) return;
  if (depth == 0) {
    pd::parser::open_reply(node, result, __xml_comment_post_init);
    return;
  }
  auto *record = record_in<xml_comment_post>(result);
  if (depth != 1 || record == nullptr) return;
  if (!is_element(node, "Comment") || !is_named(parent, "Response")) return;
  xml_comment_post_comment *comment = __xml_comment_post_comment_init(&record->pstComment);
  if (comment == nullptr) return;
  store_attrs(node, {{&comment->pszID, "ID"}, {&comment->pszTargetID, "TargetID"},
                     {&comment->pszResult, "Result"}});
}

// ---------------------------------------------------------------------------
// Retrieving

xml_comment_retrieve *__xml_comment_retrieve_init(void) {
  return new_record<xml_comment_retrieve>();
}

xml_comment_retrieve_comment *__xml_comment_retrieve_comment_init(xml_comment_retrieve *record) {
  auto *node = new_record<xml_comment_retrieve_comment>();
  if (record != nullptr) pd::parser::append_node(&record->pstComment, node);
  return node;
}

xml_comment_retrieve_comment *__xml_comment_retrieve_get_last_comment(xml_comment_retrieve *record) {
  return record != nullptr ? pd::parser::last_node(&record->pstComment) : nullptr;
}

void __xml_comment_retrieve_delete(xml_comment_retrieve *record) {
  if (record == nullptr) return;
  pd::parser::release_paging(record);
  pd::parser::release_list(&record->pstComment, [](xml_comment_retrieve_comment *node) {
    pd::parser::release_texts(node->pszID, node->pszSP, node->pszTargetID, node->pszCreateTime,
                              node->pszRecommend, node->pszContent, node->pszCommenterID,
                              node->pszCommenterName, node->pszCommenterPhotoURL);
    data_Del(node);
  });
  data_Del(record);
}

void xml_comment_retrieve_delete(xml_comment_retrieve *record) {
  __xml_comment_retrieve_delete(record);
}

// Everything below depth 1 belongs to the comment most recently started.
void xml_comment_retrieve_parser(uint32_t depth, const char *parent, xmlNode *node,
                                 intptr_t *result) {
  if (node == nullptr || result == nullptr) return;
  if (depth == 0) {
    pd::parser::open_reply(node, result, __xml_comment_retrieve_init);
    return;
  }
  auto *record = record_in<xml_comment_retrieve>(result);
  if (record == nullptr || depth > 3) return;
  if (depth == 1) {
    if (!is_element(node, "Comment") || !is_named(parent, "Response")) return;
    xml_comment_retrieve_comment *comment = __xml_comment_retrieve_comment_init(record);
    if (comment == nullptr) return;
    store_attrs(node, {{&comment->pszID, "ID"}, {&comment->pszSP, "SP"},
                       {&comment->pszTargetID, "TargetID"}, {&comment->pszCreateTime, "CreateTime"},
                       {&comment->pszRecommend, "Recommend"}});
    return;
  }
  xml_comment_retrieve_comment *comment = __xml_comment_retrieve_get_last_comment(record);
  if (comment == nullptr) return;
  if (depth == 2 && is_named(parent, "Comment")) {
    if (is_element(node, "Commenter")) {
      store_attr(comment->pszCommenterID, node, "ID");
      store_attr(comment->pszCommenterName, node, "Name");
    } else if (is_element(node, "Content")) {
      store(comment->pszContent, copy_first_text(node));
    }
  } else if (depth == 3 && is_element(node, "ProfilePhoto") && is_named(parent, "Commenter")) {
    store_attr(comment->pszCommenterPhotoURL, node, "URL");
  }
}

}  // extern "C"
