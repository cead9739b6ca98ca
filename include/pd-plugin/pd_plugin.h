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

/* Engine request codes that the plug-in serves. */
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
