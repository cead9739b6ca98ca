// pdctl as a person runs it: a separate process per command against
// gateway-sim on loopback, with the login state shared through real GConf in
// the test's private D-Bus session. Outputs are compared with golden files.
#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>

#include "support/gateway_sim.h"
#include "support/golden.h"

namespace {

using nlohmann::json;
using pd_test::GatewaySim;
using pd_test::RecordedRequest;
using pd_test::matches_golden;

struct Result {
  int status = -1;
  std::string out, err;
};

// Runs pdctl with `args`; the environment is the test's plus a fixed time
// zone (tables show local times) and `extra`.
Result pdctl(const std::vector<std::string> &args, const std::vector<std::string> &extra = {}) {
  std::vector<std::string> words = {PDCTL};
  words.insert(words.end(), args.begin(), args.end());
  std::vector<std::string> env = {"TZ=UTC"};
  for (char **e = environ; *e != nullptr; ++e)
    if (std::string(*e).rfind("TZ=", 0) != 0) env.emplace_back(*e);
  env.insert(env.end(), extra.begin(), extra.end());
  std::vector<char *> argv, envp;
  for (std::string &w : words) argv.push_back(w.data());
  for (std::string &e : env) envp.push_back(e.data());
  argv.push_back(nullptr);
  envp.push_back(nullptr);

  int out[2], err[2];
  Result run;
  if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) return run;
  pid_t pid = fork();
  if (pid == 0) {
    dup2(out[1], STDOUT_FILENO);
    dup2(err[1], STDERR_FILENO);
    execve(argv[0], argv.data(), envp.data());
    _exit(127);
  }
  close(out[1]);
  close(err[1]);
  pollfd fds[2] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
  std::string *sinks[2] = {&run.out, &run.err};
  int open_pipes = 2;
  while (open_pipes > 0 && poll(fds, 2, 60000) > 0) {
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || fds[i].revents == 0) continue;
      char buffer[4096];
      ssize_t n = read(fds[i].fd, buffer, sizeof buffer);
      if (n > 0) {
        sinks[i]->append(buffer, static_cast<size_t>(n));
      } else {
        close(fds[i].fd);
        fds[i].fd = -1;
        --open_pipes;
      }
    }
  }
  int status = 0;
  waitpid(pid, &status, 0);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return run;
}

// The command, its exit status and what it wrote, as a reviewer reads it.
std::string transcript(const std::vector<std::string> &args, const Result &run) {
  std::string text = "$ pdctl";
  for (const std::string &arg : args)
    text += " " + (arg.empty() || arg.find(' ') != std::string::npos ? "'" + arg + "'" : arg);
  return text + "\nexit " + std::to_string(run.status) + "\n" + run.out + run.err + "\n";
}

// Session and persist keys are new for every login.
std::string mask_keys(const std::string &text) {
  return std::regex_replace(text, std::regex("[0-9a-f]{32}"), "<key>");
}

std::string read_file(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

class PdctlTest : public ::testing::Test {
 protected:
  void SetUp() override { start(); }

  void start(const std::vector<std::string> &switches = {}) {
    std::string error;
    ASSERT_TRUE(sim_.start(switches, &error)) << error;
    sim_.export_environment();
  }

  void login() {
    Result run = pdctl({"login", "ann@palisade.example", "harbour-lights"});
    ASSERT_EQ(run.status, 0) << run.err;
  }

  // The table or (with --json first) the JSON output of one command against
  // a golden file.
  void expect_output(const std::string &file, const std::vector<std::string> &args) {
    Result run = pdctl(args);
    EXPECT_EQ(run.status, 0) << file << ": " << run.err;
    EXPECT_EQ(run.err, "");
    if (args.front() == "--json") {
      EXPECT_TRUE(json::accept(run.out)) << run.out;
    }
    EXPECT_TRUE(matches_golden("pdctl/" + file, mask_keys(run.out)));
  }

  // Both; a command that changes something does it twice.
  void expect_outputs(const std::string &name, const std::vector<std::string> &args) {
    expect_output(name + ".txt", args);
    std::vector<std::string> with_json = {"--json"};
    with_json.insert(with_json.end(), args.begin(), args.end());
    expect_output(name + ".json", with_json);
  }

  // Runs each command and compares the transcript of all with one file.
  void expect_transcript(const std::string &name, const std::vector<std::vector<std::string>> &commands,
                         const std::vector<std::string> &extra = {}) {
    std::string text;
    for (const auto &args : commands) text += transcript(args, pdctl(args, extra));
    EXPECT_TRUE(matches_golden("pdctl/" + name + ".txt", mask_keys(text)));
  }

  GatewaySim sim_;
};

TEST_F(PdctlTest, LoginShowsTheIdentity) { expect_outputs("login", {"login", "ann@palisade.example", "harbour-lights"}); }

// Without USER and PASSWORD the plug-in takes the ones stored in GConf.
TEST_F(PdctlTest, LoginWithStoredCredentials) {
  for (const char *setting : {"/Apps/Sns/UserName ann@palisade.example", "/Apps/Sns/Password harbour-lights"})
    ASSERT_EQ(std::system(("gconftool-2 --type string --set " + std::string(setting)).c_str()), 0);
  Result run = pdctl({"--json", "login"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(json::parse(run.out)["people_id"], "1001");
}

TEST_F(PdctlTest, ListsOfTheSeededNetwork) {
  login();
  expect_outputs("friends", {"friends"});
  expect_outputs("albums", {"albums"});
  expect_outputs("photos-al1", {"photos", "al1"});
  expect_outputs("comments-photo-p201", {"comments", "photo", "p201"});
  expect_outputs("comments-activity-a101", {"comments", "activity", "a101"});
  expect_outputs("search-an", {"search", "an"});
  expect_outputs("search-nobody", {"search", "zebedee"});
}

TEST_F(PdctlTest, FeedAndMessagesAsTrees) {
  login();
  expect_outputs("feed", {"feed"});
  expect_outputs("messages-inbox", {"messages", "inbox"});
  expect_outputs("messages-outbox", {"messages", "outbox"});
}

TEST_F(PdctlTest, ChangesShowInLaterAnswers) {
  login();
  expect_outputs("status", {"status", "Out mapping"});
  json feed = json::parse(pdctl({"--json", "feed"}).out);
  EXPECT_EQ(feed["activities"][0]["content"], "Out mapping");
  EXPECT_EQ(feed["activities"][0]["owner_id"], "1001");

  expect_outputs("comment-photo", {"comment", "photo", "p201", "Fog again"});
  json comments = json::parse(pdctl({"--json", "comments", "photo", "p201"}).out);
  EXPECT_EQ(comments["comments"].back()["content"], "Fog again");
  EXPECT_EQ(comments["comments"].back()["commenter_name"], "Ann Lee");

  expect_outputs("send", {"send", "--to", "1002", "--title", "Maps", "--content", "Tuesday?"});
  json outbox = json::parse(pdctl({"--json", "messages", "outbox"}).out);
  json message = outbox["threads"][0]["messages"][0];
  EXPECT_EQ(message["title"], "Maps");
  EXPECT_EQ(message["content"], "Tuesday?");
  EXPECT_EQ(message["receiver_groups"][0]["receivers"][0]["id"], "1002");

  expect_output("logout.txt", {"logout"});
  login();
  expect_output("logout.json", {"--json", "logout"});
}

// Only the first page is fetched; a table says when the gateway holds more.
TEST_F(PdctlTest, MorePagesAreMentioned) {
  login();
  for (int i = 0; i < 15; ++i)
    ASSERT_EQ(pdctl({"send", "--to", "1005", "--content", "note " + std::to_string(i)}).status, 0);
  Result outbox = pdctl({"messages", "outbox"});
  ASSERT_EQ(outbox.status, 0) << outbox.err;
  EXPECT_EQ(outbox.out.substr(outbox.out.rfind("\n\n") + 2), "Thread t401 in outbox, 0 unread\n"
            "  Message m502: Re: Saturday?\n"
            "    From  Ann Lee (1001)\n"
            "    To    Bram Okafor (1002)\n"
            "    Sent  2023-11-14 22:13\n"
            "    Text  Yes - 12:30 & I bring the maps.\n"
            "(the gateway holds more, from 17)\n");
  json page = json::parse(pdctl({"--json", "messages", "outbox"}).out);
  EXPECT_EQ(page["has_next"], "true");
  EXPECT_EQ(page["start_context"], "17");
  EXPECT_EQ(page["threads"].size(), 16u);
}

// Several chunks: the whole file must arrive, and progress is told on
// standard error when asked for.
TEST_F(PdctlTest, UploadSendsTheWholeFile) {
  login();
  std::string path = ::testing::TempDir() + "pdctl-upload.jpg";
  std::string bytes;
  for (uint32_t i = 0; bytes.size() < 200000; ++i) bytes += static_cast<char>((i * 2654435761u) >> 24);
  std::ofstream(path, std::ios::binary) << bytes;

  Result run = pdctl({"--progress", "upload", path, "al4"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(matches_golden("pdctl/upload.txt", run.out));
  EXPECT_NE(run.err.find("Uploading: 100%  200000 / 200000 bytes\n"), std::string::npos) << run.err;

  json photos = json::parse(pdctl({"--json", "photos", "al4"}).out);
  ASSERT_EQ(photos["photos"].size(), 1u);
  std::string id = photos["photos"][0]["id"];
  EXPECT_EQ(sim_.fetch("/media/" + id), bytes);
  EXPECT_EQ(read_file(path), bytes);
}

TEST_F(PdctlTest, VerboseKeepsTheOutputAndShowsThePluginLines) {
  login();
  Result quiet = pdctl({"albums"});
  Result verbose = pdctl({"-v", "albums"});
  EXPECT_EQ(verbose.status, 0);
  EXPECT_EQ(verbose.out, quiet.out);
  EXPECT_EQ(quiet.err, "");
  EXPECT_NE(verbose.err.find("[PD-PLUGIN-DEBUG]"), std::string::npos);
  EXPECT_NE(verbose.err.find("Get album list response recieved"), std::string::npos);
}

TEST_F(PdctlTest, GatewayErrorsAndRefusals) {
  std::ofstream("pdctl-photo.jpg", std::ios::binary) << "not looked at: the album is refused first";
  expect_transcript("refusals", {
                                    {"friends"},
                                    {"login", "ann@palisade.example", "wrong"},
                                    {"login"},
                                    {"login", "ann@palisade.example", "harbour-lights"},
                                    {"comments", "photo", "p999"},
                                    {"send", "--to", "9999", "--content", "hello"},
                                    {"upload", "pdctl-photo.jpg", "al3"},
                                    {"logout"},
                                    {"albums"},
                                });
}

TEST_F(PdctlTest, TransportFailuresEndWithExitThree) {
  login();
  sim_.stop();
  start({"--status", "503", "--fault-path", "/palisade/photo/album"});
  expect_transcript("transport-status", {{"albums"}});
  sim_.stop();
  start({"--malformed", "--fault-path", "/palisade/photo/album"});
  expect_transcript("transport-malformed", {{"albums"}});
  sim_.stop();
  start({"--delay-ms", "3000", "--fault-path", "/palisade/photo/album"});
  expect_transcript("transport-timeout", {{"--timeout", "0.5", "albums"}});
  // Nothing listens any more on the ports the transport is sent to.
  sim_.stop();
  expect_transcript("transport-unreachable", {{"albums"}});
}

TEST_F(PdctlTest, UsageErrorsAreRefusedBeforeAnythingIsSent) {
  expect_transcript("usage-errors", {{},
                                     {"frobnicate"},
                                     {"--timeout", "5", "frobnicate", "now"},
                                     {"login", "ann@palisade.example"},
                                     {"status"},
                                     {"status", ""},
                                     {"comments", "video", "v9"},
                                     {"comment", "photo", "p201"},
                                     {"photos"},
                                     {"upload", "/nonexistent/photo.jpg", "al4"},
                                     {"upload", "/", "al4"},
                                     {"messages", "Inbox"},
                                     {"send", "--content", "hi"},
                                     {"send", "--to", "1002", "--type", "later"},
                                     {"--timeout", "0", "feed"},
                                     {"feed", "now"},
                                     {"--bogus", "feed"}});
  std::vector<RecordedRequest> requests;
  std::string error;
  ASSERT_TRUE(sim_.requests(&requests, &error)) << error;
  EXPECT_TRUE(requests.empty());
}

TEST_F(PdctlTest, PluginThatCannotBeLoaded) {
  expect_transcript("no-plugin", {{"--plugin", "/nonexistent/libpd-plugin.so", "feed"}});
  Result from_environment = pdctl({"feed"}, {"PDCTL_PLUGIN=/nonexistent/libpd-plugin.so"});
  EXPECT_EQ(from_environment.status, 5);
  // A library that is not the plug-in: the transport lacks its functions.
  Result wrong = pdctl({"--plugin", SNS_TIFACE, "feed"});
  EXPECT_EQ(wrong.status, 5);
  EXPECT_NE(wrong.err.find("lacks pd_init, pd_finalize"), std::string::npos) << wrong.err;
}

TEST_F(PdctlTest, HelpForEveryCommand) {
  Result top = pdctl({"--help"});
  EXPECT_EQ(top.status, 0);
  EXPECT_NE(top.out.find("4  refused by the plug-in"), std::string::npos);
  for (const char *command : {"login", "logout", "feed", "status", "comments", "comment", "albums",
                              "photos", "upload", "friends", "search", "messages", "send"}) {
    Result help = pdctl({command, "--help"});
    EXPECT_EQ(help.status, 0) << command;
    EXPECT_NE(help.out.find(std::string("pdctl ") + command), std::string::npos) << help.out;
    size_t listed = top.out.find(std::string("  ") + command + " ");
    ASSERT_NE(listed, std::string::npos) << command;
    // The subcommand's own help starts with the line the overview lists.
    std::string line = top.out.substr(listed, top.out.find('\n', listed) - listed);
    std::string description = line.substr(line.find_first_not_of(' ', 2 + std::strlen(command)));
    EXPECT_EQ(help.out.rfind(description, 0), 0u) << command << ": " << help.out;
  }
}

}  // namespace
