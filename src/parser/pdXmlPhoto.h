// The photo upload's reply handlers and the plug-in's own end of an upload.
#ifndef PD_PLUGIN_SRC_PARSER_PDXMLPHOTO_H
#define PD_PLUGIN_SRC_PARSER_PDXMLPHOTO_H

#include <libxml/tree.h>

#include <cstdint>

#include "pd-plugin/pd_plugin.h"
#include "pd-plugin/pd_upload.h"

PD_BEGIN_DECLS

// Parser index 29: the upload location the gateway names.
PD_API void xml_photo_update_location(uint32_t depth, const char *parent, xmlNode *node,
                                      intptr_t *result);
// Parser index 30: the stored photo, in the answer to a chunk.
PD_API void xml_photo_upload(uint32_t depth, const char *parent, xmlNode *node,
                             intptr_t *result);

PD_END_DECLS

namespace pd::upload {

// Releases a location record with its texts; null is ignored.
void location_delete(xml_photo_upload_location *location) noexcept;

// Releases an upload data record with its file name and location record.
// The plug-in calls it once an exchange is over: no request of the exchange
// is left with the transport, so nothing refers to the record any more.
void release(pd_upload_data *upload) noexcept;

// Notes that a request of `inst` carrying `upload` goes to the transport:
// the exchange is under way until release(upload).
void track(pd_inst *inst, pd_upload_data *upload);

// Releases the records of every exchange of `inst` still under way. Only
// once the instance's transport is finalized: it hands nothing back after.
void release_all_of(pd_inst *inst) noexcept;

}  // namespace pd::upload

#endif
