// gateway-sim: the gateway on loopback. Plain HTTP serves every gateway path,
// the upload resources and the uploaded pictures; HTTPS serves the log-in
// path; a third port takes control requests (faults, reset, reseed) while it
// runs. It records exchanges to a folder and replays them from one.
#include <CLI/CLI.hpp>
#include <arpa/inet.h>
#include <fcntl.h>
#include <libxml/parser.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <random>
#include <sstream>

#include "control.h"
#include "faults.h"
#include "gateway.h"
#include "server.h"
#include "trace.h"

namespace {

using namespace gateway_sim;

// Exit codes.
enum Exit {
  kStopped = 0,        // stopped by SIGTERM or SIGINT
  kCannotStart = 1,    // a seed, certificate, key or folder that cannot be used
  kUsage = 2,          // a switch or value that is wrong
  kPortTaken = 3,      // a port in use or that cannot be listened on
  kBadTrace = 4,       // a replay folder that cannot be read
  kReplayMissed = 5,   // replay met requests that matched no recorded exchange
};

bool read_file(const std::string &path, std::string *text) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  *text = out.str();
  return static_cast<bool>(in);
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

// A listening socket on 127.0.0.1 (port 0: any free one). Without
// SO_REUSEPORT, so a port that another server holds is refused, not shared.
int listen_on(int *port, std::string *error) {
  int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0) return *error = std::strerror(errno), -1;
  int one = 1;
  setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<uint16_t>(*port));
  socklen_t length = sizeof address;
  if (bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
      listen(fd, SOMAXCONN) != 0 ||
      getsockname(fd, reinterpret_cast<sockaddr *>(&address), &length) != 0) {
    *error = errno == EADDRINUSE ? "port " + std::to_string(*port) + " is in use"
                                 : "port " + std::to_string(*port) + ": " + std::strerror(errno);
    close(fd);
    return -1;
  }
  *port = ntohs(address.sin_port);
  return fd;
}

// Every connection is a descriptor: take all the process may have.
unsigned raise_descriptor_limit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return 1024;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
  getrlimit(RLIMIT_NOFILE, &limit);
  return static_cast<unsigned>(std::min<rlim_t>(limit.rlim_cur, 1u << 20));
}

std::string path_list() {
  std::string text = "Gateway paths (plain HTTP unless marked):\n";
  for (const ServedPath &served : served_paths()) {
    char line[160];
    std::snprintf(line, sizeof line, "  %-28s %s\n", served.path, served.serves);
    text += line;
  }
  text +=
      "\nControl port: GET / lists its requests (faults per path, reset, reseed, status);\n"
      "gateway-sim-ctl sends them.\n"
      "\nExit codes: 0 stopped by SIGTERM or SIGINT; 1 a seed, certificate, key or folder that\n"
      "cannot be used; 2 a wrong switch or value; 3 a port in use; 4 a replay folder that cannot\n"
      "be read (the file and line are named); 5 replayed requests that matched no recorded exchange.\n";
  return text;
}

}  // namespace

int main(int argc, char **argv) {
  CLI::App app{"gateway-sim: the SNS gateway on loopback, over a seeded social network"};
  app.option_defaults()->always_capture_default();
  app.footer(path_list());
  int http_port = 0, https_port = 0, control_port = 0;
  std::string cert, key, seed, record, replay, ready_file, forward, forward_https, forward_ca;
  std::vector<std::string> replay_ignored = {"SessionKey"}, fault_specs;
  std::optional<uint64_t> random_seed;
  Options options;
  ServerConfig config;
  FaultRule switches;
  uint64_t delay_ms = 0, pad_bytes = 0;
  int status = 0;
  bool malformed = false, drop = false;

  app.add_option("--http-port", http_port, "plain HTTP port (0: any free port)")->check(CLI::Range(0, 65535));
  app.add_option("--https-port", https_port, "HTTPS port for the log-in path (0: any free port)")
      ->check(CLI::Range(0, 65535));
  app.add_option("--control-port", control_port, "control interface port (0: any free port)")
      ->check(CLI::Range(0, 65535));
  app.add_option("--cert", cert, "server certificate (PEM)")->required()->check(CLI::ExistingFile);
  app.add_option("--key", key, "server key (PEM)")->required()->check(CLI::ExistingFile);
  app.add_option("--seed", seed, "the social network (JSON); needed unless replaying or forwarding")
      ->check(CLI::ExistingFile);
  app.add_option("--upload-host", options.upload_host, "host name that uploads are sent to");
  app.add_flag("--cdata", options.cdata, "wrap reply texts in CDATA sections");
  app.add_option("--ready-file", ready_file, "write the ports here once listening (empty: standard output)");
  app.add_option("--record", record, "write each exchange as a file into this folder");
  app.add_option("--replay", replay, "answer with the exchanges recorded in this folder")
      ->check(CLI::ExistingDirectory);
  app.add_option("--replay-ignore", replay_ignored, "fields a replayed request may differ in");
  app.add_option("--forward", forward,
                 "pass every request on to this gateway (http[s]://HOST[:PORT]) and answer as it does; "
                 "with --record, captures a real gateway's conversation");
  app.add_option("--forward-https", forward_https,
                 "where requests that arrive over TLS go (default: the --forward host over https)");
  app.add_option("--forward-ca", forward_ca, "the only authority trusted for an HTTPS --forward gateway")
      ->check(CLI::ExistingFile);
  app.add_option("--random-seed", random_seed, "draw keys and fault probabilities from this seed");
  app.add_option("--max-body-bytes", config.max_body_bytes, "largest request body held; larger: 413");
  app.add_option("--max-upload-bytes", options.max_upload_bytes,
                 "largest uploaded file, streamed to disk; larger: 413");
  app.add_option("--idle-timeout", config.idle_timeout_s, "seconds before an idle connection is closed")
      ->check(CLI::Range(1, 86400));
  app.add_option("--threads", config.threads, "event loops per port")->check(CLI::Range(1, 64));
  app.add_flag("--verbose", config.verbose, "one line per exchange on standard error");
  app.add_option("--fault", fault_specs, "a fault as the control port takes it, e.g. \"path=/upload/* skip=2 status=500\"");
  app.add_option("--delay-ms", delay_ms, "fault: answer this much later")->check(CLI::Range(0, 600000));
  app.add_option("--status", status, "fault: answer with this HTTP status (0: the gateway's own)")->check(CLI::Range(200, 599));
  app.add_flag("--malformed", malformed, "fault: send only the first half of each reply");
  app.add_flag("--drop", drop, "fault: cut the connection instead of answering");
  app.add_option("--pad-bytes", pad_bytes, "fault: make each reply this much longer");
  app.add_option("--fault-path", switches.path,
                 "limit the switch faults to this path (a trailing * matches every path it starts)");
  app.add_option("--fault-skip", switches.skip, "leave this many requests on the fault path alone first");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    return app.exit(error) == 0 ? kStopped : kUsage;
  }

  auto usage = [](const std::string &why) {
    std::cerr << "gateway-sim: " << why << "\n";
    return kUsage;
  };
  if (seed.empty() && replay.empty() && forward.empty())
    return usage("--seed is needed unless --replay or --forward is given");
  if (!replay.empty() && !forward.empty()) return usage("--replay and --forward cannot be used together");
  if (forward.empty() && !(forward_https.empty() && forward_ca.empty()))
    return usage("--forward-https and --forward-ca go with --forward");
  if (!forward.empty() && forward_https.empty()) forward_https = secure_base_of(forward);
  if (std::string why; !forward.empty() && (!forward_base_ok("--forward", forward, &why) ||
                                            !forward_base_ok("--forward-https", forward_https, &why)))
    return usage(why);
  if (!pattern_serves(switches.path)) return usage("--fault-path " + switches.path + " matches no served path");
  std::pair<const char *, int> ports[] = {{"--http-port", http_port}, {"--https-port", https_port},
                                          {"--control-port", control_port}};
  for (size_t i = 0; i < 3; ++i)
    for (size_t k = i + 1; k < 3; ++k)
      if (ports[i].second != 0 && ports[i].second == ports[k].second)
        return usage("port " + std::to_string(ports[i].second) + " is given to both " + ports[i].first +
                     " and " + ports[k].first);
  config.max_upload_bytes = options.max_upload_bytes;

  uint64_t seed_value = random_seed ? *random_seed : std::random_device{}();
  FaultTable faults(seed_value);
  if (delay_ms) switches.effects.delay_ms = delay_ms;
  if (status) switches.effects.status = status;
  if (pad_bytes) switches.effects.pad = pad_bytes;
  switches.effects.malformed = malformed;
  switches.effects.drop = drop;
  if (switches.effects.any()) faults.add(switches);
  for (const std::string &spec : fault_specs) {
    std::string why;
    std::optional<FaultRule> rule = parse_rule(parse_fields(spec), &why);
    if (!rule) return usage("--fault \"" + spec + "\": " + why);
    faults.add(std::move(*rule));
  }

  std::signal(SIGPIPE, SIG_IGN);
  xmlInitParser();
  std::string seed_text;
  std::optional<Gateway> gateway;
  std::optional<Replayer> replayer;
  std::optional<Forwarder> forwarder;
  if (!forward.empty()) {
    forwarder.emplace(forward, forward_https, forward_ca, config.max_body_bytes);
  } else if (!replay.empty()) {
    std::vector<TraceExchange> exchanges;
    std::string why;
    if (!read_trace(replay, &exchanges, &why)) {
      std::cerr << "gateway-sim: " << why << "\n";
      return kBadTrace;
    }
    replayer.emplace(std::move(exchanges), replay_ignored);
  } else {
    try {
      if (!read_file(seed, &seed_text)) throw std::runtime_error("cannot read " + seed);
      gateway.emplace(Network::from_seed(seed_text), options, Environment::real(seed_value));
    } catch (const std::exception &error) {
      std::cerr << "gateway-sim: " << error.what() << "\n";
      return kCannotStart;
    }
  }
  std::optional<TraceWriter> trace;
  if (!record.empty()) {
    trace.emplace(record);
    if (!trace->ok()) {
      std::cerr << "gateway-sim: " << trace->error() << "\n";
      return kCannotStart;
    }
  }
  if (!read_file(cert, &config.cert_pem) || !read_file(key, &config.key_pem)) {
    std::cerr << "gateway-sim: the certificate or key cannot be read\n";
    return kCannotStart;
  }
  config.connection_limit = std::max(64u, (raise_descriptor_limit() - 64) / 2);

  int fds[3];
  int *chosen[3] = {&http_port, &https_port, &control_port};
  for (int i = 0; i < 3; ++i) {
    std::string why;
    fds[i] = listen_on(chosen[i], &why);
    if (fds[i] < 0) {
      std::cerr << "gateway-sim: cannot listen for " << ports[i].first << ": " << why << "\n";
      for (int k = 0; k < i; ++k) close(fds[k]);
      return kPortTaken;
    }
  }

  // The server's threads inherit a mask without the stop signals, so this
  // thread alone receives them.
  sigset_t stop_signals;
  sigemptyset(&stop_signals);
  sigaddset(&stop_signals, SIGTERM);
  sigaddset(&stop_signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);

  Server server(config, gateway ? &*gateway : nullptr, replayer ? &*replayer : nullptr,
                forwarder ? &*forwarder : nullptr, faults, trace ? &*trace : nullptr);
  Controlled controlled{&faults, gateway ? &*gateway : nullptr, seed_text, replayer ? &*replayer : nullptr,
                        [&server] { return server.counters(); }};
  std::string why;
  if (!server.start(fds[0], fds[1], fds[2], std::move(controlled), &why)) {
    std::cerr << "gateway-sim: " << why << "\n";
    return kCannotStart;
  }

  std::string ready = "http_port=" + std::to_string(http_port) + "\nhttps_port=" + std::to_string(https_port) +
                      "\ncontrol_port=" + std::to_string(control_port) + "\n";
  int exit_code = kStopped;
  if (ready_file.empty()) {
    std::cout << ready << std::flush;
  } else if (!write_ready_file(ready_file, ready)) {
    std::cerr << "gateway-sim: cannot write " << ready_file << "\n";
    exit_code = kCannotStart;
  }
  int received = 0;
  if (exit_code == kStopped) sigwait(&stop_signals, &received);
  server.stop();
  if (replayer && replayer->unmatched_count() > 0) {
    std::cerr << "gateway-sim: replay: " << replayer->unmatched_count()
              << " requests matched no recorded exchange\n";
    if (exit_code == kStopped) exit_code = kReplayMissed;
  }
  xmlCleanupParser();
  return exit_code;
}
