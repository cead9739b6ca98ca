// The upload's progress on standard error: one line redrawn in place on a
// terminal and cleared when the upload ends; elsewhere (a log, a pipe) a
// line at every tenth of the file, so the record stays short.
#ifndef PDCTL_PROGRESS_H
#define PDCTL_PROGRESS_H

#include <cstdint>
#include <cstdio>
#include <mutex>

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

 private:
  std::mutex mutex_;
  std::FILE *out_;
  bool terminal_;
  bool attached_ = false;
  bool drawn_ = false;
  int shown_percent_ = -1;
};

}  // namespace pdctl

#endif
