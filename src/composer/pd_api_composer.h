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

PD_END_DECLS

#endif
