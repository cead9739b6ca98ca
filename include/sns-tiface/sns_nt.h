/* The transport interface of the SNS engine (libsns-tiface.so).
 *
 * On a device the platform's own library implements it; on a Linux host the
 * project's libcurl transport does. The plug-in links against it
 * dynamically, so either (or a test double) can stand in without a rebuild.
 *
 * The two records below were laid out for a 32-bit device, where every field
 * is one 32-bit word. Field order is the contract; on 64-bit hosts pointer
 * fields are simply wider. All functions return 0 on success. */
#ifndef SNS_TIFACE_SNS_NT_H
#define SNS_TIFACE_SNS_NT_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef void *sns_nt_handle;

/* Called once per completed exchange with a pointer to an sns_nt_response. */
typedef int (*sns_nt_response_cb)(void *response);

/* Request kinds. */
#define SNS_NT_KIND_XML 1u    /* POST of an XML body */
#define SNS_NT_KIND_CHUNK 2u  /* POST of an upload chunk with an extra header */

/* Transport attribute (id 1, kind 1): the response callback. */
#define SNS_NT_ATTR_RESPONSE_CB 1

/* A request handed to sns_nt_sendreq. The transport takes it over together
 * with the URL, the extra header and the body: it frees all four with free()
 * once the exchange is over and the response callback has returned, and at
 * once when it refuses the request (a non-zero result). The private data is
 * not the transport's; it comes back in the response. */
typedef struct sns_nt_request {
  void *hTransport;       /*  0 */
  uint32_t uReqId;        /*  4 */
  uint32_t uReqCode;      /*  8 */
  uint32_t uKind;         /* 12: SNS_NT_KIND_XML or SNS_NT_KIND_CHUNK */
  uint32_t uWord16;       /* 16 */
  uint32_t uWord20;       /* 20 */
  uint32_t uWord24;       /* 24 */
  uint32_t uWord28;       /* 28 */
  char *pszUrl;           /* 32 */
  char *pheader;          /* 36: extra header lines, each ending in CRLF, or null */
  uint32_t uWord40;       /* 40 */
  char *pBody;            /* 44 */
  uint32_t uBodyLen;      /* 48 */
  void *pInstance;        /* 52 */
  void *pCallerData;      /* 56 */
  void *pPrivData;        /* 60 */
  uint32_t uUploadValue;  /* 64 */
  uint32_t uWord68;       /* 68 */
} sns_nt_request;

/* The record passed to the response callback. It and its body belong to the
 * transport, which releases them after the callback returns. */
typedef struct sns_nt_response {
  uint32_t uWord0;        /*  0 */
  uint32_t uReqId;        /*  4 */
  uint32_t uReqCode;      /*  8 */
  uint32_t uHttpStatus;   /* 12: 0 when no answer came */
  uint32_t uWord16;       /* 16 */
  char *pBody;            /* 20: NUL-terminated, or null */
  uint32_t uBodyLen;      /* 24: our transport keeps the body length here */
  uint32_t uWord28;       /* 28 */
  void *pInstance;        /* 32 */
  uintptr_t uPassThrough; /* 36 */
  void *pPrivData;        /* 40 */
} sns_nt_response;

int sns_nt_init(sns_nt_handle *out);
int sns_nt_connect(sns_nt_handle h);
int sns_nt_setattr(sns_nt_handle h, int id, int kind, void *value);
int sns_nt_sendreq(sns_nt_handle h, void *request);
int sns_nt_finalize(sns_nt_handle h);

#ifdef __cplusplus
}
#endif

#endif
