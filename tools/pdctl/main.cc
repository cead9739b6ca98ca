// pdctl: drives the SNS client plug-in from the command line, loading it
// the way the engine does. See --help.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

#include "commands.h"
#include "login_state.h"
#include "outcome.h"
#include "plugin.h"
#include "progress.h"
#include "runner.h"

namespace {

using namespace pdctl;

struct Options {
  bool json = false;
  bool verbose = false;
  bool progress = false;
  bool raw = false;
  double timeout = 30;
  std::string plugin;
};

int fail(Exit exit, const std::string &message) {
  std::cerr << "pdctl: " << message << "\n";
  return exit;
}

// The first argument that is neither an option nor an option's value, when
// it names no subcommand: CLI11 would only call it unexpected.
std::string unknown_command(const CLI::App &app, int argc, char **argv) {
  for (int i = 1; i < argc; ++i) {
    std::string word = argv[i];
    if (word == "--timeout" || word == "--plugin") {
      ++i;
      continue;
    }
    if (word.empty() || word[0] == '-') continue;
    try {
      app.get_subcommand(word);
      return {};
    } catch (const CLI::OptionNotFound &) {
      return word;
    }
  }
  return {};
}

// The option a usage error is about: the word before its first colon, or
// the argument CLI11 did not expect.
std::string offending_option(const std::string &message) {
  const std::string unexpected = "not expected: ";
  size_t at = message.find(unexpected);
  std::string word = at != std::string::npos ? message.substr(at + unexpected.size())
                                             : message.substr(0, message.find_first_of(": "));
  return word.rfind("-", 0) == 0 ? word : std::string();
}

// Points a usage error at the help that lists what it is about: pdctl's own
// for its global options, the command's for the command's options and
// arguments.
int usage_error(CLI::App &app, const std::string &message, int argc, char **argv) {
  std::vector<CLI::App *> parsed = app.get_subcommands();
  if (parsed.empty()) {
    std::string word = unknown_command(app, argc, argv);
    if (!word.empty())
      return fail(kUsage, "unknown command \"" + word + "\" (pdctl --help lists the commands)");
  }
  std::string command = parsed.empty() ? "" : parsed.front()->get_name();
  std::string option = offending_option(message);
  if (!option.empty() && app.get_option_no_throw(option) != nullptr)
    return fail(kUsage, message + " (pdctl --help lists " + option + ")");
  if (command.empty()) {
    if (message.find("subcommand") != std::string::npos)
      return fail(kUsage, "a command is needed (pdctl --help lists the commands)");
    return fail(kUsage, message + " (pdctl --help lists the options)");
  }
  std::string help = "pdctl " + command + " --help";
  if (!option.empty() && parsed.front()->get_option_no_throw(option) != nullptr)
    return fail(kUsage, message + " (" + help + " lists " + option + ")");
  if (!option.empty()) {
    // An option nobody knows: the help of the place it was typed in.
    for (int i = 1; i < argc && argv[i] != command; ++i)
      if (argv[i] == option) return fail(kUsage, message + " (pdctl --help lists the options)");
    return fail(kUsage, message + " (" + help + " lists its options)");
  }
  return fail(kUsage, message + " (" + help + " shows the usage)");
}

// Writes all of `text` to a file descriptor.
void write_all(int fd, const std::string &text) {
  size_t done = 0;
  while (done < text.size()) {
    ssize_t n = write(fd, text.data() + done, text.size() - done);
    if (n <= 0) return;
    done += static_cast<size_t>(n);
  }
}

}  // namespace

int main(int argc, char **argv) {
  Options options;
  Request request;
  CLI::App app{"pdctl: drive the SNS client plug-in (libpd-plugin.so) from the command line"};
  app.set_help_all_flag("--help-all", "Show the help of every command");
  app.add_flag("--json", options.json, "Print the answer as JSON instead of tables");
  app.add_flag("-v,--verbose", options.verbose, "Show the plug-in's own log lines (on standard error)");
  app.add_option("--timeout", options.timeout, "Seconds to wait for the answer (default 30)")
      ->check(CLI::Validator(
          [](std::string &text) {
            char *end = nullptr;
            double seconds = std::strtod(text.c_str(), &end);
            bool ok = end != text.c_str() && *end == '\0' && seconds > 0 && seconds <= 86400;
            return ok ? std::string() : "must be a number of seconds above 0, at most 86400";
          },
          "SECONDS"));
  app.add_option("--plugin", options.plugin,
                 "The plug-in to load (default: $PDCTL_PLUGIN, else libpd-plugin.so next to pdctl)");
  app.add_flag("--progress", options.progress,
               "Show upload progress even when standard error is not a terminal");
  app.add_flag("--raw", options.raw,
               "Hand texts to the plug-in as typed, without escaping &, <, >, \" and ' for XML "
               "(for testing gateways)");
  app.set_version_flag("--version", "pdctl " PDCTL_VERSION, "Show pdctl's version");
  // Global options may also follow the subcommand (subcommands take this
  // setting when they are added).
  app.fallthrough();
  add_commands(app, request);
  app.require_subcommand(1);
  app.footer(kExitCodesHelp);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp &help) {
    return app.exit(help);
  } catch (const CLI::CallForAllHelp &help) {
    return app.exit(help);
  } catch (const CLI::CallForVersion &version) {
    return app.exit(version);
  } catch (const CLI::ParseError &error) {
    return usage_error(app, error.what(), argc, argv);
  }
  if (std::string problem = request.prepare(options.raw, stdin); !problem.empty())
    return usage_error(app, problem, argc, argv);

  // The plug-in reads these when it is loaded and its transport when an
  // instance is made. Its lines go to standard output; with -v they are
  // moved to standard error so that pdctl's own output stays clean.
  int out = STDOUT_FILENO;
  if (options.verbose) {
    setenv("PD_PLUGIN_LOG", "all", 0);
    std::fflush(stdout);
    out = dup(STDOUT_FILENO);
    if (out < 0 || dup2(STDERR_FILENO, STDOUT_FILENO) < 0) return fail(kUsage, "cannot set up -v");
  } else {
    setenv("PD_PLUGIN_LOG", "none", 1);
  }
  // pdctl's own wait decides when to give up; the transport (30 s by
  // default) must not give up on an exchange sooner.
  setenv("SNS_NT_TIMEOUT_MS", std::to_string(std::lround(std::ceil(options.timeout * 1000)) + 1000).c_str(), 0);

  std::string path = options.plugin;
  if (path.empty() && std::getenv("PDCTL_PLUGIN") != nullptr) path = std::getenv("PDCTL_PLUGIN");
  if (path.empty()) path = "libpd-plugin.so";
  Plugin plugin;
  std::string why;
  if (!load_plugin(path, &plugin, &why)) return fail(kNoPlugin, why);

  // The login state lives in GConf; without it no request can be made
  // (every one but the login needs the stored session key) or kept.
  if (!options.verbose) quiet_gconf_warnings();
  std::optional<std::string> session = stored_session_key(&why);
  if (!session)
    return fail(kNoSettings, "GConf, where the login state lives, cannot be reached (" + why +
                                 "): run pdctl inside a D-Bus session, e.g. dbus-run-session -- pdctl ...");

  bool terminal = isatty(STDERR_FILENO) != 0;
  Progress progress(stderr, terminal);
  bool show_progress = request.code == PD_REQ_UPLOAD_PHOTO && (terminal || options.progress);
  Answer answer = run_request(plugin, request.code, request.params(),
                              std::chrono::duration<double>(options.timeout),
                              show_progress ? &progress : nullptr);
  std::string text;
  Outcome outcome = judge(answer, request, options.timeout, options.json, text);
  std::optional<std::string> session_after = stored_session_key(&why);
  tell_login_state(request, answer, session, session_after, outcome);
  discard(plugin, answer.notification);
  std::fflush(stdout);
  if (outcome.exit != kSuccess) return fail(outcome.exit, outcome.message);
  write_all(out, text);
  return kSuccess;
}
