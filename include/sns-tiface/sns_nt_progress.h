/* Upload progress: an extension of the project's own libcurl transport.
 *
 * The platform's transport has no such call, so a host looks it up at run
 * time instead of linking it:
 *
 *   void (*set)(sns_nt_progress_cb, void *) =
 *       (void (*)(sns_nt_progress_cb, void *))dlsym(RTLD_DEFAULT, "sns_nt_set_progress_cb");
 *   if (set) set(on_progress, host_data);
 *
 * The callback is process-wide (a host that loads the plug-in with dlopen
 * never sees a transport handle). It runs on a transport worker thread while
 * an upload chunk (request kind 2) is on the wire, with the bytes of the whole
 * file sent so far and the file's size, as the chunk's Content-Range names
 * them. Pass a null callback to stop; once that call has returned, the
 * callback is not running and is not called again. */
#ifndef SNS_TIFACE_SNS_NT_PROGRESS_H
#define SNS_TIFACE_SNS_NT_PROGRESS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef void (*sns_nt_progress_cb)(uint64_t sent, uint64_t total, void *user);

void sns_nt_set_progress_cb(sns_nt_progress_cb callback, void *user);

#ifdef __cplusplus
}
#endif

#endif
