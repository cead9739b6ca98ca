// gateway-sim's answer to a new client while it is busy holding others:
// two simulators side by side, one quiet and one holding 100 clients that
// never finish their headers and 1,000 idle keep-alive connections.
// Requests alternate between the two, so the machine's noise falls on both
// sides alike; the ratio busy/quiet of each pair is reported as min, median
// and max, next to the busy side's own times.
#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/gateway_sim.h"
#include "support/raw_http.h"

namespace {

using pd_test::GatewaySim;

// Seconds for one request on a new connection; throws without an answer.
double one_request(int port) {
  auto start = std::chrono::steady_clock::now();
  int fd = pd_test::open_connection(port);
  std::vector<double> took = pd_test::exchange_on_each({fd}, pd_test::stale_friends_request(), 10);
  if (fd >= 0) close(fd);
  if (took[0] < 0) throw std::runtime_error("no answer");
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void set_spread(benchmark::State &state, const char *name, std::vector<double> values) {
  std::sort(values.begin(), values.end());
  state.counters[std::string(name) + "_min"] = values.front();
  state.counters[std::string(name) + "_median"] = values[values.size() / 2];
  state.counters[std::string(name) + "_max"] = values.back();
}

void BM_NewClientWhileOthersAreHeld(benchmark::State &state) {
  pd_test::raise_descriptor_limit();
  GatewaySim quiet, busy;
  try {
    quiet.start({}, false);
    busy.start({}, false);
  } catch (const std::runtime_error &error) {
    state.SkipWithError(error.what());
    return;
  }
  std::vector<int> held;
  std::string part = "POST /palisade/auth HTTP/1.1\r\nHost: gateway.palisade.example\r\n";
  for (int i = 0; i < 100; ++i) {
    held.push_back(pd_test::open_connection(busy.http_port()));
    send(held.back(), part.data(), part.size(), MSG_NOSIGNAL);
  }
  std::vector<int> idle;
  for (int i = 0; i < 1000; ++i) idle.push_back(pd_test::open_connection(busy.http_port()));
  pd_test::exchange_on_each(idle, pd_test::stale_friends_request(), 60);
  held.insert(held.end(), idle.begin(), idle.end());

  std::vector<double> ratios, busy_ms;
  for (auto _ : state) {
    double a = one_request(quiet.http_port()), b = one_request(busy.http_port());
    ratios.push_back(b / a);
    busy_ms.push_back(b * 1000);
  }
  set_spread(state, "ratio", ratios);
  set_spread(state, "busy_ms", busy_ms);
  for (int fd : held)
    if (fd >= 0) close(fd);
}

BENCHMARK(BM_NewClientWhileOthersAreHeld)->Iterations(300)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
