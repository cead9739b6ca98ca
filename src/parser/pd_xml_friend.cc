// The friends list answer, and the flat friend record the engine fills
// itself.
#include <cstdlib>
#include <cstring>

#include "log.h"
#include "parser/parse_support.h"
#include "parser/pd_xml_handlers.h"

using pd::parser::copy_first_text;
using pd::parser::is_element;
using pd::parser::is_named;
using pd::parser::record_in;
using pd::parser::store;
using pd::parser::store_attr;
using pd::parser::store_attrs;

extern "C" {

xml_friend_grouping_retrieve *__xml_friend_grouping_retrieve_init(void) {
  return static_cast<xml_friend_grouping_retrieve *>(
      pd::parser::zeroed(sizeof(xml_friend_grouping_retrieve)));
}

xml_friend_grouping_friend *__xml_friend_grouping_friend_init(xml_friend_grouping_retrieve *result) {
  auto *record =
      static_cast<xml_friend_grouping_friend *>(pd::parser::zeroed(sizeof(xml_friend_grouping_friend)));
  if (result != nullptr) pd::parser::append_node(&result->pstFriend, record);
  return record;
}

xml_friend_grouping_friend *__xml_friend_get_last_friend(xml_friend_grouping_retrieve *result) {
  return result != nullptr ? pd::parser::last_node(&result->pstFriend) : nullptr;
}

void __xml_friend_grouping_friend_delete(xml_friend_grouping_friend *record) {
  if (record == nullptr) return;
  pd::parser::release_texts(
      record->pszID, record->pszSP, record->pszGroupingID, record->pszDisplayName,
      record->pszFullName, record->pszEmail, record->pszStatus, record->pszStatusCreateTime,
      record->pszStatusID, record->pszMoodID, record->pszMoodIconID, record->pszMoodText,
      record->pszPresence, record->pszLocation, record->pszCity, record->pszAge,
      record->pszRelationType, record->pszRelationModifyTime, record->pszProfilePhotoURL,
      record->pszFollowingNum, record->pszFollowerNum);
  data_Del(record);
}

// Releases the first friend only; the engine owns the rest of the chain.
void __xml_friend_grouping_retrieve_delete(xml_friend_grouping_retrieve *result) {
  if (result == nullptr) return;
  pd::parser::tails::forget(&result->pstFriend);
  pd::parser::release_paging(result);
  __xml_friend_grouping_friend_delete(result->pstFriend);
  data_Del(result);
}

void xml_friend_grouping_retrieve_parser(uint32_t depth, const char *parent, xmlNode *node,
                                         intptr_t *result) {
  if (node == nullptr || result == nullptr) return;
  if (depth == 0) {
    pd::parser::open_reply(node, result, __xml_friend_grouping_retrieve_init);
    return;
  }
  auto *record = record_in<xml_friend_grouping_retrieve>(result);
  if (record == nullptr) return;
  if (depth == 1) {
    if (!is_element(node, "Friend") || !is_named(parent, "Response")) return;
    xml_friend_grouping_friend *fr = __xml_friend_grouping_friend_init(record);
    if (fr == nullptr) return;
    store_attrs(node, {{&fr->pszID, "ID"}, {&fr->pszSP, "SP"}, {&fr->pszGroupingID, "GroupingID"},
                       {&fr->pszDisplayName, "DisplayName"}, {&fr->pszFullName, "FullName"},
                       {&fr->pszEmail, "Email"}, {&fr->pszPresence, "Presence"},
                       {&fr->pszLocation, "Location"}, {&fr->pszCity, "City"},
                       {&fr->pszAge, "Age"}});
    return;
  }
  if (depth != 2) return;
  xml_friend_grouping_friend *fr = __xml_friend_get_last_friend(record);
  if (fr == nullptr) return;
  // First match wins, in this order. "Mood " carries a blank that no
  // element name can have, and the counters come from under "People": both
  // are how the gateway's answer is read, kept as they are.
  if (is_element(node, "Status") && is_named(parent, "Friend")) {
    if (node->children == nullptr) return;
    store(fr->pszStatus, copy_first_text(node));
    store_attr(fr->pszStatusCreateTime, node, "CreateTime");
    store_attr(fr->pszStatusID, node, "ID");
  } else if (is_element(node, "Mood ") && is_named(parent, "Friend")) {
    store_attrs(node, {{&fr->pszMoodID, "ID"}, {&fr->pszMoodIconID, "IconID"},
                       {&fr->pszMoodText, "Text"}});
  } else if (is_element(node, "Relation") && is_named(parent, "Friend")) {
    store_attr(fr->pszRelationType, node, "Type");
    store_attr(fr->pszRelationModifyTime, node, "ModifyTime");
  } else if (is_element(node, "ProfilePhoto") && is_named(parent, "Friend")) {
    store_attr(fr->pszProfilePhotoURL, node, "URL");
  } else if (is_element(node, "Friendship") && is_named(parent, "People")) {
    store_attr(fr->pszFollowingNum, node, "FollowingNum");
    store_attr(fr->pszFollowerNum, node, "FollowerNum");
  }
}

// ---------------------------------------------------------------------------
// The flat friend record

void __db_friend_friend_init(db_friend *record) {
  if (record == nullptr) return;
  char *const texts[] = {record->szID,         record->szGroupingID,   record->szDisplayName,
                         record->szFullName,   record->szEmails,       record->szStatus,
                         record->szStatusCreateAt, record->szStatusID, record->szMoodID,
                         record->szMoodIconID, record->szMoodText,     record->szLocation,
                         record->szCity,       record->szRelationUpdateDate,
                         record->szProfilePhotoURL};
  for (char *text : texts) data_Str(text, "");
  int32_t *const numbers[] = {&record->iPresence, &record->iAge, &record->iRelationType,
                              &record->iFollowingNum, &record->iFollowerNum};
  for (int32_t *number : numbers) data_Int("0", number);
  data_SP("0", &record->iSP);
}

void __db_friend_init(db_friend *record) {
  if (record == nullptr) return;
  record->iReserved = 0;
  data_Str(record->szResponseStartContext, "");
  data_Int("0", &record->iResponseHasNext);
  __db_friend_friend_init(record);
}

// The texts are the engine's fixed-size fields; a field filled to the brim
// without a terminator is printed up to its end and no further.
#define TEXT(field) static_cast<int>(strnlen(field, sizeof(field))), field

void __db_friend_print(const db_friend *record) {
  if (record == nullptr) return;
  PD_LOG_STDOUT("id                     [%.*s]\n", TEXT(record->szID));
  PD_LOG_STDOUT("sp                     [%d]\n", record->iSP);
  PD_LOG_STDOUT("grouping_id            [%.*s]\n", TEXT(record->szGroupingID));
  PD_LOG_STDOUT("display_name           [%.*s]\n", TEXT(record->szDisplayName));
  PD_LOG_STDOUT("full_name              [%.*s]\n", TEXT(record->szFullName));
  PD_LOG_STDOUT("emails                 [%.*s]\n", TEXT(record->szEmails));
  PD_LOG_STDOUT("status                 [%.*s]\n", TEXT(record->szStatus));
  PD_LOG_STDOUT("status_create_at       [%.*s]\n", TEXT(record->szStatusCreateAt));
  PD_LOG_STDOUT("status_id              [%.*s]\n", TEXT(record->szStatusID));
  PD_LOG_STDOUT("mood_id                [%.*s]\n", TEXT(record->szMoodID));
  PD_LOG_STDOUT("mood_icon_id           [%.*s]\n", TEXT(record->szMoodIconID));
  PD_LOG_STDOUT("mood_text              [%.*s]\n", TEXT(record->szMoodText));
  PD_LOG_STDOUT("presence               [%d]\n", record->iPresence);
  PD_LOG_STDOUT("location               [%.*s]\n", TEXT(record->szLocation));
  PD_LOG_STDOUT("city                   [%.*s]\n", TEXT(record->szCity));
  PD_LOG_STDOUT("age                    [%d]\n", record->iAge);
  PD_LOG_STDOUT("relation_type          [%d]\n", record->iRelationType);
  PD_LOG_STDOUT("relation_update_date   [%.*s]\n", TEXT(record->szRelationUpdateDate));
  PD_LOG_STDOUT("profile_photo_url      [%.*s]\n", TEXT(record->szProfilePhotoURL));
  PD_LOG_STDOUT("following_num          [%d]\n", record->iFollowingNum);
  PD_LOG_STDOUT("follower_num           [%d]\n", record->iFollowerNum);
  PD_LOG_STDOUT("response_start_context [%.*s]\n", TEXT(record->szResponseStartContext));
  PD_LOG_STDOUT("response_has_next      [%d]\n", record->iResponseHasNext);
}

#undef TEXT

}  // extern "C"
