/* Gateway request composition: the path table, the request envelope, the
 * composed request and the gateway URL, and the gateway operations that turn
 * an engine request into a composed request. */
#ifndef PD_PLUGIN_SRC_COMPOSER_PD_API_COMPOSER_H
#define PD_PLUGIN_SRC_COMPOSER_PD_API_COMPOSER_H

#include <stdint.h>

#include "pd-plugin/pd_export.h"

PD_BEGIN_DECLS

#define SNS_METHOD_CATEGORIES 42u
#define SNS_ENVELOPE_METHOD_SIZE 64
#define SNS_ENVELOPE_PATH_SIZE 460
#define HTTP_URL_LENGTH 200

/* Filled by a gateway operation and handed by value to
 * sns_engine_network_manager_make_request_t. */
typedef struct sns_request_envelope {
  char szMethod[SNS_ENVELOPE_METHOD_SIZE];
  char szPath[SNS_ENVELOPE_PATH_SIZE];
  char *pszBody;
  int32_t iTagOne;
  int32_t iTagTwo;
  int32_t iSecure;
} sns_request_envelope;

/* What a gateway operation returns to the dispatcher. */
typedef struct sns_composed_request {
  int32_t iTagOne;
  int32_t iTagTwo;
  int32_t iSecure;
  const char *pszPath; /* diagnostic only; never read by the plug-in */
  char *pszBody;
} sns_composed_request;

/* Category of the last wrapped path that matched a keyword; -1 at load. */
PD_API extern int32_t snsmsg_type;
/* Method text of the last wrapped envelope. */
PD_API extern char g_method[64];

/* The 42 gateway paths, indexed by method category. */
PD_API extern const char *const req_uri_list[SNS_METHOD_CATEGORIES];

PD_API const char *sns_get_uri(uint32_t category);
PD_API int sns_engine_network_manager_make_request_t(sns_request_envelope envelope,
                                                      sns_composed_request *request);
PD_API int __check_uri(const char *path);
PD_API char *__network_manager_make_url(sns_composed_request *request, uint32_t category);

/* Gateway operations: one per served engine request. Each returns a new
 * composed request whose body is a request document, or null when nothing
 * could be composed (no stored session key, a builder error). Parameter
 * blocks are arrays of texts; any of them, and any text in them, may be
 * null. */
PD_API sns_composed_request *_compose_torvane_gateway_login(char **params);
PD_API sns_composed_request *_compose_torvane_gateway_logout(void *params);
PD_API sns_composed_request *_compose_torvane_gateway_get_friends_list(void);
PD_API sns_composed_request *_compose_torvane_gateway_search(const char *search);
PD_API sns_composed_request *_compose_torvane_gateway_get_status(void);
PD_API sns_composed_request *_compose_torvane_gateway_add_status(const char *status);
/* params: word 0 the comment, word 1 the commented item's id; kind "photo"
 * or "activity". */
PD_API sns_composed_request *_compose_torvane_gateway_comment_status(char **params,
                                                                      const char *kind);
PD_API sns_composed_request *_compose_torvane_gateway_get_comment_status(const char *id,
                                                                          const char *kind);
/* The first argument (the photo's path) is the dispatcher's business. */
PD_API sns_composed_request *_compose_torvane_gateway_add_photo(const char *first,
                                                                 const char *album);
PD_API sns_composed_request *_compose_torvane_gateway_get_album_list(void);
PD_API sns_composed_request *_compose_torvane_gateway_get_album_photo_list(const char *album);
PD_API sns_composed_request *_compose_torvane_gateway_get_message_folder(const char *folder);
/* params: words 0-1 receiver id and service provider, 2-3 the message and
 * thread replied to, 4 title, 5 content, 6 send type. */
PD_API sns_composed_request *_compose_torvane_gateway_send_message(char **params);

PD_END_DECLS

#endif
