// Keeps every request the simulator receives, byte for byte, in a file that
// tests split into requests again. Each request is framed as
//
//   REQUEST <n> <method> <path> <http|https>\n
//   <Name>: <value>\n          (Host, Content-Type, Content-Range, Expect,
//                               Transfer-Encoding when present; then Peer,
//                               the client's address and port)
//   Body-Length: <bytes>\n
//   \n
//   <the body's bytes>\n
#ifndef GATEWAY_SIM_RECORDER_H
#define GATEWAY_SIM_RECORDER_H

#include <cstdio>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace gateway_sim {

class Recorder {
 public:
  // Appends to `path`; an empty path records nothing.
  explicit Recorder(const std::string &path);
  ~Recorder();
  Recorder(const Recorder &) = delete;
  Recorder &operator=(const Recorder &) = delete;

  bool ok() const { return path_.empty() || file_ != nullptr; }
  void record(const std::string &method, const std::string &path, bool secure,
              const std::vector<std::pair<std::string, std::string>> &headers,
              const std::string &peer, const std::string &body);

 private:
  std::string path_;
  std::FILE *file_ = nullptr;
  std::mutex mutex_;
  unsigned long count_ = 0;
};

}  // namespace gateway_sim

#endif
