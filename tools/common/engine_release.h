// How an engine releases the record a notification carries, with the
// plug-in's own release operations. Several of them take only the head of a
// list and leave the rest to the engine, and two records (the photo list and
// the message folder) have none, so their fields go one by one through
// data_Del.
//
// Written once for every host of the plug-in: pdctl finds the functions with
// dlsym, the tests link them. `Api` is any object whose members, named after
// the plug-in's functions, can be called like them (see
// PD_ENGINE_RELEASE_FUNCTIONS).
#ifndef PD_TOOLS_COMMON_ENGINE_RELEASE_H
#define PD_TOOLS_COMMON_ENGINE_RELEASE_H

#include <cstdint>

#include "pd-plugin/pd_data.h"
#include "pd-plugin/pd_plugin.h"
#include "pd-plugin/pd_records.h"
#include "pd-plugin/pd_upload.h"

// Every function of the plug-in the releases below call.
#define PD_ENGINE_RELEASE_FUNCTIONS(X)                    \
  X(data_Del)                                             \
  X(xml_login_delete)                                     \
  X(__xml_friend_grouping_retrieve_delete)                \
  X(__xml_friend_grouping_friend_delete)                  \
  X(xml_activity_get_delete)                              \
  X(__xml_activity_get_activity_delete)                   \
  X(__xml_activity_get_activity_group_delete)             \
  X(__xml_activity_get_activity_group_links_link_delete)  \
  X(__xml_activity_get_activity_note_delete)              \
  X(__xml_activity_get_activity_note_links_link_delete)   \
  X(__xml_activity_get_activity_event_delete)             \
  X(__xml_activity_get_activity_event_links_link_delete)  \
  X(__xml_activity_get_activity_url_delete)               \
  X(__xml_activity_get_activity_url_links_link_delete)    \
  X(__xml_activity_get_activity_photo_delete)             \
  X(__xml_activity_get_activity_video_delete)             \
  X(__xml_activity_get_activity_attachedphoto_delete)     \
  X(xml_people_profile_set_delete)                        \
  X(xml_people_search_delete)                             \
  X(xml_element_people_delete)                            \
  X(xml_element_status_delete)                            \
  X(xml_element_mood_delete)                              \
  X(xml_comment_post_delete)                              \
  X(xml_comment_retrieve_delete)                          \
  X(xml_photo_album_get_delete)                           \
  X(__xml_photo_delete)

namespace pd_engine {

// Releases every node after `head` with `release_one` and cuts the head
// loose, for a release operation of the plug-in that takes the head only.
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

// Groups, notes, events and URLs: the links after the first of every item,
// then the items after the first.
template <class Item, class ReleaseItem, class ReleaseLink>
void release_item_tails(Item *first, ReleaseItem release_item, ReleaseLink release_link) {
  for (Item *item = first; item != nullptr; item = item->pstNext)
    if (item->pstLinks != nullptr) release_after_head(item->pstLinks->pstLink, release_link);
  release_after_head(first, release_item);
}

template <class Api>
void release_activities(const Api &p, xml_activity_get *record) {
  if (record == nullptr) return;
  for (auto *activity = record->pstActivity; activity != nullptr; activity = activity->pstNext) {
    release_item_tails(activity->pstGroup, p.__xml_activity_get_activity_group_delete,
                       p.__xml_activity_get_activity_group_links_link_delete);
    release_item_tails(activity->pstNote, p.__xml_activity_get_activity_note_delete,
                       p.__xml_activity_get_activity_note_links_link_delete);
    release_item_tails(activity->pstEvent, p.__xml_activity_get_activity_event_delete,
                       p.__xml_activity_get_activity_event_links_link_delete);
    release_item_tails(activity->pstURL, p.__xml_activity_get_activity_url_delete,
                       p.__xml_activity_get_activity_url_links_link_delete);
    release_after_head(activity->pstPhoto, p.__xml_activity_get_activity_photo_delete);
    release_after_head(activity->pstVideo, p.__xml_activity_get_activity_video_delete);
    release_after_head(activity->pstAttachedPhoto,
                       p.__xml_activity_get_activity_attachedphoto_delete);
  }
  release_after_head(record->pstActivity, p.__xml_activity_get_activity_delete);
  p.xml_activity_get_delete(record);
}

template <class Api>
void release_friends(const Api &p, xml_friend_grouping_retrieve *record) {
  if (record == nullptr) return;
  release_after_head(record->pstFriend, p.__xml_friend_grouping_friend_delete);
  p.__xml_friend_grouping_retrieve_delete(record);
}

template <class Api>
void release_people(const Api &p, xml_people_search *record) {
  if (record == nullptr) return;
  release_after_head(record->pstPeople, [&p](xml_people_search_people *person) {
    p.xml_element_people_delete(person->pstPeople);
    p.xml_element_status_delete(person->pstStatus);
    p.xml_element_mood_delete(person->pstMood);
    p.data_Del(person->pszProfilePhotoURL);
    p.data_Del(person);
  });
  p.xml_people_search_delete(record);
}

// The four texts every list record starts with.
template <class Api, class Record>
void release_list_head(const Api &p, Record *record) {
  for (char *text : {record->pszReserved1, record->pszReserved2, record->pszStartContext,
                     record->pszHasNext})
    p.data_Del(text);
}

template <class Api>
void release_photo_list(const Api &p, xml_photo_album_photo_list *record) {
  if (record == nullptr) return;
  for (auto *photo = record->pstPhoto; photo != nullptr;) {
    auto *next = photo->pstNext;
    for (char *text : {photo->pszID, photo->pszTitle, photo->pszMainPhotoURL, photo->pszThumbnailURL})
      p.data_Del(text);
    p.data_Del(photo);
    photo = next;
  }
  release_list_head(p, record);
  p.data_Del(record);
}

template <class Api>
void release_folder(const Api &p, xml_message_folder_retrieve *record) {
  if (record == nullptr) return;
  for (auto *thread = record->pstThread; thread != nullptr;) {
    for (auto *message = thread->pstMessage; message != nullptr;) {
      for (auto *group = message->pstReceivers; group != nullptr;) {
        for (auto *receiver = group->pstReceiver; receiver != nullptr;) {
          auto *next = receiver->pstNext;
          for (char *text : {receiver->pszID, receiver->pszName, receiver->pszPhotoURL})
            p.data_Del(text);
          p.data_Del(receiver);
          receiver = next;
        }
        auto *next = group->pstNext;
        p.data_Del(group);
        group = next;
      }
      auto *next = message->pstNext;
      for (char *text : {message->pszID, message->pszSP, message->pszTitle, message->pszSenderID,
                         message->pszSenderName, message->pszSenderPhotoURL, message->pszContent,
                         message->pszSendTime})
        p.data_Del(text);
      p.data_Del(message);
      message = next;
    }
    auto *next = thread->pstNext;
    for (char *text : {thread->pszID, thread->pszUnread, thread->pszFolder}) p.data_Del(text);
    p.data_Del(thread);
    thread = next;
  }
  release_list_head(p, record);
  p.data_Del(record);
}

// Releases the result of a notification of engine request `code` when it
// is a record (neither null nor a negative gateway error). Logouts and sent
// messages never carry one.
template <class Record>
Record *record_as(intptr_t result) {
  return reinterpret_cast<Record *>(result);
}

template <class Api>
void release_record(const Api &p, uint32_t code, intptr_t result) {
  if (result <= 0) return;
  switch (code) {
    case PD_REQ_LOGIN: {
      auto *login = record_as<xml_base>(result);
      p.xml_login_delete(&login);
      break;
    }
    case PD_REQ_ACTIVITY_FEED: release_activities(p, record_as<xml_activity_get>(result)); break;
    case PD_REQ_SET_STATUS: p.xml_people_profile_set_delete(record_as<xml_people_profile_set>(result)); break;
    case PD_REQ_GET_PHOTO_COMMENTS:
    case PD_REQ_GET_ACTIVITY_COMMENTS:
      p.xml_comment_retrieve_delete(record_as<xml_comment_retrieve>(result));
      break;
    case PD_REQ_COMMENT_PHOTO:
    case PD_REQ_COMMENT_ACTIVITY: p.xml_comment_post_delete(record_as<xml_comment_post>(result)); break;
    case PD_REQ_UPLOAD_PHOTO: p.__xml_photo_delete(record_as<xml_photo>(result)); break;
    case PD_REQ_ALBUM_LIST: p.xml_photo_album_get_delete(record_as<xml_photo_album_get>(result)); break;
    case PD_REQ_ALBUM_PHOTOS: release_photo_list(p, record_as<xml_photo_album_photo_list>(result)); break;
    case PD_REQ_FRIENDS: release_friends(p, record_as<xml_friend_grouping_retrieve>(result)); break;
    case PD_REQ_PEOPLE_SEARCH: release_people(p, record_as<xml_people_search>(result)); break;
    case PD_REQ_MESSAGE_FOLDER: release_folder(p, record_as<xml_message_folder_retrieve>(result)); break;
    default: break;
  }
}

// The plug-in's functions when the host links the plug-in.
struct LinkedApi {
#define PD_ENGINE_LINKED(name) decltype(&::name) name = &::name;
  PD_ENGINE_RELEASE_FUNCTIONS(PD_ENGINE_LINKED)
#undef PD_ENGINE_LINKED
};

}  // namespace pd_engine

#endif
