// Runs gateway-sim for a test or a benchmark: on free loopback ports, with
// the build's throw-away certificate, recording every request it receives.
// Free of GoogleTest so benchmarks can use it too.
#ifndef PD_TESTS_SUPPORT_GATEWAY_SIM_H
#define PD_TESTS_SUPPORT_GATEWAY_SIM_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace pd_test {

// One request as gateway-sim recorded it.
struct RecordedRequest {
  std::string method, path, scheme, peer;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;

  // Null when the request did not carry the header.
  const std::string *header(std::string_view name) const;
};

// Splits the bytes of a record file into requests; false (and `error`) when
// the framing is broken.
bool parse_record(const std::string &bytes, std::vector<RecordedRequest> *requests,
                  std::string *error);

class GatewaySim {
 public:
  GatewaySim() = default;
  ~GatewaySim();
  GatewaySim(const GatewaySim &) = delete;
  GatewaySim &operator=(const GatewaySim &) = delete;

  // Starts gateway-sim with the seed that ships with it and extra switches
  // (faults, --cdata, ...). Returns false and says why when it did not come up.
  bool start(const std::vector<std::string> &switches = {}, std::string *error = nullptr,
             bool record = true);
  // Stops it; returns its exit status (0 for a clean stop), -1 when not running.
  int stop();
  // Ends it at once, as a crash would: connections die mid-request.
  void kill_now();

  int http_port() const { return http_port_; }
  int https_port() const { return https_port_; }

  // The SNS_NT_CONNECT_TO value that sends the gateway host (ports 80 and
  // 443) and the upload host (port 80) to this simulator.
  std::string connect_to() const;
  // Sets SNS_NT_CONNECT_TO and SNS_NT_CAINFO for transport handles made
  // from now on.
  void export_environment() const;

  // The CA that signed the simulator's certificate, and one that did not.
  static std::string ca_file();
  static std::string other_ca_file();
  // The URL the plug-in builds for a gateway path.
  static std::string gateway_url(std::string_view path);
  // The host uploads are sent to.
  static std::string upload_host() { return "upload.palisade.example"; }

  // The body of a plain GET on the simulator's HTTP port (uploaded
  // pictures), or nothing when no 200 answer came.
  std::optional<std::string> fetch(const std::string &path) const;

  // Every request recorded so far; false when the record cannot be split.
  bool requests(std::vector<RecordedRequest> *requests, std::string *error) const;

 private:
  pid_t pid_ = -1;
  std::string dir_;
  int http_port_ = 0, https_port_ = 0;
};

}  // namespace pd_test

#endif
