// Counts the messages on the session bus while a piece of work runs:
// dbus-monitor records the bus into a file between two marks that this
// process sends on a connection of its own. Free of GoogleTest so
// benchmarks can use it too.
#ifndef PD_TESTS_SUPPORT_BUS_COUNT_H
#define PD_TESTS_SUPPORT_BUS_COUNT_H

#include <dbus/dbus.h>
#include <sys/types.h>

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
  // mark; false when there is no monitor or no bus.
  bool begin() { return mark("Begin"); }
  // Marks its end, the same way.
  bool end() { return mark("End"); }
  // The messages recorded between the last begin() and the end() after it,
  // one line each as dbus-monitor --profile prints them.
  std::vector<std::string> messages() const;

 private:
  bool mark(const char *member);
  std::string recorded() const;

  std::string file_;
  pid_t monitor_ = 0;
  DBusConnection *marks_ = nullptr;
};

}  // namespace pd_test

#endif
