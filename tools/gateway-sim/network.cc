#include "network.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace gateway_sim {

const std::vector<std::string> kPeopleAttributes = {
    "Age",        "Birthday",   "BodyType",  "Children",   "City",       "Description",
    "DisplayName", "Drinker",   "Education", "Emails",     "FirstName",  "Gender",
    "Headline",   "Height",     "ID",        "Income",     "Commentable", "IsFriend",
    "LastName",   "LikeToMeet", "Location",  "MiddleName", "Name",       "Occupation",
    "Policy",     "Presence",   "Relation",  "Religion",   "Smoker",     "SP",
    "WebSite"};

namespace {

using json = nlohmann::json;

// The element kinds an activity can be about, with their attributes in the
// order their records read them and the children each may carry.
struct ItemKind {
  const char *name;
  std::vector<std::string> attributes;
  bool content, thumbnail, links;
};

const std::vector<ItemKind> kItemKinds = {
    {"Group", {"ID", "Name", "Caption"}, true, false, true},
    {"Photo",
     {"AlbumID", "AlbumName", "AlbumCaption", "ID", "OwnerName", "Resolution", "AuthorName",
      "Counts"},
     false, true, false},
    {"Note", {"ID", "Title"}, true, false, true},
    {"Event", {"ID", "Title", "EventTime", "Location", "HostName"}, true, false, true},
    {"URL", {"Title", "Caption", "Value"}, true, false, true},
    {"Video",
     {"ID", "Title", "AuthorID", "AuthorName", "Caption", "SourceURL", "SourceType",
      "PlayTimeLength"},
     true, true, false},
    {"AttachedPhoto", {"ID", "AlbumID"}, false, true, false},
};

// Reads one JSON object of the seed. Every value is text, because the
// gateway sends every value as text; a key the simulator does not know is
// an error rather than silently dropped.
class Reader {
 public:
  Reader(const json &object, std::string where) : object_(object), where_(std::move(where)) {
    if (!object_.is_object()) fail("is not an object");
  }

  std::optional<std::string> text(const std::string &key) {
    used_.insert(key);
    auto found = object_.find(key);
    if (found == object_.end()) return std::nullopt;
    if (!found->is_string()) fail("\"" + key + "\" is not a text");
    return found->get<std::string>();
  }
  std::string required(const std::string &key) {
    std::optional<std::string> value = text(key);
    if (!value) fail("has no \"" + key + "\"");
    return *value;
  }
  // Copies the listed keys that are present, in list order.
  Attributes attributes(const std::vector<std::string> &keys) {
    Attributes out;
    for (const std::string &key : keys)
      if (std::optional<std::string> value = text(key)) out.emplace_back(key, *value);
    return out;
  }
  const json *list(const std::string &key) {
    used_.insert(key);
    auto found = object_.find(key);
    if (found == object_.end()) return nullptr;
    if (!found->is_array()) fail("\"" + key + "\" is not a list");
    return &*found;
  }
  Reader object(const std::string &key) {
    used_.insert(key);
    auto found = object_.find(key);
    return Reader(found == object_.end() ? kEmpty : *found, where_ + "." + key);
  }
  bool has(const std::string &key) const { return object_.contains(key); }
  const std::string &where() const { return where_; }

  void finish() const {
    for (const auto &entry : object_.items())
      if (used_.count(entry.key()) == 0) fail("has an unknown key \"" + entry.key() + "\"");
  }
  [[noreturn]] void fail(const std::string &what) const {
    throw std::runtime_error("seed: " + where_ + " " + what);
  }

 private:
  static inline const json kEmpty = json::object();
  const json &object_;
  std::string where_;
  std::set<std::string> used_;
};

template <typename F>
void each(Reader &reader, const std::string &key, F read_one) {
  const json *list = reader.list(key);
  if (list == nullptr) return;
  for (size_t i = 0; i < list->size(); ++i)
    read_one(Reader((*list)[i], reader.where() + "." + key + "[" + std::to_string(i) + "]"));
}

Person read_person(Reader in) {
  Person person;
  person.id = in.required("ID");
  person.sp = in.text("SP").value_or("palisade");
  Reader login = in.object("login");
  person.user = login.required("user");
  person.password = login.required("password");
  login.finish();
  std::vector<std::string> profile_keys;
  for (const std::string &key : kPeopleAttributes)
    if (key != "ID" && key != "SP" && key != "IsFriend") profile_keys.push_back(key);
  Reader profile = in.object("profile");
  person.profile = profile.attributes(profile_keys);
  profile.finish();
  person.profile_photo = in.text("profile_photo");
  person.photo_thumbnail = in.text("photo_thumbnail");
  if (in.has("status")) {
    Reader status = in.object("status");
    person.status = Status{status.required("ID"), status.required("Text"),
                           status.required("CreateTime")};
    status.finish();
  }
  if (in.has("mood")) {
    Reader mood = in.object("mood");
    person.mood = Mood{mood.required("ID"), mood.required("IconID"), mood.required("Text")};
    mood.finish();
  }
  if (in.has("friendship")) {
    Reader friendship = in.object("friendship");
    person.following = friendship.text("FollowingNum");
    person.followers = friendship.text("FollowerNum");
    friendship.finish();
  }
  each(in, "friends", [&](Reader entry) {
    person.friends.push_back(Friend{entry.required("ID"), entry.text("GroupingID").value_or(""),
                                    entry.text("RelationType"), entry.text("ModifyTime")});
    entry.finish();
  });
  in.finish();
  return person;
}

Item read_item(Reader in, const ItemKind &kind) {
  Item item;
  item.kind = kind.name;
  item.attributes = in.attributes(kind.attributes);
  if (kind.content) item.content = in.text("Content");
  if (kind.thumbnail) item.thumbnail = in.text("Thumbnail");
  if (kind.links)
    each(in, "Links", [&](Reader link) {
      item.links.push_back(
          Link{link.required("Title"), link.required("AuthorName"), link.text("URL")});
      link.finish();
    });
  in.finish();
  return item;
}

Activity read_activity(Reader in) {
  Activity activity;
  activity.id = in.required("ID");
  activity.owner = in.required("Owner");
  activity.type = in.required("Type");
  activity.time = in.required("ActTime");
  activity.extra = in.attributes(
      {"TargetID", "RelatedID", "RelatedName", "RecommendsCount", "MobileAuth", "Commentable"});
  activity.content = in.text("Content");
  for (const ItemKind &kind : kItemKinds)
    each(in, kind.name, [&](Reader item) { activity.items.push_back(read_item(item, kind)); });
  in.finish();
  return activity;
}

}  // namespace

const std::string *Person::profile_value(std::string_view key) const {
  for (const auto &[name, value] : profile)
    if (name == key) return &value;
  return nullptr;
}

bool Person::lists_friend(const std::string &other) const {
  return std::any_of(friends.begin(), friends.end(),
                     [&](const Friend &entry) { return entry.id == other; });
}

bool Message::received_by(const std::string &person) const {
  for (const auto &group : receiver_groups)
    if (std::find(group.begin(), group.end(), person) != group.end()) return true;
  return false;
}

Network Network::from_seed(const std::string &json_text) {
  json document;
  try {
    document = json::parse(json_text);
  } catch (const json::exception &error) {
    throw std::runtime_error(std::string("seed: not JSON: ") + error.what());
  }
  Network network;
  Reader root(document, "seed");
  network.server_addr = root.required("server");
  if (const json *keys = root.list("application_keys"))
    for (const json &key : *keys) {
      if (!key.is_string()) root.fail("has an application key that is not a text");
      network.application_keys.push_back(key.get<std::string>());
    }
  each(root, "people", [&](Reader in) { network.people.push_back(read_person(std::move(in))); });
  each(root, "activities",
       [&](Reader in) { network.activities.push_back(read_activity(std::move(in))); });
  each(root, "albums", [&](Reader in) {
    Album album;
    album.id = in.required("ID");
    album.owner = in.required("Owner");
    album.name = in.required("Name");
    album.extra = in.attributes({"Visible", "Place", "ProfilePhotos"});
    album.description = in.text("Description");
    album.cover = in.text("CoverPhoto");
    each(in, "photos", [&](Reader entry) {
      Photo photo{entry.required("ID"), album.id, entry.required("Title"),
                  entry.required("MainPhoto"), entry.required("Thumbnail"), std::nullopt};
      entry.finish();
      album.photos.push_back(photo.id);
      if (!network.photos.emplace(photo.id, photo).second)
        entry.fail("repeats photo \"" + photo.id + "\"");
    });
    in.finish();
    network.albums.push_back(std::move(album));
  });
  each(root, "comments", [&](Reader in) {
    Comment comment{in.required("ID"), in.required("Target"), in.required("TargetID"),
                    in.required("Commenter"), in.required("CreateTime"), in.required("Content"),
                    in.text("Recommend")};
    in.finish();
    if (comment.target_type != "photo" && comment.target_type != "activity")
      in.fail("targets neither a photo nor an activity");
    network.comments.push_back(std::move(comment));
  });
  each(root, "threads", [&](Reader in) {
    Thread thread{in.required("ID"), {}};
    each(in, "messages", [&](Reader entry) {
      Message message{entry.required("ID"), entry.required("Sender"), entry.required("SendTime"),
                      entry.text("Title"), entry.text("Content"), {}, {}};
      const json *groups = entry.list("Receivers");
      if (groups == nullptr) entry.fail("has no \"Receivers\"");
      for (const json &group : *groups) {
        if (!group.is_array() || group.empty()) entry.fail("has a receiver group that is no list");
        message.receiver_groups.emplace_back();
        for (const json &id : group) {
          if (!id.is_string()) entry.fail("has a receiver that is not a text");
          message.receiver_groups.back().push_back(id.get<std::string>());
        }
      }
      if (const json *unread = entry.list("UnreadBy"))
        for (const json &id : *unread)
          if (id.is_string()) message.unread_by.insert(id.get<std::string>());
      entry.finish();
      thread.messages.push_back(std::move(message));
    });
    in.finish();
    network.threads.push_back(std::move(thread));
  });
  root.finish();

  // Every reference names something that exists, and no id is used twice.
  auto check_person = [&](const std::string &id, const std::string &where) {
    if (network.person(id) == nullptr)
      throw std::runtime_error("seed: " + where + " names unknown person \"" + id + "\"");
  };
  auto claim = [&](const std::string &id) {
    if (!network.used_ids.insert(id).second)
      throw std::runtime_error("seed: id \"" + id + "\" is used twice");
  };
  for (const Person &person : network.people) {
    claim(person.id);
    for (const Friend &entry : person.friends) check_person(entry.id, "friend of " + person.id);
  }
  for (const Activity &activity : network.activities) {
    claim(activity.id);
    check_person(activity.owner, "activity " + activity.id);
  }
  for (const Album &album : network.albums) {
    claim(album.id);
    check_person(album.owner, "album " + album.id);
    for (const std::string &photo : album.photos) claim(photo);
  }
  for (const Comment &comment : network.comments) {
    claim(comment.id);
    check_person(comment.commenter, "comment " + comment.id);
    bool target = comment.target_type == "photo" ? network.photos.count(comment.target_id) != 0
                                                 : network.activity(comment.target_id) != nullptr;
    if (!target) throw std::runtime_error("seed: comment " + comment.id + " has no target");
  }
  for (const Thread &thread : network.threads) {
    claim(thread.id);
    for (const Message &message : thread.messages) {
      claim(message.id);
      check_person(message.sender, "message " + message.id);
      for (const auto &group : message.receiver_groups)
        for (const std::string &id : group) check_person(id, "message " + message.id);
    }
  }
  return network;
}

namespace {

template <typename T>
T *find_by_id(std::vector<T> &items, const std::string &id) {
  for (T &item : items)
    if (item.id == id) return &item;
  return nullptr;
}

}  // namespace

Person *Network::person(const std::string &id) { return find_by_id(people, id); }
Album *Network::album(const std::string &id) { return find_by_id(albums, id); }
Activity *Network::activity(const std::string &id) { return find_by_id(activities, id); }

std::string Network::new_id(const char *prefix) {
  std::string id;
  do {
    id = prefix + std::to_string(next_id++);
  } while (!used_ids.insert(id).second);
  return id;
}

}  // namespace gateway_sim
