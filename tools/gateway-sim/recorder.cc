#include "recorder.h"

namespace gateway_sim {

Recorder::Recorder(const std::string &path) : path_(path) {
  if (!path_.empty()) file_ = std::fopen(path_.c_str(), "ab");
}

Recorder::~Recorder() {
  if (file_ != nullptr) std::fclose(file_);
}

void Recorder::record(const std::string &method, const std::string &path, bool secure,
                      const std::vector<std::pair<std::string, std::string>> &headers,
                      const std::string &peer, const std::string &body) {
  if (file_ == nullptr) return;
  std::lock_guard<std::mutex> lock(mutex_);
  std::fprintf(file_, "REQUEST %lu %s %s %s\n", ++count_, method.c_str(), path.c_str(),
               secure ? "https" : "http");
  for (const auto &[name, value] : headers) std::fprintf(file_, "%s: %s\n", name.c_str(), value.c_str());
  std::fprintf(file_, "Peer: %s\nBody-Length: %zu\n\n", peer.c_str(), body.size());
  std::fwrite(body.data(), 1, body.size(), file_);
  std::fputc('\n', file_);
  // Tests read the file while the simulator runs.
  std::fflush(file_);
}

}  // namespace gateway_sim
