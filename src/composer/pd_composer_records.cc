// The records that carry request arguments into the document builders.
//
// Every list type is one row of tables: the order in which _add stores its
// texts, and the element it writes per node (name, attributes, the field
// that must be present, an optional text child). One set of templates does
// the appending, writing and releasing for all of them; only Target,
// Activity, Photo and Notification need a few lines of their own.
#include <cstdlib>
#include <cstring>

#include "composer/pd_composer.h"
#include "log.h"
#include "pd-plugin/pd_data.h"

namespace {

// ---- Lists ----------------------------------------------------------------

// Each node is allocated with room for the list's last node beside it, so
// appending does not walk the list while the node keeps exactly its record
// layout. The node is the box's first member: a node pointer is the box
// pointer (and what free() receives). Only the first node's tail is used.
template <class T>
struct Box {
  T node;
  T *tail;
};

template <class T>
Box<T> *box_of(T *node) {
  return reinterpret_cast<Box<T> *>(node);
}

template <class T>
T *new_node() {
  auto *box = static_cast<Box<T> *>(std::calloc(1, sizeof(Box<T>)));
  return box != nullptr ? &box->node : nullptr;
}

// The texts of a node in the order _add takes them.
template <class T>
struct Fields;

#define PD_FIELDS(type, ...)                                       \
  template <>                                                      \
  struct Fields<type> {                                            \
    using R = type;                                                \
    static constexpr char *R::*list[] = {__VA_ARGS__};             \
  };

PD_FIELDS(Composer_File, &R::pszID, &R::pszName)
PD_FIELDS(Composer_Album, &R::pszOwnerID, &R::pszID, &R::pszName)
PD_FIELDS(Composer_Photo, &R::pszID, &R::pszSP, &R::pszContent)
PD_FIELDS(Composer_Params, &R::pszValues, &R::pszPolicy)
PD_FIELDS(Composer_Notification, &R::pszNotificationID, &R::pszSecondValue, &R::pszName,
          &R::pszSubname, &R::pszGetLength)
PD_FIELDS(Composer_Poke, &R::pszSenderID, &R::pszSP, &R::pszReceiverID)
PD_FIELDS(Composer_Reply, &R::pszMessageID, &R::pszThreadID)
PD_FIELDS(Composer_Receiver, &R::pszID, &R::pszSP)
PD_FIELDS(Composer_Thread, &R::pszID)
PD_FIELDS(Composer_Message, &R::pszID, &R::pszThreadID, &R::pszFolder)
PD_FIELDS(Composer_FriendRequest, &R::pszID, &R::pszSP, &R::pszRequesterID, &R::pszType,
          &R::pszMessage)
PD_FIELDS(Composer_People, &R::pszID, &R::pszSP, &R::pszEmail, &R::pszLastName,
          &R::pszErrorStop, &R::pszMessage)
PD_FIELDS(Composer_Target, &R::pszID, &R::pszOwnerID, &R::pszType, &R::pszAuthorID,
          &R::pszRecommend, &R::pszContent, &R::pszTypes)
PD_FIELDS(Composer_Activity, &R::pszID, &R::pszOwnerID, &R::pszOwnerSP)

#undef PD_FIELDS

// The first add fills the empty record itself; later ones append a node.
template <class T, class... Text>
T *list_add(T *record, Text... values) {
  static_assert(sizeof...(values) == std::size(Fields<T>::list));
  if (record == nullptr) return nullptr;
  T *node = record->pstHead == nullptr ? record : new_node<T>();
  if (node == nullptr) return record;
  const char *texts[] = {values...};
  size_t i = 0;
  for (char *T::*field : Fields<T>::list) node->*field = data_Cpy(texts[i++]);

  if (node == record) {
    record->pstHead = record;
    box_of(record)->tail = record;
    return record;
  }
  T *head = record->pstHead;
  node->pstHead = head;
  T *last = box_of(head)->tail != nullptr ? box_of(head)->tail : record;
  // Only a list whose nodes were linked by hand makes this walk.
  while (last->pstNext != nullptr) last = last->pstNext;
  last->pstNext = node;
  box_of(head)->tail = node;
  return record;
}

template <class T>
void list_delete(T *record) {
  while (record != nullptr) {
    T *next = record->pstNext;
    for (char *T::*field : Fields<T>::list) data_Del(record->*field);
    std::free(record);
    record = next;
  }
}

template <class T, class Write>
int list_xml(char *buffer, const T *record, Write write) {
  if (record == nullptr) return 0;
  for (const T *node = record->pstHead; node != nullptr; node = node->pstNext)
    if (int code = write(buffer, *node)) return code;
  return 0;
}

// ---- Elements --------------------------------------------------------------

template <class T>
struct Attr {
  const char *name = nullptr;
  char *T::*field = nullptr;
  // A keyword attribute: a present value that `check` rejects stops the
  // element with `rejected` before the attribute is written.
  int (*check)(const char *) = nullptr;
  int rejected = 0;
};

template <class T>
struct Element {
  const char *name;
  Attr<T> attrs[6];
  // Checked once "<name " is written: the gateway sees where it stopped.
  char *T::*required = nullptr;
  int missing = 0;
  // An optional text child ("<People ...>" "<Message>text</Message>").
  char *T::*text = nullptr;
  const char *text_name = nullptr;
};

template <class T>
int write_attrs(char *buffer, const Element<T> &element, const T &node) {
  for (const Attr<T> &attr : element.attrs) {
    if (attr.name == nullptr) break;
    const char *value = node.*attr.field;
    if (attr.check != nullptr && value != nullptr && attr.check(value) != 0) return attr.rejected;
    __add_attr(buffer, attr.name, value);
  }
  return 0;
}

template <class T>
int open_element(char *buffer, const Element<T> &element, const T &node) {
  __open_node(buffer, element.name);
  if (element.required != nullptr && node.*element.required == nullptr) return element.missing;
  return write_attrs(buffer, element, node);
}

// Ends a start tag: with one text child when `text` is present, else as an
// empty element.
int finish(char *buffer, const char *name, const char *child, const char *text) {
  if (text == nullptr) {
    __close_node(buffer);
    return 0;
  }
  __close_node_child(buffer);
  __open_node_context(buffer, child, text);
  __end_node(buffer, name);
  return 0;
}

template <class T>
int write_element(char *buffer, const Element<T> &element, const T &node) {
  if (int code = open_element(buffer, element, node)) return code;
  return finish(buffer, element.name, element.text_name,
                element.text != nullptr ? node.*element.text : nullptr);
}

template <class T>
constexpr auto writer(const Element<T> &element) {
  return [&element](char *buffer, const T &node) { return write_element(buffer, element, node); };
}

using File = Composer_File;
using Album = Composer_Album;
using Photo = Composer_Photo;
using Params = Composer_Params;
using Notification = Composer_Notification;
using Poke = Composer_Poke;
using Reply = Composer_Reply;
using Receiver = Composer_Receiver;
using Thread = Composer_Thread;
using Message = Composer_Message;
using FriendRequest = Composer_FriendRequest;
using People = Composer_People;
using Target = Composer_Target;
using Activity = Composer_Activity;
using Response = Composer_Response;

constexpr Element<File> kFile{"File", {{"ID", &File::pszID}, {"Name", &File::pszName}}};
constexpr Element<Album> kAlbum{
    "Album", {{"ID", &Album::pszID}, {"Name", &Album::pszName}, {"OwnerID", &Album::pszOwnerID}}};
constexpr Element<Photo> kPhoto{"Photo", {{"ID", &Photo::pszID}, {"SP", &Photo::pszSP}}};
constexpr Element<Params> kParams{
    "Params", {{"Values", &Params::pszValues}, {"Policy", &Params::pszPolicy}}};
constexpr Element<Notification> kNotificationID{
    "NotificationID", {{"Value", &Notification::pszNotificationID}}};
constexpr Element<Notification> kNotification{"Notification",
                                              {{"Name", &Notification::pszName},
                                               {"Subname", &Notification::pszSubname},
                                               {"GetLength", &Notification::pszGetLength}}};
constexpr Element<Poke> kPoke{"Poke",
                              {{"SenderID", &Poke::pszSenderID},
                               {"SP", &Poke::pszSP},
                               {"ReceiverID", &Poke::pszReceiverID}}};
constexpr Element<Reply> kReply{
    "Reply", {{"MessageID", &Reply::pszMessageID}, {"ThreadID", &Reply::pszThreadID}}};
constexpr Element<Receiver> kReceiver{
    "Receiver", {{"ID", &Receiver::pszID}, {"SP", &Receiver::pszSP}}, &Receiver::pszID, 118};
constexpr Element<Thread> kThread{"Thread", {{"ID", &Thread::pszID}}, &Thread::pszID, 117};
constexpr Element<Message> kMessage{"Message",
                                    {{"ID", &Message::pszID},
                                     {"ThreadID", &Message::pszThreadID},
                                     {"Folder", &Message::pszFolder, checkFolder, 1003}},
                                    &Message::pszID,
                                    115};
constexpr Element<FriendRequest> kFriendRequest{"FriendRequest",
                                                {{"ID", &FriendRequest::pszID},
                                                 {"SP", &FriendRequest::pszSP},
                                                 {"RequesterID", &FriendRequest::pszRequesterID},
                                                 {"Type", &FriendRequest::pszType}},
                                                nullptr,
                                                0,
                                                &FriendRequest::pszMessage,
                                                "Message"};
constexpr Element<People> kPeople{"People",
                                  {{"ID", &People::pszID},
                                   {"SP", &People::pszSP},
                                   {"Email", &People::pszEmail},
                                   {"LastName", &People::pszLastName},
                                   {"ErrorStop", &People::pszErrorStop}},
                                  &People::pszID,
                                  111,
                                  &People::pszMessage,
                                  "Message"};
constexpr Element<Target> kTarget{"Target",
                                  {{"ID", &Target::pszID},
                                   {"OwnerID", &Target::pszOwnerID},
                                   {"Type", &Target::pszType},
                                   {"AuthorID", &Target::pszAuthorID},
                                   {"Recommend", &Target::pszRecommend}},
                                  &Target::pszID,
                                  103};
constexpr Element<Activity> kActivity{"Activity", {{"ID", &Activity::pszID}}, &Activity::pszID, 102};
constexpr Element<Activity> kOwner{
    "Owner", {{"ID", &Activity::pszOwnerID}, {"SP", &Activity::pszOwnerSP}}};
constexpr Element<Response> kResponse{"Response",
                                      {{"StartOffset", &Response::pszStartOffset},
                                       {"MaxCount", &Response::pszMaxCount},
                                       {"StartContext", &Response::pszStartContext},
                                       {"ThreadOnly", &Response::pszThreadOnly}}};

bool is_true(const char *text) { return text != nullptr && std::strcmp(text, "true") == 0; }

int write_target(char *buffer, const Target &node) {
  if (int code = open_element(buffer, kTarget, node)) return code;
  // A recommendation is only sent with something to recommend.
  if (is_true(node.pszRecommend) && node.pszContent == nullptr) return 1005;
  finish(buffer, "Target", "Content", node.pszContent);
  if (node.pszTypes != nullptr) {
    __open_node(buffer, "Types");
    __add_attr(buffer, "Value", node.pszTypes);
    __close_node(buffer);
  }
  return 0;
}

int write_activity(char *buffer, const Activity &node) {
  if (int code = open_element(buffer, kActivity, node)) return code;
  if (node.pszOwnerID == nullptr) return finish(buffer, "Activity", nullptr, nullptr);
  __close_node_child(buffer);
  write_element(buffer, kOwner, node);
  __end_node(buffer, "Activity");
  return 0;
}

int write_notification(char *buffer, const Notification &node) {
  if (node.pszNotificationID == nullptr) return 119;
  if (node.pszName == nullptr) return 120;
  write_element(buffer, kNotificationID, node);
  return write_element(buffer, kNotification, node);
}

int write_friend_request(char *buffer, const FriendRequest &node) {
  PD_LOG_STDOUT("------->------->------>\n");
  return write_element(buffer, kFriendRequest, node);
}

}  // namespace

extern "C" {

#define PD_LIST_LIFETIME(type)                                  \
  type *type##_create(void) { return new_node<type>(); }        \
  void type##_delete(type *record) { list_delete(record); }

PD_LIST_LIFETIME(Composer_File)
PD_LIST_LIFETIME(Composer_Album)
PD_LIST_LIFETIME(Composer_Photo)
PD_LIST_LIFETIME(Composer_Params)
PD_LIST_LIFETIME(Composer_Notification)
PD_LIST_LIFETIME(Composer_Poke)
PD_LIST_LIFETIME(Composer_Reply)
PD_LIST_LIFETIME(Composer_Receiver)
PD_LIST_LIFETIME(Composer_Thread)
PD_LIST_LIFETIME(Composer_Message)
PD_LIST_LIFETIME(Composer_FriendRequest)
PD_LIST_LIFETIME(Composer_People)
PD_LIST_LIFETIME(Composer_Target)
PD_LIST_LIFETIME(Composer_Activity)

#undef PD_LIST_LIFETIME

File *Composer_File_add(File *record, const char *id, const char *name) {
  return list_add(record, id, name);
}
Album *Composer_Album_add(Album *record, const char *ownerID, const char *id, const char *name) {
  return list_add(record, ownerID, id, name);
}
Photo *Composer_Photo_add(Photo *record, const char *id, const char *sp, const char *content) {
  return list_add(record, id, sp, content);
}
Params *Composer_Params_add(Params *record, const char *values, const char *policy) {
  return list_add(record, values, policy);
}
Notification *Composer_Notification_add(Notification *record, const char *notificationID,
                                        const char *secondValue, const char *name,
                                        const char *subname, const char *getLength) {
  if (record == nullptr) return Composer_Notification_create();
  return list_add(record, notificationID, secondValue, name, subname, getLength);
}
Poke *Composer_Poke_add(Poke *record, const char *senderID, const char *sp,
                        const char *receiverID) {
  return list_add(record, senderID, sp, receiverID);
}
Reply *Composer_Reply_add(Reply *record, const char *messageID, const char *threadID) {
  return list_add(record, messageID, threadID);
}
Receiver *Composer_Receiver_add(Receiver *record, const char *id, const char *sp) {
  return list_add(record, id, sp);
}
Thread *Composer_Thread_add(Thread *record, const char *id) { return list_add(record, id); }
Message *Composer_Message_add(Message *record, const char *id, const char *threadID,
                              const char *folder) {
  return list_add(record, id, threadID, folder);
}
FriendRequest *Composer_FriendRequest_add(FriendRequest *record, const char *id, const char *sp,
                                          const char *requesterID, const char *type,
                                          const char *message) {
  return list_add(record, id, sp, requesterID, type, message);
}
People *Composer_People_add(People *record, const char *id, const char *sp, const char *email,
                            const char *lastName, const char *errorStop, const char *message) {
  return list_add(record, id, sp, email, lastName, errorStop, message);
}
Target *Composer_Target_add(Target *record, const char *id, const char *ownerID,
                            const char *type, const char *authorID, const char *recommend,
                            const char *content, const char *types) {
  return list_add(record, id, ownerID, type, authorID, recommend, content, types);
}
Activity *Composer_Activity_add(Activity *record, const char *id, const char *ownerID,
                                const char *ownerSP) {
  return list_add(record, id, ownerID, ownerSP);
}

int Composer_File_xml(char *buffer, const File *record) {
  return list_xml(buffer, record, writer(kFile));
}
int Composer_Album_xml(char *buffer, const Album *record) {
  return list_xml(buffer, record, writer(kAlbum));
}
int Composer_Params_xml(char *buffer, const Params *record) {
  return list_xml(buffer, record, writer(kParams));
}
int Composer_Poke_xml(char *buffer, const Poke *record) {
  return list_xml(buffer, record, writer(kPoke));
}
int Composer_Reply_xml(char *buffer, const Reply *record) {
  return list_xml(buffer, record, writer(kReply));
}
int Composer_Receiver_xml(char *buffer, const Receiver *record) {
  return list_xml(buffer, record, writer(kReceiver));
}
int Composer_Thread_xml(char *buffer, const Thread *record) {
  return list_xml(buffer, record, writer(kThread));
}
int Composer_Message_xml(char *buffer, const Message *record) {
  return list_xml(buffer, record, writer(kMessage));
}
int Composer_People_xml(char *buffer, const People *record) {
  return list_xml(buffer, record, writer(kPeople));
}
int Composer_FriendRequest_xml(char *buffer, const FriendRequest *record) {
  return list_xml(buffer, record, write_friend_request);
}
int Composer_Notification_xml(char *buffer, const Notification *record) {
  return list_xml(buffer, record, write_notification);
}
int Composer_Target_xml(char *buffer, const Target *record) {
  return list_xml(buffer, record, write_target);
}
int Composer_Activity_xml(char *buffer, const Activity *record) {
  return list_xml(buffer, record, write_activity);
}

int Composer_Photo_xml(char *buffer, const Photo *record, const Album *album, const File *file) {
  return list_xml(buffer, record, [album, file](char *out, const Photo &node) {
    __start_node(out, "Photo");
    write_attrs(out, kPhoto, node);
    __close_node_child(out);
    // Neither list can fail: their elements have no required field.
    Composer_Album_xml(out, album);
    Composer_File_xml(out, file);
    __open_node_context(out, "Content", node.pszContent);
    __end_node(out, "Photo");
    return 0;
  });
}

Composer_FullText *Composer_FullText_create(const char *value, const char *headerLength) {
  auto *record = static_cast<Composer_FullText *>(std::calloc(1, sizeof(Composer_FullText)));
  if (record == nullptr) return nullptr;
  record->pszValue = data_Cpy(value);
  record->pszHeaderLength = data_Cpy(headerLength);
  return record;
}

int Composer_FullText_xml(char *buffer, const Composer_FullText *record) {
  if (record == nullptr) return 0;
  if (checkFullText(record->pszValue) != 0) return 1000;
  __open_node(buffer, "FullText");
  __add_attr(buffer, "Value", record->pszValue);
  if (std::strcmp(record->pszValue, "header") == 0) {
    const char *length = record->pszHeaderLength;
    __add_attr(buffer, "HeaderLength", length != nullptr ? length : "32");
  }
  __close_node(buffer);
  return 0;
}

void Composer_FullText_delete(Composer_FullText *record) {
  if (record == nullptr) return;
  data_Del(record->pszValue);
  data_Del(record->pszHeaderLength);
  std::free(record);
}

Composer_Response *Composer_Response_create(const char *startOffset, const char *maxCount,
                                            const char *startContext, const char *threadOnly) {
  auto *record = static_cast<Composer_Response *>(std::calloc(1, sizeof(Composer_Response)));
  if (record == nullptr) return nullptr;
  record->pszStartOffset = data_Cpy(startOffset);
  record->pszMaxCount = data_Cpy(maxCount);
  record->pszStartContext = data_Cpy(startContext);
  record->pszThreadOnly = data_Cpy(threadOnly);
  return record;
}

int Composer_Response_xml(char *buffer, const Composer_Response *record) {
  return record != nullptr ? write_element(buffer, kResponse, *record) : 0;
}

void Composer_Response_delete(Composer_Response *record) {
  if (record == nullptr) return;
  data_Del(record->pszStartOffset);
  data_Del(record->pszMaxCount);
  data_Del(record->pszStartContext);
  data_Del(record->pszThreadOnly);
  std::free(record);
}

int Composer_Comment_xml(char *buffer, const char *text) {
  __open_node_context(buffer, "Content", text);
  return 0;
}

}  // extern "C"
