/* Text helpers shared by the plug-in and the engine: every text in a
 * request or result record is an owned copy made by data_Cpy and released by
 * data_Del. */
#ifndef PD_PLUGIN_PD_DATA_H
#define PD_PLUGIN_PD_DATA_H

#include "pd-plugin/pd_export.h"

PD_BEGIN_DECLS

/* A fresh copy of `text`, or null for null. */
PD_API char *data_Cpy(const char *text);

/* Releases `p`; null is ignored. */
PD_API void data_Del(void *p);

PD_END_DECLS

#endif
