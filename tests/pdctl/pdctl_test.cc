// pdctl as a person runs it: a separate process per command against
// gateway-sim on loopback, with the login state shared through real GConf in
// the test's private D-Bus session. Outputs are compared with golden files.
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>

#include "support/gateway_sim.h"
#include "support/golden.h"

namespace {

using nlohmann::json;
using pd_test::GatewaySim;
using pd_test::matches_golden;
using pd_test::RecordedRequest;
using pd_test::Outcome;

const char *const kAnn[] = {"ann@palisade.example", "harbour-lights"};

// pdctl with `args` and `input` on its standard input, in a fixed time zone
// (tables show local times).
Outcome pdctl(std::vector<std::string> args, const std::string &input = {}) {
  args.insert(args.begin(), PDCTL);
  return pd_test::run_program(args, {"TZ=UTC"}, input);
}

// What changes from run to run: session and persist keys, the ports of the
// simulator, libcurl's timings, the build's folders, the times of what a
// test sent (the seed's are of November 2023).
std::string mask(std::string text) {
  text = std::regex_replace(text, std::regex("[0-9a-f]{32}"), "<key>");
  text = std::regex_replace(text, std::regex("\\b17[1-9][0-9]{7}\\b"), "<now>");
  text = std::regex_replace(text, std::regex("20(2[4-9]|[3-9][0-9])-[0-9]{2}-[0-9]{2}[ T][0-9:]{5}(:[0-9]{2}Z)?"), "<now>");
  text = std::regex_replace(text, std::regex("port [0-9]+"), "port <port>");
  text = std::regex_replace(text, std::regex("after [0-9]+ (ms|milliseconds)"), "after <n> $1");
  return text;
}

class PdctlTest : public ::testing::Test {
 protected:
  void SetUp() override { start(); }

  void start(std::vector<std::string> switches = {}) {
    sim_.start(switches);
    sim_.export_environment();
  }

  void login() {
    Outcome run = pdctl({"login", kAnn[0], kAnn[1]});
    ASSERT_EQ(run.status, 0) << run.err;
  }

  // Runs the commands of a transcript file and compares all they said with it.
  void expect_transcript(const std::string &name, std::vector<std::string> env = {}) {
    env.insert(env.begin(), "TZ=UTC");
    std::string file = "pdctl/" + name + ".txt";
    std::string said = pd_test::run_transcript(PDCTL, pd_test::read_data(file), {}, env,
                                               {{GatewaySim::other_ca_file(), "<other-ca.pem>"},
                                                {SNS_TIFACE, "<sns-tiface>"}, {PD_TEST_DATA_DIR, "<data>"},
                                                {PD_VERSION, "<version>"}, {PDCTL, "<pdctl>"}}, false);
    EXPECT_TRUE(matches_golden(file, mask(said)));
  }

  GatewaySim sim_;
};

// Each command's table and JSON output, the seeded network's lists, then the
// changes, each made twice.
TEST_F(PdctlTest, OutputsOfEveryCommand) { expect_transcript("outputs"); }

// Only the first page is fetched; a table says when the gateway holds more.
TEST_F(PdctlTest, MorePagesAreMentioned) { expect_transcript("more-pages"); }

// Several chunks, and progress told on standard error when asked for. (That
// the plug-in sends the file whole the end-to-end upload matrix shows.)
TEST_F(PdctlTest, UploadSendsTheWholeFile) {
  login();
  std::string path = ::testing::TempDir() + "pdctl-upload.jpg";
  std::string bytes;
  for (uint32_t i = 0; bytes.size() < 200000; ++i) bytes += static_cast<char>((i * 2654435761u) >> 24);
  std::ofstream(path, std::ios::binary) << bytes;

  Outcome run = pdctl({"--progress", "upload", path, "al4"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(matches_golden("pdctl/upload.txt", run.out));
  EXPECT_NE(run.err.find("Uploading: 100%  195.3/195.3 KiB"), std::string::npos) << run.err;
  run = pdctl({"--json", "upload", path, "al4"});
  EXPECT_TRUE(matches_golden("pdctl/upload.json", run.out + run.err));
}

TEST_F(PdctlTest, VerboseKeepsTheOutputAndShowsThePluginLines) {
  login();
  Outcome quiet = pdctl({"albums"});
  Outcome verbose = pdctl({"-v", "albums"});
  EXPECT_EQ(verbose.status, 0);
  EXPECT_EQ(verbose.out, quiet.out);
  EXPECT_EQ(quiet.err, "");
  EXPECT_NE(verbose.err.find("[PD-PLUGIN-DEBUG]"), std::string::npos);
  EXPECT_NE(verbose.err.find("Get album list response recieved"), std::string::npos);
}

// A failed login or logout says that the stored session is gone: the
// plug-in clears it before it sends either.
TEST_F(PdctlTest, GatewayErrorsAndRefusals) {
  std::ofstream("pdctl-photo.jpg", std::ios::binary) << "not looked at: the album is refused first";
  expect_transcript("refusals");
}

// pdctl escapes what XML gives a meaning to, so every text reaches the
// gateway and comes back exactly as typed; --raw hands texts over as they
// are, for testing gateways.
TEST_F(PdctlTest, TextsArriveExactlyAsTyped) {
  login();
  std::string megabyte;
  while (megabyte.size() < (1u << 20)) megabyte += "Tom & Jerry <b>\"hi\"</b> 'x' \xc2\xb0 \xe6\x9d\xb1\n";
  // Each row of the file: a command, the command that reads its text back,
  // and the texts the answer must hold at JSON pointers (the newest
  // activity or thread comes first).
  auto text = [&megabyte](const json &value) { return value == "<megabyte>" ? megabyte : value.get<std::string>(); };
  for (const json &row : json::parse(pd_test::read_data("pdctl/cases/round-trips.json"))) {
    std::vector<std::string> send;
    for (const json &word : row["send"]) send.push_back(text(word));
    SCOPED_TRACE(send.back().substr(0, 40));
    Outcome run = pdctl(send, row.contains("input") ? text(row["input"]) : "");
    ASSERT_EQ(run.status, 0) << run.err;
    Outcome back = pdctl(row["read"].get<std::vector<std::string>>());
    ASSERT_EQ(back.status, 0) << back.err;
    json document = json::parse(back.out);
    for (const json &held : row["held"])
      EXPECT_EQ(document.at(json::json_pointer(held[1].get<std::string>())), text(held[0])) << held[1];
  }
  // The gateway read the escaped bytes; unescaped, a "<" breaks the request.
  std::vector<RecordedRequest> requests = sim_.requests();
  ASSERT_GT(requests.size(), 1u);
  EXPECT_NE(requests[1].request.body.find("<Status>Tom &amp; Jerry</Status>"), std::string::npos)
      << requests[1].request.body;
  EXPECT_TRUE(std::any_of(requests.begin(), requests.end(), [](const RecordedRequest &request) {
    return request.request.body.find("<Status></Status>") != std::string::npos;
  }));
  expect_transcript("raw-texts");
}

// Each names its cause, as our transport tells it; the last with nothing
// listening any more on the ports the transport is sent to.
TEST_F(PdctlTest, TransportFailuresEndWithExitThree) {
  const std::pair<const char *, std::vector<std::string>> rows[] = {
      {"transport-status", {"--status", "503"}}, {"transport-malformed", {"--malformed"}},
      {"transport-dropped", {"--drop"}},         {"transport-timeout", {"--delay-ms", "3000"}},
      {"transport-large", {}},                   {"transport-unresolved", {}},
      {"transport-certificate", {}},             {"transport-unreachable", {}}};
  for (auto [name, switches] : rows) {
    sim_.stop();
    if (!switches.empty()) switches.insert(switches.end(), {"--fault-path", "/palisade/photo/album"});
    start(switches);
    login();
    if (name == std::string("transport-unreachable")) sim_.stop();
    expect_transcript(name);
  }
}

// GConf keeps the login state and needs a D-Bus session: without one
// nothing is sent and nothing is claimed. Usage errors are refused before
// anything is sent.
TEST_F(PdctlTest, NothingIsSentWithoutGConfOrForAUsageError) {
  expect_transcript("no-session", {"DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent/bus"});
  expect_transcript("usage-errors");
  EXPECT_TRUE(sim_.requests().empty());
}

// The bar on a terminal of 40 and 100 columns: every redraw fits in one
// line, with the bytes sent in KiB or MiB and, once known, the rate.
TEST_F(PdctlTest, UploadProgressFitsTheTerminal) {
  sim_.stop();
  start({"--delay-ms", "20", "--fault-path", "/upload/*"});
  login();
  std::string path = ::testing::TempDir() + "pdctl-progress.jpg";
  std::ofstream(path, std::ios::binary) << std::string(1 << 20, 'x');
  for (unsigned short columns : {40, 100}) {
    SCOPED_TRACE(columns);
    winsize size{24, columns, 0, 0};
    int terminal = -1;
    pid_t pid = forkpty(&terminal, nullptr, nullptr, &size);
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      setenv("TERM", "dumb", 1);
      execl(PDCTL, PDCTL, "upload", path.c_str(), "al4", static_cast<char *>(nullptr));
      _exit(127);
    }
    std::string screen;
    char buffer[4096];
    for (ssize_t n; (n = ::read(terminal, buffer, sizeof buffer)) > 0;) screen.append(buffer, static_cast<size_t>(n));
    close(terminal);
    int status = 0;
    waitpid(pid, &status, 0);
    ASSERT_EQ(WEXITSTATUS(status), 0) << screen;
    std::vector<std::string> bars;
    std::string lines = std::regex_replace(screen, std::regex("\x1b\\[K"), "");
    const std::regex line_ends("[\r\n]+");
    for (auto it = std::sregex_token_iterator(lines.begin(), lines.end(), line_ends, -1);
         it != std::sregex_token_iterator(); ++it) {
      EXPECT_LT(it->length(), columns) << it->str();
      if (it->str().find('%') != std::string::npos) bars.push_back(it->str());
    }
    ASSERT_GT(bars.size(), 2u) << screen;
    std::smatch percent;
    for (int i = 0, before = 0; i < static_cast<int>(bars.size()); ++i) {  // the transport's progress only grows
      ASSERT_TRUE(std::regex_search(bars[i], percent, std::regex("([0-9]+)%"))) << bars[i];
      EXPECT_GE(std::stoi(percent[1]), before) << bars[i];
      before = std::stoi(percent[1]);
    }
    EXPECT_NE(bars.front().find("[..."), std::string::npos) << bars.front();
    EXPECT_NE(bars.front().find("0.0/1.0 MiB"), std::string::npos) << bars.front();
    EXPECT_TRUE(std::regex_search(bars.back(), std::regex("100% 1.0/1.0 MiB [0-9.]+ (KiB|MiB)/s$"))) << bars.back();
    // The bar goes when the upload ends; the record follows.
    EXPECT_NE(screen.find("\r\x1b[KPhoto uploaded"), std::string::npos);
  }
}

// From --plugin or PDCTL_PLUGIN: a file that is not there, a library that is
// not the plug-in, a file that is no library.
TEST_F(PdctlTest, PluginThatCannotBeLoaded) { expect_transcript("no-plugin"); }

// The version, the overview (every command with the first line of its own
// help, the exit codes) and each command's help.
TEST_F(PdctlTest, HelpForEveryCommand) { expect_transcript("help"); }

}  // namespace
