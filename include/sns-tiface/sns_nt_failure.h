/* Why an exchange brought no answer: an extension of the project's own
 * libcurl transport.
 *
 * An exchange that ends without an HTTP answer reaches the plug-in, and
 * through it the engine, as HTTP status 0 and nothing more. A host that
 * wants to tell its user why looks this hook up at run time, as it does the
 * progress hook (the platform's transport has neither, and the plug-in
 * never uses them):
 *
 *   void (*set)(sns_nt_failure_cb, void *) =
 *       (void (*)(sns_nt_failure_cb, void *))dlsym(RTLD_DEFAULT, "sns_nt_set_failure_cb");
 *   if (set) set(on_failure, host_data);
 *
 * The callback is process-wide. It runs on the transport's worker thread,
 * once for each exchange that ends without an answer, just before the
 * response callback hears of it with status 0, so a host can match it to
 * the notification that follows by the request id. `detail` is the
 * transport's own text for a person (libcurl's message, the host and port
 * where it names them), valid during the call only. Pass a null callback
 * to stop; once that call has returned, the callback is not running and is
 * not called again. */
#ifndef SNS_TIFACE_SNS_NT_FAILURE_H
#define SNS_TIFACE_SNS_NT_FAILURE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum sns_nt_failure {
  SNS_NT_FAILURE_OTHER = 1,         /* none of the causes below */
  SNS_NT_FAILURE_REFUSED = 2,       /* nothing listens at the address: connection refused */
  SNS_NT_FAILURE_UNREACHABLE = 3,   /* the address could not be connected to otherwise */
  SNS_NT_FAILURE_NAME = 4,          /* the host name was not resolved */
  SNS_NT_FAILURE_CERTIFICATE = 5,   /* the server's TLS certificate is not trusted */
  SNS_NT_FAILURE_CA_FILE = 6,       /* the CA file (SNS_NT_CAINFO) cannot be read */
  SNS_NT_FAILURE_TLS = 7,           /* the TLS handshake failed otherwise */
  SNS_NT_FAILURE_TIMEOUT = 8,       /* no whole answer within SNS_NT_TIMEOUT_MS */
  SNS_NT_FAILURE_TOO_LARGE = 9,     /* the answer passed SNS_NT_MAX_REPLY_BYTES */
  SNS_NT_FAILURE_CONNECTION_LOST = 10, /* the server closed or broke the connection mid-exchange */
  SNS_NT_FAILURE_NO_MEMORY = 11     /* the transport ran out of memory */
};

typedef void (*sns_nt_failure_cb)(uint32_t request_id, int failure, const char *detail,
                                  void *user);

void sns_nt_set_failure_cb(sns_nt_failure_cb callback, void *user);

#ifdef __cplusplus
}
#endif

#endif
