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

// By parser index; numbers (0, negative error numbers) are not records.
inline void release_result(uint32_t index, intptr_t result) {
  if (result <= 0) return;
  switch (index) {
    case 0: release_login(result); break;
    case 6: release_comment_post(result); break;
    case 7: release_comment_retrieve(result); break;
    case 8: release_friends(result); break;
    case 29: release_upload_location(result); break;
    case 30: __xml_photo_delete(reinterpret_cast<xml_photo *>(result)); break;
    case 31: release_albums(result); break;
    case 32: release_album_photos(result); break;
    default: break;
  }
}

}  // namespace pd_test

#endif
