// The upload's progress on standard error: on a terminal one line, redrawn
// in place to fit the terminal's width and cleared when the upload ends;
// elsewhere (a log, a pipe) a line at every tenth of the file, so the record
// stays short. Both show the bytes sent in KiB or MiB and the rate so far.
#ifndef PDCTL_PROGRESS_H
#define PDCTL_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>

namespace pdctl {

class Progress {
 public:
  Progress(std::FILE *out, bool terminal) : out_(out), terminal_(terminal) {}

  // Hooks the progress into the transport when it offers the hook (the
  // project's transport does; the platform's does not, and then nothing is
  // drawn). Returns whether it did.
  bool attach();
  // Unhooks; call once no transport callback can run any more.
  void detach();

  // Called on the transport's thread with the bytes of the file sent so far.
  void update(uint64_t sent, uint64_t total);
  // Clears the line on a terminal.
  void finish();

  // The terminal line for `sent` of `total` bytes at `rate` bytes per second
  // (negative: not known yet), at most `columns` - 1 characters wide so the
  // terminal never wraps it.
  static std::string line(uint64_t sent, uint64_t total, double rate, int columns);

 private:
  int columns() const;

  std::mutex mutex_;
  std::FILE *out_;
  bool terminal_;
  bool attached_ = false;
  bool drawn_ = false;
  int shown_percent_ = -1;
  std::chrono::steady_clock::time_point started_, drawn_at_;
};

}  // namespace pdctl

#endif
