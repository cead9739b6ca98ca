// Counts the messages on the session bus while a piece of work runs: one
// connection of this process becomes a bus monitor and keeps what it sees
// between two marks that another connection sends. Free of GoogleTest so
// benchmarks can use it too.
#ifndef PD_TESTS_SUPPORT_BUS_COUNT_H
#define PD_TESTS_SUPPORT_BUS_COUNT_H

#include <dbus/dbus.h>

#include <string>
#include <vector>

namespace pd_test {

class BusCount {
 public:
  BusCount();
  ~BusCount();
  BusCount(const BusCount &) = delete;
  BusCount &operator=(const BusCount &) = delete;
  // Each marks the start or the end of the work and waits until the monitor
  // has seen the mark; false without a bus or a monitor.
  bool begin() { return mark("Begin"); }
  bool end() { return mark("End"); }
  // The messages seen between begin() and end(): type, sender, destination,
  // interface and member, tab-separated.
  std::vector<std::string> messages() const { return seen_; }

 private:
  bool mark(const char *member);
  DBusConnection *monitor_, *marks_;
  std::vector<std::string> seen_;
};

}  // namespace pd_test

#endif
