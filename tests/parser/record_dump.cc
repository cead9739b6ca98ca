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

std::string dump_number(intptr_t result) { return "result: " + std::to_string(result) + "\n"; }

namespace {

// Writes "<indent><name>: <value>" lines.
class Dump {
 public:
  explicit Dump(const char *record) { out_ << "result: " << record << "\n"; }
  void line(int indent, const std::string &text) { out_ << std::string(2 * indent, ' ') << text << "\n"; }
  void text(int indent, const char *name, const char *value) { line(indent, std::string(name) + ": " + quoted(value)); }
  void number(int indent, const char *name, long long value) {
    line(indent, std::string(name) + ": " + std::to_string(value));
  }
  // "<label>" for a record that is there, "<label>: null" for one that is
  // not; true when it is there.
  bool open(int indent, const std::string &label, const void *record) {
    line(indent, record != nullptr ? label : label + ": null");
    return record != nullptr;
  }
  // Each node as "<label>[<i>]" and what `each` writes of it; an empty list
  // as "<label>: null" where `show_empty`.
  template <class Node, class Each>
  void list(int indent, const std::string &label, const Node *first, bool show_empty, Each each) {
    if (first == nullptr && show_empty) line(indent, label + ": null");
    int i = 0;
    for (const Node *node = first; node != nullptr; node = node->pstNext) {
      line(indent, label + "[" + std::to_string(i++) + "]");
      each(*node);
    }
  }
  std::string str() const { return out_.str(); }

 private:
  std::ostringstream out_;
};

// TEXTS(record, indent, fields...): each text field of the record as a line
// of the Dump named `d`.
#define PD_EXPAND(...) PD_EXPAND3(PD_EXPAND3(PD_EXPAND3(PD_EXPAND3(__VA_ARGS__))))
#define PD_EXPAND3(...) PD_EXPAND2(PD_EXPAND2(PD_EXPAND2(PD_EXPAND2(__VA_ARGS__))))
#define PD_EXPAND2(...) PD_EXPAND1(PD_EXPAND1(PD_EXPAND1(PD_EXPAND1(__VA_ARGS__))))
#define PD_EXPAND1(...) __VA_ARGS__
#define PD_FOR_EACH(m, ...) __VA_OPT__(PD_EXPAND(PD_FOR_EACH_NEXT(m, __VA_ARGS__)))
#define PD_FOR_EACH_NEXT(m, a, ...) m(a) __VA_OPT__(PD_FOR_EACH_AGAIN PD_PARENS(m, __VA_ARGS__))
#define PD_PARENS ()
#define PD_FOR_EACH_AGAIN() PD_FOR_EACH_NEXT
#define PD_TEXT(field) d.text(indent_, #field, record_->field);
#define TEXTS(record, indent, ...)          \
  do {                                      \
    const auto *record_ = (record);         \
    const int indent_ = (indent);           \
    PD_FOR_EACH(PD_TEXT, __VA_ARGS__)       \
  } while (0)

// Element records: their fields one level below their label.
#define PD_DUMP_ELEMENT(Type, ...)                                                     \
  [[maybe_unused]] void element(Dump &d, int indent, const std::string &label, const Type *r) { \
    if (d.open(indent, label, r)) TEXTS(r, indent + 1, __VA_ARGS__);                   \
  }
PD_DUMP_ELEMENT(xml_element_response_base, pszReserved1, pszReserved2, pszStartContext, pszHasNext)
PD_DUMP_ELEMENT(xml_element_activity, pszID, pszSP, pszTargetID, pszActTime, pszType, pszRelatedID,
                pszRelatedName, pszRecommendsCount, pszCommentsCount, pszMobileAuth, pszCommentable)
PD_DUMP_ELEMENT(xml_element_content, pszContent)
PD_DUMP_ELEMENT(xml_element_owner, pszID, pszName, pszType, pszIsFriend)
PD_DUMP_ELEMENT(xml_element_profilephoto, pszURL)
PD_DUMP_ELEMENT(xml_element_photothumbnail, pszURL)
PD_DUMP_ELEMENT(xml_element_thumbnail, pszURL)
PD_DUMP_ELEMENT(xml_element_link_photo, pszURL)
PD_DUMP_ELEMENT(xml_element_link, pszTitle, pszAuthorName)
PD_DUMP_ELEMENT(xml_element_group, pszID, pszName, pszCaption)
PD_DUMP_ELEMENT(xml_element_note, pszID, pszTitle)
PD_DUMP_ELEMENT(xml_element_event, pszID, pszTitle, pszEventTime, pszLocation, pszHostName)
PD_DUMP_ELEMENT(xml_element_url, pszTitle, pszCaption, pszValue)
PD_DUMP_ELEMENT(xml_element_photo, pszAlbumID, pszAlbumName, pszAlbumCaption, pszID, pszOwnerName,
                pszResolution, pszAuthorName, pszCounts)
PD_DUMP_ELEMENT(xml_element_video, pszID, pszTitle, pszAuthorID, pszAuthorName, pszCaption,
                pszSourceURL, pszSourceType, pszPlayTimeLength)
PD_DUMP_ELEMENT(xml_element_attachedphoto, pszID, pszAlbumID)
PD_DUMP_ELEMENT(xml_element_people, pszAge, pszBirthday, pszBodyType, pszChildren, pszCity,
                pszDescription, pszDisplayName, pszDrinker, pszEducation, pszEmails, pszFirstName,
                pszGender, pszHeadline, pszHeight, pszID, pszIncome, pszCommentable, pszIsFriend,
                pszLastName, pszLikeToMeet, pszLocation, pszMiddleName, pszName, pszOccupation,
                pszPolicy, pszPresence, pszRelation, pszReligion, pszCommentable2, pszSmoker, pszSP,
                pszWebSite)
PD_DUMP_ELEMENT(xml_element_status, pszStatus, pszCreateTime, pszID)
PD_DUMP_ELEMENT(xml_element_mood, pszID, pszIconID, pszText)
PD_DUMP_ELEMENT(xml_element_message, pszID, pszSendTime, pszSP, pszThreadID, pszResult, pszContent)
#undef PD_DUMP_ELEMENT

// A holder of one element record, both named `name`: "<name>", then
// "-> <name>" over the element record.
#define HELD(node, name, indent)                                              \
  do {                                                                        \
    const auto *holder_ = (node)->name;                                       \
    if (d.open(indent, #name, holder_)) element(d, (indent) + 1, "-> " #name, holder_->name); \
  } while (0)

#define PAGING(r) TEXTS(&(r), 1, pszReserved1, pszReserved2, pszStartContext, pszHasNext)

// "result: null", a number, or the record as `body` writes it.
template <class Record, class Body>
std::string dump(intptr_t result, const char *name, Body body) {
  if (result == 0) return "result: null\n";
  if (result < 0) return dump_number(result);
  Dump d(name);
  body(d, *reinterpret_cast<const Record *>(result));
  return d.str();
}

// The parts an activity's item has, where it has them.
void item_parts(Dump &d, const auto &item) {
  if constexpr (requires { item.pstContent; }) HELD(&item, pstContent, 3);
  if constexpr (requires { item.pstThumbnail; }) HELD(&item, pstThumbnail, 3);
  if constexpr (requires { item.pstLinks; }) {
    if (d.open(3, "pstLinks", item.pstLinks))
      d.list(4, "pstLink", item.pstLinks->pstLink, true, [&d](const xml_activity_get_link &link) {
        element(d, 5, "pstLink", link.pstLink);
        HELD(&link, pstLinkPhoto, 5);
      });
  }
}
// One list of an activity: each item's element record, then its parts.
#define ITEMS(a, name) \
  d.list(2, #name, (a).name, true, [&d](const auto &item) { element(d, 3, #name, item.name); item_parts(d, item); })

}  // namespace

std::string dump_login(intptr_t result) {
  return dump<xml_base>(result, "xml_base", [](Dump &d, const xml_base &r) {
    TEXTS(&r, 1, pszSessionKey, pszPersistKeyValue, pszPersistKeyExpires, pszServerAddr,
          pszRemoteLoginInfoLoginPeopleID, pszRemoteLoginInfoDisplayName, pszProfilePhotoURL);
  });
}

std::string dump_logout(intptr_t result) {
  return dump<xml_logout>(result, "xml_logout", [](Dump &d, const xml_logout &r) {
    TEXTS(&r, 1, pszSessionKeyValue, pszPersistKeyLoggined);
  });
}

std::string dump_friends(intptr_t result) {
  using R = xml_friend_grouping_retrieve;
  return dump<R>(result, "xml_friend_grouping_retrieve", [](Dump &d, const R &r) {
    PAGING(r);
    d.list(1, "pstFriend", r.pstFriend, false, [&d](const xml_friend_grouping_friend &f) {
      TEXTS(&f, 2, pszID, pszSP, pszGroupingID, pszDisplayName, pszFullName, pszEmail, pszStatus,
            pszStatusCreateTime, pszStatusID, pszMoodID, pszMoodIconID, pszMoodText, pszPresence,
            pszLocation, pszCity, pszAge, pszRelationType, pszRelationModifyTime,
            pszProfilePhotoURL, pszFollowingNum, pszFollowerNum);
    });
  });
}

std::string dump_comment_post(intptr_t result) {
  return dump<xml_comment_post>(result, "xml_comment_post", [](Dump &d, const xml_comment_post &r) {
    d.list(1, "pstComment", r.pstComment, false, [&d](const xml_comment_post_comment &c) {
      TEXTS(&c, 2, pszID, pszTargetID, pszResult);
    });
  });
}

std::string dump_comment_retrieve(intptr_t result) {
  using R = xml_comment_retrieve;
  return dump<R>(result, "xml_comment_retrieve", [](Dump &d, const R &r) {
    PAGING(r);
    d.list(1, "pstComment", r.pstComment, false, [&d](const xml_comment_retrieve_comment &c) {
      TEXTS(&c, 2, pszID, pszSP, pszTargetID, pszCreateTime, pszRecommend, pszContent,
            pszCommenterID, pszCommenterName, pszCommenterPhotoURL);
    });
  });
}

std::string dump_albums(intptr_t result) {
  return dump<xml_photo_album_get>(result, "xml_photo_album_get", [](Dump &d, const xml_photo_album_get &r) {
    PAGING(r);
    d.list(1, "pstAlbum", r.pstAlbum, false, [&d](const xml_photo_album_get_album &a) {
      TEXTS(&a, 2, pszID, pszSP, pszName, pszVisible, pszPlace, pszCreatorID, pszPhotosCount,
            pszDescription, pszCoverPhotoURL, pszProfilePhotos);
    });
  });
}

std::string dump_album_photos(intptr_t result) {
  using R = xml_photo_album_photo_list;
  return dump<R>(result, "xml_photo_album_photo_list", [](Dump &d, const R &r) {
    PAGING(r);
    d.list(1, "pstPhoto", r.pstPhoto, false, [&d](const xml_photo_album_photo &p) {
      TEXTS(&p, 2, pszID, pszTitle, pszMainPhotoURL, pszThumbnailURL);
      d.number(2, "uReserved", p.uReserved);
      d.number(2, "iCommentsCount", p.iCommentsCount);
    });
  });
}

std::string dump_activity(intptr_t result) {
  return dump<xml_activity_get>(result, "xml_activity_get", [](Dump &d, const xml_activity_get &r) {
    element(d, 1, "pstResponseBase", r.pstResponseBase);
    d.list(1, "pstActivity", r.pstActivity, true, [&d](const xml_activity_get_activity &a) {
      element(d, 2, "pstActivity", a.pstActivity);
      HELD(&a, pstContent, 2);
      if (d.open(2, "pstOwner", a.pstOwner)) {
        element(d, 3, "pstOwner", a.pstOwner->pstOwner);
        HELD(a.pstOwner, pstProfilePhoto, 3);
        HELD(a.pstOwner, pstPhotoThumbnail, 3);
      }
      ITEMS(a, pstGroup);
      ITEMS(a, pstPhoto);
      ITEMS(a, pstNote);
      ITEMS(a, pstEvent);
      ITEMS(a, pstURL);
      ITEMS(a, pstVideo);
      ITEMS(a, pstAttachedPhoto);
    });
  });
}

std::string dump_people_search(intptr_t result) {
  return dump<xml_people_search>(result, "xml_people_search", [](Dump &d, const xml_people_search &r) {
    PAGING(r);
    d.list(1, "pstPeople", r.pstPeople, false, [&d](const xml_people_search_people &p) {
      element(d, 2, "pstPeople", p.pstPeople);
      element(d, 2, "pstStatus", p.pstStatus);
      element(d, 2, "pstMood", p.pstMood);
      d.text(2, "pszProfilePhotoURL", p.pszProfilePhotoURL);
    });
  });
}

std::string dump_profile_set(intptr_t result) {
  using R = xml_people_profile_set;
  return dump<R>(result, "xml_people_profile_set", [](Dump &d, const R &r) { d.text(1, "pszReserved", r.pszReserved); });
}

std::string dump_message_folder(intptr_t result) {
  using R = xml_message_folder_retrieve;
  return dump<R>(result, "xml_message_folder_retrieve", [](Dump &d, const R &r) {
    PAGING(r);
    d.list(1, "pstThread", r.pstThread, false, [&d](const xml_message_folder_thread &thread) {
      TEXTS(&thread, 2, pszID, pszUnread, pszFolder);
      d.list(2, "pstMessage", thread.pstMessage, false, [&d](const xml_message_folder_message &m) {
        TEXTS(&m, 3, pszID, pszSP, pszTitle, pszSenderID, pszSenderName, pszSenderPhotoURL,
              pszContent, pszSendTime);
        d.list(3, "pstReceivers", m.pstReceivers, false, [&d](const xml_message_folder_receivers &group) {
          d.number(4, "uCount", group.uCount);
          d.list(4, "pstReceiver", group.pstReceiver, false, [&d](const xml_message_folder_receiver &to) {
            TEXTS(&to, 5, pszID, pszName, pszPhotoURL);
          });
        });
      });
    });
  });
}

std::string dump_message_post(intptr_t result) {
  return dump<xml_message_post>(result, "xml_message_post", [](Dump &d, const xml_message_post &r) {
    element(d, 1, "pstResponseBase", r.pstResponseBase);
    HELD(&r, pstMessage, 1);
  });
}

std::string dump_activity_delete_slots(intptr_t) {
  Dump d("process-wide slots");
  if (d.open(1, "activity_delete", activity_delete))
    d.line(2, std::string("pstDeleted: ") + (activity_delete->pstDeleted ? "set" : "null"));
  if (d.open(1, "activity_delete_deleted", activity_delete_deleted))
    d.text(2, "pszCount", activity_delete_deleted->pszCount);
  return d.str();
}

}  // namespace pd_test
