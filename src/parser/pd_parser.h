/* The reply parser frame as the plug-in frame sees it. */
#ifndef PD_PLUGIN_SRC_PARSER_PD_PARSER_H
#define PD_PLUGIN_SRC_PARSER_PD_PARSER_H

#include <stdint.h>

#include "pd-plugin/pd_export.h"

PD_BEGIN_DECLS

/* Parses a gateway reply with the element handler of `code` (a parser
 * index, not an engine request code). Returns the address of the top record,
 * 0, or a negative gateway error number. */
PD_API intptr_t __xml_parser(uint32_t code, const char *reply);

PD_END_DECLS

#endif
