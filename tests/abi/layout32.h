/* The records shared with the engine and the transport, pinned to their
 * layout on the 32-bit device: every offset and size is the documented one.
 * Included by a C check that the host compiles for 32-bit ARM and by the
 * armhf build's test of the records the plug-in builds. */
#ifndef PD_TESTS_ABI_LAYOUT32_H
#define PD_TESTS_ABI_LAYOUT32_H

#include <stddef.h>

#include "pd-plugin/pd_plugin.h"
#include "pd-plugin/pd_records.h"
#include "pd-plugin/pd_upload.h"
#include "sns-tiface/sns_nt.h"

#ifdef __cplusplus
#define PD_STATIC_ASSERT static_assert
#else
#define PD_STATIC_ASSERT _Static_assert
#endif

#define AT(type, field, offset) \
  PD_STATIC_ASSERT(offsetof(type, field) == (offset), #type "." #field " at " #offset)

PD_STATIC_ASSERT(sizeof(void *) == 4, "compile this file for a 32-bit target");

/* The transport request record: 18 words. */
PD_STATIC_ASSERT(sizeof(sns_nt_request) == 72, "request record is 72 bytes");
AT(sns_nt_request, hTransport, 0);
AT(sns_nt_request, uReqId, 4);
AT(sns_nt_request, uReqCode, 8);
AT(sns_nt_request, uKind, 12);
AT(sns_nt_request, uWord16, 16);
AT(sns_nt_request, uWord20, 20);
AT(sns_nt_request, uWord24, 24);
AT(sns_nt_request, uWord28, 28);
AT(sns_nt_request, pszUrl, 32);
AT(sns_nt_request, pheader, 36);
AT(sns_nt_request, uWord40, 40);
AT(sns_nt_request, pBody, 44);
AT(sns_nt_request, uBodyLen, 48);
AT(sns_nt_request, pInstance, 52);
AT(sns_nt_request, pCallerData, 56);
AT(sns_nt_request, pPrivData, 60);
AT(sns_nt_request, uUploadValue, 64);
AT(sns_nt_request, uWord68, 68);

/* The transport response record, as the plug-in reads it. */
PD_STATIC_ASSERT(sizeof(sns_nt_response) == 44, "response record is 44 bytes");
AT(sns_nt_response, uReqId, 4);
AT(sns_nt_response, uReqCode, 8);
AT(sns_nt_response, uHttpStatus, 12);
AT(sns_nt_response, pBody, 20);
AT(sns_nt_response, pInstance, 32);
AT(sns_nt_response, uPassThrough, 36);
AT(sns_nt_response, pPrivData, 40);

/* The engine notification record: 7 words. */
PD_STATIC_ASSERT(sizeof(pd_notification) == 28, "notification record is 28 bytes");
AT(pd_notification, iMarker, 0);
AT(pd_notification, uReqCode, 4);
AT(pd_notification, uHttpStatus, 8);
AT(pd_notification, uReqId, 12);
AT(pd_notification, uReserved, 16);
AT(pd_notification, iResult, 20);
AT(pd_notification, uPassThrough, 24);

/* The instance: two 65-character texts, then three words. */
PD_STATIC_ASSERT(sizeof(pd_inst) == 144, "instance is 144 bytes");
AT(pd_inst, szAttribute1, 0);
AT(pd_inst, szAttribute2, 65);
AT(pd_inst, hTransport, 132);
AT(pd_inst, pCallerData, 136);
AT(pd_inst, pfnEngineCb, 140);

/* The upload data record: five words. */
PD_STATIC_ASSERT(sizeof(pd_upload_data) == 20, "upload data record is 20 bytes");
AT(pd_upload_data, pszFileName, 0);
AT(pd_upload_data, uState, 4);
AT(pd_upload_data, iFileSize, 8);
AT(pd_upload_data, uOffset, 12);
AT(pd_upload_data, pstLocation, 16);

/* Reply records: rows of words, lists linked through the last one. */
#define WORDS(type, n) PD_STATIC_ASSERT(sizeof(type) == 4 * (n), #type " is " #n " words")
WORDS(xml_error, 3);
WORDS(xml_base, 7);
WORDS(xml_logout, 2);
WORDS(xml_element_response_base, 4);
WORDS(xml_element_photo, 8);
WORDS(xml_element_people, 32);
WORDS(xml_element_message, 6);
WORDS(xml_friend_grouping_retrieve, 5);
WORDS(xml_friend_grouping_friend, 22);
AT(xml_friend_grouping_friend, pszStatus, 24);
AT(xml_friend_grouping_friend, pszFollowerNum, 80);
AT(xml_friend_grouping_friend, pstNext, 84);
WORDS(xml_comment_post, 1);
WORDS(xml_comment_post_comment, 4);
WORDS(xml_comment_retrieve, 5);
WORDS(xml_comment_retrieve_comment, 10);
WORDS(xml_photo_album_get, 5);
WORDS(xml_photo_album_get_album, 11);
WORDS(xml_photo_album_photo_list, 5);
WORDS(xml_photo_album_photo, 7);
AT(xml_photo_album_photo, iCommentsCount, 20);

WORDS(xml_activity_get, 2);
WORDS(xml_activity_get_activity, 11);
AT(xml_activity_get_activity, pstAttachedPhoto, 36);
WORDS(xml_activity_get_owner, 3);
WORDS(xml_activity_get_group, 4);
WORDS(xml_activity_get_note, 4);
WORDS(xml_activity_get_event, 4);
WORDS(xml_activity_get_url, 4);
WORDS(xml_activity_get_photo, 3);
WORDS(xml_activity_get_video, 4);
WORDS(xml_activity_get_attachedphoto, 3);
WORDS(xml_activity_get_links, 1);
WORDS(xml_activity_get_link, 3);
WORDS(xml_activity_get_content, 1);
WORDS(xml_activity_delete, 1);
WORDS(xml_activity_delete_deleted, 1);
WORDS(db_activity, 57);
AT(db_activity, iPhotoCounts, 128);
WORDS(xml_people_search, 5);
WORDS(xml_people_search_people, 5);
WORDS(xml_people_profile_set, 1);
WORDS(xml_people_profile_get, 1);
WORDS(xml_people_profile_people, 17);
WORDS(xml_people_profile_profilephotos, 2);
WORDS(xml_people_profile_profilephoto, 3);
WORDS(xml_message_folder_retrieve, 5);
WORDS(xml_message_folder_thread, 5);
WORDS(xml_message_folder_message, 10);
AT(xml_message_folder_message, pszSendTime, 28);
WORDS(xml_message_folder_receivers, 3);
AT(xml_message_folder_receivers, pstReceiver, 4);
WORDS(xml_message_folder_receiver, 4);
WORDS(xml_message_post, 2);
WORDS(xml_message_post_message, 1);

/* The flat friend record: texts of 100, 500 and 1000 characters. */
PD_STATIC_ASSERT(sizeof(db_friend) == 4732, "db_friend is 4732 bytes");
AT(db_friend, szID, 4);
AT(db_friend, iSP, 104);
AT(db_friend, iPresence, 3308);
AT(db_friend, szProfilePhotoURL, 3620);
AT(db_friend, iResponseHasNext, 4728);

#endif
