/* Records shared by the reply parsers: the gateway's error envelope, the
 * login and logout answers, and the paging head that several result records
 * carry.
 *
 * Every text field is an owned, NUL-terminated copy (data_Cpy) or null when
 * the reply did not carry it. Counts, flags and times stay text. */
#ifndef PD_PLUGIN_PD_XML_BASE_H
#define PD_PLUGIN_PD_XML_BASE_H

#include <stdint.h>

#include "pd-plugin/pd_export.h"

PD_BEGIN_DECLS

/* The error envelope on the root "Response" of every reply. */
typedef struct xml_error {
  char *pszErrCode;    /* "ErrCode" */
  char *pszErrSubCode; /* "ErrSubCode" */
  char *pszErrContext; /* "ErrContext": kept, never interpreted */
} xml_error;

/* The login answer (parser index 0); the engine receives it as the result of
 * a login and releases it with xml_login_delete. */
typedef struct xml_base {
  char *pszSessionKey;                   /* "SessionKey" of the root */
  char *pszPersistKeyValue;              /* "Value" of "PersistKey" */
  char *pszPersistKeyExpires;            /* "Expires" of "PersistKey" */
  char *pszServerAddr;                   /* "Addr" of "Server" */
  char *pszRemoteLoginInfoLoginPeopleID; /* "LoginPeopleID" of "RemoteLoginInfo" */
  char *pszRemoteLoginInfoDisplayName;   /* "DisplayName" of "RemoteLoginInfo" */
  char *pszProfilePhotoURL;              /* "URL" of "ProfilePhoto" */
} xml_base;

/* The logout answer. No reply is parsed into it today: the logout
 * notification carries no record. */
typedef struct xml_logout {
  char *pszSessionKeyValue;     /* "Value" of "SessionKey" */
  char *pszPersistKeyLoggined;  /* "Loggined" of "PersistKey" (the gateway's spelling) */
} xml_logout;

/* Paging head: the cursor to send back for the next page and whether there
 * is one. The two leading slots are never filled. */
typedef struct xml_element_response_base {
  char *pszReserved1;
  char *pszReserved2;
  char *pszStartContext; /* "StartContext" of the root */
  char *pszHasNext;      /* "HasNext" of the root */
} xml_element_response_base;

PD_API xml_error *__xml_error_init(void);
/* Releases the record in *slot and nulls the slot; an empty slot is ignored. */
PD_API void __xml_error_delete(xml_error **slot);

PD_API xml_base *__xml_base_init(void);
PD_API void __xml_base_delete(xml_base **slot);
/* The release of a login result; the same as __xml_base_delete. */
PD_API void xml_login_delete(xml_base **slot);
/* Seven lines on standard output, one per field; null prints nothing. */
PD_API void xml_login_print(const xml_base *record);

PD_API xml_logout *__xml_logout_init(void);
PD_API void xml_logout_delete(xml_logout **slot);
PD_API void __xml_logout_delete(xml_logout **slot);
PD_API void xml_logout_print(const xml_logout *record);

PD_API xml_element_response_base *xml_element_response_base_init(void);
PD_API void xml_element_response_base_delete(xml_element_response_base *record);

PD_END_DECLS

#endif
