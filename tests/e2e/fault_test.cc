// Faults of the wire and of the gateway. Each ends with exactly one
// notification for the request, carrying the status the transport saw and
// no record (or the gateway's error number), and the next request is served.
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

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

struct WireFault {
  const char *name;
  std::vector<std::string> switches;
  Environment environment;
  uint32_t status;  // of the friends request's notification
};

void PrintTo(const WireFault &fault, std::ostream *out) { *out << fault.name; }

class WireFaults : public Faults, public ::testing::WithParamInterface<WireFault> {};

TEST_P(WireFaults, OneNotificationWithoutARecordAndTheNextRequestServed) {
  const WireFault &fault = GetParam();
  std::vector<std::string> switches = fault.switches;
  switches.insert(switches.end(), {"--fault-path", kFriendsPath});
  start(switches, fault.environment);
  login();
  expect_no_record(exchange(PD_REQ_FRIENDS, static_cast<void *>(nullptr)), PD_REQ_FRIENDS, fault.status);
  expect_albums();
}

INSTANTIATE_TEST_SUITE_P(
    Switches, WireFaults,
    ::testing::Values(
        WireFault{"Status503", {"--status", "503"}, {}, 503},
        // Half a document is no document: the reply parses into nothing.
        WireFault{"Malformed", {"--malformed"}, {}, 200},
        WireFault{"Dropped", {"--drop"}, {}, 0},
        WireFault{"SlowerThanTheTimeout", {"--delay-ms", "2500"}, {{"SNS_NT_TIMEOUT_MS", "1000"}}, 0},
        WireFault{"LongerThanTheReplyLimit", {"--pad-bytes", "2000000"},
                  {{"SNS_NT_MAX_REPLY_BYTES", "1000000"}}, 0}),
    [](const auto &info) { return std::string(info.param.name); });

// Megabytes of reply within the transport's limit parse as a short one.
TEST_F(Faults, AHugeReplyWithinTheLimitParsesWhole) {
  start({"--pad-bytes", "3000000", "--fault-path", kFriendsPath});
  login();
  expect_friends();
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
