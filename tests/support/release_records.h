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
  // The engine request whose notification carries each parser's record.
  constexpr struct { uint32_t index, code; } kCarriers[] = {
      {0, PD_REQ_LOGIN}, {5, PD_REQ_ACTIVITY_FEED}, {6, PD_REQ_COMMENT_PHOTO},
      {7, PD_REQ_GET_PHOTO_COMMENTS}, {8, PD_REQ_FRIENDS}, {16, PD_REQ_MESSAGE_FOLDER},
      {23, PD_REQ_PEOPLE_SEARCH}, {26, PD_REQ_SET_STATUS}, {30, PD_REQ_UPLOAD_PHOTO},
      {31, PD_REQ_ALBUM_LIST}, {32, PD_REQ_ALBUM_PHOTOS}};
  if (result <= 0) return;
  if (index == 29) return release_upload_location(result);
  for (const auto &carrier : kCarriers)
    if (carrier.index == index) return release_notification_result(carrier.code, result);
}

}  // namespace pd_test

#endif
