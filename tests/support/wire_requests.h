// The transport's side of a test or benchmark: request records built the
// way the plug-in builds them, and a response callback that keeps what
// every callback delivered.
#ifndef PD_TESTS_SUPPORT_WIRE_REQUESTS_H
#define PD_TESTS_SUPPORT_WIRE_REQUESTS_H

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

}  // namespace pd_test

#endif
