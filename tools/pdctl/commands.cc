#include "commands.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "pd-plugin/pd_plugin.h"

namespace pdctl {
namespace {

const char *const kNotLoggedIn = "not logged in? Log in first: pdctl login USER PASSWORD";

// IDs, names and keywords: an empty one cannot stand for anything.
const CLI::Validator kNonEmpty(
    [](std::string &text) { return text.empty() ? std::string("must not be empty") : std::string(); },
    "TEXT", "non-empty");

// A free text: sent exactly as typed (pdctl escapes it for XML), "-" reads
// it from standard input (a text past the command line's limit of 128 KiB).
std::string text_help(const char *what) {
  return std::string(what) + "; - reads it from standard input";
}

// The plug-in reads the photo only once the gateway has named the upload
// location; a file it cannot read is refused here, before anything is sent.
const CLI::Validator kReadableFile(
    [](std::string &path) -> std::string {
      std::FILE *file = std::fopen(path.c_str(), "rb");
      if (file == nullptr) return "cannot read " + path + ": " + std::strerror(errno);
      std::fclose(file);
      return {};
    },
    "FILE", "readable");

struct Args {
  std::string user, password, text, kind, id, album, file, name, folder;
  std::string to, sp, reply_message, reply_thread, title, content, type;
};

// A word the user gave (an option that was not given is absent).
Word given(const CLI::App *app, const char *option, const std::string &value,
           Word::Kind kind = Word::Kind::key) {
  return {app->count(option) > 0 ? std::optional<std::string>(value) : std::nullopt, option, kind};
}

// Reads all of `input`; false when it cannot be read.
bool read_all(std::FILE *input, std::string *text) {
  char buffer[65536];
  size_t n;
  while ((n = std::fread(buffer, 1, sizeof buffer, input)) > 0) text->append(buffer, n);
  return std::ferror(input) == 0;
}

}  // namespace

std::string escape_xml(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      case '\'': out += "&apos;"; break;
      // A parser turns line ends into one newline, and in an attribute every
      // line end and tab into a blank; written as references they arrive.
      case '\t': out += "&#9;"; break;
      case '\n': out += "&#10;"; break;
      case '\r': out += "&#13;"; break;
      default: out += c;
    }
  }
  return out;
}

std::string xml_problem(std::string_view text) {
  const auto *bytes = reinterpret_cast<const unsigned char *>(text.data());
  for (size_t i = 0, characters = 1; i < text.size(); ++characters) {
    unsigned char lead = bytes[i];
    size_t length = lead < 0x80                ? 1
                    : (lead & 0xe0) == 0xc0    ? 2
                    : (lead & 0xf0) == 0xe0    ? 3
                    : (lead & 0xf8) == 0xf0    ? 4
                                               : 0;
    uint32_t code = length == 1 ? lead : lead & (0x7f >> length);
    bool ok = length != 0 && i + length <= text.size();
    for (size_t k = 1; ok && k < length; ++k) {
      ok = (bytes[i + k] & 0xc0) == 0x80;
      code = code << 6 | (bytes[i + k] & 0x3f);
    }
    // Overlong forms, surrogates and values past U+10FFFF are no UTF-8.
    static constexpr uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    if (!ok || code < kLeast[length] || (code >= 0xd800 && code <= 0xdfff) || code > 0x10ffff) {
      char hex[8];
      std::snprintf(hex, sizeof hex, "0x%02x", lead);
      return "byte " + std::to_string(i + 1) + " (" + hex + ") is not UTF-8";
    }
    if ((code < 0x20 && code != '\t' && code != '\n' && code != '\r') || code == 0xfffe ||
        code == 0xffff) {
      char name[16];
      std::snprintf(name, sizeof name, "U+%04X", code);
      return "character " + std::to_string(characters) + " (" + name + ") cannot be sent in XML";
    }
    i += length;
  }
  return {};
}

std::string Request::prepare(bool raw, std::FILE *input) {
  texts_.clear();
  bool input_used = false;
  for (const Word &word : words) {
    std::optional<std::string> text = word.value;
    if (text && word.kind == Word::Kind::text && *text == "-") {
      if (input_used) return word.name + ": only one text can come from standard input";
      input_used = true;
      text->clear();
      if (!read_all(input, &*text)) return word.name + ": standard input cannot be read";
    }
    if (text && !raw && word.kind != Word::Kind::path) {
      std::string problem = xml_problem(*text);
      if (!problem.empty()) return word.name + ": " + problem + " (--raw sends it as it is)";
      *text = escape_xml(*text);
    }
    texts_.push_back(std::move(text));
  }
  return {};
}

void *Request::params() {
  pointers_.clear();
  for (auto &text : texts_) pointers_.push_back(text ? text->data() : nullptr);
  if (block == Block::none) return nullptr;
  if (block == Block::text) return pointers_.empty() ? nullptr : pointers_.front();
  return pointers_.data();
}

void add_commands(CLI::App &app, Request &request) {
  auto args = std::make_shared<Args>();
  // Fills the request when `sub` is the subcommand parsed.
  auto on = [&request](CLI::App *sub, uint32_t code, Request::Block block, auto words) {
    sub->callback([&request, sub, code, block, words] {
      request = Request{};
      request.command = sub->get_name();
      request.code = code;
      request.block = block;
      request.refused_hint = kNotLoggedIn;
      words(request);
    });
  };
  auto none = [](Request &) {};
  using B = Request::Block;
  // A command whose parameter block is one text, given as its argument.
  auto text_command = [&](const char *name, const char *help, uint32_t code, const char *argument,
                          const std::string &argument_help, std::string Args::*value, Word::Kind kind) {
    CLI::App *sub = app.add_subcommand(name, help);
    CLI::Option *option = sub->add_option(argument, (*args).*value, argument_help)->required();
    if (kind != Word::Kind::text) option->check(kNonEmpty);
    on(sub, code, B::text, [args, value, argument, kind](Request &r) {
      r.words = {{(*args).*value, argument, kind}};
    });
    return option;
  };
  // What a comment is on: a photo or an activity, and its ID.
  auto comment_target = [&](CLI::App *sub) {
    sub->add_option("KIND", args->kind, "photo or activity")
        ->required()
        ->check(CLI::IsMember({"photo", "activity"}));
    sub->add_option("ID", args->id, "the photo's or the activity's ID")->required()->check(kNonEmpty);
  };

  CLI::App *login = app.add_subcommand(
      "login", "Log in; without USER and PASSWORD with the ones stored in GConf");
  login->add_option("USER", args->user, "user name (e-mail address)");
  login->add_option("PASSWORD", args->password, "password");
  on(login, PD_REQ_LOGIN, B::none, [args, login](Request &r) {
    bool user = login->count("USER") > 0 && !args->user.empty();
    bool password = login->count("PASSWORD") > 0 && !args->password.empty();
    if (user != password) throw CLI::ValidationError("login", "give both USER and PASSWORD, or neither");
    if (user) {
      r.block = B::words;
      r.words = {{args->user, "USER"}, {args->password, "PASSWORD"}};
      r.refused_hint = "the plug-in could not compose the login";
    } else {
      r.refused_hint =
          "no user name and password are stored in GConf (/Apps/Sns/UserName, "
          "/Apps/Sns/Password): give USER and PASSWORD";
    }
  });

  CLI::App *logout = app.add_subcommand("logout", "Log out; the stored session is forgotten");
  on(logout, PD_REQ_LOGOUT, B::none, [](Request &r) {
    r.expects_record = false;
    r.done = "Logged out.";
  });

  on(app.add_subcommand("feed", "Show the activity feed: your friends' and your own activities"),
     PD_REQ_ACTIVITY_FEED, B::none, none);

  text_command("status", "Set your status text", PD_REQ_SET_STATUS, "TEXT", text_help("the new status"),
               &Args::text, Word::Kind::text);

  CLI::App *comments = app.add_subcommand("comments", "Show the comments on a photo or an activity");
  comment_target(comments);
  on(comments, PD_REQ_GET_PHOTO_COMMENTS, B::text, [args](Request &r) {
    if (args->kind == "activity") r.code = PD_REQ_GET_ACTIVITY_COMMENTS;
    r.words = {{args->id, "ID"}};
  });

  CLI::App *comment = app.add_subcommand("comment", "Comment on a photo or an activity");
  comment_target(comment);
  comment->add_option("TEXT", args->text, text_help("the comment"))->required();
  on(comment, PD_REQ_COMMENT_PHOTO, B::words, [args](Request &r) {
    if (args->kind == "activity") r.code = PD_REQ_COMMENT_ACTIVITY;
    r.words = {{args->text, "TEXT", Word::Kind::text}, {args->id, "ID"}};
  });

  on(app.add_subcommand("albums", "List your photo albums"), PD_REQ_ALBUM_LIST, B::none, none);

  text_command("photos", "List the photos of an album", PD_REQ_ALBUM_PHOTOS, "ALBUM",
               "the album's ID", &Args::album, Word::Kind::key);

  CLI::App *upload = app.add_subcommand("upload", "Upload a JPEG photo into one of your albums");
  upload->add_option("FILE", args->file, "the photo (JPEG)")
      ->required()
      ->check(CLI::ExistingFile)
      ->check(kReadableFile);
  upload->add_option("ALBUM", args->album, "the album's ID")->required()->check(kNonEmpty);
  on(upload, PD_REQ_UPLOAD_PHOTO, B::words, [args](Request &r) {
    r.words = {{args->file, "FILE", Word::Kind::path}, {args->album, "ALBUM"}};
    // The plug-in ends a refused upload without the gateway's error number.
    r.no_record =
        "the upload did not finish: the gateway refused it (is " + args->album +
        " one of your own albums?) or the photo could not be read";
  });

  on(app.add_subcommand("friends", "List your friends"), PD_REQ_FRIENDS, B::none, none);

  text_command("search", "Search people by name", PD_REQ_PEOPLE_SEARCH, "NAME",
               "a name or part of one", &Args::name, Word::Kind::key);

  text_command("messages", "Show the threads and messages of a folder", PD_REQ_MESSAGE_FOLDER,
               "FOLDER", "the folder", &Args::folder, Word::Kind::key)
      ->check(CLI::IsMember({"inbox", "outbox", "all", "save", "trash", "temp", "commenting"}));

  // The seven words of the message block, in its order.
  CLI::App *send = app.add_subcommand("send", "Send a message");
  send->add_option("--to", args->to, "the receiver's person ID")->required()->check(kNonEmpty);
  send->add_option("--sp", args->sp, "the receiver's service provider (palisade, velora, vesper)");
  send->add_option("--reply-message", args->reply_message, "the ID of the message answered");
  send->add_option("--reply-thread", args->reply_thread, "the ID of the thread answered in");
  send->add_option("--title", args->title, text_help("the title"));
  send->add_option("--content", args->content, text_help("the text"));
  send->add_option("--type", args->type, "how it is sent")
      ->check(CLI::IsMember({"new", "reply", "forward"}));
  on(send, PD_REQ_SEND_MESSAGE, B::words, [args, send](Request &r) {
    r.words = {{args->to, "--to"},
               given(send, "--sp", args->sp),
               given(send, "--reply-message", args->reply_message),
               given(send, "--reply-thread", args->reply_thread),
               given(send, "--title", args->title, Word::Kind::text),
               given(send, "--content", args->content, Word::Kind::text),
               given(send, "--type", args->type)};
    r.expects_record = false;
    r.done = "Message sent.";
  });
}

}  // namespace pdctl
