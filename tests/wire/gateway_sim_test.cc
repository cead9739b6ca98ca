// gateway-sim as its users meet it: the command line, the control port's
// answers to bad requests, recorded conversations (the format, damaged
// files, replay with ignored fields).
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "gateway.h"
#include "support/gateway_sim.h"
#include "support/golden.h"
#include "support/raw_http.h"
#include "trace.h"

namespace {

using pd_test::GatewaySim;

// Runs the commands of a transcript file under tests/data/gateway-sim.
void expect_transcript(const char *program, const std::string &file, const std::vector<std::string> &before,
                       const std::vector<std::pair<std::string, std::string>> &shown) {
  std::string text = pd_test::read_data("gateway-sim/" + file);
  EXPECT_TRUE(pd_test::matches_golden("gateway-sim/" + file, pd_test::run_transcript(program, text, before, {}, shown, true)));
}

// Each refusal names what is wrong and exits with its documented status;
// the help lists every served path, every switch's default and the exit codes.
TEST(GatewaySimCommandLine, RefusesWhatCannotWorkNamingWhy) {
  std::string certs = PD_GATEWAY_SIM_CERTS;
  int port = 0, held = pd_test::loopback_socket(&port, true);
  expect_transcript(PD_GATEWAY_SIM, "refusals.txt", {"--cert", certs + "/server.pem", "--key", certs + "/server.key"},
                    {{std::to_string(port), "<busy-port>"}, {PD_GATEWAY_SIM_SEED, "<seed>"},
                     {pd_test::data_path("gateway-sim/damaged"), "<damaged>"},
                     {PD_GATEWAY_SIM, "<gateway-sim>"}});
  close(held);
}

// Every bad request says what is wrong; good ones change the faults. The
// requests of tests/data/gateway-sim/control.txt ("> METHOD PATH [BODY]"),
// each followed there by its status and answer.
TEST(GatewaySimControl, AnswersEveryRequestPlainly) {
  GatewaySim sim;
  std::string text;
  sim.start({}, false);
  std::istringstream lines(pd_test::read_data("gateway-sim/control.txt"));
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind("> ", 0) != 0) continue;
    std::istringstream words(line.substr(2));
    std::string method, path, body, answer;
    words >> method >> path;
    std::getline(words >> std::ws, body);
    int status = sim.control(method, path, body, &answer);
    text += line + "\n" + std::to_string(status) + "\n" + answer + "\n";
  }
  EXPECT_TRUE(pd_test::matches_golden("gateway-sim/control.txt", text));
  EXPECT_EQ(sim.stop(), 0);
}

// gateway-sim-ctl says what the control port answered, and exits so.
TEST(GatewaySimControl, GatewaySimCtlSendsEachRequest) {
  GatewaySim sim;
  sim.start({}, false);
  std::string port = std::to_string(sim.control_port());
  expect_transcript(PD_GATEWAY_SIM_CTL, "ctl.txt", {"--port", port}, {{PD_GATEWAY_SIM_SEED, "<seed>"}});
  EXPECT_EQ(sim.stop(), 0);
  EXPECT_EQ(pd_test::run_program({PD_GATEWAY_SIM_CTL, "--port", port, "status"}).status, 3) << "gateway-sim is gone";
}

// One exchange as a file, with a text request and a reply that is not text;
// the file reads back into the same exchange.
TEST(GatewaySimTrace, AnExchangeReadsBackFromItsFile) {
  gateway_sim::TraceExchange exchange;
  exchange.scheme = "https";
  exchange.peer = "127.0.0.1:40000";
  exchange.fault = "delay=10 slice=3";
  exchange.request = {"POST /palisade/auth HTTP/1.1", {{"Host", "gateway.palisade.example"}, {"Content-Type", "text/xml"}},
                      "<Request Method=\"login\" >\n</Request>\n"};
  exchange.reply = gateway_sim::TraceMessage{"HTTP/1.1 200 OK", {{"Content-Type", "image/jpeg"}},
                                             std::string("\xff\xd8\xff\0\r\n jpeg", 11)};
  std::string text = gateway_sim::format_exchange(exchange);
  EXPECT_TRUE(pd_test::matches_golden("gateway-sim/exchange", text));
  gateway_sim::TraceExchange back;
  std::string error;
  ASSERT_TRUE(gateway_sim::parse_exchange(text, "exchange", &back, &error)) << error;
  EXPECT_EQ(gateway_sim::format_exchange(back), text);
  EXPECT_EQ(back.method() + " " + back.path() + " " + std::to_string(back.status()), "POST /palisade/auth 200");
}

// Each damaged file is refused with its name, line and what is wrong.
TEST(GatewaySimTrace, ADamagedFileIsNamedWithItsLine) {
  std::vector<std::string> names;
  for (const auto &entry : std::filesystem::directory_iterator(pd_test::data_path("gateway-sim/damaged")))
    names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  std::string messages;
  for (const std::string &name : names) {
    gateway_sim::TraceExchange exchange;
    std::string error;
    EXPECT_FALSE(gateway_sim::parse_exchange(pd_test::read_data("gateway-sim/damaged/" + name), name, &exchange, &error));
    messages += error + "\n";
  }
  EXPECT_TRUE(pd_test::matches_golden("gateway-sim/damaged.errors", messages));
}

// A reply captured elsewhere answers a request that differs from the
// captured one only in its session key, once; after that the request
// matches nothing, is answered 404, reported, and the exit status says so.
TEST(GatewaySimReplay, IgnoresNamedFieldsAndReportsWhatMatchesNothing) {
  GatewaySim sim;
  sim.start({"--replay", pd_test::data_path("gateway-sim/replay")});
  std::string request = "<Request Method=\"retrieve\" SessionKey=\"live-key\" >\n<People ID=\"owner\" />\n</Request>\n";
  std::string url = "http://127.0.0.1:" + std::to_string(sim.http_port()) + "/palisade/friend/grouping";
  std::string first, second;
  EXPECT_EQ(pd_test::http_request("POST", url, request, &first), 200);
  EXPECT_EQ(first, "<Response HasNext=\"false\"><Friend ID=\"1002\" /></Response>\n");
  EXPECT_EQ(pd_test::http_request("POST", url, request, &second), 404);
  std::string status;
  sim.control("GET", "/status", "", &status);
  EXPECT_NE(status.find("replay_unused=0\nreplay_unmatched=1\nunmatched POST /palisade/friend/grouping (84 bytes)\n"),
            std::string::npos)
      << status;
  EXPECT_EQ(sim.stop(), 5);
}

// In front of a gateway (here a seeded simulator) --forward answers as the
// gateway does and --record captures the conversation, which --replay then
// serves offline; a gateway that does not answer is told as 502.
TEST(GatewaySimForward, CapturesAGatewaysConversationForReplay) {
  GatewaySim gateway, front, offline;
  gateway.start({}, false);
  auto url = [](const GatewaySim &sim) {
    return "http://127.0.0.1:" + std::to_string(sim.http_port()) + "/palisade/friend/grouping";
  };
  front.start({"--forward", "http://127.0.0.1:" + std::to_string(gateway.http_port())});
  std::string request = "<Request Method=\"retrieve\" SessionKey=\"k\" >\n<People ID=\"owner\" />\n</Request>\n";
  std::string direct, forwarded, replayed, unanswered;
  long status = pd_test::http_request("POST", url(gateway), request, &direct);
  EXPECT_EQ(pd_test::http_request("POST", url(front), request, &forwarded), status);
  EXPECT_EQ(forwarded, direct);
  offline.start({"--replay", front.trace_dir()}, false);
  EXPECT_EQ(pd_test::http_request("POST", url(offline), request, &replayed), status);
  EXPECT_EQ(replayed, direct);
  EXPECT_EQ(offline.stop(), 0);
  gateway.stop();
  EXPECT_EQ(pd_test::http_request("POST", url(front), request, &unanswered), 502);
  EXPECT_NE(unanswered.find("ErrCode=\"4\""), std::string::npos) << unanswered;
}

}  // namespace
