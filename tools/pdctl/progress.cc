#include "progress.h"

#include <dlfcn.h>

#include "sns-tiface/sns_nt_progress.h"

namespace pdctl {
namespace {

using SetProgress = void (*)(sns_nt_progress_cb, void *);

SetProgress find_hook() {
  return reinterpret_cast<SetProgress>(dlsym(RTLD_DEFAULT, "sns_nt_set_progress_cb"));
}

void on_progress(uint64_t sent, uint64_t total, void *user) {
  static_cast<Progress *>(user)->update(sent, total);
}

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

void Progress::update(uint64_t sent, uint64_t total) {
  if (total == 0) return;
  if (sent > total) sent = total;
  int percent = static_cast<int>(sent * 100 / total);
  std::lock_guard<std::mutex> lock(mutex_);
  if (terminal_) {
    if (percent == shown_percent_ && sent != total) return;
    constexpr int kBar = 30;
    char bar[kBar + 1];
    for (int i = 0; i < kBar; ++i) bar[i] = i < percent * kBar / 100 ? '#' : '.';
    bar[kBar] = '\0';
    std::fprintf(out_, "\r\033[KUploading [%s] %3d%%  %llu / %llu bytes", bar, percent,
                 static_cast<unsigned long long>(sent), static_cast<unsigned long long>(total));
    drawn_ = true;
    shown_percent_ = percent;
  } else {
    int step = percent / 10 * 10;
    if (step <= shown_percent_) return;
    std::fprintf(out_, "Uploading: %3d%%  %llu / %llu bytes\n", percent,
                 static_cast<unsigned long long>(sent), static_cast<unsigned long long>(total));
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
