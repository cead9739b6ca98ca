// The photo upload's chunks: each names its place in the file with a
// Content-Range header and must continue exactly where the last one ended.
#ifndef GATEWAY_SIM_UPLOAD_H
#define GATEWAY_SIM_UPLOAD_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "network.h"

namespace gateway_sim {

struct ContentRange {
  bool whole_empty = false;  // "bytes */0": the whole of an empty file
  uint64_t first = 0, last = 0, total = 0;
};

// "bytes FIRST-LAST/TOTAL" or "bytes */0"; nothing for anything else.
std::optional<ContentRange> parse_content_range(std::string_view header);

// The number of body bytes a range announces.
uint64_t chunk_length(const ContentRange &range);

// Why a chunk announcing `range` cannot continue `upload` (out of order,
// overlapping, past the end, a total that changed, an upload already
// complete), or nothing when it can. Decided before the body arrives.
std::optional<std::string> refuse_chunk(const Upload &upload, const ContentRange &range);

}  // namespace gateway_sim

#endif
