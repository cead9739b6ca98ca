// Plain sockets to gateway-sim, for load: many connections at once, each
// sent a request and read until its answer is whole. Free of GoogleTest so
// benchmarks can use it too.
#ifndef PD_TESTS_SUPPORT_RAW_HTTP_H
#define PD_TESTS_SUPPORT_RAW_HTTP_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace pd_test {

// A friends-list request with a key the gateway never handed out: a short
// answer (the error envelope) that still goes through the whole gateway.
std::string stale_friends_request();

// A socket bound to a free loopback port (listening when asked); -1 when
// none could be had.
int loopback_socket(int *port, bool listening = false);

// A blocking connection to a loopback port; -1 when refused.
int open_connection(int port);

// Sends `request` on every connection at once and reads every answer (head
// and Content-Length body) for up to `seconds`: the seconds each took,
// -1 for those that got none.
std::vector<double> exchange_on_each(const std::vector<int> &fds, const std::string &request,
                                     double seconds);

// The soft descriptor limit raised to the hard one.
void raise_descriptor_limit();

// The most memory a process ever held, in kB (-1 when unknown).
long peak_kib(pid_t pid);

}  // namespace pd_test

#endif
