// gateway-sim: the gateway on loopback. Plain HTTP serves every gateway path,
// the upload resources and the uploaded pictures; HTTPS serves the log-in
// path. Switches make faults on purpose, for tests.
#include <CLI/CLI.hpp>
#include <dirent.h>
#include <httplib.h>
#include <libxml/parser.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <thread>

#include "gateway.h"
#include "recorder.h"

namespace {

using gateway_sim::Gateway;

struct Faults {
  int delay_ms = 0;
  int status = 0;
  bool malformed = false;
  bool drop = false;
  size_t pad_bytes = 0;
  std::string path;  // empty: every path; "PREFIX*": paths that start so
  size_t skip = 0;   // requests on the path left alone before faults start
  std::atomic<size_t> seen{0};

  bool any() const { return delay_ms || status || malformed || drop || pad_bytes; }
  bool apply_to(const std::string &request_path) {
    if (!any()) return false;
    bool match = path.empty() ||
                 (path.back() == '*' ? request_path.rfind(path.substr(0, path.size() - 1), 0) == 0
                                     : request_path == path);
    return match && seen.fetch_add(1) >= skip;
  }
};

int port_of(const sockaddr_storage &address) {
  if (address.ss_family == AF_INET)
    return ntohs(reinterpret_cast<const sockaddr_in &>(address).sin_port);
  if (address.ss_family == AF_INET6)
    return ntohs(reinterpret_cast<const sockaddr_in6 &>(address).sin6_port);
  return -1;
}

// Cuts the connection a request came on without an answer. The HTTP library
// does not hand out its sockets, so the socket is found by its two ports.
void drop_connection(const httplib::Request &request) {
  DIR *fds = opendir("/proc/self/fd");
  if (fds == nullptr) return;
  while (const dirent *entry = readdir(fds)) {
    int fd = std::atoi(entry->d_name);
    if (fd <= 2 || fd == dirfd(fds)) continue;
    sockaddr_storage local{}, peer{};
    socklen_t local_length = sizeof local, peer_length = sizeof peer;
    if (getsockname(fd, reinterpret_cast<sockaddr *>(&local), &local_length) != 0 ||
        getpeername(fd, reinterpret_cast<sockaddr *>(&peer), &peer_length) != 0)
      continue;
    if (port_of(local) == request.local_port && port_of(peer) == request.remote_port) {
      linger abort{1, 0};  // reset rather than a polite close
      setsockopt(fd, SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
      shutdown(fd, SHUT_RDWR);
      break;
    }
  }
  closedir(fds);
}

std::string read_file(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + path);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

bool write_ready_file(const std::string &path, const std::string &text) {
  std::string temporary = path + ".tmp";
  {
    std::ofstream out(temporary, std::ios::binary);
    out << text;
    if (!out) return false;
  }
  // Renamed into place so a reader never sees half of it.
  return std::rename(temporary.c_str(), path.c_str()) == 0;
}

class Server {
 public:
  Server(Gateway &gateway, gateway_sim::Recorder &recorder, Faults &faults)
      : gateway_(gateway), recorder_(recorder), faults_(faults) {}

  void configure(httplib::Server &server, bool secure) {
    // One client connection stays one connection, so reuse can be observed.
    server.set_keep_alive_max_count(1000000);
    // Headers and body leave in separate writes; without this the body
    // waits for the client's delayed acknowledgement.
    server.set_tcp_nodelay(true);
    server.set_keep_alive_timeout(60);
    server.set_read_timeout(60);
    server.set_write_timeout(60);
    server.set_payload_max_length(size_t{512} << 20);
    server.new_task_queue = [] { return new httplib::ThreadPool(16); };
    auto handler = [this, secure](const httplib::Request &request, httplib::Response &response) {
      serve(request, response, secure);
    };
    server.Get(".*", handler);
    server.Post(".*", handler);
    server.Put(".*", handler);
    server.Delete(".*", handler);
  }

 private:
  void serve(const httplib::Request &request, httplib::Response &response, bool secure) {
    std::vector<std::pair<std::string, std::string>> headers;
    for (const char *name : {"Host", "Content-Type", "Content-Range", "Expect", "Transfer-Encoding"})
      if (request.has_header(name)) headers.emplace_back(name, request.get_header_value(name));
    recorder_.record(request.method, request.path, secure, headers,
                     request.remote_addr + ":" + std::to_string(request.remote_port), request.body);

    bool fault = faults_.apply_to(request.path);
    if (fault && faults_.delay_ms > 0)
      std::this_thread::sleep_for(std::chrono::milliseconds(faults_.delay_ms));
    if (fault && faults_.drop) {
      drop_connection(request);
      response.status = 500;
      return;
    }
    gateway_sim::Outgoing out = gateway_.handle(gateway_sim::Incoming{
        request.method, request.path, secure, request.get_header_value("Content-Range"),
        request.body});
    if (fault && faults_.pad_bytes > 0) {
      // A comment after the root keeps the document well-formed, only long.
      out.body += "<!--";
      out.body.append(faults_.pad_bytes, '.');
      out.body += "-->\n";
    }
    if (fault && faults_.malformed) out.body.resize(out.body.size() / 2);
    response.status = fault && faults_.status != 0 ? faults_.status : out.status;
    response.set_content(out.body, out.content_type.c_str());
  }

  Gateway &gateway_;
  gateway_sim::Recorder &recorder_;
  Faults &faults_;
};

int bind_loopback(httplib::Server &server, int port) {
  if (port == 0) return server.bind_to_any_port("127.0.0.1");
  return server.bind_to_port("127.0.0.1", port) ? port : -1;
}

}  // namespace

int main(int argc, char **argv) {
  CLI::App app{"gateway-sim: the SNS gateway on loopback, over a seeded social network"};
  int http_port = 0, https_port = 0;
  std::string cert, key, seed, record, ready_file;
  gateway_sim::Options options;
  Faults faults;
  app.add_option("--http-port", http_port, "plain HTTP port (0: any free port)")
      ->check(CLI::Range(0, 65535));
  app.add_option("--https-port", https_port, "HTTPS port for the log-in path (0: any free port)")
      ->check(CLI::Range(0, 65535));
  app.add_option("--cert", cert, "server certificate (PEM)")->required()->check(CLI::ExistingFile);
  app.add_option("--key", key, "server key (PEM)")->required()->check(CLI::ExistingFile);
  app.add_option("--seed", seed, "the social network (JSON)")->required()->check(CLI::ExistingFile);
  app.add_option("--record", record, "append every request received to this file");
  app.add_flag("--cdata", options.cdata, "wrap reply texts in CDATA sections");
  app.add_option("--upload-host", options.upload_host, "host name that uploads are sent to");
  app.add_option("--ready-file", ready_file,
                 "write the ports here once listening (default: standard output)");
  app.add_option("--delay-ms", faults.delay_ms, "fault: answer this much later")
      ->check(CLI::Range(0, 600000));
  app.add_option("--status", faults.status, "fault: answer with this HTTP status")
      ->check(CLI::Range(200, 599));
  app.add_flag("--malformed", faults.malformed, "fault: send only the first half of each reply");
  app.add_flag("--drop", faults.drop, "fault: cut the connection instead of answering");
  app.add_option("--pad-bytes", faults.pad_bytes, "fault: make each reply this much longer");
  app.add_option("--fault-path", faults.path,
                 "limit the faults to this path (a trailing * matches every path it starts)");
  app.add_option("--fault-skip", faults.skip,
                 "leave this many requests on the fault path alone first");
  CLI11_PARSE(app, argc, argv);

  std::signal(SIGPIPE, SIG_IGN);
  xmlInitParser();
  std::optional<Gateway> gateway;
  try {
    gateway.emplace(gateway_sim::Network::from_seed(read_file(seed)), options,
                    gateway_sim::Environment::real());
  } catch (const std::exception &error) {
    std::cerr << "gateway-sim: " << error.what() << "\n";
    return 1;
  }
  gateway_sim::Recorder recorder(record);
  if (!recorder.ok()) {
    std::cerr << "gateway-sim: cannot write " << record << "\n";
    return 1;
  }

  httplib::Server http;
  httplib::SSLServer https(cert.c_str(), key.c_str());
  if (!https.is_valid()) {
    std::cerr << "gateway-sim: the certificate or key cannot be used\n";
    return 1;
  }
  Server server(*gateway, recorder, faults);
  server.configure(http, false);
  server.configure(https, true);
  http_port = bind_loopback(http, http_port);
  https_port = bind_loopback(https, https_port);
  if (http_port <= 0 || https_port <= 0) {
    std::cerr << "gateway-sim: cannot listen on the ports given\n";
    return 1;
  }

  // The listening threads inherit a mask without the stop signals, so this
  // thread alone receives them.
  sigset_t stop_signals;
  sigemptyset(&stop_signals);
  sigaddset(&stop_signals, SIGTERM);
  sigaddset(&stop_signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);
  std::thread http_thread([&] { http.listen_after_bind(); });
  std::thread https_thread([&] { https.listen_after_bind(); });
  // stop() only reaches a server whose accept loop runs.
  while (!http.is_running() || !https.is_running())
    std::this_thread::sleep_for(std::chrono::milliseconds(1));

  std::string ports = "http_port=" + std::to_string(http_port) +
                      "\nhttps_port=" + std::to_string(https_port) + "\n";
  int status = 0;
  if (ready_file.empty()) {
    std::cout << ports << std::flush;
  } else if (!write_ready_file(ready_file, ports)) {
    std::cerr << "gateway-sim: cannot write " << ready_file << "\n";
    status = 1;
  }
  int received = 0;
  if (status == 0) sigwait(&stop_signals, &received);
  http.stop();
  https.stop();
  http_thread.join();
  https_thread.join();
  xmlCleanupParser();
  return status;
}
