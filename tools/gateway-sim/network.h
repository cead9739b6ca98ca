// The social network the simulator serves: people and their friends,
// activities, albums and photos, comments, message threads, and the
// gateway's sessions and pending uploads. Seeded from a JSON file; requests
// change it while the simulator runs.
#ifndef GATEWAY_SIM_NETWORK_H
#define GATEWAY_SIM_NETWORK_H

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "xml.h"

namespace gateway_sim {

// The attributes of a "People" element, in the order the people record
// reads them.
extern const std::vector<std::string> kPeopleAttributes;

struct Friend {
  std::string id;
  std::string grouping;
  std::optional<std::string> relation_type, relation_time;
};

struct Status {
  std::string id, text, time;
};

struct Mood {
  std::string id, icon, text;
};

struct Person {
  std::string id, sp;
  std::string user, password;  // login credentials
  // Attributes of the person's "People" element (names as replies carry
  // them); ID, SP and IsFriend are added per reply.
  Attributes profile;
  std::optional<std::string> profile_photo, photo_thumbnail;
  std::optional<Status> status;
  std::optional<Mood> mood;
  std::optional<std::string> following, followers;
  std::vector<Friend> friends;

  const std::string *profile_value(std::string_view key) const;
  bool lists_friend(const std::string &other) const;
};

struct Link {
  std::string title, author;
  std::optional<std::string> photo_url;
};

// Something an activity is about: a Group, Photo, Note, Event, URL, Video or
// AttachedPhoto element with its attributes and children.
struct Item {
  std::string kind;
  Attributes attributes;
  std::optional<std::string> content, thumbnail;
  std::vector<Link> links;
};

struct Activity {
  std::string id, owner, type, time;
  Attributes extra;  // TargetID, RelatedID, RelatedName, RecommendsCount, MobileAuth, Commentable
  std::optional<std::string> content;
  std::vector<Item> items;  // in element order
};

struct Photo {
  std::string id, album, title, main_url, thumbnail_url;
  std::optional<std::string> file;  // where the uploaded bytes are kept; seeded photos have none
};

struct Album {
  std::string id, owner, name;
  Attributes extra;  // Visible, Place, ProfilePhotos
  std::optional<std::string> description, cover;
  std::vector<std::string> photos;  // photo ids in order
};

struct Comment {
  std::string id, target_type, target_id, commenter, time, content;
  std::optional<std::string> recommend;
};

struct Message {
  std::string id, sender, time;
  std::optional<std::string> title, content;
  std::vector<std::vector<std::string>> receiver_groups;
  std::set<std::string> unread_by;

  bool received_by(const std::string &person) const;
};

struct Thread {
  std::string id;
  std::vector<Message> messages;
};

// The bytes of an upload live in a file of their own, never in memory.
struct Upload {
  std::string resource, photo, album, owner, file_name;
  std::optional<std::string> caption;
  std::string file;               // the bytes received so far, in order
  uint64_t received = 0;
  std::optional<uint64_t> total;  // fixed by the first chunk
  bool done = false;
  bool arriving = false;          // a chunk's body is on its way
};

struct Network {
  std::string server_addr;
  std::vector<std::string> application_keys;  // empty: any key is taken
  std::vector<Person> people;
  std::vector<Activity> activities;  // newest first
  std::vector<Album> albums;
  std::map<std::string, Photo> photos;
  std::vector<Comment> comments;
  std::vector<Thread> threads;
  std::map<std::string, std::string> sessions;      // session key -> person id
  std::map<std::string, std::string> persist_keys;  // persist key -> person id
  std::map<std::string, Upload> uploads;            // resource id -> upload
  std::set<std::string> used_ids;                   // every item id, seeded or new
  uint64_t next_id = 1;

  // Reads a seed; throws std::runtime_error naming the offending entry.
  static Network from_seed(const std::string &json_text);

  Person *person(const std::string &id);
  Album *album(const std::string &id);
  Activity *activity(const std::string &id);
  // A fresh identifier with the given prefix.
  std::string new_id(const char *prefix);
};

}  // namespace gateway_sim

#endif
