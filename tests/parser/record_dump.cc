#include "record_dump.h"

#include <cstdio>
#include <sstream>

#include "pd-plugin/pd_records.h"

namespace pd_test {

std::string quoted(const char *text) {
  if (text == nullptr) return "null";
  std::string out = "\"";
  for (const char *p = text; *p != '\0'; ++p) {
    unsigned char c = static_cast<unsigned char>(*p);
    if (c == '\n') out += "\\n";
    else if (c == '"') out += "\\\"";
    else if (c == '\\') out += "\\\\";
    else if (c < 0x20 || c == 0x7f) {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%02x", c);
      out += hex;
    } else out += static_cast<char>(c);
  }
  return out + "\"";
}

namespace {

// Writes "<indent><name>: <value>" lines.
class Dump {
 public:
  explicit Dump(const char *record) { out_ << "result: " << record << "\n"; }
  Dump &text(const char *name, const char *value, int indent = 1) {
    out_ << std::string(2 * indent, ' ') << name << ": " << quoted(value) << "\n";
    return *this;
  }
  Dump &number(const char *name, long long value, int indent = 1) {
    out_ << std::string(2 * indent, ' ') << name << ": " << value << "\n";
    return *this;
  }
  Dump &entry(const char *list, int index) {
    out_ << "  " << list << "[" << index << "]\n";
    return *this;
  }
  std::string str() const { return out_.str(); }

 private:
  std::ostringstream out_;
};

// Null or a number: the whole dump is one line. True when done.
bool not_a_record(intptr_t result, std::string &out) {
  if (result == 0) out = "result: null\n";
  else if (result < 0) out = "result: " + std::to_string(result) + "\n";
  else return false;
  return true;
}

}  // namespace

std::string dump_number(intptr_t result) { return "result: " + std::to_string(result) + "\n"; }

std::string dump_login(intptr_t result) {
  std::string out;
  if (not_a_record(result, out)) return out;
  auto *r = reinterpret_cast<const xml_base *>(result);
  return Dump("xml_base")
      .text("pszSessionKey", r->pszSessionKey)
      .text("pszPersistKeyValue", r->pszPersistKeyValue)
      .text("pszPersistKeyExpires", r->pszPersistKeyExpires)
      .text("pszServerAddr", r->pszServerAddr)
      .text("pszRemoteLoginInfoLoginPeopleID", r->pszRemoteLoginInfoLoginPeopleID)
      .text("pszRemoteLoginInfoDisplayName", r->pszRemoteLoginInfoDisplayName)
      .text("pszProfilePhotoURL", r->pszProfilePhotoURL)
      .str();
}

std::string dump_logout(intptr_t result) {
  std::string out;
  if (not_a_record(result, out)) return out;
  auto *r = reinterpret_cast<const xml_logout *>(result);
  return Dump("xml_logout")
      .text("pszSessionKeyValue", r->pszSessionKeyValue)
      .text("pszPersistKeyLoggined", r->pszPersistKeyLoggined)
      .str();
}

std::string dump_friends(intptr_t result) {
  std::string out;
  if (not_a_record(result, out)) return out;
  auto *r = reinterpret_cast<const xml_friend_grouping_retrieve *>(result);
  Dump d("xml_friend_grouping_retrieve");
  d.text("pszReserved1", r->pszReserved1).text("pszReserved2", r->pszReserved2);
  d.text("pszStartContext", r->pszStartContext).text("pszHasNext", r->pszHasNext);
  int i = 0;
  for (const xml_friend_grouping_friend *f = r->pstFriend; f != nullptr; f = f->pstNext) {
    d.entry("pstFriend", i++)
        .text("pszID", f->pszID, 2)
        .text("pszSP", f->pszSP, 2)
        .text("pszGroupingID", f->pszGroupingID, 2)
        .text("pszDisplayName", f->pszDisplayName, 2)
        .text("pszFullName", f->pszFullName, 2)
        .text("pszEmail", f->pszEmail, 2)
        .text("pszStatus", f->pszStatus, 2)
        .text("pszStatusCreateTime", f->pszStatusCreateTime, 2)
        .text("pszStatusID", f->pszStatusID, 2)
        .text("pszMoodID", f->pszMoodID, 2)
        .text("pszMoodIconID", f->pszMoodIconID, 2)
        .text("pszMoodText", f->pszMoodText, 2)
        .text("pszPresence", f->pszPresence, 2)
        .text("pszLocation", f->pszLocation, 2)
        .text("pszCity", f->pszCity, 2)
        .text("pszAge", f->pszAge, 2)
        .text("pszRelationType", f->pszRelationType, 2)
        .text("pszRelationModifyTime", f->pszRelationModifyTime, 2)
        .text("pszProfilePhotoURL", f->pszProfilePhotoURL, 2)
        .text("pszFollowingNum", f->pszFollowingNum, 2)
        .text("pszFollowerNum", f->pszFollowerNum, 2);
  }
  return d.str();
}

std::string dump_comment_post(intptr_t result) {
  std::string out;
  if (not_a_record(result, out)) return out;
  auto *r = reinterpret_cast<const xml_comment_post *>(result);
  Dump d("xml_comment_post");
  int i = 0;
  for (const xml_comment_post_comment *c = r->pstComment; c != nullptr; c = c->pstNext)
    d.entry("pstComment", i++)
        .text("pszID", c->pszID, 2)
        .text("pszTargetID", c->pszTargetID, 2)
        .text("pszResult", c->pszResult, 2);
  return d.str();
}

std::string dump_comment_retrieve(intptr_t result) {
  std::string out;
  if (not_a_record(result, out)) return out;
  auto *r = reinterpret_cast<const xml_comment_retrieve *>(result);
  Dump d("xml_comment_retrieve");
  d.text("pszReserved1", r->pszReserved1).text("pszReserved2", r->pszReserved2);
  d.text("pszStartContext", r->pszStartContext).text("pszHasNext", r->pszHasNext);
  int i = 0;
  for (const xml_comment_retrieve_comment *c = r->pstComment; c != nullptr; c = c->pstNext)
    d.entry("pstComment", i++)
        .text("pszID", c->pszID, 2)
        .text("pszSP", c->pszSP, 2)
        .text("pszTargetID", c->pszTargetID, 2)
        .text("pszCreateTime", c->pszCreateTime, 2)
        .text("pszRecommend", c->pszRecommend, 2)
        .text("pszContent", c->pszContent, 2)
        .text("pszCommenterID", c->pszCommenterID, 2)
        .text("pszCommenterName", c->pszCommenterName, 2)
        .text("pszCommenterPhotoURL", c->pszCommenterPhotoURL, 2);
  return d.str();
}

std::string dump_albums(intptr_t result) {
  std::string out;
  if (not_a_record(result, out)) return out;
  auto *r = reinterpret_cast<const xml_photo_album_get *>(result);
  Dump d("xml_photo_album_get");
  d.text("pszReserved1", r->pszReserved1).text("pszReserved2", r->pszReserved2);
  d.text("pszStartContext", r->pszStartContext).text("pszHasNext", r->pszHasNext);
  int i = 0;
  for (const xml_photo_album_get_album *a = r->pstAlbum; a != nullptr; a = a->pstNext)
    d.entry("pstAlbum", i++)
        .text("pszID", a->pszID, 2)
        .text("pszSP", a->pszSP, 2)
        .text("pszName", a->pszName, 2)
        .text("pszVisible", a->pszVisible, 2)
        .text("pszPlace", a->pszPlace, 2)
        .text("pszCreatorID", a->pszCreatorID, 2)
        .text("pszPhotosCount", a->pszPhotosCount, 2)
        .text("pszDescription", a->pszDescription, 2)
        .text("pszCoverPhotoURL", a->pszCoverPhotoURL, 2)
        .text("pszProfilePhotos", a->pszProfilePhotos, 2);
  return d.str();
}

std::string dump_album_photos(intptr_t result) {
  std::string out;
  if (not_a_record(result, out)) return out;
  auto *r = reinterpret_cast<const xml_photo_album_photo_list *>(result);
  Dump d("xml_photo_album_photo_list");
  d.text("pszReserved1", r->pszReserved1).text("pszReserved2", r->pszReserved2);
  d.text("pszStartContext", r->pszStartContext).text("pszHasNext", r->pszHasNext);
  int i = 0;
  for (const xml_photo_album_photo *p = r->pstPhoto; p != nullptr; p = p->pstNext)
    d.entry("pstPhoto", i++)
        .text("pszID", p->pszID, 2)
        .text("pszTitle", p->pszTitle, 2)
        .text("pszMainPhotoURL", p->pszMainPhotoURL, 2)
        .text("pszThumbnailURL", p->pszThumbnailURL, 2)
        .number("uReserved", p->uReserved, 2)
        .number("iCommentsCount", p->iCommentsCount, 2);
  return d.str();
}

}  // namespace pd_test
