/* The records shared with the engine and the transport, pinned to their
 * layout on the 32-bit device: every size and offset of
 * tests/data/abi/layout32.txt, a row of checks each (layout32_rows.h, written
 * by the build). Included by a C check that the host compiles for 32-bit ARM
 * and by the armhf build's test of the records the plug-in builds. */
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
#define SIZE(type, bytes) PD_STATIC_ASSERT(sizeof(type) == (bytes), #type " is " #bytes " bytes")

PD_STATIC_ASSERT(sizeof(void *) == 4, "compile this file for a 32-bit target");

#include "layout32_rows.h"

#endif
