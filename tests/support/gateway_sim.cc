#include "support/gateway_sim.h"

#include <curl/curl.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace pd_test {
namespace {

std::string read_file(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
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

std::string replace_all(std::string text, const std::string &from, const std::string &to) {
  if (from.empty()) return text;
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
    text.replace(at, from.size(), to);
  return text;
}

Outcome run_program(std::vector<std::string> argv, const std::vector<std::string> &env,
                    const std::string &input, bool merged, double seconds) {
  // env(1) adds the variables to the test's own.
  argv.insert(argv.begin(), env.begin(), env.end());
  argv.insert(argv.begin(), "/usr/bin/env");
  std::vector<char *> args;
  for (std::string &arg : argv) args.push_back(arg.data());
  args.push_back(nullptr);
  // Files, not pipes: nothing to drain while the program runs, and a
  // program that ends without reading all its input ends no test.
  Outcome run;
  char pattern[] = "/tmp/pd-run.XXXXXX";
  if (mkdtemp(pattern) == nullptr) return run;
  const std::string dir = pattern, in = dir + "/in", out = dir + "/out", err = dir + "/err";
  std::ofstream(in, std::ios::binary) << input;
  pid_t pid = fork();
  if (pid == 0) {
    int out_fd = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(open(in.c_str(), O_RDONLY), STDIN_FILENO);
    dup2(out_fd, STDOUT_FILENO);
    dup2(merged ? out_fd : open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
    execv(args[0], args.data());
    _exit(127);
  }
  run.status = pid > 0 ? wait_for(pid, seconds) : -1;
  if (pid > 0 && run.status < 0) {
    kill(pid, SIGKILL);
    wait_for(pid, 5);
  }
  run.out = read_file(out);
  run.err = read_file(err);
  std::error_code ignored;
  std::filesystem::remove_all(dir, ignored);
  return run;
}

std::string run_transcript(const std::string &program, const std::string &text,
                           const std::vector<std::string> &before, const std::vector<std::string> &env,
                           const std::vector<std::pair<std::string, std::string>> &shown, bool merged) {
  std::string name = std::filesystem::path(program).filename(), typed = "'" + program + "'", said;
  for (const std::string &arg : before) typed += " '" + arg + "'";
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind("$ ", 0) != 0) continue;
    // The shell takes the command as a person would type it; the program's
    // name, a word of its own, stands for its path and the switches before.
    std::string command = line.substr(2);
    size_t at = command.find(name);
    while (at != std::string::npos && ((at > 0 && command[at - 1] != ' ') ||
                                       (at + name.size() < command.size() && command[at + name.size()] != ' ')))
      at = command.find(name, at + 1);
    if (at != std::string::npos) command.replace(at, name.size(), typed);
    for (const auto &[value, placeholder] : shown) command = replace_all(command, placeholder, value);
    Outcome outcome = run_program({"/bin/sh", "-c", command}, env, {}, merged);
    for (const auto &[value, placeholder] : shown) {
      outcome.out = replace_all(outcome.out, value, placeholder);
      outcome.err = replace_all(outcome.err, value, placeholder);
    }
    said += line + "\nexit " + std::to_string(outcome.status) + "\n" + outcome.out + outcome.err + "\n";
  }
  return said.empty() ? "(no commands)\n" : said;
}

void GatewaySim::start(const std::vector<std::string> &switches, bool record) {
  char pattern[] = "/tmp/gateway-sim.XXXXXX";
  if (mkdtemp(pattern) == nullptr) throw std::runtime_error("no temporary folder");
  dir_ = pattern;
  std::string certs = PD_GATEWAY_SIM_CERTS;
  std::vector<std::string> args = {PD_GATEWAY_SIM,  "--http-port", "0", "--https-port", "0",
                                   "--cert",        certs + "/server.pem", "--key",
                                   certs + "/server.key", "--seed", PD_GATEWAY_SIM_SEED,
                                   "--ready-file",  dir_ + "/ready"};
  if (record) args.insert(args.end(), {"--record", trace_dir()});
  args.insert(args.end(), switches.begin(), switches.end());
  std::vector<char *> argv;
  for (std::string &arg : args) argv.push_back(arg.data());
  argv.push_back(nullptr);
  pid_t parent = getpid();
  pid_ = fork();
  if (pid_ < 0) throw std::runtime_error("cannot fork");
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
      control_port_ = port_in(ports, "control_port");
      if (http_port_ > 0 && https_port_ > 0 && control_port_ > 0) return;
      throw std::runtime_error("ready file without ports: " + ports);
    }
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;
      throw std::runtime_error("gateway-sim ended before it was ready");
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  throw std::runtime_error("gateway-sim did not get ready");
}

int GatewaySim::stop() {
  int status = 0;
  if (pid_ > 0) {
    kill(pid_, SIGTERM);
    status = wait_for(pid_, 20);
    if (status < 0) {
      kill(pid_, SIGKILL);
      wait_for(pid_, 5);
      status = 128 + SIGKILL;
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

std::vector<RecordedRequest> GatewaySim::requests() const {
  std::vector<RecordedRequest> requests;
  std::string error;
  if (dir_.empty()) throw std::runtime_error("gateway-sim is not running");
  if (std::filesystem::exists(trace_dir()) && !gateway_sim::read_trace(trace_dir(), &requests, &error))
    throw std::runtime_error(error);
  return requests;
}

long http_request(const std::string &method, const std::string &url, const std::string &body,
                  std::string *answer, const HttpOptions &options) {
  CURL *easy = curl_easy_init();
  if (easy == nullptr) return 0;
  curl_slist *headers = nullptr;
  for (const std::string &header : options.headers) headers = curl_slist_append(headers, header.c_str());
  curl_slist *connect_to = nullptr;
  std::istringstream entries(options.connect_to);
  for (std::string entry; std::getline(entries, entry, ',');) connect_to = curl_slist_append(connect_to, entry.c_str());
  curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
  curl_easy_setopt(easy, CURLOPT_PROXY, "");
  curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, method.c_str());
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers);
  curl_easy_setopt(easy, CURLOPT_CONNECT_TO, connect_to);
  if (!options.ca_file.empty()) curl_easy_setopt(easy, CURLOPT_CAINFO, options.ca_file.c_str());
  if (method != "GET") {
    curl_easy_setopt(easy, CURLOPT_POSTFIELDS, body.data());
    curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
  }
  curl_easy_setopt(easy, CURLOPT_TIMEOUT, 60L);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, answer);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, +[](char *bytes, size_t size, size_t count, void *out) {
    static_cast<std::string *>(out)->append(bytes, size * count);
    return size * count;
  });
  long status = 0;
  CURLcode result = curl_easy_perform(easy);
  curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
  curl_easy_cleanup(easy);
  curl_slist_free_all(headers);
  curl_slist_free_all(connect_to);
  return result == CURLE_OK ? status : 0;
}

std::optional<std::string> GatewaySim::fetch(const std::string &path) const {
  std::string body;
  if (http_request("GET", "http://127.0.0.1:" + std::to_string(http_port_) + path, "", &body) != 200)
    return std::nullopt;
  return body;
}

int GatewaySim::control(const std::string &method, const std::string &path, const std::string &body,
                        std::string *answer) const {
  std::string ignored;
  return static_cast<int>(http_request(method, "http://127.0.0.1:" + std::to_string(control_port_) + path,
                                       body, answer != nullptr ? answer : &ignored));
}

bool GatewaySim::fault(const std::string &fields) const { return control("POST", "/faults", fields) == 200; }

long long GatewaySim::counter(const std::string &name) const {
  std::string text;
  if (control("GET", "/status", "", &text) != 200) return -1;
  size_t at = ("\n" + text).find("\n" + name + "=");  // at the start of a line
  return at == std::string::npos ? -1 : std::atoll(text.c_str() + at + name.size() + 1);
}

}  // namespace pd_test
