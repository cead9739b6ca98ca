#include "record_dump.h"

#include <cstdio>
#include <sstream>
#include <type_traits>

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
  Dump &entry(const char *list, int index, int indent = 1) {
    out_ << std::string(2 * indent, ' ') << list << "[" << index << "]\n";
    return *this;
  }
  Dump &line(const std::string &text, int indent) {
    out_ << std::string(2 * indent, ' ') << text << "\n";
    return *this;
  }
  // "<label>" for a record that is there, "<label>: null" for one that is
  // not; true when it is there.
  bool open(const std::string &label, const void *record, int indent) {
    line(record != nullptr ? label : label + ": null", indent);
    return record != nullptr;
  }
  // "<label>: null" for an empty list; true when it is not empty.
  bool list(const std::string &label, const void *first, int indent) {
    if (first == nullptr) line(label + ": null", indent);
    return first != nullptr;
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

// Element records: their fields one level below their label.
#define F(field) .text(#field, r->field, indent + 1)
#define PD_DUMP_ELEMENT(Type, fields)                                        \
  void element(Dump &d, const std::string &label, const Type *r, int indent) { \
    if (d.open(label, r, indent)) d fields;                                  \
  }
PD_DUMP_ELEMENT(xml_element_response_base,
                F(pszReserved1) F(pszReserved2) F(pszStartContext) F(pszHasNext))
PD_DUMP_ELEMENT(xml_element_activity,
                F(pszID) F(pszSP) F(pszTargetID) F(pszActTime) F(pszType) F(pszRelatedID)
                F(pszRelatedName) F(pszRecommendsCount) F(pszCommentsCount) F(pszMobileAuth)
                F(pszCommentable))
PD_DUMP_ELEMENT(xml_element_content, F(pszContent))
PD_DUMP_ELEMENT(xml_element_owner, F(pszID) F(pszName) F(pszType) F(pszIsFriend))
PD_DUMP_ELEMENT(xml_element_profilephoto, F(pszURL))
PD_DUMP_ELEMENT(xml_element_photothumbnail, F(pszURL))
PD_DUMP_ELEMENT(xml_element_thumbnail, F(pszURL))
PD_DUMP_ELEMENT(xml_element_link_photo, F(pszURL))
PD_DUMP_ELEMENT(xml_element_link, F(pszTitle) F(pszAuthorName))
PD_DUMP_ELEMENT(xml_element_group, F(pszID) F(pszName) F(pszCaption))
PD_DUMP_ELEMENT(xml_element_note, F(pszID) F(pszTitle))
PD_DUMP_ELEMENT(xml_element_event,
                F(pszID) F(pszTitle) F(pszEventTime) F(pszLocation) F(pszHostName))
PD_DUMP_ELEMENT(xml_element_url, F(pszTitle) F(pszCaption) F(pszValue))
PD_DUMP_ELEMENT(xml_element_photo,
                F(pszAlbumID) F(pszAlbumName) F(pszAlbumCaption) F(pszID) F(pszOwnerName)
                F(pszResolution) F(pszAuthorName) F(pszCounts))
PD_DUMP_ELEMENT(xml_element_video,
                F(pszID) F(pszTitle) F(pszAuthorID) F(pszAuthorName) F(pszCaption)
                F(pszSourceURL) F(pszSourceType) F(pszPlayTimeLength))
PD_DUMP_ELEMENT(xml_element_attachedphoto, F(pszID) F(pszAlbumID))
PD_DUMP_ELEMENT(xml_element_people,
                F(pszAge) F(pszBirthday) F(pszBodyType) F(pszChildren) F(pszCity)
                F(pszDescription) F(pszDisplayName) F(pszDrinker) F(pszEducation) F(pszEmails)
                F(pszFirstName) F(pszGender) F(pszHeadline) F(pszHeight) F(pszID) F(pszIncome)
                F(pszCommentable) F(pszIsFriend) F(pszLastName) F(pszLikeToMeet) F(pszLocation)
                F(pszMiddleName) F(pszName) F(pszOccupation) F(pszPolicy) F(pszPresence)
                F(pszRelation) F(pszReligion) F(pszCommentable2) F(pszSmoker) F(pszSP)
                F(pszWebSite))
PD_DUMP_ELEMENT(xml_element_status, F(pszStatus) F(pszCreateTime) F(pszID))
PD_DUMP_ELEMENT(xml_element_mood, F(pszID) F(pszIconID) F(pszText))
PD_DUMP_ELEMENT(xml_element_message,
                F(pszID) F(pszSendTime) F(pszSP) F(pszThreadID) F(pszResult) F(pszContent))
#undef PD_DUMP_ELEMENT
#undef F

// A holder: "<label> -> <member>" over the element record it holds.
template <class Holder, class Element>
void held(Dump &d, const char *label, const Holder *holder, Element *Holder::*member,
          const char *member_name, int indent) {
  if (d.open(label, holder, indent))
    element(d, std::string("-> ") + member_name, holder->*member, indent + 1);
}
#define HELD(d, node, holder, member, indent) \
  held(d, #holder, (node)->holder, &std::remove_pointer_t<std::remove_cvref_t<decltype((node)->holder)>>::member, \
       #member, indent)

void links(Dump &d, const xml_activity_get_links *holder, int in) {
  if (!d.open("pstLinks", holder, in)) return;
  if (!d.list("pstLink", holder->pstLink, in + 1)) return;
  int i = 0;
  for (const xml_activity_get_link *link = holder->pstLink; link != nullptr; link = link->pstNext) {
    d.entry("pstLink", i++, in + 1);
    element(d, "pstLink", link->pstLink, in + 2);
    HELD(d, link, pstLinkPhoto, pstLinkPhoto, in + 2);
  }
}

// One list of an activity: each node's element record, then its parts.
template <class Node, class Element, class Parts>
void nodes(Dump &d, const char *list, const Node *first, Element *Node::*member, Parts parts) {
  if (!d.list(list, first, 2)) return;
  int i = 0;
  for (const Node *node = first; node != nullptr; node = node->pstNext) {
    d.entry(list, i++, 2);
    element(d, list, node->*member, 3);
    parts(node);
  }
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

std::string dump_activity(intptr_t result) {
  std::string out;
  if (not_a_record(result, out)) return out;
  auto *r = reinterpret_cast<const xml_activity_get *>(result);
  Dump d("xml_activity_get");
  element(d, "pstResponseBase", r->pstResponseBase, 1);
  if (!d.list("pstActivity", r->pstActivity, 1)) return d.str();
  auto item = [&d](const auto *node) {
    HELD(d, node, pstContent, pstContent, 3);
    links(d, node->pstLinks, 3);
  };
  int i = 0;
  for (const xml_activity_get_activity *a = r->pstActivity; a != nullptr; a = a->pstNext) {
    d.entry("pstActivity", i++);
    element(d, "pstActivity", a->pstActivity, 2);
    HELD(d, a, pstContent, pstContent, 2);
    if (d.open("pstOwner", a->pstOwner, 2)) {
      element(d, "pstOwner", a->pstOwner->pstOwner, 3);
      HELD(d, a->pstOwner, pstProfilePhoto, pstProfilePhoto, 3);
      HELD(d, a->pstOwner, pstPhotoThumbnail, pstPhotoThumbnail, 3);
    }
    nodes(d, "pstGroup", a->pstGroup, &xml_activity_get_group::pstGroup, item);
    nodes(d, "pstPhoto", a->pstPhoto, &xml_activity_get_photo::pstPhoto,
          [&d](const xml_activity_get_photo *p) { HELD(d, p, pstThumbnail, pstThumbnail, 3); });
    nodes(d, "pstNote", a->pstNote, &xml_activity_get_note::pstNote, item);
    nodes(d, "pstEvent", a->pstEvent, &xml_activity_get_event::pstEvent, item);
    nodes(d, "pstURL", a->pstURL, &xml_activity_get_url::pstURL, item);
    nodes(d, "pstVideo", a->pstVideo, &xml_activity_get_video::pstVideo,
          [&d](const xml_activity_get_video *v) {
            HELD(d, v, pstContent, pstContent, 3);
            HELD(d, v, pstThumbnail, pstThumbnail, 3);
          });
    nodes(d, "pstAttachedPhoto", a->pstAttachedPhoto,
          &xml_activity_get_attachedphoto::pstAttachedPhoto,
          [&d](const xml_activity_get_attachedphoto *p) {
            HELD(d, p, pstThumbnail, pstThumbnail, 3);
          });
  }
  return d.str();
}

std::string dump_people_search(intptr_t result) {
  std::string out;
  if (not_a_record(result, out)) return out;
  auto *r = reinterpret_cast<const xml_people_search *>(result);
  Dump d("xml_people_search");
  d.text("pszReserved1", r->pszReserved1).text("pszReserved2", r->pszReserved2);
  d.text("pszStartContext", r->pszStartContext).text("pszHasNext", r->pszHasNext);
  int i = 0;
  for (const xml_people_search_people *p = r->pstPeople; p != nullptr; p = p->pstNext) {
    d.entry("pstPeople", i++);
    element(d, "pstPeople", p->pstPeople, 2);
    element(d, "pstStatus", p->pstStatus, 2);
    element(d, "pstMood", p->pstMood, 2);
    d.text("pszProfilePhotoURL", p->pszProfilePhotoURL, 2);
  }
  return d.str();
}

std::string dump_profile_set(intptr_t result) {
  std::string out;
  if (not_a_record(result, out)) return out;
  auto *r = reinterpret_cast<const xml_people_profile_set *>(result);
  return Dump("xml_people_profile_set").text("pszReserved", r->pszReserved).str();
}

std::string dump_message_folder(intptr_t result) {
  std::string out;
  if (not_a_record(result, out)) return out;
  auto *r = reinterpret_cast<const xml_message_folder_retrieve *>(result);
  Dump d("xml_message_folder_retrieve");
  d.text("pszReserved1", r->pszReserved1).text("pszReserved2", r->pszReserved2);
  d.text("pszStartContext", r->pszStartContext).text("pszHasNext", r->pszHasNext);
  int t = 0;
  for (const xml_message_folder_thread *thread = r->pstThread; thread; thread = thread->pstNext) {
    d.entry("pstThread", t++);
    d.text("pszID", thread->pszID, 2).text("pszUnread", thread->pszUnread, 2);
    d.text("pszFolder", thread->pszFolder, 2);
    int m = 0;
    for (const xml_message_folder_message *msg = thread->pstMessage; msg; msg = msg->pstNext) {
      d.entry("pstMessage", m++, 2);
      d.text("pszID", msg->pszID, 3).text("pszSP", msg->pszSP, 3).text("pszTitle", msg->pszTitle, 3);
      d.text("pszSenderID", msg->pszSenderID, 3).text("pszSenderName", msg->pszSenderName, 3);
      d.text("pszSenderPhotoURL", msg->pszSenderPhotoURL, 3);
      d.text("pszContent", msg->pszContent, 3).text("pszSendTime", msg->pszSendTime, 3);
      int g = 0;
      for (const xml_message_folder_receivers *group = msg->pstReceivers; group;
           group = group->pstNext) {
        d.entry("pstReceivers", g++, 3).number("uCount", group->uCount, 4);
        int n = 0;
        for (const xml_message_folder_receiver *to = group->pstReceiver; to; to = to->pstNext) {
          d.entry("pstReceiver", n++, 4);
          d.text("pszID", to->pszID, 5).text("pszName", to->pszName, 5);
          d.text("pszPhotoURL", to->pszPhotoURL, 5);
        }
      }
    }
  }
  return d.str();
}

std::string dump_message_post(intptr_t result) {
  std::string out;
  if (not_a_record(result, out)) return out;
  auto *r = reinterpret_cast<const xml_message_post *>(result);
  Dump d("xml_message_post");
  element(d, "pstResponseBase", r->pstResponseBase, 1);
  HELD(d, r, pstMessage, pstMessage, 1);
  return d.str();
}

std::string dump_activity_delete_slots(intptr_t) {
  Dump d("process-wide slots");
  if (d.open("activity_delete", activity_delete, 1))
    d.line(std::string("pstDeleted: ") + (activity_delete->pstDeleted ? "set" : "null"), 2);
  if (d.open("activity_delete_deleted", activity_delete_deleted, 1))
    d.text("pszCount", activity_delete_deleted->pszCount, 2);
  return d.str();
}

#undef HELD

}  // namespace pd_test
