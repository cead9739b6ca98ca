/* Entry points of the SNS client plug-in and the records it shares with the
 * engine.
 *
 * The engine loads libpd-plugin.so, calls pd_init, registers its callback
 * with pd_setattr(handle, 3, 3, callback), sends numbered requests with
 * pd_sendreq and receives one pd_notification per reply. Results in a
 * notification belong to the engine, which releases them with the parser's
 * delete function (see pd_records.h) and the notification itself with free().
 *
 * Records keep the field order of the 32-bit device the plug-in was designed
 * for; compiled with -m32 every offset equals the documented one. */
#ifndef PD_PLUGIN_PD_PLUGIN_H
#define PD_PLUGIN_PD_PLUGIN_H

#include <stdint.h>

#include "pd-plugin/pd_export.h"

PD_BEGIN_DECLS

/* Results of the entry points. */
#define PD_OK 0
#define PD_ERR_INVALID 3 /* invalid handle or request not sent */
#define PD_ERR_NOT_SENT 5 /* dispatcher only: the request was not sent */

/* Engine request codes that the plug-in serves, with the parameter block
 * each one takes (the third argument of pd_sendreq) and what its
 * notification's result holds.
 *
 * The block is either an array of texts (char *[n], the words below in this
 * order) or, for the codes that take one text, that char * itself. The
 * plug-in copies what it uses before pd_sendreq returns, so the engine may
 * free or reuse the block at once. Every text except the photo's path is
 * written into the gateway's XML request exactly as it stands: the plug-in
 * escapes nothing, so the engine replaces &, <, >, " and ' with &amp;, &lt;,
 * &gt;, &quot; and &apos; (and sends UTF-8 without control characters)
 * before it hands a user's text over. A text that is null leaves its element
 * or attribute out of the request; an empty text is sent as empty.
 *
 * A request that cannot be composed is refused: pd_sendreq returns 3 and
 * nothing is sent, so no notification follows. Every request but the login
 * is refused while no session key is stored (not logged in).
 *
 * A notification's result is a record address, 0, or a negative gateway
 * error number (minus the sub-code, or minus ten times the code when the
 * sub-code is 0). The record is the engine's; pd_records.h lists the release
 * functions, several of which release the head of a list only (see
 * tools/common/engine_release.h in the sources for the whole release).
 *
 *  0 PD_REQ_LOGIN: char *[2] { user name, password }, or null. When the
 *    block is null or either text is null or empty, both are read from the
 *    settings /Apps/Sns/UserName and /Apps/Sns/Password (pd_settings.h), and
 *    the login is refused when those are not stored. Before the request is
 *    sent the stored session key and persist key are set to the empty text:
 *    a login that fails leaves the user logged out. Result: xml_base *, whose
 *    keys the plug-in has stored; release with xml_login_delete(&record).
 *  4 PD_REQ_ACTIVITY_FEED: no block (ignored). Result: xml_activity_get *,
 *    first page of the feed; release with xml_activity_get_delete (the first
 *    activity only).
 *  5 PD_REQ_SET_STATUS: char * status text (null sets nothing). Result:
 *    xml_people_profile_set *; release with xml_people_profile_set_delete.
 *  8 PD_REQ_GET_PHOTO_COMMENTS, 13 PD_REQ_GET_ACTIVITY_COMMENTS: char * id of
 *    the photo or the activity (null is refused). Result:
 *    xml_comment_retrieve *; release with xml_comment_retrieve_delete.
 *  9 PD_REQ_UPLOAD_PHOTO: char *[2] { path of the photo file, album id }.
 *    The path is opened by the plug-in, never sent; a null block or path is
 *    refused. The file is read only once the gateway has named the upload
 *    location and is sent in chunks of PD_UPLOAD_CHUNK_SIZE; one notification
 *    comes at the end, with the request id of the last exchange. Result:
 *    xml_photo *, or 0 when the upload ended early (the gateway refused the
 *    add-photo request or a chunk, the file could not be read, no answer);
 *    release with __xml_photo_delete.
 * 11 PD_REQ_COMMENT_PHOTO, 12 PD_REQ_COMMENT_ACTIVITY: char *[2] { comment
 *    text, id of the photo or the activity }; a null block or id is refused.
 *    Result: xml_comment_post *; release with xml_comment_post_delete.
 * 17 PD_REQ_ALBUM_LIST: no block (ignored). Result: xml_photo_album_get *;
 *    release with xml_photo_album_get_delete.
 * 18 PD_REQ_ALBUM_PHOTOS: char * album id. Result:
 *    xml_photo_album_photo_list *, which has no release function: the
 *    engine frees every text, every entry and the record (data_Del).
 * 28 PD_REQ_LOGOUT: no block (ignored); refused when no session key is
 *    stored. The stored keys are set to the empty text as soon as the
 *    request is composed, before the gateway answers. Result: always 0.
 * 29 PD_REQ_FRIENDS: no block (ignored). Result:
 *    xml_friend_grouping_retrieve *; release with
 *    __xml_friend_grouping_retrieve_delete (the first friend only).
 * 30 PD_REQ_PEOPLE_SEARCH: char * name or part of one. Result:
 *    xml_people_search *; release with xml_people_search_delete (the first
 *    person only).
 * 32 PD_REQ_MESSAGE_FOLDER: char * folder, one of "inbox", "outbox", "all",
 *    "save", "trash", "temp", "commenting" (another text is refused; null
 *    asks for no folder). Result: xml_message_folder_retrieve *, which has
 *    no release function: the engine frees the whole tree (data_Del).
 * 34 PD_REQ_SEND_MESSAGE: char *[7] { receiver's person id, receiver's
 *    service provider ("palisade", "velora", "vesper") or null, id of the
 *    message answered or null, id of the thread answered in or null, title
 *    or null, text or null, send type ("new", "reply", "forward") or null };
 *    a null block, a null receiver id or another send type is refused.
 *    Result: no record: 0 once the gateway accepted the message, or a
 *    negative gateway error.
 *
 * Every other code is refused. */
enum pd_request_code {
  PD_REQ_LOGIN = 0,
  PD_REQ_ACTIVITY_FEED = 4,
  PD_REQ_SET_STATUS = 5,
  PD_REQ_GET_PHOTO_COMMENTS = 8,
  PD_REQ_UPLOAD_PHOTO = 9,
  PD_REQ_COMMENT_PHOTO = 11,
  PD_REQ_COMMENT_ACTIVITY = 12,
  PD_REQ_GET_ACTIVITY_COMMENTS = 13,
  PD_REQ_ALBUM_LIST = 17,
  PD_REQ_ALBUM_PHOTOS = 18,
  PD_REQ_LOGOUT = 28,
  PD_REQ_FRIENDS = 29,
  PD_REQ_PEOPLE_SEARCH = 30,
  PD_REQ_MESSAGE_FOLDER = 32,
  PD_REQ_SEND_MESSAGE = 34,
  PD_REQ_LAST = 34
};

/* Attribute ids (and kinds) of pd_setattr / pd_getattr. */
#define PD_ATTR_TEXT1 1
#define PD_ATTR_TEXT2 2
#define PD_ATTR_ENGINE_CB 3

#define PD_ATTR_TEXT_SIZE 65

/* One notification per transport reply (28 bytes on the device). */
typedef struct pd_notification {
  int32_t iMarker;        /*  0: always -1 */
  uint32_t uReqCode;      /*  4 */
  uint32_t uHttpStatus;   /*  8 */
  uint32_t uReqId;        /* 12 */
  uint32_t uReserved;     /* 16: 0 */
  intptr_t iResult;       /* 20: record address, 0, or a negative gateway error */
  uintptr_t uPassThrough; /* 24 */
} pd_notification;

/* The engine's callback (pd_setattr id 3, kind 3). It runs on the
 * transport's callback thread, not the thread that sent the request, once
 * per reply that completes a request (an upload notifies once, at its end).
 * The notification is the engine's to free() together with its record. An
 * instance without a callback drops its notifications, records released. */
typedef void (*pd_engine_cb)(pd_notification *notification);

/* The plug-in instance; the engine's handle points at it. */
typedef struct pd_inst {
  char szAttribute1[PD_ATTR_TEXT_SIZE];
  char szAttribute2[PD_ATTR_TEXT_SIZE];
  void *hTransport;
  void *pCallerData;
  pd_engine_cb pfnEngineCb;
} pd_inst;

PD_API int pd_init(void **handle);
PD_API int pd_finalize(void *handle);
PD_API int pd_setattr(void *handle, int id, int kind, void *value);
PD_API int pd_getattr(void *handle, int id, int *kind, void **value);
PD_API int pd_sendreq(void *handle, uint32_t code, void *params, void *extra);

/* The dispatcher behind pd_sendreq: 0 or the transport's result when the
 * request was handed over, PD_ERR_NOT_SENT when it was not. */
PD_API int pd_send_pluggin_request(void *instance, uint32_t code, void *params, void *extra);

/* Next request id, process-wide and locked; the first is 1. */
PD_API uint32_t pd_util_reqid(void);

/* Registered with the transport; takes an sns_nt_response. */
PD_API int pd_response_cb(void *response);

PD_END_DECLS

#endif
