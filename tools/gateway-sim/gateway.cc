#include "gateway.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <ctime>
#include <filesystem>
#include <memory>
#include <random>
#include <stdexcept>

#include "upload.h"
#include "xml.h"

namespace gateway_sim {
namespace {

// An answer in the gateway's error envelope. The plug-in turns it into the
// negated sub-code, or ten times the negated code when the sub-code is 0.
struct GatewayError {
  const char *code, *sub;
  std::string context;
  int http = 200;
};

// The envelopes this gateway answers with.
GatewayError malformed(std::string why) { return {"1", "0", std::move(why)}; }
GatewayError no_session() { return {"2", "201", "no session key"}; }
GatewayError stale_session() { return {"2", "202", "session key unknown or logged out"}; }
GatewayError login_refused() { return {"3", "301", "user name or password wrong"}; }
GatewayError unknown_application() { return {"3", "302", "application key unknown"}; }
GatewayError unknown_method(std::string what, int http = 200) {
  return {"4", "0", std::move(what), http};
}
GatewayError unknown_person(const std::string &id) {
  return {"5", "501", "no person \"" + id + "\""};
}
GatewayError unknown_item(std::string what, int http = 200) {
  return {"5", "502", std::move(what), http};
}
GatewayError missing(std::string what) { return {"6", "601", std::move(what) + " missing"}; }
GatewayError unknown_upload() { return {"7", "701", "no such upload", 404}; }
GatewayError bad_range(std::string why) { return {"7", "702", std::move(why), 400}; }
GatewayError refused_chunk(std::string why) { return {"7", "703", std::move(why), 416}; }

struct Context {
  Network &net;
  const Options &options;
  const Environment &env;
  const Element &request;
  std::string session_key;
  Person *viewer = nullptr;  // the session's person; null for a login
};

const std::string *child_value(const Element &element, std::string_view child,
                               std::string_view attribute = "Value") {
  const Element *found = element.child(child);
  return found != nullptr ? found->attribute(attribute) : nullptr;
}

std::string now_text(const Context &c, int64_t later = 0) {
  return std::to_string(c.env.now() + later);
}

// The person a request names in its "People" element ("owner", or no
// element: the session's own person).
Person &named_person(Context &c) {
  const std::string *id = child_value(c.request, "People", "ID");
  if (id == nullptr || *id == "owner") return *c.viewer;
  if (Person *person = c.net.person(*id)) return *person;
  throw unknown_person(*id);
}

bool parse_count(const std::string *text, size_t &value) {
  if (text == nullptr) return false;
  auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), value);
  return error == std::errc() && end == text->data() + text->size();
}

// The window a list reply covers: "StartOffset" counts from 1, and a
// "StartContext" handed out by an earlier reply continues where it ended.
struct Page {
  size_t first = 0, count = 16;
};

Page page_of(const Element &request) {
  Page page;
  const Element *response = request.child("Response");
  if (response == nullptr) return page;
  size_t start = 0, count = 0;
  if ((parse_count(response->attribute("StartContext"), start) ||
       parse_count(response->attribute("StartOffset"), start)) &&
      start > 0)
    page.first = start - 1;
  if (parse_count(response->attribute("MaxCount"), count) && count > 0)
    page.count = std::min<size_t>(count, 100);
  return page;
}

template <typename Emit>
void paginate(Node &root, size_t size, const Page &page, Emit emit) {
  size_t end = page.first >= size ? page.first : std::min(size, page.first + page.count);
  bool more = end < size;
  root.set("HasNext", more ? "true" : "false");
  if (more) root.set("StartContext", std::to_string(end + 1));
  for (size_t i = page.first; i < end; ++i) emit(i);
}

bool is_friend(const Context &c, const Person &other) { return c.viewer->lists_friend(other.id); }

Node profile_photo(const std::optional<std::string> &url, const char *element = "ProfilePhoto") {
  return Node(element).set("URL", url.value_or(""));
}

void add_status_and_mood(Node &node, const Person &person) {
  if (person.status)
    node.add(Node("Status")
                 .set("CreateTime", person.status->time)
                 .set("ID", person.status->id)
                 .set_text(person.status->text));
  if (person.mood)
    node.add(Node("Mood")
                 .set("ID", person.mood->id)
                 .set("IconID", person.mood->icon)
                 .set("Text", person.mood->text));
}

Node people_element(const Context &c, const Person &person) {
  Node people("People");
  for (const std::string &key : kPeopleAttributes) {
    if (key == "ID")
      people.set(key, person.id);
    else if (key == "SP")
      people.set(key, person.sp);
    else if (key == "IsFriend")
      people.set(key, is_friend(c, person) ? "true" : "false");
    else
      people.set_if(key, person.profile_value(key));
  }
  add_status_and_mood(people, person);
  if (person.profile_photo) people.add(profile_photo(person.profile_photo));
  return people;
}

std::string display_name(const Person &person) {
  const std::string *name = person.profile_value("DisplayName");
  return name != nullptr ? *name : person.id;
}

size_t comment_count(const Network &net, std::string_view type, const std::string &id) {
  return static_cast<size_t>(std::count_if(net.comments.begin(), net.comments.end(),
                                           [&](const Comment &comment) {
                                             return comment.target_type == type &&
                                                    comment.target_id == id;
                                           }));
}

// Sets `key` on the node when the seeded attributes have it; replies keep
// the attribute order of the records that read them.
void copy_attribute(Node &node, const Attributes &from, const char *key) {
  for (const auto &[name, value] : from)
    if (name == key) node.set(name, value);
}

Node item_element(const Item &item) {
  Node node(item.kind);
  node.attributes = item.attributes;
  if (item.content) node.add(Node("Content").set_text(*item.content));
  if (item.thumbnail) node.add(Node("Thumbnail").set("URL", *item.thumbnail));
  if (!item.links.empty()) {
    // A "Photo" per link carries its title and author; a "Link" inside a
    // "Link" carries its picture.
    Node links("Links");
    for (const Link &link : item.links) {
      links.add(Node("Photo").set("Title", link.title).set("AuthorName", link.author));
      if (link.photo_url) {
        Node outer("Link");
        outer.add(Node("Link").set("URL", *link.photo_url));
        links.add(std::move(outer));
      }
    }
    node.add(std::move(links));
  }
  return node;
}

Node activity_element(const Context &c, const Activity &activity) {
  Person *owner = c.net.person(activity.owner);
  Node node("Activity");
  auto extra = [&](const char *key) { copy_attribute(node, activity.extra, key); };
  node.set("ID", activity.id).set("SP", owner != nullptr ? owner->sp : "palisade");
  extra("TargetID");
  node.set("ActTime", activity.time).set("Type", activity.type);
  extra("RelatedID");
  extra("RelatedName");
  extra("RecommendsCount");
  node.set("CommentsCount", std::to_string(comment_count(c.net, "activity", activity.id)));
  extra("MobileAuth");
  extra("Commentable");
  if (activity.content) node.add(Node("Content").set_text(*activity.content));
  if (owner != nullptr) {
    Node owner_node("Owner");
    owner_node.set("ID", owner->id)
        .set("Name", display_name(*owner))
        .set("Type", "people")
        .set("IsFriend", is_friend(c, *owner) ? "true" : "false");
    if (owner->profile_photo) owner_node.add(profile_photo(owner->profile_photo));
    if (owner->photo_thumbnail)
      owner_node.add(profile_photo(owner->photo_thumbnail, "PhotoThumbnail"));
    node.add(std::move(owner_node));
  }
  for (const Item &item : activity.items) node.add(item_element(item));
  return node;
}

// ---------------------------------------------------------------------------
// Operations, one per path and method.

Node login(Context &c) {
  const std::string *user = child_value(c.request, "UserName");
  const std::string *password = child_value(c.request, "Password");
  if (!c.net.application_keys.empty()) {
    const std::string *key = child_value(c.request, "ApplicationKey");
    if (key == nullptr || std::find(c.net.application_keys.begin(), c.net.application_keys.end(),
                                    *key) == c.net.application_keys.end())
      throw unknown_application();
  }
  if (user == nullptr || password == nullptr) throw login_refused();
  auto found = std::find_if(c.net.people.begin(), c.net.people.end(), [&](const Person &person) {
    return person.user == *user && person.password == *password;
  });
  if (found == c.net.people.end()) throw login_refused();
  std::string session = c.env.new_key();
  c.net.sessions[session] = found->id;

  Node response("Response");
  response.set("SessionKey", session);
  if (const Element *persist = c.request.child("PersistKey");
      persist != nullptr && persist->attribute("Use") != nullptr &&
      *persist->attribute("Use") == "true") {
    std::string key = c.env.new_key();
    c.net.persist_keys[key] = found->id;
    const std::string *expires = persist->attribute("Expires");
    response.add(Node("PersistKey").set("Value", key).set("Expires", expires ? *expires : "43200"));
  }
  response.add(Node("Server").set("Addr", c.net.server_addr));
  Node info("RemoteLoginInfo");
  info.set("LoginPeopleID", found->id).set("DisplayName", display_name(*found));
  if (found->profile_photo) info.add(profile_photo(found->profile_photo));
  response.add(std::move(info));
  return response;
}

Node logout(Context &c) {
  c.net.sessions.erase(c.session_key);
  Node response("Response");
  response.add(Node("SessionKey").set("Value", c.session_key));
  response.add(Node("PersistKey").set("Loggined", "false"));
  return response;
}

// Friend attributes and the profile values they are taken from.
constexpr std::pair<const char *, const char *> kFriendFields[] = {
    {"FullName", "Name"}, {"Email", "Emails"}, {"Presence", "Presence"},
    {"Location", "Location"}, {"City", "City"}, {"Age", "Age"}};

Node friends(Context &c) {
  const Person &person = named_person(c);
  Node response("Response");
  paginate(response, person.friends.size(), page_of(c.request), [&](size_t i) {
    const Friend &entry = person.friends[i];
    const Person &other = *c.net.person(entry.id);
    Node node("Friend");
    node.set("ID", other.id).set("SP", other.sp).set("GroupingID", entry.grouping);
    node.set("DisplayName", display_name(other));
    for (const auto &[key, source] : kFriendFields) node.set_if(key, other.profile_value(source));
    add_status_and_mood(node, other);
    if (entry.relation_type || entry.relation_time)
      node.add(Node("Relation")
                   .set_if("Type", entry.relation_type ? &*entry.relation_type : nullptr)
                   .set_if("ModifyTime", entry.relation_time ? &*entry.relation_time : nullptr));
    if (other.profile_photo) node.add(profile_photo(other.profile_photo));
    response.add(std::move(node));
    // The follower counts travel in a "People" element that follows the
    // friend it belongs to.
    if (other.following || other.followers) {
      Node people("People");
      people.set("ID", other.id);
      people.add(Node("Friendship")
                     .set_if("FollowingNum", other.following ? &*other.following : nullptr)
                     .set_if("FollowerNum", other.followers ? &*other.followers : nullptr));
      response.add(std::move(people));
    }
  });
  return response;
}

bool contains_folded(const std::string &text, const std::string &part) {
  auto fold = [](char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
  };
  return std::search(text.begin(), text.end(), part.begin(), part.end(), fold) != text.end();
}

Node search(Context &c) {
  const std::string *name = child_value(c.request, "Name");
  const std::string *email = child_value(c.request, "Email");
  if ((name == nullptr || name->empty()) && (email == nullptr || email->empty()))
    throw missing("search name or e-mail");
  std::vector<const Person *> found;
  for (const Person &person : c.net.people) {
    bool match = false;
    if (name != nullptr && !name->empty())
      for (const char *key : {"DisplayName", "FirstName", "LastName", "Name"})
        if (const std::string *value = person.profile_value(key))
          match = match || contains_folded(*value, *name);
    if (email != nullptr && !email->empty())
      if (const std::string *value = person.profile_value("Emails"))
        match = match || contains_folded(*value, *email);
    if (match) found.push_back(&person);
  }
  Node response("Response");
  paginate(response, found.size(), page_of(c.request),
           [&](size_t i) { response.add(people_element(c, *found[i])); });
  return response;
}

Node activities(Context &c) {
  const Element *target = c.request.child("Target");
  auto wanted = [&](const std::string *value) {
    return value != nullptr && *value != "all" ? value : nullptr;
  };
  const std::string *id = target ? wanted(target->attribute("ID")) : nullptr;
  const std::string *owner = target ? wanted(target->attribute("OwnerID")) : nullptr;
  const std::string *type = wanted(child_value(c.request, "Types"));
  std::string owner_id = owner == nullptr ? "" : *owner == "owner" ? c.viewer->id : *owner;

  std::vector<const Activity *> feed;
  for (const Activity &activity : c.net.activities) {
    bool visible = activity.owner == c.viewer->id || c.viewer->lists_friend(activity.owner);
    if (visible && (id == nullptr || activity.id == *id) &&
        (owner == nullptr || activity.owner == owner_id) &&
        (type == nullptr || activity.type == *type))
      feed.push_back(&activity);
  }
  Node response("Response");
  paginate(response, feed.size(), page_of(c.request),
           [&](size_t i) { response.add(activity_element(c, *feed[i])); });
  return response;
}

Node set_profile(Context &c) {
  Person &person = named_person(c);
  if (&person != c.viewer) throw unknown_item("only one's own profile can be set");
  // A bare "Response" tells the plug-in that the profile was set.
  if (const Element *status = c.request.child("Status")) {
    std::string time = now_text(c);
    person.status = Status{c.net.new_id("s"), status->text, time};
    Activity activity{c.net.new_id("a"), person.id, "status", time, {}, status->text, {}};
    c.net.activities.insert(c.net.activities.begin(), std::move(activity));
  }
  return Node("Response");
}

// The photo or activity a comment request names.
std::pair<std::string, std::string> comment_target(Context &c) {
  const Element *target = c.request.child("Target");
  const std::string *id = target ? target->attribute("ID") : nullptr;
  const std::string *type = target ? target->attribute("Type") : nullptr;
  if (id == nullptr || type == nullptr) throw missing("comment target");
  bool exists = *type == "photo" ? c.net.photos.count(*id) != 0
                : *type == "activity" ? c.net.activity(*id) != nullptr
                                      : false;
  if (!exists) throw unknown_item("no " + *type + " \"" + *id + "\"");
  return {*type, *id};
}

Node post_comment(Context &c) {
  auto [type, id] = comment_target(c);
  const Element *content = c.request.child("Content");
  if (content == nullptr) throw missing("comment text");
  Comment comment{c.net.new_id("c"), type, id, c.viewer->id, now_text(c), content->text,
                  std::nullopt};
  Node response("Response");
  response.add(Node("Comment").set("ID", comment.id).set("TargetID", id).set("Result", "true"));
  c.net.comments.push_back(std::move(comment));
  return response;
}

Node comments(Context &c) {
  auto [type, id] = comment_target(c);
  std::vector<const Comment *> found;
  for (const Comment &comment : c.net.comments)
    if (comment.target_type == type && comment.target_id == id) found.push_back(&comment);
  Node response("Response");
  paginate(response, found.size(), page_of(c.request), [&](size_t i) {
    const Comment &comment = *found[i];
    const Person &commenter = *c.net.person(comment.commenter);
    Node node("Comment");
    node.set("ID", comment.id)
        .set("SP", commenter.sp)
        .set("TargetID", comment.target_id)
        .set("CreateTime", comment.time)
        .set("Recommend", comment.recommend.value_or("false"));
    Node who("Commenter");
    who.set("ID", commenter.id).set("Name", display_name(commenter));
    if (commenter.profile_photo) who.add(profile_photo(commenter.profile_photo));
    node.add(std::move(who));
    node.add(Node("Content").set_text(comment.content));
    response.add(std::move(node));
  });
  return response;
}

Node add_photo(Context &c) {
  const Element *photo = c.request.child("Photo");
  const Element *album_element = photo ? photo->child("Album") : nullptr;
  const std::string *album_id = album_element ? album_element->attribute("ID") : nullptr;
  if (album_id == nullptr) throw missing("album");
  Album *album = c.net.album(*album_id);
  if (album == nullptr || album->owner != c.viewer->id)
    throw unknown_item("no album \"" + *album_id + "\" of the user");
  const std::string *file = child_value(*photo, "File", "Name");
  const Element *caption = photo->child("Content");

  Upload upload;
  upload.resource = "upload/" + c.env.new_key();
  upload.photo = c.net.new_id("p");
  upload.album = album->id;
  upload.owner = c.viewer->id;
  upload.file_name = file ? *file : upload.photo + ".jpg";
  if (caption) upload.caption = caption->text;
  Node response("Response");
  response.add(Node("UploadLocation")
                   .set("FileName", upload.file_name)
                   .set("HostAddr", c.options.upload_host)
                   .set("ResourceID", upload.resource)
                   .set("Expires", now_text(c, 3600)));
  c.net.uploads.emplace(upload.resource, std::move(upload));
  return response;
}

Node albums(Context &c) {
  const Person &person = named_person(c);
  std::vector<const Album *> found;
  for (const Album &album : c.net.albums)
    if (album.owner == person.id) found.push_back(&album);
  Node response("Response");
  paginate(response, found.size(), page_of(c.request), [&](size_t i) {
    const Album &album = *found[i];
    Node node("Album");
    node.set("ID", album.id).set("SP", person.sp).set("Name", album.name);
    copy_attribute(node, album.extra, "Visible");
    copy_attribute(node, album.extra, "Place");
    node.set("CreatorID", album.owner).set("PhotosCount", std::to_string(album.photos.size()));
    copy_attribute(node, album.extra, "ProfilePhotos");
    if (album.description) node.add(Node("Description").set_text(*album.description));
    std::optional<std::string> cover = album.cover;
    if (!cover && !album.photos.empty()) cover = c.net.photos.at(album.photos.front()).main_url;
    if (cover) node.add(Node("CoverPhoto").set("URL", *cover));
    response.add(std::move(node));
  });
  return response;
}

Node album_photos(Context &c) {
  const std::string *album_id = child_value(c.request, "Album", "ID");
  if (album_id == nullptr) throw missing("album");
  const Album *album = c.net.album(*album_id);
  if (album == nullptr) throw unknown_item("no album \"" + *album_id + "\"");
  Node response("Response");
  paginate(response, album->photos.size(), page_of(c.request), [&](size_t i) {
    const Photo &photo = c.net.photos.at(album->photos[i]);
    Node node("Photo");
    node.set("ID", photo.id)
        .set("Title", photo.title)
        .set("CommentsCount", std::to_string(comment_count(c.net, "photo", photo.id)));
    node.add(Node("MainPhoto").set("URL", photo.main_url));
    node.add(Node("Thumbnail").set("URL", photo.thumbnail_url));
    response.add(std::move(node));
  });
  return response;
}

Node person_reference(const Context &c, const char *element, const std::string &id) {
  const Person *person = c.net.person(id);
  Node node(element);
  node.set("ID", id).set("Name", person ? display_name(*person) : id);
  if (person != nullptr && person->profile_photo) node.add(profile_photo(person->profile_photo));
  return node;
}

Node message_element(const Context &c, const Message &message) {
  const Person *sender = c.net.person(message.sender);
  Node node("Message");
  node.set("ID", message.id).set("SP", sender ? sender->sp : "palisade");
  if (message.title) node.set("Title", *message.title);
  node.set("SendTime", message.time);
  // Receivers come before the sender: the folder reader takes the sender's
  // photo only once the message has a receiver group.
  for (const auto &group : message.receiver_groups) {
    Node receivers("Receivers");
    for (const std::string &id : group) receivers.add(person_reference(c, "Receiver", id));
    node.add(std::move(receivers));
  }
  node.add(person_reference(c, "Sender", message.sender));
  if (message.content) node.add(Node("Content").set_text(*message.content));
  return node;
}

Node message_folder(Context &c) {
  const std::string *folder_value = child_value(c.request, "Folder");
  std::string folder = folder_value ? *folder_value : "all";
  const std::string &me = c.viewer->id;
  auto shown = [&](const Message &message) {
    if (folder == "inbox") return message.received_by(me);
    if (folder == "outbox") return message.sender == me;
    if (folder == "all") return message.received_by(me) || message.sender == me;
    return false;  // save, trash, temp, commenting: nothing is ever filed there
  };
  bool mark_read = child_value(c.request, "MarkRead") != nullptr &&
                   *child_value(c.request, "MarkRead") == "true";
  std::vector<Thread *> found;
  for (Thread &thread : c.net.threads)
    if (std::any_of(thread.messages.begin(), thread.messages.end(), shown))
      found.push_back(&thread);
  Node response("Response");
  paginate(response, found.size(), page_of(c.request), [&](size_t i) {
    Thread &thread = *found[i];
    size_t unread = 0;
    for (const Message &message : thread.messages)
      if (shown(message) && message.unread_by.count(me) != 0) ++unread;
    Node node("Thread");
    node.set("ID", thread.id).set("Unread", std::to_string(unread)).set("Folder", folder);
    for (Message &message : thread.messages) {
      if (!shown(message)) continue;
      node.add(message_element(c, message));
      if (mark_read) message.unread_by.erase(me);
    }
    response.add(std::move(node));
  });
  return response;
}

Node send_message(Context &c) {
  std::vector<std::string> receivers;
  for (const Element *receiver : c.request.children_named("Receiver")) {
    const std::string *id = receiver->attribute("ID");
    if (id == nullptr) throw missing("receiver id");
    if (c.net.person(*id) == nullptr) throw unknown_person(*id);
    receivers.push_back(*id);
  }
  if (receivers.empty()) throw missing("receiver");
  const std::string *type = child_value(c.request, "Send", "Type");
  Thread *thread = nullptr;
  if (type != nullptr && *type == "reply") {
    const Element *reply = c.request.child("Reply");
    const std::string *thread_id = reply ? reply->attribute("ThreadID") : nullptr;
    const std::string *message_id = reply ? reply->attribute("MessageID") : nullptr;
    for (Thread &candidate : c.net.threads)
      if ((thread_id && candidate.id == *thread_id) ||
          (message_id && std::any_of(candidate.messages.begin(), candidate.messages.end(),
                                     [&](const Message &m) { return m.id == *message_id; })))
        thread = &candidate;
    if (thread == nullptr) throw unknown_item("no thread to reply to");
  } else {
    c.net.threads.insert(c.net.threads.begin(), Thread{c.net.new_id("t"), {}});
    thread = &c.net.threads.front();
  }
  Message message;
  message.id = c.net.new_id("m");
  message.sender = c.viewer->id;
  message.time = now_text(c);
  if (const std::string *title = child_value(c.request, "Title")) message.title = *title;
  if (const Element *content = c.request.child("Content")) message.content = content->text;
  message.receiver_groups.push_back(receivers);
  message.unread_by.insert(receivers.begin(), receivers.end());

  Node response("Response");
  response.add(Node("Message")
                   .set("ID", message.id)
                   .set("SendTime", message.time)
                   .set("SP", c.viewer->sp)
                   .set("ThreadID", thread->id)
                   .set("Result", "true"));
  thread->messages.push_back(std::move(message));
  return response;
}

struct Route {
  const char *path, *method;
  Node (*operation)(Context &);
};

const Route kRoutes[] = {
    {"/palisade/auth", "login", login},
    {"/palisade/auth", "logout", logout},
    {"/palisade/friend/grouping", "retrieve", friends},
    {"/palisade/search", "search", search},
    {"/palisade/activity", "get", activities},
    {"/palisade/people/profile", "set", set_profile},
    {"/palisade/comment", "post", post_comment},
    {"/palisade/comment", "retrieve", comments},
    {"/palisade/photo", "upload", add_photo},
    {"/palisade/photo/album", "get", albums},
    {"/palisade/photo/album", "retrieve", album_photos},
    {"/palisade/message/folder", "retrieve", message_folder},
    {"/palisade/message", "post", send_message},
};

// Keys from one generator for the whole process, so that a seed given at
// start-up (or later) decides every key handed out after it.
struct KeySource {
  std::mutex mutex;
  std::mt19937_64 engine;

  std::string next() {
    static const char digits[] = "0123456789abcdef";
    std::lock_guard<std::mutex> lock(mutex);
    std::string key(32, '0');
    for (char &digit : key) digit = digits[engine() % 16];
    return key;
  }
};

GatewayError too_large(const char *what, uint64_t limit) {
  return {"7", "703", std::string(what) + " larger than " + std::to_string(limit) + " bytes", 413};
}

Outgoing error_reply(const GatewayError &error, bool cdata) {
  return Outgoing{error.http, "text/xml; charset=UTF-8", error_envelope(error.code, error.sub, error.context, cdata),
                  {}};
}

bool starts_with(const std::string &text, std::string_view prefix) {
  return text.compare(0, prefix.size(), prefix) == 0;
}

}  // namespace

std::string error_envelope(const std::string &code, const std::string &sub, const std::string &context,
                           bool cdata) {
  return render(Node("Response").set("ErrCode", code).set("ErrSubCode", sub).set("ErrContext", context), cdata);
}

Environment Environment::real(std::optional<uint64_t> seed) {
  auto keys = std::make_shared<KeySource>();
  keys->engine.seed(seed ? *seed : std::random_device{}());
  return Environment{[keys] { return keys->next(); },
                     [] { return static_cast<int64_t>(std::time(nullptr)); },
                     [keys](uint64_t value) {
                       std::lock_guard<std::mutex> lock(keys->mutex);
                       keys->engine.seed(value);
                     }};
}

const std::vector<ServedPath> &served_paths() {
  static const std::vector<ServedPath> paths = {
      {"/palisade/auth", "log in and log out; the one path HTTPS serves"},
      {"/palisade/friend/grouping", "the friends list"},
      {"/palisade/search", "people search"},
      {"/palisade/activity", "the activity feed"},
      {"/palisade/people/profile", "setting one's status"},
      {"/palisade/comment", "comments: read and post"},
      {"/palisade/photo", "adding a photo: the upload location"},
      {"/palisade/photo/album", "albums and the photos of an album"},
      {"/palisade/message/folder", "message folders"},
      {"/palisade/message", "sending a message"},
      {"/upload/<resource>", "upload chunks (POST, Content-Range)"},
      {"/media/<photo>", "uploaded pictures (GET)"},
  };
  return paths;
}

bool pattern_serves(const std::string &pattern) {
  if (pattern.empty()) return false;
  bool prefix = pattern.back() == '*';
  std::string stem = prefix ? pattern.substr(0, pattern.size() - 1) : pattern;
  for (const ServedPath &served : served_paths()) {
    std::string path = served.path;
    size_t open = path.find('<');
    if (open == std::string::npos) {
      if (prefix ? starts_with(path, stem) : path == stem) return true;
      continue;
    }
    // "/upload/<resource>": any non-empty last segment.
    std::string fixed = path.substr(0, open);
    if (starts_with(stem, fixed)) {
      std::string rest = stem.substr(fixed.size());
      if (prefix || (!rest.empty() && rest.find('/') == std::string::npos)) return true;
    } else if (prefix && starts_with(fixed, stem)) {
      return true;
    }
  }
  return false;
}

ChunkSink::~ChunkSink() {
  if (!settled_ && gateway_ != nullptr) gateway_->abandon_chunk(*this);
  if (fd_ >= 0) close(fd_);
}

void ChunkSink::write(const char *data, size_t size) {
  uint64_t room = received_ < expected_ ? expected_ - received_ : 0;
  size_t now = static_cast<size_t>(std::min<uint64_t>(room, size));
  for (size_t done = 0; done < now && !failed_;) {
    ssize_t wrote = pwrite(fd_, data + done, now - done, static_cast<off_t>(first_ + received_ + done));
    if (wrote <= 0) failed_ = true;
    else done += static_cast<size_t>(wrote);
  }
  received_ += size;
}

Gateway::Gateway(Network network, Options options, Environment environment)
    : network_(std::move(network)),
      options_(std::move(options)),
      environment_(std::move(environment)) {
  const char *tmp = std::getenv("TMPDIR");
  std::string pattern = std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/gateway-sim.XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr)
    throw std::runtime_error("cannot make a folder for uploads under " + pattern);
  storage_ = pattern;
}

Gateway::~Gateway() {
  std::error_code ignored;
  std::filesystem::remove_all(storage_, ignored);
}

void Gateway::remove_stored_files() {
  std::error_code ignored;
  for (const auto &entry : std::filesystem::directory_iterator(storage_, ignored))
    std::filesystem::remove(entry.path(), ignored);
}

void Gateway::reset(Network network) {
  std::lock_guard<std::mutex> lock(mutex_);
  network_ = std::move(network);
  ++generation_;
  // A picture being sent keeps its open file; nothing else reads these.
  remove_stored_files();
}

void Gateway::reseed(uint64_t seed) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (environment_.reseed) environment_.reseed(seed);
}

bool Gateway::is_upload_chunk(const std::string &method, const std::string &path, bool secure) {
  return method == "POST" && !secure && starts_with(path, "/upload/");
}

Outgoing Gateway::handle(const Incoming &request) {
  if (is_upload_chunk(request.method, request.path, request.secure)) {
    ChunkStart start = begin_chunk(request.path, request.content_range, request.body.size());
    if (!start.sink) return start.refusal;
    start.sink->write(request.body.data(), request.body.size());
    return finish_chunk(*start.sink);
  }
  std::lock_guard<std::mutex> lock(mutex_);
  try {
    if (request.method == "GET" && starts_with(request.path, "/media/")) return media(request);
    if (request.method != "POST") throw unknown_method(request.method + " is not served", 405);
    return gateway_request(request);
  } catch (const GatewayError &error) {
    return error_reply(error, options_.cdata);
  }
}

Outgoing Gateway::gateway_request(const Incoming &request) {
  // HTTPS carries only the log-in path; everything else is plain HTTP.
  bool known = std::any_of(std::begin(kRoutes), std::end(kRoutes), [&](const Route &route) {
    return route.path == request.path && (!request.secure || request.path == "/palisade/auth");
  });
  if (!known) throw unknown_method("no such path " + request.path, 404);
  std::optional<Element> document = parse_document(request.body);
  if (!document) throw malformed("request is not well-formed XML");
  if (document->name != "Request") throw malformed("root is not a Request");
  const std::string *method = document->attribute("Method");
  const Route *route = nullptr;
  for (const Route &candidate : kRoutes)
    if (candidate.path == request.path && method != nullptr && *method == candidate.method)
      route = &candidate;
  if (route == nullptr)
    throw unknown_method("no method \"" + (method ? *method : std::string()) + "\" on " +
                         request.path);

  Context context{network_, options_, environment_, *document, {}, nullptr};
  if (route->operation != login) {
    const std::string *key = document->attribute("SessionKey");
    if (key == nullptr || key->empty()) throw no_session();
    auto session = network_.sessions.find(*key);
    if (session == network_.sessions.end()) throw stale_session();
    context.session_key = *key;
    context.viewer = network_.person(session->second);
  }
  return Outgoing{200, "text/xml; charset=UTF-8", render(route->operation(context), options_.cdata), {}};
}

ChunkStart Gateway::begin_chunk(const std::string &path, const std::string &content_range,
                                std::optional<uint64_t> content_length) {
  std::lock_guard<std::mutex> lock(mutex_);
  try {
    return begin_chunk_locked(path, content_range, content_length);
  } catch (const GatewayError &error) {
    return ChunkStart{nullptr, error_reply(error, options_.cdata)};
  }
}

ChunkStart Gateway::begin_chunk_locked(const std::string &path, const std::string &content_range,
                                       std::optional<uint64_t> content_length) {
  auto found = network_.uploads.find(path.substr(1));
  if (found == network_.uploads.end()) throw unknown_upload();
  Upload &upload = found->second;
  std::optional<ContentRange> range = parse_content_range(content_range);
  if (!range) throw bad_range("no usable Content-Range");
  if (std::optional<std::string> refused = refuse_chunk(upload, *range)) throw refused_chunk(*refused);
  uint64_t length = chunk_length(*range);
  if (content_length && *content_length != length) throw refused_chunk("the body does not fill the range");
  if (!range->whole_empty && range->total > options_.max_upload_bytes)
    throw too_large("the file is", options_.max_upload_bytes);
  // The plug-in sends one chunk after the other; two at once would write
  // over each other.
  if (upload.arriving) throw GatewayError{"7", "703", "another chunk of this upload is still arriving", 409};
  if (upload.file.empty()) upload.file = storage_ + "/" + upload.photo;
  auto sink = std::unique_ptr<ChunkSink>(new ChunkSink());
  sink->fd_ = open(upload.file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  if (sink->fd_ < 0) throw unknown_item("the upload's file cannot be written", 500);
  sink->gateway_ = this;
  sink->resource_ = upload.resource;
  sink->generation_ = generation_;
  sink->first_ = upload.received;
  sink->expected_ = length;
  sink->total_ = range->whole_empty ? 0 : range->total;
  upload.arriving = true;
  return ChunkStart{std::move(sink), {}};
}

void Gateway::abandon_chunk(ChunkSink &sink) {
  std::lock_guard<std::mutex> lock(mutex_);
  sink.settled_ = true;
  if (sink.generation_ != generation_) return;
  auto found = network_.uploads.find(sink.resource_);
  if (found == network_.uploads.end()) return;
  found->second.arriving = false;
  // Whatever part of the chunk was written is not part of the file; should
  // the cut fail, the next chunk writes over it.
  if (sink.fd_ >= 0 && ftruncate(sink.fd_, static_cast<off_t>(found->second.received)) != 0) return;
}

Outgoing Gateway::finish_chunk(ChunkSink &sink) {
  std::unique_lock<std::mutex> lock(mutex_);
  try {
    return finish_chunk_locked(sink);
  } catch (const GatewayError &error) {
    lock.unlock();
    if (!sink.settled_) abandon_chunk(sink);
    return error_reply(error, options_.cdata);
  }
}

Outgoing Gateway::finish_chunk_locked(ChunkSink &sink) {
  auto found = network_.uploads.find(sink.resource_);
  if (sink.generation_ != generation_ || found == network_.uploads.end()) {
    sink.settled_ = true;
    throw unknown_upload();
  }
  if (sink.received_ != sink.expected_) throw refused_chunk("the body does not fill the range");
  if (sink.failed_) throw unknown_item("the upload's file cannot be written", 500);
  Upload &upload = found->second;
  uint64_t received = upload.received + sink.received_;
  bool done = received == sink.total_;
  // A longer chunk refused earlier may have left bytes past the end.
  if (done && ftruncate(sink.fd_, static_cast<off_t>(received)) != 0)
    throw unknown_item("the upload's file cannot be written", 500);
  sink.settled_ = true;
  upload.arriving = false;
  upload.received = received;
  upload.total = sink.total_;
  upload.done = done;
  if (upload.done) {
    Photo photo{upload.photo, upload.album, upload.file_name, {}, {}, upload.file};
    photo.main_url = "http://" + options_.upload_host + "/media/" + photo.id;
    photo.thumbnail_url = photo.main_url + "?size=thumb";
    network_.photos[photo.id] = std::move(photo);
    if (Album *album = network_.album(upload.album)) album->photos.push_back(upload.photo);
  }
  Node response("Response");
  response.add(Node("Photo")
                   .set("ID", upload.photo)
                   .set("AlbumID", upload.album)
                   .set("SP", "palisade")
                   .set("Status", upload.done ? "done" : "uploading"));
  if (upload.done) network_.uploads.erase(found);
  return Outgoing{200, "text/xml; charset=UTF-8", render(response, options_.cdata), {}};
}

Outgoing Gateway::media(const Incoming &request) {
  auto found = network_.photos.find(request.path.substr(std::string_view("/media/").size()));
  if (found == network_.photos.end() || !found->second.file)
    throw unknown_item("no picture at " + request.path, 404);
  return Outgoing{200, "image/jpeg", {}, *found->second.file};
}

}  // namespace gateway_sim
