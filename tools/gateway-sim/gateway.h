// The gateway's side of every exchange: a request (path, method, headers
// that matter, body) in, a reply out. Free of any HTTP library, so tests can
// drive it directly.
#ifndef GATEWAY_SIM_GATEWAY_H
#define GATEWAY_SIM_GATEWAY_H

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "network.h"

namespace gateway_sim {

struct Options {
  std::string upload_host = "upload.palisade.example";
  bool cdata = false;  // element texts in CDATA sections instead of escaped
  // The largest file an upload may grow to; a chunk that goes past it is
  // refused with 413.
  uint64_t max_upload_bytes = uint64_t{256} << 20;
};

// What makes the replies differ from run to run, replaceable for tests.
struct Environment {
  std::function<std::string()> new_key;  // session, persist and upload keys
  std::function<int64_t()> now;          // seconds since the epoch
  std::function<void(uint64_t)> reseed;  // draws the same keys again; may be empty
  // Random keys; from `seed` when given, so that a run can be repeated.
  static Environment real(std::optional<uint64_t> seed = std::nullopt);
};

struct Incoming {
  std::string method;  // "POST", "GET", ...
  std::string path;
  bool secure = false;  // arrived over HTTPS
  std::string content_range;
  std::string body;
};

struct Outgoing {
  int status = 200;
  std::string content_type = "text/xml; charset=UTF-8";
  std::string body;
  std::string file;  // when set, the reply's body is this file (a stored picture)
};

// The gateway's error envelope as a reply body.
std::string error_envelope(const std::string &code, const std::string &sub, const std::string &context,
                           bool cdata = false);

// A path the gateway serves, and what it serves there.
struct ServedPath {
  const char *path;  // "<...>" stands for any one segment
  const char *serves;
};
const std::vector<ServedPath> &served_paths();
// Whether a path pattern ("/exact/path", "PREFIX*" or "*") takes in at least
// one path the gateway serves.
bool pattern_serves(const std::string &pattern);

class Gateway;

// An upload chunk whose body is still arriving: its bytes go straight into
// the upload's file, so a chunk of any size costs no memory. Destroyed
// unfinished (the client went away), it leaves the upload as it was.
class ChunkSink {
 public:
  ~ChunkSink();
  ChunkSink(const ChunkSink &) = delete;
  ChunkSink &operator=(const ChunkSink &) = delete;

  // The next bytes of the body. Bytes beyond the announced range are counted
  // (the chunk is then refused) but not written.
  void write(const char *data, size_t size);

 private:
  friend class Gateway;
  ChunkSink() = default;
  Gateway *gateway_ = nullptr;
  std::string resource_;
  uint64_t generation_ = 0;
  int fd_ = -1;
  uint64_t first_ = 0, expected_ = 0, received_ = 0, total_ = 0;
  bool failed_ = false, settled_ = false;
};

// The start of an upload chunk: a sink for its body, or the refusal that
// answers it at once (unknown upload, unusable range, too large).
struct ChunkStart {
  std::unique_ptr<ChunkSink> sink;
  Outgoing refusal;
};

class Gateway {
 public:
  // Keeps the uploaded files in a private folder under $TMPDIR, removed with
  // the gateway. Throws std::runtime_error when the folder cannot be made.
  Gateway(Network network, Options options, Environment environment);
  ~Gateway();
  Gateway(const Gateway &) = delete;
  Gateway &operator=(const Gateway &) = delete;

  // Thread-safe; requests are served one at a time. An upload chunk's body
  // comes whole here; the HTTP server streams it with begin_chunk instead.
  Outgoing handle(const Incoming &request);

  // Whether a request is an upload chunk, whose body belongs in a file.
  static bool is_upload_chunk(const std::string &method, const std::string &path, bool secure);
  // `content_length` is the body's announced length, when the request has one.
  ChunkStart begin_chunk(const std::string &path, const std::string &content_range,
                         std::optional<uint64_t> content_length);
  // Takes the chunk once its whole body has arrived, or refuses it.
  Outgoing finish_chunk(ChunkSink &sink);

  // The network as `network` has it; sessions and uploads are gone.
  void reset(Network network);
  // Keys drawn from here on follow from `seed`.
  void reseed(uint64_t seed);

  // Runs `look` on the network under the lock (for tests and diagnostics).
  template <typename F>
  auto inspect(F look) {
    std::lock_guard<std::mutex> lock(mutex_);
    return look(static_cast<const Network &>(network_));
  }

 private:
  friend class ChunkSink;
  Outgoing gateway_request(const Incoming &request);
  ChunkStart begin_chunk_locked(const std::string &path, const std::string &content_range,
                                std::optional<uint64_t> content_length);
  Outgoing finish_chunk_locked(ChunkSink &sink);
  void abandon_chunk(ChunkSink &sink);
  Outgoing media(const Incoming &request);
  void remove_stored_files();

  std::mutex mutex_;
  Network network_;
  Options options_;
  Environment environment_;
  std::string storage_;     // the private folder of uploaded files
  uint64_t generation_ = 0;  // counts resets, so a chunk begun before one is refused
};

}  // namespace gateway_sim

#endif
