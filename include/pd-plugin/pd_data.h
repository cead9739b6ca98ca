/* Value helpers shared by the request composer, the reply parsers and the
 * engine: text copies, keyword converters and checks, display helpers.
 *
 * Every text in a request or result record is an owned copy made by
 * data_Cpy and released by data_Del. */
#ifndef PD_PLUGIN_PD_DATA_H
#define PD_PLUGIN_PD_DATA_H

#include <stdint.h>

#include "pd-plugin/pd_export.h"

PD_BEGIN_DECLS

/* Results of the keyword converters. */
#define PD_DATA_MISSING (-1)
#define PD_DATA_UNKNOWN (-255)

/* A fresh copy of `text`, or null for null. */
PD_API char *data_Cpy(const char *text);

/* Releases `p`; null is ignored. */
PD_API void data_Del(void *p);

/* Copies `src` into `dst` and writes one more NUL past the terminator, so
 * `dst` needs strlen(src) + 2 bytes. Nothing happens when either is null. */
PD_API void data_Str(char *dst, const char *src);

/* Keyword converters; the result goes through `out`. */
PD_API void data_Int(const char *text, int32_t *out);  /* base 10; null: -1 */
PD_API void data_Sex(const char *text, int32_t *out);  /* male 0, female 1 */
PD_API void data_SP(const char *text, int32_t *out);   /* palisade 0, velora 1, vesper 2 */
PD_API void data_iBool(const char *text, int32_t *out); /* "true" 0, anything else 1 */
PD_API void data_Bool(const char *text, uint8_t *out, uint8_t fallback); /* true 1, false 0 */

/* Keyword checks: 0 when the keyword is allowed, 1 when it is not. */
PD_API int checkSendType(const char *text);
PD_API int checkFullText(const char *text);
PD_API int checkFolder(const char *text);
PD_API int checkTargetType(const char *text);

/* Writes a local-time display date ("Jan 01 at 00:00 am", hours 00 to 12
 * "am", 13 to 23 less 12 "pm") for a count of seconds since the epoch given
 * as decimal text. `dst` holds a NUL-terminated text (its old contents are
 * cleared) and needs PD_DATA_DATE_SIZE bytes. Nothing is written for a null
 * text or a time that no calendar year can hold. */
#define PD_DATA_DATE_SIZE 19
PD_API void data_Date(char *dst, const char *seconds);

/* Scans a phone number for separators; nothing is returned. */
PD_API void data_Phone(const char *text);

/* A fresh copy of `text` with CDATA markers removed, or null for null. */
PD_API char *data_RejectCDATA(const char *text);

PD_END_DECLS

#endif
