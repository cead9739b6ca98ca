#include "support/gateway_sim.h"

#include <curl/curl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

namespace pd_test {
namespace {

std::string read_file(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

// The value after "key=" in a ready file, or 0.
int port_in(const std::string &text, const std::string &key) {
  size_t at = text.find(key + "=");
  return at == std::string::npos ? 0 : std::atoi(text.c_str() + at + key.size() + 1);
}

// Waits for a child for at most `seconds`; its exit status, or -1.
int wait_for(pid_t pid, double seconds) {
  auto until = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (std::chrono::steady_clock::now() < until) {
    int status = 0;
    pid_t done = waitpid(pid, &status, WNOHANG);
    if (done == pid) return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    if (done < 0) return -1;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return -1;
}

}  // namespace

const std::string *RecordedRequest::header(std::string_view name) const {
  for (const auto &[key, value] : headers)
    if (key == name) return &value;
  return nullptr;
}

bool parse_record(const std::string &bytes, std::vector<RecordedRequest> *requests,
                  std::string *error) {
  size_t at = 0;
  auto line = [&](std::string *out) {
    size_t end = bytes.find('\n', at);
    if (end == std::string::npos) return false;
    *out = bytes.substr(at, end - at);
    at = end + 1;
    return true;
  };
  while (at < bytes.size()) {
    RecordedRequest request;
    std::string text;
    unsigned long number = 0;
    if (!line(&text)) return *error = "unterminated request line", false;
    std::istringstream first(text);
    std::string word;
    first >> word >> number >> request.method >> request.path >> request.scheme;
    if (word != "REQUEST" || request.scheme.empty()) return *error = "bad request line: " + text, false;
    size_t length = std::string::npos;
    while (line(&text) && !text.empty()) {
      size_t colon = text.find(": ");
      if (colon == std::string::npos) return *error = "bad header line: " + text, false;
      std::string name = text.substr(0, colon), value = text.substr(colon + 2);
      if (name == "Body-Length")
        length = std::stoul(value);
      else if (name == "Peer")
        request.peer = value;
      else
        request.headers.emplace_back(name, value);
    }
    if (length == std::string::npos || at + length + 1 > bytes.size() || bytes[at + length] != '\n')
      return *error = "body of request " + std::to_string(number) + " is cut", false;
    request.body = bytes.substr(at, length);
    at += length + 1;
    requests->push_back(std::move(request));
  }
  return true;
}

GatewaySim::~GatewaySim() { stop(); }

bool GatewaySim::start(const std::vector<std::string> &switches, std::string *error,
                       bool record) {
  std::string ignored;
  if (error == nullptr) error = &ignored;
  char pattern[] = "/tmp/gateway-sim.XXXXXX";
  if (mkdtemp(pattern) == nullptr) return *error = "no temporary folder", false;
  dir_ = pattern;
  std::string certs = PD_GATEWAY_SIM_CERTS;
  std::vector<std::string> args = {PD_GATEWAY_SIM,  "--http-port", "0", "--https-port", "0",
                                   "--cert",        certs + "/server.pem", "--key",
                                   certs + "/server.key", "--seed", PD_GATEWAY_SIM_SEED,
                                   "--ready-file",  dir_ + "/ready"};
  if (record) args.insert(args.end(), {"--record", dir_ + "/record"});
  args.insert(args.end(), switches.begin(), switches.end());
  std::vector<char *> argv;
  for (std::string &arg : args) argv.push_back(arg.data());
  argv.push_back(nullptr);
  pid_t parent = getpid();
  pid_ = fork();
  if (pid_ < 0) return *error = "cannot fork", false;
  if (pid_ == 0) {
    // A test that crashes must not leave the simulator running (and holding
    // the test's output open).
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) _exit(127);
    execv(argv[0], argv.data());
    _exit(127);
  }
  // Sanitizer builds start slowly; a healthy simulator is ready in well
  // under a second.
  auto until = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (std::chrono::steady_clock::now() < until) {
    if (std::filesystem::exists(dir_ + "/ready")) {
      std::string ports = read_file(dir_ + "/ready");
      http_port_ = port_in(ports, "http_port");
      https_port_ = port_in(ports, "https_port");
      if (http_port_ > 0 && https_port_ > 0) return true;
      return *error = "ready file without ports: " + ports, false;
    }
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;
      return *error = "gateway-sim ended before it was ready", false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return *error = "gateway-sim did not get ready", false;
}

int GatewaySim::stop() {
  int status = -1;
  if (pid_ > 0) {
    kill(pid_, SIGTERM);
    status = wait_for(pid_, 20);
    if (status < 0) {
      kill(pid_, SIGKILL);
      wait_for(pid_, 5);
    }
    pid_ = -1;
  }
  if (!dir_.empty()) {
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
    dir_.clear();
  }
  return status;
}

void GatewaySim::kill_now() {
  if (pid_ > 0) kill(pid_, SIGKILL);
}

std::string GatewaySim::connect_to() const {
  std::string http = ":80:127.0.0.1:" + std::to_string(http_port_);
  return std::string(PD_GATEWAY_HOST) + ":443:127.0.0.1:" + std::to_string(https_port_) + "," +
         PD_GATEWAY_HOST + http + "," + upload_host() + http;
}

void GatewaySim::export_environment() const {
  setenv("SNS_NT_CONNECT_TO", connect_to().c_str(), 1);
  setenv("SNS_NT_CAINFO", ca_file().c_str(), 1);
}

std::string GatewaySim::ca_file() { return std::string(PD_GATEWAY_SIM_CERTS) + "/ca.pem"; }

std::string GatewaySim::other_ca_file() { return PD_GATEWAY_SIM_OTHER_CA; }

std::string GatewaySim::gateway_url(std::string_view path) {
  bool secure = path.find("/auth") != std::string_view::npos;
  return std::string(secure ? "https://" : "http://") + PD_GATEWAY_HOST +
         (secure ? ":443" : ":80") + std::string(path);
}

bool GatewaySim::requests(std::vector<RecordedRequest> *requests, std::string *error) const {
  if (dir_.empty()) return *error = "gateway-sim is not running", false;
  return parse_record(read_file(dir_ + "/record"), requests, error);
}

}  // namespace pd_test

namespace pd_test {

std::optional<std::string> GatewaySim::fetch(const std::string &path) const {
  CURL *easy = curl_easy_init();
  if (easy == nullptr) return std::nullopt;
  std::string url = "http://127.0.0.1:" + std::to_string(http_port_) + path, body;
  curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
  curl_easy_setopt(easy, CURLOPT_PROXY, "");
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &body);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, +[](char *bytes, size_t size, size_t count, void *out) {
    static_cast<std::string *>(out)->append(bytes, size * count);
    return size * count;
  });
  long status = 0;
  CURLcode result = curl_easy_perform(easy);
  curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
  curl_easy_cleanup(easy);
  if (result != CURLE_OK || status != 200) return std::nullopt;
  return body;
}

}  // namespace pd_test
