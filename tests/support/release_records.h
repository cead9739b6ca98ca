// Releases parse results the way an engine does: with the plug-in's own
// release operations, plus the tails that those leave to the engine (the
// engine side is written once, in tools/common/engine_release.h).
// Header-only so the fuzz targets can use it without the test libraries.
#ifndef PD_TESTS_SUPPORT_RELEASE_RECORDS_H
#define PD_TESTS_SUPPORT_RELEASE_RECORDS_H

#include <cstdint>

#include "engine_release.h"
#include "pd-plugin/pd_data.h"
#include "pd-plugin/pd_records.h"
#include "pd-plugin/pd_upload.h"

namespace pd_test {

// Releases what a notification of engine request `code` carries.
inline void release_notification_result(uint32_t code, intptr_t result) {
  pd_engine::release_record(pd_engine::LinkedApi{}, code, result);
}

inline void release_login(intptr_t r) { release_notification_result(PD_REQ_LOGIN, r); }
inline void release_friends(intptr_t r) { release_notification_result(PD_REQ_FRIENDS, r); }
inline void release_comment_post(intptr_t r) { release_notification_result(PD_REQ_COMMENT_PHOTO, r); }
inline void release_comment_retrieve(intptr_t r) {
  release_notification_result(PD_REQ_GET_PHOTO_COMMENTS, r);
}
inline void release_albums(intptr_t r) { release_notification_result(PD_REQ_ALBUM_LIST, r); }
inline void release_album_photos(intptr_t r) { release_notification_result(PD_REQ_ALBUM_PHOTOS, r); }
inline void release_activity(intptr_t r) { release_notification_result(PD_REQ_ACTIVITY_FEED, r); }
inline void release_people_search(intptr_t r) {
  release_notification_result(PD_REQ_PEOPLE_SEARCH, r);
}
inline void release_message_folder(intptr_t r) {
  release_notification_result(PD_REQ_MESSAGE_FOLDER, r);
}

// The location record never reaches the engine (the upload keeps it); a
// parse of it on its own is released field by field.
inline void release_upload_location(intptr_t result) {
  auto *location = reinterpret_cast<xml_photo_upload_location *>(result);
  if (location == nullptr) return;
  for (char *text : {location->pszFileName, location->pszHostAddr, location->pszResourceID,
                     location->pszExpires})
    data_Del(text);
  data_Del(location);
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
    case 0: release_notification_result(PD_REQ_LOGIN, result); break;
    case 5: release_notification_result(PD_REQ_ACTIVITY_FEED, result); break;
    case 6: release_notification_result(PD_REQ_COMMENT_PHOTO, result); break;
    case 7: release_notification_result(PD_REQ_GET_PHOTO_COMMENTS, result); break;
    case 8: release_notification_result(PD_REQ_FRIENDS, result); break;
    case 16: release_notification_result(PD_REQ_MESSAGE_FOLDER, result); break;
    case 23: release_notification_result(PD_REQ_PEOPLE_SEARCH, result); break;
    case 26: release_notification_result(PD_REQ_SET_STATUS, result); break;
    case 29: release_upload_location(result); break;
    case 30: release_notification_result(PD_REQ_UPLOAD_PHOTO, result); break;
    case 31: release_notification_result(PD_REQ_ALBUM_LIST, result); break;
    case 32: release_notification_result(PD_REQ_ALBUM_PHOTOS, result); break;
    default: break;
  }
}

}  // namespace pd_test

#endif
