#include "upload.h"

#include <charconv>

namespace gateway_sim {
namespace {

bool read_number(std::string_view &text, uint64_t &value) {
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end == text.data()) return false;
  text.remove_prefix(static_cast<size_t>(end - text.data()));
  return true;
}

bool take(std::string_view &text, std::string_view prefix) {
  if (text.substr(0, prefix.size()) != prefix) return false;
  text.remove_prefix(prefix.size());
  return true;
}

}  // namespace

std::optional<ContentRange> parse_content_range(std::string_view header) {
  ContentRange range;
  if (!take(header, "bytes ")) return std::nullopt;
  if (take(header, "*/")) {
    if (!read_number(header, range.total) || !header.empty() || range.total != 0)
      return std::nullopt;
    range.whole_empty = true;
    return range;
  }
  if (!read_number(header, range.first) || !take(header, "-") ||
      !read_number(header, range.last) || !take(header, "/") ||
      !read_number(header, range.total) || !header.empty())
    return std::nullopt;
  if (range.last < range.first || range.last >= range.total) return std::nullopt;
  return range;
}

uint64_t chunk_length(const ContentRange &range) {
  return range.whole_empty ? 0 : range.last - range.first + 1;
}

std::optional<std::string> refuse_chunk(const Upload &upload, const ContentRange &range) {
  if (upload.done) return "the upload is already complete";
  if (range.whole_empty) {
    if (upload.received != 0) return "an empty file cannot have bytes";
    return std::nullopt;
  }
  if (upload.total && *upload.total != range.total) return "the file size changed";
  if (range.first != upload.received)
    return "the chunk starts at " + std::to_string(range.first) + ", not at " +
           std::to_string(upload.received);
  return std::nullopt;
}

}  // namespace gateway_sim
