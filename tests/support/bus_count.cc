#include "support/bus_count.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <thread>

extern char **environ;

namespace pd_test {
namespace {
constexpr const char *kMarkInterface = "pd.test.Mark";
}

BusCount::BusCount() {
  char name[] = "/tmp/pd-monitor.XXXXXX";
  int fd = mkstemp(name);
  if (fd < 0) return;
  close(fd);
  file_ = name;
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, 1, name, O_WRONLY | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&files, 2, "/dev/null", O_WRONLY, 0);
  char *argv[] = {const_cast<char *>("dbus-monitor"), const_cast<char *>("--session"),
                  const_cast<char *>("--profile"), nullptr};
  if (posix_spawnp(&monitor_, "dbus-monitor", &files, nullptr, argv, environ) != 0) monitor_ = 0;
  posix_spawn_file_actions_destroy(&files);
  marks_ = dbus_bus_get_private(DBUS_BUS_SESSION, nullptr);
}

BusCount::~BusCount() {
  if (marks_ != nullptr) {
    dbus_connection_close(marks_);
    dbus_connection_unref(marks_);
  }
  if (monitor_ > 0) {
    kill(monitor_, SIGTERM);
    waitpid(monitor_, nullptr, 0);
  }
  if (!file_.empty()) std::remove(file_.c_str());
}

bool BusCount::mark(const char *member) {
  if (marks_ == nullptr || monitor_ <= 0) return false;
  // Resent until seen: the monitor may still be starting.
  auto until = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (std::chrono::steady_clock::now() < until) {
    DBusMessage *signal = dbus_message_new_signal("/pd/test/Mark", kMarkInterface, member);
    dbus_connection_send(marks_, signal, nullptr);
    dbus_connection_flush(marks_);
    dbus_message_unref(signal);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    if (recorded().find(std::string(kMarkInterface) + "\t" + member) != std::string::npos) return true;
  }
  return false;
}

std::string BusCount::recorded() const {
  std::ifstream in(file_);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

std::vector<std::string> BusCount::messages() const {
  const std::string begin = std::string(kMarkInterface) + "\tBegin";
  const std::string end = std::string(kMarkInterface) + "\tEnd";
  std::vector<std::string> inside;
  std::istringstream in(recorded());
  bool open = false;
  for (std::string line; std::getline(in, line);) {
    if (line.find(begin) != std::string::npos) {
      open = true;
      inside.clear();
    } else if (line.find(end) != std::string::npos) {
      if (open) return inside;
    } else if (open) {
      inside.push_back(line);
    }
  }
  return {};
}

}  // namespace pd_test
