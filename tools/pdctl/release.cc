#include "release.h"

namespace pdctl {
namespace {

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
template <class Item>
void release_item_tails(Item *first, void (*release_item)(Item *),
                        void (*release_link)(xml_activity_get_link *)) {
  for (Item *item = first; item != nullptr; item = item->pstNext)
    if (item->pstLinks != nullptr) release_after_head(item->pstLinks->pstLink, release_link);
  release_after_head(first, release_item);
}

void release_activities(const Plugin &p, xml_activity_get *record) {
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

void release_friends(const Plugin &p, xml_friend_grouping_retrieve *record) {
  release_after_head(record->pstFriend, p.__xml_friend_grouping_friend_delete);
  p.__xml_friend_grouping_retrieve_delete(record);
}

void release_people(const Plugin &p, xml_people_search *record) {
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
template <class Record>
void release_list_head(const Plugin &p, Record *record) {
  p.data_Del(record->pszReserved1);
  p.data_Del(record->pszReserved2);
  p.data_Del(record->pszStartContext);
  p.data_Del(record->pszHasNext);
}

void release_photo_list(const Plugin &p, xml_photo_album_photo_list *record) {
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

void release_folder(const Plugin &p, xml_message_folder_retrieve *record) {
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

template <class Record>
Record *as(intptr_t record) {
  return reinterpret_cast<Record *>(record);
}

}  // namespace

void release_record(const Plugin &p, uint32_t code, intptr_t record) {
  switch (code) {
    case PD_REQ_LOGIN: {
      auto *login = as<xml_base>(record);
      p.xml_login_delete(&login);
      break;
    }
    case PD_REQ_ACTIVITY_FEED: release_activities(p, as<xml_activity_get>(record)); break;
    case PD_REQ_SET_STATUS: p.xml_people_profile_set_delete(as<xml_people_profile_set>(record)); break;
    case PD_REQ_GET_PHOTO_COMMENTS:
    case PD_REQ_GET_ACTIVITY_COMMENTS:
      p.xml_comment_retrieve_delete(as<xml_comment_retrieve>(record));
      break;
    case PD_REQ_COMMENT_PHOTO:
    case PD_REQ_COMMENT_ACTIVITY: p.xml_comment_post_delete(as<xml_comment_post>(record)); break;
    case PD_REQ_UPLOAD_PHOTO: p.__xml_photo_delete(as<xml_photo>(record)); break;
    case PD_REQ_ALBUM_LIST: p.xml_photo_album_get_delete(as<xml_photo_album_get>(record)); break;
    case PD_REQ_ALBUM_PHOTOS: release_photo_list(p, as<xml_photo_album_photo_list>(record)); break;
    case PD_REQ_FRIENDS: release_friends(p, as<xml_friend_grouping_retrieve>(record)); break;
    case PD_REQ_PEOPLE_SEARCH: release_people(p, as<xml_people_search>(record)); break;
    case PD_REQ_MESSAGE_FOLDER: release_folder(p, as<xml_message_folder_retrieve>(record)); break;
    default: break;  // logout and sent messages carry no record
  }
}

}  // namespace pdctl
