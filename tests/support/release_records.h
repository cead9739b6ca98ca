// Releases parse results the way an engine does: with the plug-in's own
// release operations, plus the tails that those leave to the engine.
// Header-only so the fuzz targets can use it without the test libraries.
#ifndef PD_TESTS_SUPPORT_RELEASE_RECORDS_H
#define PD_TESTS_SUPPORT_RELEASE_RECORDS_H

#include <cstdint>

#include "pd-plugin/pd_data.h"
#include "pd-plugin/pd_records.h"
#include "pd-plugin/pd_upload.h"

namespace pd_test {

inline void release_login(intptr_t result) {
  auto *record = reinterpret_cast<xml_base *>(result);
  xml_login_delete(&record);
}

// The result's release takes the first friend; the rest are the engine's.
inline void release_friends(intptr_t result) {
  auto *record = reinterpret_cast<xml_friend_grouping_retrieve *>(result);
  if (record != nullptr && record->pstFriend != nullptr) {
    xml_friend_grouping_friend *next = record->pstFriend->pstNext;
    while (next != nullptr) {
      xml_friend_grouping_friend *after = next->pstNext;
      __xml_friend_grouping_friend_delete(next);
      next = after;
    }
  }
  __xml_friend_grouping_retrieve_delete(record);
}

inline void release_comment_post(intptr_t result) {
  xml_comment_post_delete(reinterpret_cast<xml_comment_post *>(result));
}

inline void release_comment_retrieve(intptr_t result) {
  xml_comment_retrieve_delete(reinterpret_cast<xml_comment_retrieve *>(result));
}

inline void release_albums(intptr_t result) {
  xml_photo_album_get_delete(reinterpret_cast<xml_photo_album_get *>(result));
}

// No release operation exists for the photo list: texts, entries, record.
inline void release_album_photos(intptr_t result) {
  auto *record = reinterpret_cast<xml_photo_album_photo_list *>(result);
  if (record == nullptr) return;
  for (xml_photo_album_photo *photo = record->pstPhoto; photo != nullptr;) {
    xml_photo_album_photo *next = photo->pstNext;
    data_Del(photo->pszID);
    data_Del(photo->pszTitle);
    data_Del(photo->pszMainPhotoURL);
    data_Del(photo->pszThumbnailURL);
    data_Del(photo);
    photo = next;
  }
  data_Del(record->pszReserved1);
  data_Del(record->pszReserved2);
  data_Del(record->pszStartContext);
  data_Del(record->pszHasNext);
  data_Del(record);
}

// The location record never reaches the engine (the upload keeps it); a
// parse of it on its own is released field by field.
inline void release_upload_location(intptr_t result) {
  auto *location = reinterpret_cast<xml_photo_upload_location *>(result);
  data_Del(location->pszFileName);
  data_Del(location->pszHostAddr);
  data_Del(location->pszResourceID);
  data_Del(location->pszExpires);
  data_Del(location);
}

// Releases the nodes after the head of a list with `release_one`, and cuts
// the head loose: the plug-in's own release takes the head.
template <class Node, class Release>
void release_after_head(Node *head, Release release_one) {
  if (head == nullptr) return;
  for (Node *node = head->pstNext; node != nullptr;) {
    Node *next = node->pstNext;
    node->pstNext = nullptr;
    release_one(node);
    node = next;
  }
  head->pstNext = nullptr;
}

// The activity tree's release operations take the head of every list; the
// tails are released here first, deepest lists first, with the operation
// of their kind.
template <class Item>
void release_item_tails(Item *first, void (*release_item)(Item *),
                        void (*release_link)(xml_activity_get_link *)) {
  for (Item *item = first; item != nullptr; item = item->pstNext)
    if (item->pstLinks != nullptr) release_after_head(item->pstLinks->pstLink, release_link);
  release_after_head(first, release_item);
}

inline void release_activity_tails(xml_activity_get_activity *activity) {
  release_item_tails(activity->pstGroup, __xml_activity_get_activity_group_delete,
                     __xml_activity_get_activity_group_links_link_delete);
  release_item_tails(activity->pstNote, __xml_activity_get_activity_note_delete,
                     __xml_activity_get_activity_note_links_link_delete);
  release_item_tails(activity->pstEvent, __xml_activity_get_activity_event_delete,
                     __xml_activity_get_activity_event_links_link_delete);
  release_item_tails(activity->pstURL, __xml_activity_get_activity_url_delete,
                     __xml_activity_get_activity_url_links_link_delete);
  release_after_head(activity->pstPhoto, __xml_activity_get_activity_photo_delete);
  release_after_head(activity->pstVideo, __xml_activity_get_activity_video_delete);
  release_after_head(activity->pstAttachedPhoto, __xml_activity_get_activity_attachedphoto_delete);
}

inline void release_activity(intptr_t result) {
  auto *record = reinterpret_cast<xml_activity_get *>(result);
  if (record == nullptr) return;
  for (auto *activity = record->pstActivity; activity != nullptr; activity = activity->pstNext)
    release_activity_tails(activity);
  release_after_head(record->pstActivity, __xml_activity_get_activity_delete);
  xml_activity_get_delete(record);
}

// The search's release takes the first person; the rest, field by field.
inline void release_people_search(intptr_t result) {
  auto *record = reinterpret_cast<xml_people_search *>(result);
  if (record == nullptr) return;
  release_after_head(record->pstPeople, [](xml_people_search_people *person) {
    xml_element_people_delete(person->pstPeople);
    xml_element_status_delete(person->pstStatus);
    xml_element_mood_delete(person->pstMood);
    data_Del(person->pszProfilePhotoURL);
    data_Del(person);
  });
  xml_people_search_delete(record);
}

// No release operation exists for the folder: field by field, lists whole.
inline void release_message_folder(intptr_t result) {
  auto *record = reinterpret_cast<xml_message_folder_retrieve *>(result);
  if (record == nullptr) return;
  for (auto *thread = record->pstThread; thread != nullptr;) {
    for (auto *message = thread->pstMessage; message != nullptr;) {
      for (auto *group = message->pstReceivers; group != nullptr;) {
        for (auto *receiver = group->pstReceiver; receiver != nullptr;) {
          auto *next = receiver->pstNext;
          data_Del(receiver->pszID);
          data_Del(receiver->pszName);
          data_Del(receiver->pszPhotoURL);
          data_Del(receiver);
          receiver = next;
        }
        auto *next = group->pstNext;
        data_Del(group);
        group = next;
      }
      auto *next = message->pstNext;
      for (char *text : {message->pszID, message->pszSP, message->pszTitle, message->pszSenderID,
                         message->pszSenderName, message->pszSenderPhotoURL, message->pszContent,
                         message->pszSendTime})
        data_Del(text);
      data_Del(message);
      message = next;
    }
    auto *next = thread->pstNext;
    data_Del(thread->pszID);
    data_Del(thread->pszUnread);
    data_Del(thread->pszFolder);
    data_Del(thread);
    thread = next;
  }
  data_Del(record->pszReserved1);
  data_Del(record->pszReserved2);
  data_Del(record->pszStartContext);
  data_Del(record->pszHasNext);
  data_Del(record);
}

// Nor for the post answer.
inline void release_message_post(intptr_t result) {
  auto *record = reinterpret_cast<xml_message_post *>(result);
  if (record == nullptr) return;
  xml_element_response_base_delete(record->pstResponseBase);
  if (record->pstMessage != nullptr) xml_element_message_delete(record->pstMessage->pstMessage);
  data_Del(record->pstMessage);
  data_Del(record);
}

// The answer to an activity deletion lives in two process-wide slots; the
// "Count" text is not released by the record's own release.
inline void release_activity_delete_slots() {
  if (activity_delete_deleted != nullptr) data_Del(activity_delete_deleted->pszCount);
  __xml_activity_delete_deleted_delete(activity_delete_deleted);
  xml_activity_delete_delete(xml_activity_delete_return());
}

// By parser index; numbers (0, negative error numbers) are not records.
inline void release_result(uint32_t index, intptr_t result) {
  if (result <= 0) return;
  switch (index) {
    case 0: release_login(result); break;
    case 5: release_activity(result); break;
    case 6: release_comment_post(result); break;
    case 7: release_comment_retrieve(result); break;
    case 8: release_friends(result); break;
    case 16: release_message_folder(result); break;
    case 23: release_people_search(result); break;
    case 26: xml_people_profile_set_delete(reinterpret_cast<xml_people_profile_set *>(result)); break;
    case 29: release_upload_location(result); break;
    case 30: __xml_photo_delete(reinterpret_cast<xml_photo *>(result)); break;
    case 31: release_albums(result); break;
    case 32: release_album_photos(result); break;
    default: break;
  }
}

// The parser index whose record a notification of engine request `code`
// carries, or -1 where the result is never a record (a logout, a sent
// message, codes that are not served).
inline int32_t parser_of_code(uint32_t code) {
  switch (code) {
    case 0: return 0;
    case 4: return 5;
    case 5: return 26;
    case 8: case 13: return 7;
    case 9: return 30;
    case 11: case 12: return 6;
    case 17: return 31;
    case 18: return 32;
    case 29: return 8;
    case 30: return 23;
    case 32: return 16;
    default: return -1;
  }
}

// Releases the result of a notification of `code` as the engine does.
inline void release_notification_result(uint32_t code, intptr_t result) {
  int32_t index = parser_of_code(code);
  if (index >= 0) release_result(static_cast<uint32_t>(index), result);
}

}  // namespace pd_test

#endif
