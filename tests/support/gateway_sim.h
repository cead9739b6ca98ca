// Runs gateway-sim for a test or a benchmark: on free loopback ports, with
// the build's throw-away certificate, recording every exchange into a
// folder, and changed while it runs through its control port. Free of
// GoogleTest so benchmarks can use it too.
#ifndef PD_TESTS_SUPPORT_GATEWAY_SIM_H
#define PD_TESTS_SUPPORT_GATEWAY_SIM_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "trace.h"

namespace pd_test {

// One exchange as gateway-sim recorded it: the request with all its
// headers, the peer, the scheme.
using RecordedRequest = gateway_sim::TraceExchange;

// How a program run by a test ended (-1: killed, still running after its
// time) and what it wrote; standard error goes to `out` too when merged.
struct Outcome {
  int status = -1;
  std::string out, err;
};

// `text` with every `from` replaced by `to`.
std::string replace_all(std::string text, const std::string &from, const std::string &to);

// Runs argv[0] (a path) with the test's environment plus `env` ("NAME=value"
// entries, each replacing its name) and `input` on its standard input.
Outcome run_program(std::vector<std::string> argv, const std::vector<std::string> &env = {},
                    const std::string &input = {}, bool merged = false, double seconds = 60);

// Runs the commands of a transcript text (a golden file's: each command as
// "$ [NAME=value ...] PROGRAM ARGS", as /bin/sh reads it, then its exit
// status and what it wrote) with `program` (a path) for PROGRAM, each after
// `before` and with `env` added to the environment; each value of `shown`
// is typed where its placeholder stands and shown as the placeholder in
// what was said. The new transcript.
std::string run_transcript(const std::string &program, const std::string &text,
                           const std::vector<std::string> &before, const std::vector<std::string> &env,
                           const std::vector<std::pair<std::string, std::string>> &shown, bool merged);

struct HttpOptions {
  std::vector<std::string> headers;  // "Name: value"
  std::string ca_file;               // for HTTPS
  std::string connect_to;            // libcurl connect-to entries, comma-separated
};

// One request with libcurl, without a proxy: the HTTP status (0 when no
// answer came) and the body in `answer`.
long http_request(const std::string &method, const std::string &url, const std::string &body,
                  std::string *answer, const HttpOptions &options = {});

class GatewaySim {
 public:
  GatewaySim() = default;
  ~GatewaySim() { stop(); }
  GatewaySim(const GatewaySim &) = delete;
  GatewaySim &operator=(const GatewaySim &) = delete;

  // Starts gateway-sim with the seed that ships with it and extra switches
  // (faults, --cdata, ...); throws std::runtime_error saying why when it did
  // not come up.
  void start(const std::vector<std::string> &switches = {}, bool record = true);
  // Stops it; its exit status (0 for a clean stop, or when none ran).
  int stop();

  int http_port() const { return http_port_; }
  int control_port() const { return control_port_; }
  pid_t pid() const { return pid_; }
  // Where the exchanges are recorded (a folder --replay takes).
  std::string trace_dir() const { return dir_ + "/trace"; }

  // The SNS_NT_CONNECT_TO value that sends the gateway host (ports 80 and
  // 443) and the upload host (port 80) to this simulator.
  std::string connect_to() const;
  // Sets SNS_NT_CONNECT_TO and SNS_NT_CAINFO for transport handles made from now on.
  void export_environment() const;

  // The CA that signed the simulator's certificate, and one that did not.
  static std::string ca_file();
  static std::string other_ca_file();
  // The URL the plug-in builds for a gateway path, and the host uploads go to.
  static std::string gateway_url(std::string_view path);
  static std::string upload_host() { return "upload.palisade.example"; }

  // The body of a plain GET on the simulator's HTTP port (uploaded
  // pictures), or nothing when no 200 answer came.
  std::optional<std::string> fetch(const std::string &path) const;
  // Every request recorded so far; throws std::runtime_error when the trace
  // cannot be read.
  std::vector<RecordedRequest> requests() const;

  // One request to the control port: its HTTP status (0: no answer) and text.
  int control(const std::string &method, const std::string &path, const std::string &body = "",
              std::string *answer = nullptr) const;
  // Adds a fault from form fields ("path=/upload/*&skip=2&status=500");
  // false when the simulator refuses it.
  bool fault(const std::string &fields) const;
  bool clear_faults() const { return control("DELETE", "/faults") == 200; }
  // A number of the control port's status ("requests", ...); -1 when absent.
  long long counter(const std::string &name) const;

 private:
  pid_t pid_ = -1;
  std::string dir_;
  int http_port_ = 0, https_port_ = 0, control_port_ = 0;
};

}  // namespace pd_test

#endif
