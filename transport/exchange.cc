#include "exchange.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>

#include "pd-plugin/pd_upload.h"

namespace sns_tiface {
namespace {

// The extra header arrives in a buffer of this size; nothing past it is read
// even when the text is not terminated inside it.
constexpr size_t kMaxHeaderText = 4096;

bool is_content_type(std::string_view line) {
  constexpr std::string_view name = "content-type:";
  if (line.size() < name.size()) return false;
  for (size_t i = 0; i < name.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(line[i])) != name[i]) return false;
  return true;
}

}  // namespace

void release_request(sns_nt_request *request) noexcept {
  if (request == nullptr) return;
  std::free(request->pszUrl);
  std::free(request->pheader);
  std::free(request->pBody);
  std::free(request);
}

bool ReplyBuffer::append(const char *bytes, size_t length) noexcept {
  if (length > limit_ - size_) {
    over_limit_ = true;
    return false;
  }
  size_t needed = size_ + length + 1;  // room for the terminator
  if (needed > capacity_) {
    size_t capacity = capacity_ != 0 ? capacity_ : 4096;
    while (capacity < needed) capacity *= 2;
    char *grown = static_cast<char *>(std::realloc(data_, capacity));
    if (grown == nullptr) return false;
    data_ = grown;
    capacity_ = capacity;
  }
  std::memcpy(data_ + size_, bytes, length);
  size_ += length;
  data_[size_] = '\0';
  return true;
}

char *ReplyBuffer::release(size_t *length) noexcept {
  if (data_ == nullptr) data_ = static_cast<char *>(std::calloc(1, 1));
  char *data = data_;
  *length = data != nullptr ? size_ : 0;
  data_ = nullptr;
  size_ = capacity_ = 0;
  return data;
}

std::unique_ptr<Exchange> Exchange::prepare(sns_nt_request *request, size_t reply_limit,
                                            const char **why) {
  if (request->uKind != SNS_NT_KIND_XML && request->uKind != SNS_NT_KIND_CHUNK) {
    *why = "unknown request kind";
    return nullptr;
  }
  if (request->pszUrl == nullptr || request->pszUrl[0] == '\0') {
    *why = "no URL";
    return nullptr;
  }
  // From here on the exchange owns the record, so whatever is thrown frees it.
  std::unique_ptr<Exchange> exchange(new (std::nothrow) Exchange(request, reply_limit));
  if (exchange == nullptr) {
    *why = "out of memory";
    return nullptr;
  }
  // A refused record stays the caller's.
  auto refuse = [&](const char *reason) {
    exchange->request_ = nullptr;
    *why = reason;
    return nullptr;
  };
  uint32_t length = request->uBodyLen;
  char range[96] = "";
  if (request->uKind == SNS_NT_KIND_CHUNK) {
    // Only the first chunk's record carries its length; the upload data
    // record has already been advanced past the chunk it describes.
    const auto *upload = static_cast<const pd_upload_data *>(request->pPrivData);
    if (upload == nullptr) return refuse("upload chunk without upload data");
    length = pd_upload_chunk_length(upload, request->uBodyLen);
    uint64_t end = upload->uOffset;
    if (upload->iFileSize < 0 || length > end || end > static_cast<uint64_t>(upload->iFileSize) ||
        (length == 0 && upload->iFileSize != 0))
      return refuse("upload data does not describe a chunk");
    exchange->is_chunk_ = true;
    exchange->range_total_ = static_cast<uint64_t>(upload->iFileSize);
    exchange->range_first_ = end - length;
    if (length == 0)
      std::snprintf(range, sizeof range, "Content-Range: bytes */0");
    else
      std::snprintf(range, sizeof range, "Content-Range: bytes %llu-%llu/%llu",
                    static_cast<unsigned long long>(end - length),
                    static_cast<unsigned long long>(end - 1),
                    static_cast<unsigned long long>(upload->iFileSize));
  }
  if (length > 0 && request->pBody == nullptr) return refuse("body length without a body");
  if (length > 0) exchange->send_data_ = request->pBody;
  exchange->send_length_ = length;

  bool has_content_type = false;
  if (!exchange->add_extra_headers(request->pheader, &has_content_type) ||
      // Without a type of its own a chunk would go out as a form, which
      // servers may cap or decode.
      (!has_content_type && !exchange->add_header(request->uKind == SNS_NT_KIND_XML
                                                      ? "Content-Type: text/xml"
                                                      : "Content-Type: application/octet-stream")) ||
      (range[0] != '\0' && !exchange->add_header(range)) ||
      // A body is sent at once: waiting for "100 Continue" only costs a round trip.
      !exchange->add_header("Expect:"))
    return refuse("out of memory");
  return exchange;
}

Exchange::~Exchange() {
  curl_slist_free_all(headers_);
  release_request(request_);
}

bool Exchange::add_header(const char *line) noexcept {
  curl_slist *list = curl_slist_append(headers_, line);
  if (list == nullptr) return false;
  headers_ = list;
  return true;
}

bool Exchange::add_extra_headers(const char *text, bool *has_content_type) {
  if (text == nullptr) return true;
  std::string_view rest(text, strnlen(text, kMaxHeaderText));
  while (!rest.empty()) {
    size_t end = rest.find_first_of("\r\n");
    std::string_view line = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    // A line without a name is no header; libcurl would send it as it stands.
    size_t colon = line.find(':');
    if (colon == std::string_view::npos || colon == 0) continue;
    if (is_content_type(line)) *has_content_type = true;
    if (!add_header(std::string(line).c_str())) return false;
  }
  return true;
}

}  // namespace sns_tiface
