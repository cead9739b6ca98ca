// The subcommands: each turns its arguments into one engine request (a
// request code and its parameter block) and says what its answer carries.
#ifndef PDCTL_COMMANDS_H
#define PDCTL_COMMANDS_H

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace pdctl {

struct Request {
  std::string command;  // the subcommand's name
  uint32_t code = 0;
  // How the plug-in reads the parameter block for this code: no block, the
  // text itself, or an array of texts (absent ones are null).
  enum class Block { none, text, words } block = Block::none;
  std::vector<std::optional<std::string>> words;
  // Logout and sent messages are answered without a record; their success
  // is told with `done`.
  bool expects_record = true;
  std::string done;
  // What a refusal by the plug-in most likely means for this request.
  std::string refused_hint;
  // What an answer without the expected record most likely means.
  std::string no_record = "the gateway's answer could not be read into a record";

  // The parameter block; valid while the request lives and is not changed.
  void *params();

 private:
  std::vector<char *> pointers_;
};

// Registers every subcommand on `app`; the one that is parsed fills
// `request`. Arguments that no request may carry (a file that cannot be
// read, an empty text, half of a user name and password) are refused as
// CLI11 validation errors, before anything is sent.
void add_commands(CLI::App &app, Request &request);

}  // namespace pdctl

#endif
