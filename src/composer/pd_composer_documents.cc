// One builder per gateway request document.
//
// A builder is a short chain of steps on a Document: argument checks, the
// root start tag, the children in their fixed order, the end tag. The first
// step that fails sets the result and turns the remaining steps into no-ops,
// so a record error leaves the partial document the gateway operation
// discards, and a failed argument check leaves the buffer untouched.
#include <initializer_list>
#include <tuple>

#include "composer/pd_composer.h"
#include "pd-plugin/pd_data.h"

namespace {

constexpr const char *kApplicationKey = "quillmar";

struct Attribute {
  const char *name;
  const char *value;
};

class Document {
 public:
  explicit Document(char *buffer) : buffer_(buffer) {}

  // An argument check, made before anything is written.
  Document &require(const void *value, int missing) { return check(value == nullptr, missing); }

  Document &check(bool failed, int code) {
    if (code_ == 0 && failed) code_ = code;
    return *this;
  }

  // "<Request Method=... [extra...] SessionKey=... >". A null session key
  // (login, resolve) leaves the attribute out.
  Document &root(const char *method, const char *sk, std::initializer_list<Attribute> extra = {}) {
    if (code_ != 0) return *this;
    xml_composer_set_xml_last_index(0);
    __open_node(buffer_, "Request");
    __add_attr(buffer_, "Method", method);
    for (const Attribute &attr : extra) __add_attr(buffer_, attr.name, attr.value);
    __add_attr(buffer_, "SessionKey", sk);
    __close_node_child(buffer_);
    return *this;
  }

  // An empty element with the given attributes (null values left out).
  Document &element(const char *name, std::initializer_list<Attribute> attrs) {
    return element_if(true, name, attrs);
  }

  Document &element_if(bool when, const char *name, std::initializer_list<Attribute> attrs) {
    if (code_ != 0 || !when) return *this;
    __open_node(buffer_, name);
    for (const Attribute &attr : attrs) __add_attr(buffer_, attr.name, attr.value);
    __close_node(buffer_);
    return *this;
  }

  // A one-attribute element written only when its value is present.
  Document &optional(const char *name, const char *attr, const char *value) {
    return element_if(value != nullptr, name, {{attr, value}});
  }

  // "<name>text</name>" when the text is present.
  Document &text(const char *name, const char *text) {
    if (code_ == 0) __open_node_context(buffer_, name, text);
    return *this;
  }

  // A record's elements through its _xml; its error code ends the document.
  template <class Xml, class... Args>
  Document &records(Xml xml, Args... args) {
    if (code_ == 0) code_ = xml(buffer_, args...);
    return *this;
  }

  int end() {
    if (code_ == 0) __end_node(buffer_, "Request");
    return code_;
  }

 private:
  char *buffer_;
  int code_ = 0;
};

// The usual start: a session key is required and goes on the root.
Document session(char *buffer, const char *method, const char *sk,
                 std::initializer_list<Attribute> extra = {}) {
  Document document(buffer);
  document.require(sk, 100).root(method, sk, extra);
  return document;
}

void release(Composer_File *r) { Composer_File_delete(r); }
void release(Composer_Album *r) { Composer_Album_delete(r); }
void release(Composer_Photo *r) { Composer_Photo_delete(r); }
void release(Composer_Params *r) { Composer_Params_delete(r); }
void release(Composer_Notification *r) { Composer_Notification_delete(r); }
void release(Composer_Poke *r) { Composer_Poke_delete(r); }
void release(Composer_Reply *r) { Composer_Reply_delete(r); }
void release(Composer_Receiver *r) { Composer_Receiver_delete(r); }
void release(Composer_Thread *r) { Composer_Thread_delete(r); }
void release(Composer_Message *r) { Composer_Message_delete(r); }
void release(Composer_FriendRequest *r) { Composer_FriendRequest_delete(r); }
void release(Composer_People *r) { Composer_People_delete(r); }
void release(Composer_Target *r) { Composer_Target_delete(r); }
void release(Composer_Activity *r) { Composer_Activity_delete(r); }
void release(Composer_FullText *r) { Composer_FullText_delete(r); }
void release(Composer_Response *r) { Composer_Response_delete(r); }

// A builder owns the records it is given: they are released when it
// returns, whatever it returns, so no path keeps one alive.
template <class... Record>
class Owned {
 public:
  explicit Owned(Record *...records) : records_(records...) {}
  ~Owned() {
    std::apply([](Record *...records) { (release(records), ...); }, records_);
  }
  Owned(const Owned &) = delete;
  Owned &operator=(const Owned &) = delete;

 private:
  std::tuple<Record *...> records_;
};

// The most common document: the session root and, in order, the lists of
// the records it is given.
template <auto... Xml, class... Record>
int list_document(char *buffer, const char *method, const char *sk, Record *...records) {
  Owned own(records...);
  Document document = session(buffer, method, sk);
  (document.records(Xml, records), ...);
  return document.end();
}

}  // namespace

extern "C" {

// ---- Authentication ---------------------------------------------------------

int xml_composer_auth_login(char *buffer, const char *userName, const char *password) {
  return Document(buffer)
      .root("login", nullptr)
      .element("UserName", {{"Value", userName}})
      .element("Password", {{"Value", password}})
      .element("PersistKey", {{"Use", "true"}, {"Expires", "43200"}})
      .element("SessionKey", {{"Type", "APIF"}})
      .element("ApplicationKey", {{"Value", kApplicationKey}})
      .end();
}

int xml_composer_auth_logout(char *buffer, const char *sk) {
  return session(buffer, "logout", sk).end();
}

int xml_composer_auth_key_delete(char *buffer, const char *sk, const char *persistKey) {
  return Document(buffer)
      .require(sk, 100)
      .require(persistKey, 101)
      .root("delete", sk)
      .element("PersistKey", {{"Value", persistKey}})
      .end();
}

int xml_composer_auth_resolve(char *buffer, const char *persistKey) {
  return Document(buffer)
      .require(persistKey, 101)
      .root("resolve", nullptr)
      .element("PersistKey", {{"Value", persistKey}})
      .element("SessionKey", {{"Type", "APIF"}})
      .element("ApplicationKey", {{"Value", kApplicationKey}})
      .end();
}

// ---- Photos -----------------------------------------------------------------

int xml_composer_photo_update(char *buffer, const char *sk, Composer_Photo *photo,
                              Composer_Album *album, Composer_File *file) {
  Owned own(photo, album, file);
  return session(buffer, "upload", sk).records(Composer_Photo_xml, photo, album, file).end();
}

int xml_composer_photo_delete(char *buffer, const char *sk, Composer_Photo *photo) {
  Owned own(photo);
  return session(buffer, "delete", sk)
      .records(Composer_Photo_xml, photo, nullptr, nullptr)
      .end();
}

int xml_composer_photo_get(char *buffer, const char *sk, Composer_People *people,
                           Composer_Photo *photo, Composer_Params *params) {
  Owned own(people, photo, params);
  return session(buffer, "get", sk)
      .records(Composer_People_xml, people)
      .records(Composer_Photo_xml, photo, nullptr, nullptr)
      .records(Composer_Params_xml, params)
      .end();
}

int xml_composer_photo_album_retrieve(char *buffer, const char *sk, Composer_People *people,
                                      Composer_Album *album, Composer_Params *params,
                                      Composer_Response *response) {
  return list_document<Composer_People_xml, Composer_Album_xml, Composer_Params_xml,
                       Composer_Response_xml>(buffer, "retrieve", sk, people, album, params, response);
}

int xml_composer_photo_album_get(char *buffer, const char *sk, Composer_People *people,
                                 Composer_Album *album, Composer_Params *params,
                                 Composer_Response *response) {
  return list_document<Composer_People_xml, Composer_Album_xml, Composer_Params_xml,
                       Composer_Response_xml>(buffer, "get", sk, people, album, params, response);
}

// ---- Notifications and pokes --------------------------------------------------

int xml_composer_notification_post(char *buffer, const char *sk, const char *noDelay,
                                   Composer_Notification *notification) {
  Owned own(notification);
  return session(buffer, "post", sk)
      .optional("NoDelay", "Value", noDelay)
      .records(Composer_Notification_xml, notification)
      .end();
}

int xml_composer_message_poke_post(char *buffer, const char *sk, Composer_Poke *poke) {
  return list_document<Composer_Poke_xml>(buffer, "post", sk, poke);
}

int xml_composer_message_poke_delete(char *buffer, const char *sk, Composer_Poke *poke) {
  return list_document<Composer_Poke_xml>(buffer, "delete", sk, poke);
}

int xml_composer_message_poke_retrieve(char *buffer, const char *sk, const char *serviceProvider,
                                       Composer_Response *response) {
  Owned own(response);
  return session(buffer, "retrieve", sk)
      .optional("ServiceProvider", "ID", serviceProvider)
      .records(Composer_Response_xml, response)
      .end();
}

// ---- Messages -----------------------------------------------------------------

int xml_composer_message_post(char *buffer, const char *sk, Composer_Receiver *receiver,
                              const char *title, const char *content, Composer_Reply *reply,
                              const char *sendType) {
  Owned own(receiver, reply);
  return session(buffer, "post", sk, {{"Timeout", "3000"}})
      .records(Composer_Receiver_xml, receiver)
      .optional("Title", "Value", title)
      .text("Content", content)
      .records(Composer_Reply_xml, reply)
      .check(sendType != nullptr && checkSendType(sendType) != 0, 1004)
      .optional("Send", "Type", sendType)
      .end();
}

int xml_composer_message_delete(char *buffer, const char *sk, const char *folder,
                                Composer_Message *message) {
  Owned own(message);
  return Document(buffer)
      .require(sk, 100)
      .require(folder, 116)
      .check(checkFolder(folder) != 0, 1003)
      .root("delete", sk)
      .element("Folder", {{"Value", folder}})
      .records(Composer_Message_xml, message)
      .end();
}

int xml_composer_message_get(char *buffer, const char *sk, Composer_Thread *thread,
                             Composer_Message *message, Composer_FullText *fullText) {
  return list_document<Composer_Thread_xml, Composer_Message_xml, Composer_FullText_xml>(
      buffer, "get", sk, thread, message, fullText);
}

int xml_composer_message_folder_retrieve(char *buffer, const char *sk, Composer_People *people,
                                         const char *folder, const char *opponent,
                                         const char *markRead, Composer_Response *response,
                                         Composer_FullText *fullText) {
  Owned own(people, response, fullText);
  return session(buffer, "retrieve", sk, {{"Timeout", "3000"}})
      .records(Composer_People_xml, people)
      // A folder listing and a conversation with one person are exclusive.
      .check(folder != nullptr && opponent != nullptr, 3000)
      .check(folder != nullptr && checkFolder(folder) != 0, 1003)
      .optional("Folder", "Value", folder)
      .optional("Opponent", "ID", opponent)
      .optional("MarkRead", "Value", markRead)
      .records(Composer_Response_xml, response)
      .records(Composer_FullText_xml, fullText)
      .end();
}

// ---- Friends and people -------------------------------------------------------

int xml_composer_friend_request_post(char *buffer, const char *sk, Composer_People *people) {
  return list_document<Composer_People_xml>(buffer, "post", sk, people);
}

int xml_composer_friend_request_accept(char *buffer, const char *sk,
                                       Composer_FriendRequest *request) {
  return list_document<Composer_FriendRequest_xml>(buffer, "accept", sk, request);
}

int xml_composer_friend_request_reject(char *buffer, const char *sk,
                                       Composer_FriendRequest *request) {
  return list_document<Composer_FriendRequest_xml>(buffer, "reject", sk, request);
}

int xml_composer_friend_request_get(char *buffer, const char *sk, Composer_FriendRequest *request,
                                    Composer_Response *response) {
  return list_document<Composer_FriendRequest_xml, Composer_Response_xml>(buffer, "get", sk, request,
                                                                          response);
}

int xml_composer_friend_grouping_retrieve(char *buffer, const char *sk, Composer_People *people,
                                          Composer_Response *response) {
  return list_document<Composer_People_xml, Composer_Response_xml>(buffer, "retrieve", sk, people,
                                                                   response);
}

int xml_composer_people_profile_set(char *buffer, const char *sk, Composer_People *people,
                                    const char *status) {
  Owned own(people);
  return session(buffer, "set", sk)
      .records(Composer_People_xml, people)
      .text("Status", status)
      .end();
}

int xml_composer_people_profile_get(char *buffer, const char *sk, Composer_People *people,
                                    Composer_Params *params) {
  return list_document<Composer_People_xml, Composer_Params_xml>(buffer, "get", sk, people, params);
}

int xml_composer_people_info_get(char *buffer, const char *sk, Composer_People *people,
                                 Composer_Params *params) {
  return xml_composer_people_profile_get(buffer, sk, people, params);
}

int xml_composer_people_search(char *buffer, const char *sk, const char *serviceProvider,
                               const char *name, const char *email, Composer_Response *response) {
  Owned own(response);
  return session(buffer, "search", sk)
      .optional("ServiceProvider", "ID", serviceProvider)
      .optional("Name", "Value", name)
      // Follows the service provider, not the email: the gateway has always
      // been sent "<Email />" with a provider and no address.
      .element_if(serviceProvider != nullptr, "Email", {{"Value", email}})
      .records(Composer_Response_xml, response)
      .end();
}

// ---- Comments and activities --------------------------------------------------

int xml_composer_comment_post(char *buffer, const char *sk, Composer_Target *target,
                              const char *comment) {
  Owned own(target);
  return session(buffer, "post", sk)
      .records(Composer_Target_xml, target)
      .records(Composer_Comment_xml, comment)
      .end();
}

int xml_composer_comment_retrieve(char *buffer, const char *sk, Composer_Target *target,
                                  Composer_Response *response) {
  Owned own(target, response);
  return session(buffer, "retrieve", sk, {{"APIName", "true"}, {"Timeout", "3000"}})
      .records(Composer_Target_xml, target)
      .records(Composer_Response_xml, response)
      .end();
}

int xml_composer_activity_get(char *buffer, const char *sk, Composer_Target *target,
                              Composer_Response *response, Composer_FullText *fullText) {
  return list_document<Composer_Target_xml, Composer_Response_xml, Composer_FullText_xml>(
      buffer, "get", sk, target, response, fullText);
}

int xml_composer_activity_delete(char *buffer, const char *sk, Composer_Activity *activity) {
  return list_document<Composer_Activity_xml>(buffer, "delete", sk, activity);
}

}  // extern "C"
