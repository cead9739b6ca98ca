// Counts the messages on the session bus while a piece of work runs: a
// connection of this process becomes a bus monitor and sees everything
// between two marks that another connection of its own sends. Free of
// GoogleTest so benchmarks can use it too.
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

  // Marks the start of the work and waits until the monitor has seen the
  // mark; false when there is no bus or it refuses a monitor.
  bool begin() { return mark("Begin"); }
  // Marks its end, the same way.
  bool end() { return mark("End"); }
  // The messages seen between the last begin() and the end() after it, one
  // line each: type, sender, destination, interface and member.
  std::vector<std::string> messages() const { return seen_; }

 private:
  bool mark(const char *member);

  DBusConnection *monitor_ = nullptr, *marks_ = nullptr;
  std::vector<std::string> seen_;
};

}  // namespace pd_test

#endif
