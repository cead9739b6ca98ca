#include "progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdlib>

#include "plugin.h"
#include "sns-tiface/sns_nt_progress.h"

namespace pdctl {
namespace {

using SetProgress = void (*)(sns_nt_progress_cb, void *);
using Clock = std::chrono::steady_clock;

SetProgress find_hook() { return transport_extension<SetProgress>("sns_nt_set_progress_cb"); }

void on_progress(uint64_t sent, uint64_t total, void *user) {
  static_cast<Progress *>(user)->update(sent, total);
}

// The binary unit that suits `bytes`, and its size.
struct Unit {
  const char *name;
  double size;
};

Unit unit_for(uint64_t bytes) {
  if (bytes >= (uint64_t{1} << 30)) return {"GiB", double(uint64_t{1} << 30)};
  if (bytes >= (uint64_t{1} << 20)) return {"MiB", double(uint64_t{1} << 20)};
  if (bytes >= 1024) return {"KiB", 1024.0};
  return {"B", 1.0};
}

std::string printed(const char *format, ...) __attribute__((format(printf, 1, 2)));
std::string printed(const char *format, ...) {
  char buffer[128];
  va_list args;
  va_start(args, format);
  std::vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  return buffer;
}

// "1.2/3.4 MiB": both in the unit of the total.
std::string amounts(uint64_t sent, uint64_t total) {
  Unit unit = unit_for(total);
  if (unit.size == 1.0) return printed("%llu/%llu B", (unsigned long long)sent, (unsigned long long)total);
  return printed("%.1f/%.1f %s", double(sent) / unit.size, double(total) / unit.size, unit.name);
}

std::string speed(double rate) {
  if (rate < 0) return {};
  Unit unit = unit_for(static_cast<uint64_t>(rate));
  return printed("%.1f %s/s", rate / unit.size, unit.name);
}

int percent_of(uint64_t sent, uint64_t total) { return static_cast<int>(sent * 100 / total); }

}  // namespace

bool Progress::attach() {
  SetProgress set = find_hook();
  if (set == nullptr) return false;
  set(on_progress, this);
  attached_ = true;
  return true;
}

void Progress::detach() {
  if (!attached_) return;
  if (SetProgress set = find_hook()) set(nullptr, nullptr);
  attached_ = false;
}

std::string Progress::line(uint64_t sent, uint64_t total, double rate, int columns) {
  const int room = columns - 1;
  int percent = percent_of(sent, total);
  std::string figures = printed("%3d%% %s", percent, amounts(sent, total).c_str());
  std::string rate_text = speed(rate);
  if (!rate_text.empty()) figures += " " + rate_text;
  // The bar takes what the figures leave; below 8 columns of it the label
  // goes first, then the bar, then the rate.
  for (const char *label : {"Uploading ", ""}) {
    int bar = room - static_cast<int>(std::char_traits<char>::length(label) + 3 + figures.size());
    if (bar < 8) continue;
    bar = std::min(bar, 40);
    std::string text = label;
    text += '[';
    for (int i = 0; i < bar; ++i) text += i < percent * bar / 100 ? '#' : '.';
    return text + "] " + figures;
  }
  std::string text = figures;
  if (static_cast<int>(text.size()) > room) text = printed("%3d%% %s", percent, amounts(sent, total).c_str());
  if (static_cast<int>(text.size()) > room) text = printed("%3d%%", percent);
  return text.substr(0, room > 0 ? static_cast<size_t>(room) : 0);
}

int Progress::columns() const {
  winsize size{};
  if (ioctl(fileno(out_), TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
  const char *columns = std::getenv("COLUMNS");
  int from_environment = columns != nullptr ? std::atoi(columns) : 0;
  return from_environment > 0 ? from_environment : 80;
}

void Progress::update(uint64_t sent, uint64_t total) {
  if (total == 0) return;
  if (sent > total) sent = total;
  int percent = percent_of(sent, total);
  std::lock_guard<std::mutex> lock(mutex_);
  Clock::time_point now = Clock::now();
  if (started_ == Clock::time_point{}) started_ = now;
  double seconds = std::chrono::duration<double>(now - started_).count();
  double rate = seconds >= 0.05 ? double(sent) / seconds : -1;
  if (terminal_) {
    // A new percentage, the end, or a fresh rate five times a second.
    if (percent == shown_percent_ && sent != total && now - drawn_at_ < std::chrono::milliseconds(200))
      return;
    std::fprintf(out_, "\r\033[K%s", line(sent, total, rate, columns()).c_str());
    drawn_ = true;
    drawn_at_ = now;
    shown_percent_ = percent;
  } else {
    int step = percent / 10 * 10;
    if (step <= shown_percent_) return;
    std::string rate_text = speed(rate);
    std::fprintf(out_, "Uploading: %3d%%  %s%s%s\n", percent, amounts(sent, total).c_str(),
                 rate_text.empty() ? "" : "  ", rate_text.c_str());
    shown_percent_ = step;
  }
  std::fflush(out_);
}

void Progress::finish() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (terminal_ && drawn_) {
    std::fputs("\r\033[K", out_);
    std::fflush(out_);
  }
  drawn_ = false;
}

}  // namespace pdctl
