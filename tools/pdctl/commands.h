// The subcommands: each turns its arguments into one engine request (a
// request code and its parameter block) and says what its answer carries.
#ifndef PDCTL_COMMANDS_H
#define PDCTL_COMMANDS_H

#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pdctl {

// One word of a parameter block, as the user gave it.
struct Word {
  enum class Kind {
    text,  // free text (a status, a comment, a title): may be empty, "-" reads standard input
    key,   // an ID, a name, a keyword
    path,  // a file the plug-in opens; never written into a request
  };
  std::optional<std::string> value;  // absent: the word is null
  std::string name;                   // as the usage names it: TEXT, --title, ALBUM
  Kind kind = Kind::key;
};

struct Request {
  std::string command;  // the subcommand's name
  uint32_t code = 0;
  // How the plug-in reads the parameter block for this code: no block, the
  // text itself, or an array of texts (absent ones are null).
  enum class Block { none, text, words } block = Block::none;
  std::vector<Word> words;
  // Logout and sent messages are answered without a record; their success
  // is told with `done`.
  bool expects_record = true;
  std::string done;
  // What a refusal by the plug-in most likely means for this request.
  std::string refused_hint;
  // What an answer without the expected record most likely means.
  std::string no_record = "the gateway's answer could not be read into a record";

  // Makes the texts the plug-in receives: reads a text given as "-" from
  // `input`, and unless `raw`, refuses what XML cannot carry (bytes that are
  // not UTF-8, control characters) and escapes &, <, >, " and ', since the
  // plug-in writes every text into the request as it stands. An empty
  // result, or the reason (naming the word) why the request cannot go.
  std::string prepare(bool raw, std::FILE *input);

  // The parameter block; valid while the request lives and is not changed.
  void *params();

 private:
  std::vector<std::optional<std::string>> texts_;
  std::vector<char *> pointers_;
};

// `text` with &, <, >, " and ' replaced by their XML entities.
std::string escape_xml(std::string_view text);

// Why `text` cannot be written into an XML document (a byte that is not
// UTF-8, a character XML 1.0 does not allow), or empty when it can.
std::string xml_problem(std::string_view text);

// Registers every subcommand on `app`; the one that is parsed fills
// `request`. Arguments that no request may carry (a file that cannot be
// read, an empty text, half of a user name and password) are refused as
// CLI11 validation errors, before anything is sent.
void add_commands(CLI::App &app, Request &request);

}  // namespace pdctl

#endif
