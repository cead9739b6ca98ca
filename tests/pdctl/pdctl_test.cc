// pdctl as a person runs it: a separate process per command against
// gateway-sim on loopback, with the login state shared through real GConf in
// the test's private D-Bus session. Outputs are compared with golden files.
#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <pty.h>
#include <sys/ioctl.h>

#include <cstring>
#include <thread>
#include <fstream>
#include <map>
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

// Runs pdctl with `args` and `input` on its standard input. The environment
// is the test's plus a fixed time zone (tables show local times), `extra`,
// and leading "NAME=value" words of `args`, as a shell would take them.
Result pdctl(const std::vector<std::string> &args, const std::vector<std::string> &extra = {},
             const std::string &input = {}) {
  std::vector<std::string> words = {PDCTL};
  std::map<std::string, std::string> variables;
  auto set = [&variables](const std::string &entry) {
    size_t equals = entry.find('=');
    variables[entry.substr(0, equals)] = entry;
  };
  for (char **e = environ; *e != nullptr; ++e) set(*e);
  set("TZ=UTC");
  for (const std::string &entry : extra) set(entry);
  size_t first = 0;
  while (first < args.size() && args[first].find('=') != std::string::npos && args[first][0] != '-')
    set(args[first++]);
  std::vector<std::string> env;
  for (auto &[name, entry] : variables) env.push_back(entry);
  words.insert(words.end(), args.begin() + static_cast<long>(first), args.end());
  std::vector<char *> argv, envp;
  for (std::string &w : words) argv.push_back(w.data());
  for (std::string &e : env) envp.push_back(e.data());
  argv.push_back(nullptr);
  envp.push_back(nullptr);

  int in[2], out[2], err[2];
  Result run;
  if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) return run;
  pid_t pid = fork();
  if (pid == 0) {
    dup2(in[0], STDIN_FILENO);
    dup2(out[1], STDOUT_FILENO);
    dup2(err[1], STDERR_FILENO);
    execve(argv[0], argv.data(), envp.data());
    _exit(127);
  }
  close(in[0]);
  close(out[1]);
  close(err[1]);
  std::thread feeder([fd = in[1], &input] {
    for (size_t done = 0; done < input.size();) {
      ssize_t n = write(fd, input.data() + done, input.size() - done);
      if (n <= 0) break;
      done += static_cast<size_t>(n);
    }
    close(fd);
  });
  pollfd fds[2] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
  std::string *sinks[2] = {&run.out, &run.err};
  int open_pipes = 2;
  while (open_pipes > 0 && poll(fds, 2, 60000) > 0) {
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || fds[i].revents == 0) continue;
      char buffer[65536];
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
  feeder.join();
  int status = 0;
  waitpid(pid, &status, 0);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return run;
}

// The command, its exit status and what it wrote, as a reviewer reads it.
std::string transcript(const std::vector<std::string> &args, const Result &run) {
  std::string text = "$";
  bool command = false;
  for (const std::string &arg : args) {
    if (!command && (arg.find('=') == std::string::npos || arg[0] == '-')) {
      text += " pdctl";
      command = true;
    }
    text += " " + (arg.empty() || arg.find(' ') != std::string::npos ? "'" + arg + "'" : arg);
  }
  if (!command) text += " pdctl";
  return text + "\nexit " + std::to_string(run.status) + "\n" + run.out + run.err + "\n";
}

// What changes from run to run: session and persist keys, the ports of the
// simulator, libcurl's timings, the build's folders.
std::string mask_keys(std::string text) {
  text = std::regex_replace(text, std::regex("[0-9a-f]{32}"), "<key>");
  text = std::regex_replace(text, std::regex("port [0-9]+"), "port <port>");
  text = std::regex_replace(text, std::regex("after [0-9]+ (ms|milliseconds)"), "after <n> $1");
  for (size_t at; (at = text.find(GatewaySim::other_ca_file())) != std::string::npos;)
    text.replace(at, GatewaySim::other_ca_file().size(), "<other-ca.pem>");
  return text;
}

// Whether any text of a JSON document is `text`.
bool holds_text(const json &document, const std::string &text) {
  if (document.is_string()) return document.get<std::string>() == text;
  if (!document.is_structured()) return false;
  for (const json &item : document)
    if (holds_text(item, text)) return true;
  return false;
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
  EXPECT_EQ(page["has_next"], true);
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
  EXPECT_NE(run.err.find("Uploading: 100%  195.3/195.3 KiB"), std::string::npos) << run.err;

  json photos = json::parse(pdctl({"--json", "photos", "al4"}).out);
  ASSERT_EQ(photos["photos"].size(), 1u);
  std::string id = photos["photos"][0]["id"];
  EXPECT_EQ(sim_.fetch("/media/" + id), bytes);
  EXPECT_EQ(read_file(path), bytes);
  expect_output("upload.json", {"--json", "upload", path, "al4"});
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

// A failed login or logout says that the stored session is gone: the
// plug-in clears it before it sends either.
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
                                    {"login", "ann@palisade.example", "wrong"},
                                    {"albums"},
                                    {"login", "ann@palisade.example", "harbour-lights"},
                                    {"logout"},
                                    {"albums"},
                                });
}

// pdctl escapes what XML gives a meaning to, so every text reaches the
// gateway and comes back exactly as typed; --raw hands texts over as they
// are, for testing gateways.
TEST_F(PdctlTest, TextsArriveExactlyAsTyped) {
  login();
  std::string megabyte;
  while (megabyte.size() < (1u << 20)) megabyte += "Tom & Jerry <b>\"hi\"</b> 'x' \xc2\xb0 \xe6\x9d\xb1\n";
  // What the read-back must hold: a text anywhere, or at a JSON pointer
  // (the newest activity or thread comes first).
  struct Held {
    std::string text, at = {};
  };
  struct Row {
    std::vector<std::string> send, read;
    std::vector<Held> held;
    std::string input = {};
  };
  const std::string newest_title = "/threads/0/messages/0/title";
  const Row rows[] = {
      {{"status", "Tom & Jerry"}, {"feed"}, {{"Tom & Jerry", "/activities/0/content"}}},
      {{"status", "x < y"}, {"feed"}, {{"x < y", "/activities/0/content"}}},
      {{"status", "Gr\xc3\xbc\xc3\x9f""e, \xe6\x9d\xb1\xe4\xba\xac \xf0\x9f\x9a\x8b\tand\nmore"}, {"feed"},
       {{"Gr\xc3\xbc\xc3\x9f""e, \xe6\x9d\xb1\xe4\xba\xac \xf0\x9f\x9a\x8b\tand\nmore", "/activities/0/content"}}},
      {{"comment", "photo", "p201", "<b>bold</b> & 'so'"}, {"comments", "photo", "p201"}, {{"<b>bold</b> & 'so'"}}},
      {{"send", "--to", "1002", "--title", "Say \"hi\"", "--content", "it's <fine> & \"ok\""},
       {"messages", "outbox"},
       {{"Say \"hi\"", newest_title}, {"it's <fine> & \"ok\"", "/threads/0/messages/0/content"}}},
      {{"send", "--to", "1002", "--title", "", "--content", "-"},
       {"messages", "outbox"},
       {{"", newest_title}, {megabyte}},
       megabyte},
      {{"status", "-"}, {"feed"}, {{megabyte, "/activities/0/content"}}, megabyte},
      // Sent empty; an element without text comes back as absent.
      {{"status", ""}, {"feed"}, {}},
      {{"--raw", "status", "Tom &amp; Jerry &#x263A;"}, {"feed"}, {{"Tom & Jerry \xe2\x98\xba"}}},
  };
  for (const Row &row : rows) {
    SCOPED_TRACE(row.send.back().substr(0, 40));
    Result sent = pdctl(row.send, {}, row.input);
    ASSERT_EQ(sent.status, 0) << sent.err;
    std::vector<std::string> read = {"--json"};
    read.insert(read.end(), row.read.begin(), row.read.end());
    Result back = pdctl(read);
    ASSERT_EQ(back.status, 0) << back.err;
    json document = json::parse(back.out);
    for (const Held &held : row.held) {
      if (held.at.empty())
        EXPECT_TRUE(holds_text(document, held.text)) << held.text.substr(0, 40);
      else
        EXPECT_EQ(document.at(json::json_pointer(held.at)), held.text);
    }
  }
  // The gateway read the escaped bytes; unescaped, a "<" breaks the request.
  std::vector<RecordedRequest> requests;
  std::string error;
  ASSERT_TRUE(sim_.requests(&requests, &error)) << error;
  EXPECT_NE(requests[1].body.find("<Status>Tom &amp; Jerry</Status>"), std::string::npos) << requests[1].body;
  EXPECT_TRUE(std::any_of(requests.begin(), requests.end(), [](const RecordedRequest &request) {
    return request.body.find("<Status></Status>") != std::string::npos;
  }));
  expect_transcript("raw-texts", {{"--raw", "status", "x < y"}});
}

// Each names its cause, as our transport tells it.
TEST_F(PdctlTest, TransportFailuresEndWithExitThree) {
  login();
  sim_.stop();
  start({"--status", "503", "--fault-path", "/palisade/photo/album"});
  expect_transcript("transport-status", {{"albums"}});
  sim_.stop();
  start({"--malformed", "--fault-path", "/palisade/photo/album"});
  expect_transcript("transport-malformed", {{"albums"}});
  sim_.stop();
  start({"--drop", "--fault-path", "/palisade/photo/album"});
  expect_transcript("transport-dropped", {{"albums"}});
  sim_.stop();
  start({"--delay-ms", "3000", "--fault-path", "/palisade/photo/album"});
  login();
  expect_transcript("transport-timeout", {{"--timeout", "0.5", "albums"}, {"SNS_NT_TIMEOUT_MS=300", "albums"}});
  expect_transcript("transport-large", {{"SNS_NT_MAX_REPLY_BYTES=100", "friends"}});
  expect_transcript("transport-unresolved",
                    {{"SNS_NT_CONNECT_TO=" PD_GATEWAY_HOST ":80:no-such-host.invalid:80", "friends"}});
  expect_transcript("transport-certificate",
                    {{"SNS_NT_CAINFO=" + GatewaySim::other_ca_file(), "login", "ann@palisade.example", "x"},
                     {"SNS_NT_CAINFO=/nonexistent/ca.pem", "login", "ann@palisade.example", "x"}});
  // Nothing listens any more on the ports the transport is sent to.
  login();
  sim_.stop();
  expect_transcript("transport-unreachable", {{"albums"}, {"logout"}});
}

TEST_F(PdctlTest, GatewayKilledMidRequest) {
  login();
  sim_.stop();
  start({"--delay-ms", "5000", "--fault-path", "/palisade/friend/grouping"});
  Result run;
  std::thread request([&run] { run = pdctl({"friends"}); });
  // Killed once the request has arrived (it is recorded before the delay),
  // however long pdctl takes to start (under emulation, seconds).
  auto arrived = [this] {
    std::vector<RecordedRequest> requests;
    std::string error;
    return sim_.requests(&requests, &error) && !requests.empty() &&
           requests.back().path == "/palisade/friend/grouping";
  };
  for (int waited = 0; !arrived() && waited < 30000; waited += 20)
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  sim_.kill_now();
  request.join();
  EXPECT_EQ(run.status, 3);
  EXPECT_EQ(run.err, "pdctl: no answer from the gateway: the gateway closed the connection before it "
                     "answered: Empty reply from server\n");
}

// GConf keeps the login state and needs a D-Bus session: without one
// nothing is sent and nothing is claimed.
TEST_F(PdctlTest, WithoutGConfNothingIsSent) {
  expect_transcript("no-session", {{"login", "ann@palisade.example", "harbour-lights"}, {"friends"}},
                    {"DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent/bus"});
  std::vector<RecordedRequest> requests;
  std::string error;
  ASSERT_TRUE(sim_.requests(&requests, &error)) << error;
  EXPECT_TRUE(requests.empty());
}

// The bar on a terminal of 40 and 100 columns: every redraw fits in one
// line, with the bytes sent in KiB or MiB and, once known, the rate.
TEST_F(PdctlTest, UploadProgressFitsTheTerminal) {
  login();
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
    for (ssize_t n; (n = read(terminal, buffer, sizeof buffer)) > 0;) screen.append(buffer, static_cast<size_t>(n));
    close(terminal);
    int status = 0;
    waitpid(pid, &status, 0);
    ASSERT_EQ(WEXITSTATUS(status), 0) << screen;
    std::vector<std::string> bars;
    const std::regex line_ends("[\r\n]+");
    for (auto it = std::sregex_token_iterator(screen.begin(), screen.end(), line_ends, -1);
         it != std::sregex_token_iterator(); ++it) {
      std::string line = std::regex_replace(it->str(), std::regex("\x1b\\[K"), "");
      EXPECT_LT(line.size(), columns) << line;
      if (line.find('%') != std::string::npos) bars.push_back(line);
    }
    ASSERT_GT(bars.size(), 2u) << screen;
    EXPECT_NE(bars.front().find("[..."), std::string::npos) << bars.front();
    EXPECT_NE(bars.front().find("0.0/1.0 MiB"), std::string::npos) << bars.front();
    EXPECT_TRUE(std::regex_search(bars.back(), std::regex("100% 1.0/1.0 MiB [0-9.]+ (KiB|MiB)/s$")))
        << bars.back();
    // The bar goes when the upload ends; the record follows.
    EXPECT_NE(screen.find("\r\x1b[KPhoto uploaded"), std::string::npos);
  }
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
                                     {"send", "--to", "1002", "--title", "-", "--content", "-"},
                                     {"status", "caf\xe9"},
                                     {"status", "bell\x07"},
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
  // A library that is not the plug-in, and a file that is no library.
  Result wrong = pdctl({"--plugin", SNS_TIFACE, "feed"});
  EXPECT_EQ(wrong.status, 5);
  EXPECT_EQ(wrong.err, "pdctl: " SNS_TIFACE " is not the SNS client plug-in: it has no pd_init\n");
  Result text = pdctl({"--plugin", PD_TEST_DATA_DIR "/pdctl/login.json", "feed"});
  EXPECT_EQ(text.status, 5);
  EXPECT_EQ(text.err, "pdctl: cannot load the plug-in: " PD_TEST_DATA_DIR "/pdctl/login.json: invalid ELF header\n");
}

TEST_F(PdctlTest, HelpForEveryCommand) {
  EXPECT_EQ(pdctl({"--version"}).out, "pdctl " PD_VERSION "\n");
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
