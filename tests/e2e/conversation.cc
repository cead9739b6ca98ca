#include "conversation.h"

#include <cctype>
#include <ctime>
#include <map>

#include "parser/record_dump.h"
#include "pd-plugin/pd_settings.h"
#include "pd-plugin/pd_upload.h"

namespace pd_test {
namespace {

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
  static const std::map<uint32_t, Dumper> kDumpers = {
      {PD_REQ_LOGIN, dump_login},           {PD_REQ_ACTIVITY_FEED, dump_activity},
      {PD_REQ_SET_STATUS, dump_profile_set}, {PD_REQ_GET_PHOTO_COMMENTS, dump_comment_retrieve},
      {PD_REQ_GET_ACTIVITY_COMMENTS, dump_comment_retrieve}, {PD_REQ_UPLOAD_PHOTO, dump_photo},
      {PD_REQ_COMMENT_PHOTO, dump_comment_post}, {PD_REQ_COMMENT_ACTIVITY, dump_comment_post},
      {PD_REQ_ALBUM_LIST, dump_albums},      {PD_REQ_ALBUM_PHOTOS, dump_album_photos},
      {PD_REQ_FRIENDS, dump_friends},        {PD_REQ_PEOPLE_SEARCH, dump_people_search},
      {PD_REQ_MESSAGE_FOLDER, dump_message_folder}};
  auto found = kDumpers.find(code);
  return found != kDumpers.end() ? found->second : dump_no_record;
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
  std::string path = request.path();
  if (path.rfind("/upload/", 0) == 0) path = "/upload/<resource>";
  std::string text = request.method() + " " + path + " " + request.scheme + "\n";
  for (const char *name : {"Host", "Content-Type", "Content-Range", "Expect", "Transfer-Encoding"})
    if (const std::string *value = request.request.header(name)) text += name + (": " + *value) + "\n";
  const std::string *type = request.request.header("Content-Type");
  text += "Body-Length: " + std::to_string(request.request.body.size()) + "\n";
  if (type && *type == "text/xml") text += "\n" + request.request.body;
  return masks.apply(text);
}

}  // namespace pd_test
