// Recorded conversations: one readable file per exchange, in the manner of
// curl's test cases, that `--record DIR` writes and `--replay DIR` serves.
//
//   <testcase>
//   <info>
//   <keywords>
//   HTTP                                 (or HTTPS)
//   POST /palisade/friend/grouping
//   </keywords>
//   <peer>
//   127.0.0.1:40412
//   </peer>
//   <fault>                              (only when the answer was shaped)
//   delay=2000 truncate=10
//   </fault>
//   </info>
//
//   <reply>                              (absent when the connection was cut)
//   <data body-bytes="312">
//   HTTP/1.1 200 OK
//   Content-Type: text/xml; charset=UTF-8
//   Content-Length: 312
//
//   <?xml version="1.0" ...              (exactly body-bytes bytes, then a newline)
//   </data>
//   </reply>
//
//   <verify>
//   <protocol body-bytes="151">
//   POST /palisade/friend/grouping HTTP/1.1
//   Host: gateway.palisade.example
//   ...
//
//   <Request Method="retrieve" ...
//   </protocol>
//   </verify>
//   </testcase>
//
// Head lines end in CR LF on the wire and in a newline here. A body that is
// not plain text (NUL, CR, control characters, bytes that are not UTF-8)
// is written in base64 in lines of 76, and its section says body="base64".
#ifndef GATEWAY_SIM_TRACE_H
#define GATEWAY_SIM_TRACE_H

#include <atomic>
#include <cstdio>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace gateway_sim {

// Header names compare without regard to case.
bool same_header_name(std::string_view a, std::string_view b);

struct TraceMessage {
  std::string start;  // "POST /path HTTP/1.1" or "HTTP/1.1 200 OK"
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;

  // The first header of that name (any case), or null.
  const std::string *header(std::string_view name) const;
};

struct TraceExchange {
  std::string scheme = "http";  // "https" for the TLS port
  std::string peer;
  std::string fault;  // what shaped the answer on the wire, as faults are set
  TraceMessage request;
  std::optional<TraceMessage> reply;
  std::string file;  // where it was read from

  std::string method() const;
  std::string path() const;  // the target without its query
  int status() const;        // of the reply; 0 without one
};

// A body kept in a file (its first `length` bytes) rather than in memory:
// an upload chunk, a stored picture.
struct BodyFile {
  int fd = -1;
  uint64_t length = 0;
};

// The file's text.
std::string format_exchange(const TraceExchange &exchange);
// Writes the file; a body given as a BodyFile is read from there instead of
// the message.
bool write_exchange(std::FILE *out, const TraceExchange &exchange, BodyFile request_body = {},
                    BodyFile reply_body = {});

// Reads one file's text; the error says "FILE:LINE: what is wrong".
bool parse_exchange(const std::string &text, const std::string &file, TraceExchange *exchange,
                    std::string *error);
// Every file of `dir` whose name starts with a digit, in name order.
bool read_trace(const std::string &dir, std::vector<TraceExchange> *exchanges, std::string *error);

// Writes the exchanges of a run into a folder, numbered on from the files
// already there: "000001-POST-palisade-auth", ...
class TraceWriter {
 public:
  explicit TraceWriter(std::string dir);
  bool ok() const { return ok_; }
  const std::string &error() const { return error_; }
  bool write(const TraceExchange &exchange, BodyFile request_body = {}, BodyFile reply_body = {});

 private:
  std::string dir_;
  bool ok_ = false;
  std::string error_;
  std::atomic<uint64_t> next_{1};
};

// `body` with the values of the named fields blanked: attribute values
// (NAME="...") and element texts (<NAME>...</NAME>).
std::string mask_fields(std::string body, const std::vector<std::string> &names);

// Serves recorded replies: each request takes the first unused recorded
// exchange with the same method, path and body (named fields ignored).
class Replayer {
 public:
  Replayer(std::vector<TraceExchange> exchanges, std::vector<std::string> ignored);

  // The matching exchange, now used; null when none is left. Null results
  // are kept, for the report.
  const TraceExchange *take(const std::string &method, const std::string &path,
                            const std::string &body);
  // Every exchange unused again; the report emptied.
  void rewind();
  size_t recorded() const { return exchanges_.size(); }
  size_t unused() const;
  // "METHOD PATH (N bytes)" per request that matched nothing, oldest first
  // (the first 100).
  std::vector<std::string> unmatched() const;
  size_t unmatched_count() const;

 private:
  std::vector<TraceExchange> exchanges_;
  std::vector<std::string> keys_;  // method, path and masked body per exchange
  std::vector<bool> used_;
  std::vector<std::string> ignored_;
  std::vector<std::string> unmatched_;
  size_t unmatched_count_ = 0;
  mutable std::mutex mutex_;
};

}  // namespace gateway_sim

#endif
