// The transport's side of a test or benchmark: request records built the
// way the plug-in builds them, a response callback that keeps what every
// callback delivered, and the chunked photo upload driven from that
// callback as the plug-in drives it.
#ifndef PD_TESTS_SUPPORT_WIRE_REQUESTS_H
#define PD_TESTS_SUPPORT_WIRE_REQUESTS_H

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "pd-plugin/pd_upload.h"
#include "sns-tiface/sns_nt.h"

namespace pd_test {

// A kind-1 request (an XML document by POST), malloc'd as the plug-in's
// dispatcher fills it; sns_nt_sendreq takes it over.
sns_nt_request *xml_request(sns_nt_handle handle, uint32_t id, uint32_t code,
                            const std::string &url, const std::string &body,
                            void *instance = nullptr, void *caller = nullptr);

// A kind-2 request (an upload chunk), as the upload step fills it: the
// extra header names the picture type and only the first chunk carries its
// body length.
sns_nt_request *chunk_request(sns_nt_handle handle, uint32_t id, const std::string &url,
                              const std::string &chunk, bool first, pd_upload_data *upload);

// What one response callback delivered, copied before the transport
// releases the record (whose body pointer is not valid any more); the body
// is null when the record's was.
struct Delivered {
  sns_nt_response record;
  std::optional<std::string> body;
};

// The response callback of the process (the interface has no user word):
// register Responses::callback with the transport.
class Responses {
 public:
  static int callback(void *response);
  static Responses &instance();

  // Runs inside every callback, on the transport's thread, before the
  // response is kept.
  void on_response(std::function<void(const sns_nt_response &)> hook);
  // Waits until at least `count` callbacks came; false after `seconds`.
  bool wait_for(size_t count, double seconds = 30);
  std::vector<Delivered> all();
  size_t count() { return all().size(); }
  void clear();

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Delivered> delivered_;
  std::function<void(const sns_nt_response &)> hook_;
};

// The photo upload after the location has arrived: sends the file in
// chunks of PD_UPLOAD_CHUNK_SIZE, each from the callback of the one before,
// with the upload data record advanced before each chunk is sent.
class ChunkedUpload {
 public:
  ChunkedUpload(sns_nt_handle handle, std::string url, std::string file);
  // Sends the first chunk, with request id `first_id`.
  void start(uint32_t first_id);
  // Feed every response; sends the next chunk after an accepted one.
  // Returns true when the response belonged to this upload.
  bool on_response(const sns_nt_response &response);
  bool finished() const { return finished_.load(); }
  // The status and body of the last answer.
  uint32_t last_status() const { return last_status_; }
  const std::string &last_body() const { return last_body_; }
  size_t chunks_sent() const { return chunks_; }

 private:
  void send_next();

  sns_nt_handle handle_;
  std::string url_, file_;
  pd_upload_data upload_{};
  uint32_t next_id_ = 0;
  size_t chunks_ = 0;
  std::atomic<bool> finished_{false};
  uint32_t last_status_ = 0;
  std::string last_body_;
};

}  // namespace pd_test

#endif
