// How the end-to-end golden files under tests/data/e2e show an exchange:
// the request as gateway-sim received it, and the notification the engine
// got, with the values that change from run to run masked.
#ifndef PD_TESTS_E2E_CONVERSATION_H
#define PD_TESTS_E2E_CONVERSATION_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "pd-plugin/pd_plugin.h"
#include "support/gateway_sim.h"

namespace pd_test {

// Keys the simulator hands out (session, persist, upload resources) and the
// times it stamps on what a test creates.
class Masks {
 public:
  Masks();
  // Shows `value` as `placeholder` from now on.
  void add(const std::string &value, const std::string &placeholder);
  // Every masked value replaced; every ten-digit number from the start of
  // the run up to an hour past now shown as "<now>".
  std::string apply(std::string text) const;

 private:
  std::vector<std::pair<std::string, std::string>> values_;
  int64_t since_;
};

// A settings value as GConf holds it now ("" when unset).
std::string stored_setting(uint32_t index);

// "code C status S" and the result's dump (a record, "result: null" or a
// gateway error number).
std::string describe(const pd_notification &notification, const Masks &masks);

// Method, path, scheme, the headers that matter to the gateway (Host,
// Content-Type, Content-Range, Expect, Transfer-Encoding), the body length and,
// for XML, the body. An upload resource shows as "/upload/<resource>".
std::string describe(const RecordedRequest &request, const Masks &masks);

}  // namespace pd_test

#endif
