// Faults of the wire and of the gateway. Each ends with exactly one
// notification for the request, carrying the status the transport saw and
// no record (or the gateway's error number), and the next request is served.
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>

#include "e2e_fixture.h"
#include "support/golden.h"

namespace pd_test {
namespace {

constexpr const char *kFriendsPath = "/palisade/friend/grouping";

class Faults : public EndToEnd {
 protected:
  // The friends list as the conversation's golden file shows it.
  void expect_friends() {
    pd_notification friends = exchange(PD_REQ_FRIENDS, static_cast<void *>(nullptr));
    EXPECT_TRUE(matches_golden("e2e/tour/02-friends.dump", describe(friends, masks_)));
  }
  // A request on a path without faults is still served.
  void expect_albums() {
    pd_notification albums = exchange(PD_REQ_ALBUM_LIST, static_cast<void *>(nullptr));
    EXPECT_TRUE(matches_golden("e2e/tour/13-album-list.dump", describe(albums, masks_)));
  }
  // A session key the gateway never handed out.
  static void store_unknown_session_key() {
    ASSERT_EQ(sns_gconf_set_string(PD_SETTING_SESSION_KEY, "0123456789abcdef0123456789abcdef"), 1);
  }
};

// What one fault set through the control port does to the friends list: the
// notification's status and result (kFriendsList: the list as the tour
// shows it), and at least how long it took.
constexpr intptr_t kFriendsList = 1;
struct ControlFault {
  const char *fields;
  Environment environment;  // for a plug-in instance of its own
  uint32_t status;
  intptr_t result;
  int at_least_ms = 0;
};

const ControlFault kControlFaults[] = {
    {"status=503", {}, 503, 0},
    {"envelope=4/1102", {}, 200, -1102},
    {"envelope=3", {}, 200, -30},
    {"envelope=99999999999/0&context=too+big", {}, 200, INT32_MIN},
    // Half a document is no document: the reply parses into nothing.
    {"malformed", {}, 200, 0},
    {"drop", {}, 0, 0},
    {"truncate=40", {}, 0, 0},
    {"reset=40", {}, 0, 0},
    {"delay=300", {}, 200, kFriendsList, 300},
    {"delay=1000", {{"SNS_NT_TIMEOUT_MS", "300"}}, 0, 0},
    {"throttle=20000", {}, 200, kFriendsList},
    {"slice=97", {}, 200, kFriendsList},
    // The end of the answer is its close.
    {"slow-close=300", {}, 200, kFriendsList, 300},
    {"pad=3000000", {}, 200, kFriendsList},
    {"pad=2000000", {{"SNS_NT_MAX_REPLY_BYTES", "1000000"}}, 0, 0},
};

// One simulator for every fault, each set on the friends path through the
// control port and cleared after: one notification each, and a request on
// another path is served meanwhile.
TEST_F(Faults, EachFaultOfTheControlPortEndsInOneNotification) {
  start();
  login();
  for (const ControlFault &fault : kControlFaults) {
    SCOPED_TRACE(fault.fields);
    for (const auto &[name, value] : fault.environment) setenv(name, value.c_str(), 1);
    if (!fault.environment.empty()) reopen();
    ASSERT_TRUE(sim_.fault(std::string("path=") + kFriendsPath + "&" + fault.fields));
    auto begun = std::chrono::steady_clock::now();
    pd_notification friends = exchange(PD_REQ_FRIENDS, static_cast<void *>(nullptr));
    EXPECT_GE(std::chrono::steady_clock::now() - begun, std::chrono::milliseconds(fault.at_least_ms));
    if (fault.result == kFriendsList)
      EXPECT_TRUE(matches_golden("e2e/tour/02-friends.dump", describe(friends, masks_)));
    else
      EXPECT_EQ(std::make_pair(friends.uHttpStatus, friends.iResult), std::make_pair(fault.status, fault.result));
    expect_albums();
    ASSERT_TRUE(sim_.clear_faults());
    for (const auto &[name, value] : fault.environment) unsetenv(name);
    if (!fault.environment.empty()) reopen();
  }
}

// A fault limited to one path leaves the others alone, and the requests
// before the skipped ones too.
TEST_F(Faults, FaultSkipLeavesTheFirstRequestsAlone) {
  start({"--status", "500", "--fault-path", kFriendsPath, "--fault-skip", "1"});
  login();
  expect_friends();
  expect_no_record(exchange(PD_REQ_FRIENDS, static_cast<void *>(nullptr)), PD_REQ_FRIENDS, 500);
  expect_albums();
}

TEST_F(Faults, TheGatewaysErrorEnvelopeReachesTheEngineAsANegativeResult) {
  start();
  // A wrong password: the gateway refuses (code 3, sub-code 301), and the
  // keys of an earlier session are gone with the attempt.
  store_unknown_session_key();
  pd_notification refused = exchange(PD_REQ_LOGIN, std::vector<const char *>{kAnn[0], "wrong"});
  EXPECT_EQ(refused.uHttpStatus, 200u);
  EXPECT_EQ(refused.iResult, -301);
  EXPECT_EQ(stored(PD_SETTING_SESSION_KEY), "");
  // A stale session key (code 2, sub-code 202), for every kind of reply.
  store_unknown_session_key();
  for (uint32_t code : {PD_REQ_FRIENDS, PD_REQ_ALBUM_LIST, PD_REQ_ACTIVITY_FEED}) {
    pd_notification stale = exchange(code, static_cast<void *>(nullptr));
    EXPECT_EQ(stale.uHttpStatus, 200u) << code;
    EXPECT_EQ(stale.iResult, -202) << code;
  }
  pd_notification message = exchange(PD_REQ_SEND_MESSAGE,
                                     std::vector<const char *>{"1003", "palisade", nullptr, nullptr,
                                                               "Hi", "Hello", "new"});
  EXPECT_EQ(message.iResult, -202);
}

TEST_F(Faults, AnUnreachableGatewayAnswersWithStatusZero) {
  // A loopback port held by a socket that never listens: connections to it
  // are refused, and no other test can take it meanwhile.
  int probe = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  ASSERT_EQ(bind(probe, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
  ASSERT_EQ(getsockname(probe, reinterpret_cast<sockaddr *>(&address), &length), 0);
  std::string port = std::to_string(ntohs(address.sin_port));
  std::string host = PD_GATEWAY_HOST;
  setenv("SNS_NT_CONNECT_TO", (host + ":443:127.0.0.1:" + port + "," + host + ":80:127.0.0.1:" + port).c_str(), 1);
  setenv("SNS_NT_CAINFO", GatewaySim::ca_file().c_str(), 1);
  open();
  expect_no_record(exchange(PD_REQ_LOGIN, std::vector<const char *>{kAnn[0], kAnn[1]}), PD_REQ_LOGIN, 0);
  store_unknown_session_key();
  expect_no_record(exchange(PD_REQ_FRIENDS, static_cast<void *>(nullptr)), PD_REQ_FRIENDS, 0);
  engine_.close();
  close(probe);
}

// TLS is always verified: a certificate from another CA is no answer.
TEST_F(Faults, ALoginWithAnUntrustedCertificateAnswersWithStatusZero) {
  start({}, {{"SNS_NT_CAINFO", GatewaySim::other_ca_file()}});
  expect_no_record(exchange(PD_REQ_LOGIN, std::vector<const char *>{kAnn[0], kAnn[1]}), PD_REQ_LOGIN, 0);
  EXPECT_TRUE(requests().empty()) << "a request went out over an unverified connection";
  // Plain HTTP still reaches the gateway, which does not know the key.
  store_unknown_session_key();
  EXPECT_EQ(exchange(PD_REQ_FRIENDS, static_cast<void *>(nullptr)).iResult, -202);
}

}  // namespace
}  // namespace pd_test
