#include "support/raw_http.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <regex>

namespace pd_test {
namespace {

using Clock = std::chrono::steady_clock;

bool whole_answer(const std::string &text) {
  size_t head = text.find("\r\n\r\n");
  if (head == std::string::npos) return false;
  std::smatch length;
  std::string fields = text.substr(0, head);
  if (!std::regex_search(fields, length, std::regex("Content-Length: ([0-9]+)", std::regex::icase)))
    return false;
  return text.size() >= head + 4 + std::stoul(length[1]);
}

}  // namespace

std::string stale_friends_request() {
  std::string body = "<Request Method=\"retrieve\" SessionKey=\"0\" ></Request>";
  return "POST /palisade/friend/grouping HTTP/1.1\r\nHost: gateway.palisade.example\r\n"
         "Content-Type: text/xml\r\nContent-Length: " +
         std::to_string(body.size()) + "\r\n\r\n" + body;
}

int loopback_socket(int *port, bool listening) {
  int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 || (listening && listen(fd, 8) != 0) ||
      getsockname(fd, reinterpret_cast<sockaddr *>(&address), &length) != 0) {
    close(fd);
    return -1;
  }
  *port = ntohs(address.sin_port);
  return fd;
}

int open_connection(int port) {
  int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<uint16_t>(port));
  if (connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

std::vector<double> exchange_on_each(const std::vector<int> &fds, const std::string &request,
                                     double seconds) {
  Clock::time_point start = Clock::now();
  auto until = start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
  std::vector<double> took(fds.size(), -1);
  std::vector<std::string> got(fds.size());
  std::vector<pollfd> waiting;
  std::vector<size_t> index;  // of each waiting connection in `fds`
  for (size_t i = 0; i < fds.size(); ++i)
    if (fds[i] >= 0 && send(fds[i], request.data(), request.size(), MSG_NOSIGNAL) ==
                           static_cast<ssize_t>(request.size())) {
      waiting.push_back({fds[i], POLLIN, 0});
      index.push_back(i);
    }
  while (!waiting.empty() && Clock::now() < until) {
    if (poll(waiting.data(), waiting.size(), 100) <= 0) continue;
    for (size_t w = 0; w < waiting.size();) {
      char buffer[4096];
      ssize_t n = waiting[w].revents != 0 ? recv(waiting[w].fd, buffer, sizeof buffer, 0) : -2;
      if (n > 0) got[index[w]].append(buffer, static_cast<size_t>(n));
      bool whole = n > 0 && whole_answer(got[index[w]]);
      if (whole) took[index[w]] = std::chrono::duration<double>(Clock::now() - start).count();
      if (whole || n == 0 || n == -1) {
        waiting.erase(waiting.begin() + static_cast<long>(w));
        index.erase(index.begin() + static_cast<long>(w));
      } else {
        ++w;
      }
    }
  }
  return took;
}

void raise_descriptor_limit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

long peak_kib(pid_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(status, line);)
    if (line.rfind("VmHWM:", 0) == 0) return std::atol(line.c_str() + 6);
  return -1;
}

}  // namespace pd_test
