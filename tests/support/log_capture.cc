#include "support/log_capture.h"

#include <mutex>
#include <regex>

namespace pd_test {
namespace {
std::mutex g_mutex;
std::vector<LogRecord> g_records;

std::string mask_line_number(std::string_view text) {
  static const std::regex line_number(R"(^(\[PD-PLUGIN-(DEBUG|ERROR)\][^:]*:[^:]*:)[0-9]+: )");
  return std::regex_replace(std::string(text), line_number, "$1N: ",
                            std::regex_constants::format_first_only);
}
}  // namespace

LogCapture::LogCapture() {
  clear();
  pd::log::set_writer([](pd::log::Channel channel, std::string_view text) {
    std::lock_guard<std::mutex> lock(g_mutex);
    g_records.push_back({channel, mask_line_number(text)});
  });
}

LogCapture::~LogCapture() { pd::log::set_writer({}); }

std::vector<LogRecord> LogCapture::records() const {
  std::lock_guard<std::mutex> lock(g_mutex);
  return g_records;
}

std::string LogCapture::text(pd::log::Channel channel) const {
  std::string out;
  for (const LogRecord &record : records())
    if (record.channel == channel) out += record.text;
  return out;
}

std::string LogCapture::all() const {
  std::string out;
  for (const LogRecord &record : records()) out += record.text;
  return out;
}

bool LogCapture::contains(const std::string &needle) const {
  for (const LogRecord &record : records())
    if (record.text.find(needle) != std::string::npos) return true;
  return false;
}

void LogCapture::clear() {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_records.clear();
}

}  // namespace pd_test
