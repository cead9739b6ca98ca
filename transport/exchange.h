// One HTTP exchange: a request record taken over from the caller, what goes
// on the wire for it, and the reply as it arrives.
#ifndef SNS_TIFACE_TRANSPORT_EXCHANGE_H
#define SNS_TIFACE_TRANSPORT_EXCHANGE_H

#include <curl/curl.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "sns-tiface/sns_nt.h"

namespace sns_tiface {

// Frees a request record and the URL, extra header and body it owns.
void release_request(sns_nt_request *request) noexcept;

// The reply body, grown in one malloc'd block that is always NUL-terminated
// so it can be handed out as a text without a copy.
class ReplyBuffer {
 public:
  explicit ReplyBuffer(size_t limit) : limit_(limit) {}
  ~ReplyBuffer() { std::free(data_); }
  ReplyBuffer(const ReplyBuffer &) = delete;
  ReplyBuffer &operator=(const ReplyBuffer &) = delete;

  // False when the bytes would pass the limit or memory ran out; the buffer
  // then keeps what it had.
  bool append(const char *bytes, size_t length) noexcept;
  // Gives the block away (an empty text for an empty reply); null when no
  // memory was left for it.
  char *release(size_t *length) noexcept;
  bool over_limit() const noexcept { return over_limit_; }

 private:
  char *data_ = nullptr;
  size_t size_ = 0, capacity_ = 0, limit_;
  bool over_limit_ = false;
};

class Exchange {
 public:
  // Checks a request record and captures everything the exchange needs from
  // it now: an upload chunk's length and range come from the upload data
  // record, which the caller goes on changing after the call. Returns null
  // and says why for a record that cannot be sent; the record is then still
  // the caller's. Throws only std::bad_alloc, and only once the record is
  // owned by the exchange (and so freed on the way out).
  static std::unique_ptr<Exchange> prepare(sns_nt_request *request, size_t reply_limit,
                                           const char **why);
  ~Exchange();
  Exchange(const Exchange &) = delete;
  Exchange &operator=(const Exchange &) = delete;

  sns_nt_request *request() const noexcept { return request_; }
  const char *send_data() const noexcept { return send_data_; }
  size_t send_length() const noexcept { return send_length_; }
  curl_slist *headers() const noexcept { return headers_; }
  bool is_chunk() const noexcept { return is_chunk_; }
  // Bytes of the whole file sent once `chunk_sent` bytes of this chunk are.
  uint64_t file_sent(uint64_t chunk_sent) const noexcept { return range_first_ + chunk_sent; }
  uint64_t file_total() const noexcept { return range_total_; }
  ReplyBuffer &reply() noexcept { return reply_; }
  // libcurl's words for a failed exchange (CURLOPT_ERRORBUFFER).
  char *error_buffer() noexcept { return error_; }

  // The last progress value reported, so each value is reported once.
  uint64_t reported = UINT64_MAX;

 private:
  Exchange(sns_nt_request *request, size_t reply_limit) : request_(request), reply_(reply_limit) {}
  bool add_header(const char *line) noexcept;
  bool add_extra_headers(const char *text, bool *has_content_type);

  sns_nt_request *request_;
  const char *send_data_ = "";
  size_t send_length_ = 0;
  curl_slist *headers_ = nullptr;
  bool is_chunk_ = false;
  uint64_t range_first_ = 0, range_total_ = 0;
  ReplyBuffer reply_;
  char error_[CURL_ERROR_SIZE] = "";
};

}  // namespace sns_tiface

#endif
