#include "conversation.h"

#include <fcntl.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

#include "parser/record_dump.h"
#include "pd-plugin/pd_settings.h"
#include "pd-plugin/pd_upload.h"

namespace pd_test {
namespace {

std::string replace_all(std::string text, const std::string &from, const std::string &to) {
  if (from.empty()) return text;
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
    text.replace(at, from.size(), to);
  return text;
}

// The photo that ends an upload has no dump of the parser tests.
std::string dump_photo(intptr_t result) {
  if (result <= 0) return dump_number(result);
  auto *photo = reinterpret_cast<const xml_photo *>(result);
  return "result: xml_photo\n  pszID: " + quoted(photo->pszID) +
         "\n  pszAlbumID: " + quoted(photo->pszAlbumID) + "\n  pszSP: " + quoted(photo->pszSP) +
         "\n  pszStatus: " + quoted(photo->pszStatus) + "\n";
}

// Codes whose result is never a record: null or a gateway error number.
std::string dump_no_record(intptr_t result) {
  if (result == 0) return "result: null\n";
  if (result < 0) return dump_number(result);
  return "result: a record where none is due\n";
}

Dumper dumper_of(uint32_t code) {
  switch (code) {
    case PD_REQ_LOGIN: return dump_login;
    case PD_REQ_ACTIVITY_FEED: return dump_activity;
    case PD_REQ_SET_STATUS: return dump_profile_set;
    case PD_REQ_GET_PHOTO_COMMENTS:
    case PD_REQ_GET_ACTIVITY_COMMENTS: return dump_comment_retrieve;
    case PD_REQ_UPLOAD_PHOTO: return dump_photo;
    case PD_REQ_COMMENT_PHOTO:
    case PD_REQ_COMMENT_ACTIVITY: return dump_comment_post;
    case PD_REQ_ALBUM_LIST: return dump_albums;
    case PD_REQ_ALBUM_PHOTOS: return dump_album_photos;
    case PD_REQ_FRIENDS: return dump_friends;
    case PD_REQ_PEOPLE_SEARCH: return dump_people_search;
    case PD_REQ_MESSAGE_FOLDER: return dump_message_folder;
    default: return dump_no_record;
  }
}

}  // namespace

std::string stored_setting(uint32_t index) {
  // The read is not bounded; the simulator's keys are 32 characters.
  std::vector<char> value(1 << 16, '\0');
  sns_gconf_get_string(index, value.data());
  return value.data();
}

Masks::Masks() : since_(static_cast<int64_t>(std::time(nullptr)) - 1) {}

void Masks::add(const std::string &value, const std::string &placeholder) {
  if (!value.empty()) values_.emplace_back(value, placeholder);
}

std::string Masks::apply(std::string text) const {
  for (const auto &[value, placeholder] : values_) text = replace_all(text, value, placeholder);
  const int64_t until = static_cast<int64_t>(std::time(nullptr)) + 3600;
  std::string out;
  for (size_t at = 0; at < text.size();) {
    if (!std::isdigit(static_cast<unsigned char>(text[at]))) {
      out += text[at++];
      continue;
    }
    size_t end = at;
    while (end < text.size() && std::isdigit(static_cast<unsigned char>(text[end]))) ++end;
    std::string digits = text.substr(at, end - at);
    bool now = digits.size() == 10 && std::stoll(digits) >= since_ && std::stoll(digits) <= until;
    out += now ? "<now>" : digits;
    at = end;
  }
  return out;
}

std::string describe(const pd_notification &notification, const Masks &masks) {
  std::string head = "code " + std::to_string(notification.uReqCode) + " status " +
                     std::to_string(notification.uHttpStatus) + "\n";
  return masks.apply(head + dumper_of(notification.uReqCode)(notification.iResult));
}

std::string describe(const RecordedRequest &request, const Masks &masks) {
  std::string path = request.path;
  if (path.rfind("/upload/", 0) == 0) path = "/upload/<resource>";
  std::string text = request.method + " " + path + " " + request.scheme + "\n";
  bool xml = false;
  for (const auto &[name, value] : request.headers) {
    text += name + ": " + value + "\n";
    if (name == "Content-Type") xml = value == "text/xml";
  }
  text += "Body-Length: " + std::to_string(request.body.size()) + "\n";
  if (xml) text += "\n" + request.body;
  return masks.apply(text);
}

StdoutCapture::StdoutCapture(std::string path) : path_(std::move(path)) {
  std::fflush(stdout);
  int file = open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (file < 0) return;
  saved_ = dup(STDOUT_FILENO);
  dup2(file, STDOUT_FILENO);
  close(file);
}

void StdoutCapture::restore() {
  if (saved_ < 0) return;
  std::fflush(stdout);
  dup2(saved_, STDOUT_FILENO);
  close(saved_);
  saved_ = -1;
}

std::string StdoutCapture::finish() {
  restore();
  std::ostringstream text;
  text << std::ifstream(path_, std::ios::binary).rdbuf();
  return text.str();
}

std::vector<std::string> misattributed_lines(const std::string &log, size_t *lines) {
  static const std::set<std::string> kSources = {
      "plugins/client-plugin/palisade/src/pd-plugin",
      "plugins/client-plugin/palisade/src/pd-plugin-util",
      "plugins/client-plugin/palisade/src/pd_gconf",
      "plugins/client-plugin/palisade/src/composer/pd_api_composer",
      "plugins/client-plugin/palisade/src/parser/pdXmlPhoto",
  };
  std::set<std::string> named;
  std::ifstream exports(std::string(PD_TEST_DATA_DIR) + "/../abi/exports.txt");
  for (std::string name; std::getline(exports, name);)
    if (!name.empty() && name[0] != '#') named.insert(name);
  static const std::regex kLine(R"(\[PD-PLUGIN-(DEBUG|ERROR)\]([^:\n]*):([^:\n]*):[0-9]+: [^\n]*)");
  std::vector<std::string> wrong;
  *lines = 0;
  for (std::sregex_iterator it(log.begin(), log.end(), kLine), end; it != end; ++it, ++*lines)
    if (!kSources.count((*it)[2]) || !named.count((*it)[3])) wrong.push_back(it->str());
  return wrong;
}

}  // namespace pd_test
