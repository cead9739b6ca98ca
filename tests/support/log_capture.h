// Captures what the plug-in writes through its log sink.
#ifndef PD_TESTS_SUPPORT_LOG_CAPTURE_H
#define PD_TESTS_SUPPORT_LOG_CAPTURE_H

#include <string>
#include <vector>

#include "log.h"

namespace pd_test {

struct LogRecord {
  pd::log::Channel channel;
  std::string text;  // source line numbers replaced by "N"
};

// While alive, every record goes to this capture instead of the streams.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture &) = delete;
  LogCapture &operator=(const LogCapture &) = delete;

  std::vector<LogRecord> records() const;
  // All records of a channel joined, in order.
  std::string text(pd::log::Channel channel) const;
  // All records of every channel joined, in order.
  std::string all() const;
  // True when some record of any channel contains `needle`.
  bool contains(const std::string &needle) const;
  void clear();
};

}  // namespace pd_test

#endif
