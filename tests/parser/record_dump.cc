#include "record_dump.h"

#include <cxxabi.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <typeinfo>
#include <vector>

#include "pd-plugin/pd_records.h"
#include "support/golden.h"

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

// The C name of a record type.
template <class R>
std::string type_name() {
  int status = 0;
  std::unique_ptr<char, void (*)(void *)> name(abi::__cxa_demangle(typeid(R).name(), nullptr, nullptr, &status),
                                                std::free);
  return name != nullptr ? name.get() : typeid(R).name();
}

// The names of a record type's text fields, from tests/data/records/fields.txt.
const std::vector<std::string> &fields_of(const std::string &type) {
  static const std::map<std::string, std::vector<std::string>> kFields = [] {
    std::map<std::string, std::vector<std::string>> fields;
    for (const std::string &line : data_lines("records/fields.txt")) {
      std::istringstream words(line);
      std::string name;
      if (!(words >> name)) continue;
      for (std::vector<std::string> &names = fields[name]; words >> name;) names.push_back(name);
    }
    return fields;
  }();
  auto found = kFields.find(type);
  if (found == kFields.end()) throw std::logic_error("records/fields.txt has no row for " + type);
  return found->second;
}

// Writes "<indent><name>: <value>" lines.
class Dump {
 public:
  explicit Dump(const char *record) { out_ << "result: " << record << "\n"; }
  void line(int indent, const std::string &text) { out_ << std::string(2 * indent, ' ') << text << "\n"; }
  void text(int indent, const char *name, const char *value) { line(indent, std::string(name) + ": " + quoted(value)); }
  void number(int indent, const char *name, long long value) {
    line(indent, std::string(name) + ": " + std::to_string(value));
  }
  // The text fields of the record's type, as tests/data/records/fields.txt
  // names them: the record's first members, each a char *.
  template <class R>
  void texts(int indent, const R &record) {
    const std::vector<std::string> &names = fields_of(type_name<R>());
    if (names.size() > sizeof(R) / sizeof(char *)) throw std::logic_error("too many fields: " + type_name<R>());
    const auto *values = reinterpret_cast<char *const *>(&record);
    for (size_t i = 0; i < names.size(); ++i) text(indent, names[i].c_str(), values[i]);
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
  // A list whose nodes show their text fields.
  template <class Node>
  void list(int indent, const std::string &label, const Node *first) {
    list(indent, label, first, false, [&](const Node &node) { texts(indent + 1, node); });
  }
  std::string str() const { return out_.str(); }

 private:
  std::ostringstream out_;
};

// An element record: its fields one level below its label.
template <class R>
void element(Dump &d, int indent, const std::string &label, const R *r) {
  if (d.open(indent, label, r)) d.texts(indent + 1, *r);
}

// A holder of one element record, both named `name`: "<name>", then
// "-> <name>" over the element record.
#define HELD(node, name, indent)                                              \
  do {                                                                        \
    const auto *holder_ = (node)->name;                                       \
    if (d.open(indent, #name, holder_)) element(d, (indent) + 1, "-> " #name, holder_->name); \
  } while (0)

// "result: null", a number, or the record as `body` writes it (by default
// its text fields).
template <class Record, class Body>
std::string dump(intptr_t result, Body body) {
  if (result == 0) return "result: null\n";
  if (result < 0) return dump_number(result);
  Dump d(type_name<Record>().c_str());
  body(d, *reinterpret_cast<const Record *>(result));
  return d.str();
}
template <class Record>
std::string dump(intptr_t result) {
  return dump<Record>(result, [](Dump &d, const auto &r) { d.texts(1, r); });
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

std::string dump_login(intptr_t result) { return dump<xml_base>(result); }

std::string dump_logout(intptr_t result) { return dump<xml_logout>(result); }

std::string dump_friends(intptr_t result) {
  return dump<xml_friend_grouping_retrieve>(result, [](Dump &d, const auto &r) {
    d.texts(1, r);
    d.list(1, "pstFriend", r.pstFriend);
  });
}

std::string dump_comment_post(intptr_t result) {
  return dump<xml_comment_post>(result, [](Dump &d, const auto &r) {
    d.list(1, "pstComment", r.pstComment);
  });
}

std::string dump_comment_retrieve(intptr_t result) {
  return dump<xml_comment_retrieve>(result, [](Dump &d, const auto &r) {
    d.texts(1, r);
    d.list(1, "pstComment", r.pstComment);
  });
}

std::string dump_albums(intptr_t result) {
  return dump<xml_photo_album_get>(result, [](Dump &d, const auto &r) {
    d.texts(1, r);
    d.list(1, "pstAlbum", r.pstAlbum);
  });
}

std::string dump_album_photos(intptr_t result) {
  return dump<xml_photo_album_photo_list>(result, [](Dump &d, const auto &r) {
    d.texts(1, r);
    d.list(1, "pstPhoto", r.pstPhoto, false, [&d](const xml_photo_album_photo &p) {
      d.texts(2, p);
      d.number(2, "uReserved", p.uReserved);
      d.number(2, "iCommentsCount", p.iCommentsCount);
    });
  });
}

std::string dump_activity(intptr_t result) {
  return dump<xml_activity_get>(result, [](Dump &d, const auto &r) {
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
  return dump<xml_people_search>(result, [](Dump &d, const auto &r) {
    d.texts(1, r);
    d.list(1, "pstPeople", r.pstPeople, false, [&d](const xml_people_search_people &p) {
      element(d, 2, "pstPeople", p.pstPeople);
      element(d, 2, "pstStatus", p.pstStatus);
      element(d, 2, "pstMood", p.pstMood);
      d.text(2, "pszProfilePhotoURL", p.pszProfilePhotoURL);
    });
  });
}

std::string dump_profile_set(intptr_t result) { return dump<xml_people_profile_set>(result); }

std::string dump_message_folder(intptr_t result) {
  return dump<xml_message_folder_retrieve>(result, [](Dump &d, const auto &r) {
    d.texts(1, r);
    d.list(1, "pstThread", r.pstThread, false, [&d](const xml_message_folder_thread &thread) {
      d.texts(2, thread);
      d.list(2, "pstMessage", thread.pstMessage, false, [&d](const xml_message_folder_message &m) {
        d.texts(3, m);
        d.list(3, "pstReceivers", m.pstReceivers, false, [&d](const xml_message_folder_receivers &group) {
          d.number(4, "uCount", group.uCount);
          d.list(4, "pstReceiver", group.pstReceiver);
        });
      });
    });
  });
}

std::string dump_message_post(intptr_t result) {
  return dump<xml_message_post>(result, [](Dump &d, const auto &r) {
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
