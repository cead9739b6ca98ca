/* The XML request composer: the text writer, the records that gather
 * request arguments, and one builder per gateway request document.
 *
 * Exported from the library but not engine-facing: the gateway operations
 * are the only callers inside the plug-in.
 *
 * Writer. Every primitive appends at the global write position
 * xml_last_index, stores the new end back into it and leaves a NUL there,
 * so the buffer always holds a string of exactly xml_last_index characters.
 * Texts are copied verbatim: nothing is escaped, so a value with a double
 * quote breaks its attribute; the gateway protocol is defined on exactly
 * these bytes. The buffer is never grown or bounds-checked: the caller sizes
 * it for the document. A null buffer writes nothing but still advances
 * xml_last_index, so composing into null measures the document (the buffer
 * then needs xml_last_index + 1 bytes). One document at a time, from one
 * thread at a time.
 *
 * Records. Every list record is a singly linked list of nodes with its data
 * texts (owned copies, null for "omit"), the list head (the first node, null
 * while the record is empty) and the next node. A caller holds the first
 * node. The first _add fills the record in place, later ones append in call
 * order. _xml writes one element per node and returns 0 or an error code,
 * leaving the element it failed in partly written. _delete releases the
 * whole list; null is ignored.
 *
 * Builders. Each writes one complete document and returns 0 or an error
 * code; on an error the buffer holds a partial document to be discarded
 * (argument checks fail before anything is written). A builder owns the
 * records it is given and releases them on every path: the caller never
 * releases a record it has passed on. */
#ifndef PD_PLUGIN_SRC_COMPOSER_PD_COMPOSER_H
#define PD_PLUGIN_SRC_COMPOSER_PD_COMPOSER_H

#include <stdint.h>

#include "pd-plugin/pd_export.h"

PD_BEGIN_DECLS

/* ---- Writer ------------------------------------------------------------ */

PD_API extern uint32_t xml_last_index;

/* Copies `length` bytes of `source` to buffer[start..] and a NUL after them;
 * returns start + length. Leaves xml_last_index alone. A negative length or
 * a null source copies nothing (the NUL is still written). */
PD_API uint32_t __add_string(char *buffer, const char *source, uint32_t start, int32_t length);
/* "<name " (both). */
PD_API int __open_node(char *buffer, const char *name);
PD_API int __start_node(char *buffer, const char *name);
/* name="value" and a blank; a null value writes nothing and returns 0. */
PD_API int __add_attr(char *buffer, const char *name, const char *value);
/* "/>\n": ends an element without children. */
PD_API int __close_node(char *buffer);
/* ">\n": ends the start tag of an element with children. */
PD_API int __close_node_child(char *buffer);
/* "</name>\n". */
PD_API int __end_node(char *buffer, const char *name);
/* "<name>text</name>\n"; a null text writes nothing and returns 0. */
PD_API int __open_node_context(char *buffer, const char *name, const char *text);
/* The text as it stands; a null text writes nothing and returns 0. */
PD_API int __add_comment(char *buffer, const char *text);
PD_API int xml_composer_set_xml_last_index(uint32_t index);

/* ---- Records ----------------------------------------------------------- */

#define PD_COMPOSER_LIST(type) struct type *pstHead; struct type *pstNext

typedef struct Composer_File {
  char *pszID, *pszName;
  PD_COMPOSER_LIST(Composer_File);
} Composer_File;

typedef struct Composer_Album {
  char *pszID, *pszName, *pszOwnerID;
  PD_COMPOSER_LIST(Composer_Album);
} Composer_Album;

typedef struct Composer_Photo {
  char *pszID, *pszSP, *pszContent;
  PD_COMPOSER_LIST(Composer_Photo);
} Composer_Photo;

typedef struct Composer_Params {
  char *pszValues, *pszPolicy;
  PD_COMPOSER_LIST(Composer_Params);
} Composer_Params;

typedef struct Composer_Notification {
  char *pszNotificationID;
  char *pszSecondValue; /* kept with the node, never written */
  char *pszName, *pszSubname, *pszGetLength;
  PD_COMPOSER_LIST(Composer_Notification);
} Composer_Notification;

typedef struct Composer_Poke {
  char *pszSenderID, *pszSP, *pszReceiverID;
  PD_COMPOSER_LIST(Composer_Poke);
} Composer_Poke;

typedef struct Composer_Reply {
  char *pszMessageID, *pszThreadID;
  PD_COMPOSER_LIST(Composer_Reply);
} Composer_Reply;

typedef struct Composer_Receiver {
  char *pszID, *pszSP;
  PD_COMPOSER_LIST(Composer_Receiver);
} Composer_Receiver;

typedef struct Composer_Thread {
  char *pszID;
  PD_COMPOSER_LIST(Composer_Thread);
} Composer_Thread;

typedef struct Composer_Message {
  char *pszID, *pszThreadID, *pszFolder;
  PD_COMPOSER_LIST(Composer_Message);
} Composer_Message;

typedef struct Composer_FriendRequest {
  char *pszID, *pszSP, *pszRequesterID, *pszType, *pszMessage;
  PD_COMPOSER_LIST(Composer_FriendRequest);
} Composer_FriendRequest;

typedef struct Composer_People {
  char *pszID, *pszSP, *pszEmail, *pszLastName, *pszErrorStop, *pszMessage;
  PD_COMPOSER_LIST(Composer_People);
} Composer_People;

typedef struct Composer_Target {
  char *pszID, *pszOwnerID, *pszType, *pszAuthorID, *pszTypes, *pszRecommend, *pszContent;
  PD_COMPOSER_LIST(Composer_Target);
} Composer_Target;

typedef struct Composer_Activity {
  char *pszID, *pszOwnerID, *pszOwnerSP;
  PD_COMPOSER_LIST(Composer_Activity);
} Composer_Activity;

#undef PD_COMPOSER_LIST

/* Single records (not lists). */
typedef struct Composer_FullText {
  char *pszValue, *pszHeaderLength;
} Composer_FullText;

typedef struct Composer_Response {
  char *pszStartOffset, *pszMaxCount, *pszStartContext, *pszThreadOnly;
} Composer_Response;

/* Every list type T has T_create, T_add (returns the record given), T_xml
 * and T_delete; the add arguments follow the record's field order except
 * where noted. Error codes of _xml, returned with the element left open:
 * People null ID 111, Receiver null ID 118, Thread null ID 117, Message
 * null ID 115 or a Folder checkFolder rejects 1003, Target null ID 103 or
 * Recommend "true" without Content 1005, Activity null ID 102; Notification
 * checks each node before writing it: null NotificationID 119, null Name 120. */
#define PD_COMPOSER_LIST_API(type, ...)                                   \
  PD_API type *type##_create(void);                                       \
  PD_API type *type##_add(type *record, __VA_ARGS__);                     \
  PD_API void type##_delete(type *record);

PD_COMPOSER_LIST_API(Composer_File, const char *id, const char *name)
PD_COMPOSER_LIST_API(Composer_Album, const char *ownerID, const char *id, const char *name)
PD_COMPOSER_LIST_API(Composer_Photo, const char *id, const char *sp, const char *content)
PD_COMPOSER_LIST_API(Composer_Params, const char *values, const char *policy)
/* With a null record: returns a new empty record and stores nothing. */
PD_COMPOSER_LIST_API(Composer_Notification, const char *notificationID,
                     const char *secondValue, const char *name, const char *subname,
                     const char *getLength)
PD_COMPOSER_LIST_API(Composer_Poke, const char *senderID, const char *sp, const char *receiverID)
PD_COMPOSER_LIST_API(Composer_Reply, const char *messageID, const char *threadID)
PD_COMPOSER_LIST_API(Composer_Receiver, const char *id, const char *sp)
PD_COMPOSER_LIST_API(Composer_Thread, const char *id)
PD_COMPOSER_LIST_API(Composer_Message, const char *id, const char *threadID, const char *folder)
PD_COMPOSER_LIST_API(Composer_FriendRequest, const char *id, const char *sp,
                     const char *requesterID, const char *type, const char *message)
PD_COMPOSER_LIST_API(Composer_People, const char *id, const char *sp, const char *email,
                     const char *lastName, const char *errorStop, const char *message)
/* Types comes last among the arguments, unlike the fields. */
PD_COMPOSER_LIST_API(Composer_Target, const char *id, const char *ownerID, const char *type,
                     const char *authorID, const char *recommend, const char *content,
                     const char *types)
PD_COMPOSER_LIST_API(Composer_Activity, const char *id, const char *ownerID, const char *ownerSP)

#undef PD_COMPOSER_LIST_API

PD_API int Composer_File_xml(char *buffer, const Composer_File *record);
PD_API int Composer_Album_xml(char *buffer, const Composer_Album *record);
/* Every Photo element holds the whole Album and File lists. */
PD_API int Composer_Photo_xml(char *buffer, const Composer_Photo *record,
                              const Composer_Album *album, const Composer_File *file);
PD_API int Composer_Params_xml(char *buffer, const Composer_Params *record);
PD_API int Composer_Notification_xml(char *buffer, const Composer_Notification *record);
PD_API int Composer_Poke_xml(char *buffer, const Composer_Poke *record);
PD_API int Composer_Reply_xml(char *buffer, const Composer_Reply *record);
PD_API int Composer_Receiver_xml(char *buffer, const Composer_Receiver *record);
PD_API int Composer_Thread_xml(char *buffer, const Composer_Thread *record);
PD_API int Composer_Message_xml(char *buffer, const Composer_Message *record);
/* Also prints a separator line to standard output for every node. */
PD_API int Composer_FriendRequest_xml(char *buffer, const Composer_FriendRequest *record);
PD_API int Composer_People_xml(char *buffer, const Composer_People *record);
PD_API int Composer_Target_xml(char *buffer, const Composer_Target *record);
PD_API int Composer_Activity_xml(char *buffer, const Composer_Activity *record);

/* FullText: a Value that checkFullText rejects (null included) is 1000,
 * before anything is written. */
PD_API Composer_FullText *Composer_FullText_create(const char *value, const char *headerLength);
PD_API int Composer_FullText_xml(char *buffer, const Composer_FullText *record);
PD_API void Composer_FullText_delete(Composer_FullText *record);

PD_API Composer_Response *Composer_Response_create(const char *startOffset, const char *maxCount,
                                                   const char *startContext,
                                                   const char *threadOnly);
PD_API int Composer_Response_xml(char *buffer, const Composer_Response *record);
PD_API void Composer_Response_delete(Composer_Response *record);

/* A "Content" text element; nothing for a null text. */
PD_API int Composer_Comment_xml(char *buffer, const char *text);

/* ---- Request documents --------------------------------------------------
 * `sk` is the session key: null is 100 before anything is written. */

PD_API int xml_composer_auth_login(char *buffer, const char *userName, const char *password);
PD_API int xml_composer_auth_logout(char *buffer, const char *sk);
/* persistKey null: 101. */
PD_API int xml_composer_auth_key_delete(char *buffer, const char *sk, const char *persistKey);
PD_API int xml_composer_auth_resolve(char *buffer, const char *persistKey);

PD_API int xml_composer_photo_update(char *buffer, const char *sk, Composer_Photo *photo,
                                     Composer_Album *album, Composer_File *file);
PD_API int xml_composer_photo_delete(char *buffer, const char *sk, Composer_Photo *photo);
PD_API int xml_composer_photo_get(char *buffer, const char *sk, Composer_People *people,
                                  Composer_Photo *photo, Composer_Params *params);

PD_API int xml_composer_notification_post(char *buffer, const char *sk, const char *noDelay,
                                          Composer_Notification *notification);

PD_API int xml_composer_message_poke_post(char *buffer, const char *sk, Composer_Poke *poke);
PD_API int xml_composer_message_poke_delete(char *buffer, const char *sk, Composer_Poke *poke);
PD_API int xml_composer_message_poke_retrieve(char *buffer, const char *sk,
                                              const char *serviceProvider,
                                              Composer_Response *response);
/* A sendType that checkSendType rejects: 1004, in place of the Send element. */
PD_API int xml_composer_message_post(char *buffer, const char *sk, Composer_Receiver *receiver,
                                     const char *title, const char *content,
                                     Composer_Reply *reply, const char *sendType);
/* folder null: 116; rejected by checkFolder: 1003; both before anything is
 * written. */
PD_API int xml_composer_message_delete(char *buffer, const char *sk, const char *folder,
                                       Composer_Message *message);
PD_API int xml_composer_message_get(char *buffer, const char *sk, Composer_Thread *thread,
                                    Composer_Message *message, Composer_FullText *fullText);
/* After the root and the People list: folder and opponent both given 3000,
 * folder rejected by checkFolder 1003. */
PD_API int xml_composer_message_folder_retrieve(char *buffer, const char *sk,
                                                Composer_People *people, const char *folder,
                                                const char *opponent, const char *markRead,
                                                Composer_Response *response,
                                                Composer_FullText *fullText);

PD_API int xml_composer_friend_request_post(char *buffer, const char *sk, Composer_People *people);
PD_API int xml_composer_friend_request_accept(char *buffer, const char *sk,
                                              Composer_FriendRequest *request);
PD_API int xml_composer_friend_request_reject(char *buffer, const char *sk,
                                              Composer_FriendRequest *request);
PD_API int xml_composer_friend_request_get(char *buffer, const char *sk,
                                           Composer_FriendRequest *request,
                                           Composer_Response *response);
PD_API int xml_composer_friend_grouping_retrieve(char *buffer, const char *sk,
                                                 Composer_People *people,
                                                 Composer_Response *response);

PD_API int xml_composer_people_profile_set(char *buffer, const char *sk, Composer_People *people,
                                           const char *status);
PD_API int xml_composer_people_profile_get(char *buffer, const char *sk, Composer_People *people,
                                           Composer_Params *params);
PD_API int xml_composer_people_info_get(char *buffer, const char *sk, Composer_People *people,
                                        Composer_Params *params);
/* The Email element follows the service provider, not the email: with a
 * service provider and no email it reads "<Email />"; with an email and no
 * service provider it is left out. The gateway expects exactly this. */
PD_API int xml_composer_people_search(char *buffer, const char *sk, const char *serviceProvider,
                                      const char *name, const char *email,
                                      Composer_Response *response);

PD_API int xml_composer_comment_post(char *buffer, const char *sk, Composer_Target *target,
                                     const char *comment);
PD_API int xml_composer_comment_retrieve(char *buffer, const char *sk, Composer_Target *target,
                                         Composer_Response *response);

PD_API int xml_composer_activity_get(char *buffer, const char *sk, Composer_Target *target,
                                     Composer_Response *response, Composer_FullText *fullText);
PD_API int xml_composer_activity_delete(char *buffer, const char *sk,
                                        Composer_Activity *activity);

PD_API int xml_composer_photo_album_retrieve(char *buffer, const char *sk,
                                             Composer_People *people, Composer_Album *album,
                                             Composer_Params *params,
                                             Composer_Response *response);
PD_API int xml_composer_photo_album_get(char *buffer, const char *sk, Composer_People *people,
                                        Composer_Album *album, Composer_Params *params,
                                        Composer_Response *response);

PD_END_DECLS

#endif
