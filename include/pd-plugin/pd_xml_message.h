/* Messages: the message folder (engine request 32, parser index 16) as
 * threads, messages, receiver groups and receivers, and the answer to
 * posting a message (xml_message_post_parser, declared with the parsers;
 * the answer to engine request 34 reaches the engine without a record).
 *
 * Neither result has a release operation: the engine releases them field
 * by field. For a folder: every receiver's three texts with data_Del, then
 * the receiver; every group after its receivers; every message's eight
 * texts, its groups, then the message; every thread's three texts, its
 * messages, then the thread; the record's four texts, its threads, then the
 * record (read each pstNext before releasing its node). For a post answer:
 * xml_element_response_base_delete on the paging head,
 * xml_element_message_delete on the holder's message, data_Del on the
 * holder and on the record.
 *
 * Some names spell "receiver" as "reciever"; they are kept as they are. */
#ifndef PD_PLUGIN_PD_XML_MESSAGE_H
#define PD_PLUGIN_PD_XML_MESSAGE_H

#include <stdint.h>

#include "pd-plugin/pd_export.h"
#include "pd-plugin/pd_xml_base.h"
#include "pd-plugin/pd_xml_element.h"

PD_BEGIN_DECLS

typedef struct xml_message_folder_receiver {
  char *pszID;       /* "ID" of "Receiver" */
  char *pszName;     /* "Name" */
  char *pszPhotoURL; /* "URL" of "ProfilePhoto" under "Receiver" */
  struct xml_message_folder_receiver *pstNext;
} xml_message_folder_receiver;

/* One "Receivers" element. */
typedef struct xml_message_folder_receivers {
  uint32_t uCount;                         /* receivers in the group */
  xml_message_folder_receiver *pstReceiver; /* first */
  struct xml_message_folder_receivers *pstNext;
} xml_message_folder_receivers;

typedef struct xml_message_folder_message {
  char *pszID;             /* "ID" of "Message" */
  char *pszSP;             /* "SP" */
  char *pszTitle;          /* "Title" */
  char *pszSenderID;       /* "ID" of "Sender" */
  char *pszSenderName;     /* "Name" of "Sender" */
  char *pszSenderPhotoURL; /* "URL" of "ProfilePhoto" under "Sender", taken
                              only once the message has a "Receivers" */
  char *pszContent;        /* text of "Content" */
  char *pszSendTime;       /* "SendTime" of "Message" */
  xml_message_folder_receivers *pstReceivers; /* first group */
  struct xml_message_folder_message *pstNext;
} xml_message_folder_message;

typedef struct xml_message_folder_thread {
  char *pszID;     /* "ID" of "Thread" */
  char *pszUnread; /* "Unread" */
  char *pszFolder; /* "Folder" */
  xml_message_folder_message *pstMessage; /* first */
  struct xml_message_folder_thread *pstNext;
} xml_message_folder_thread;

typedef struct xml_message_folder_retrieve {
  char *pszReserved1;    /* never filled */
  char *pszReserved2;    /* never filled */
  char *pszStartContext; /* "StartContext" of the root */
  char *pszHasNext;      /* "HasNext" of the root */
  xml_message_folder_thread *pstThread; /* first, null when none */
} xml_message_folder_retrieve;

/* The answer to posting a message. */
typedef struct xml_message_post_message {
  xml_element_message *pstMessage;
} xml_message_post_message;

typedef struct xml_message_post {
  xml_element_response_base *pstResponseBase;
  xml_message_post_message *pstMessage; /* the last "Message" of the answer */
} xml_message_post;

/* Each init returns a new, empty record appended to the list of the record
 * it is given (free-standing for null). */
PD_API xml_message_folder_retrieve *__xml_message_folder_retrieve_init(void);
PD_API xml_message_folder_thread *__xml_message_folder_thread_init(
    xml_message_folder_retrieve *result);
PD_API xml_message_folder_message *__xml_message_folder_message_init(
    xml_message_folder_thread *thread);
PD_API xml_message_folder_receivers *__xml_message_folder_receivers_init(
    xml_message_folder_message *message);
/* Also counts the receiver in the group. */
PD_API xml_message_folder_receiver *__xml_message_folder_receiver_init(
    xml_message_folder_receivers *group);

/* The last record of the list named, or null. */
PD_API xml_message_folder_thread *__xml_message_folder_get_last_thread(
    xml_message_folder_retrieve *result);
PD_API xml_message_folder_message *__xml_message_get_last_folder_message(
    xml_message_folder_thread *thread);
PD_API xml_message_folder_receivers *__xml_message_folder_receivers_get_last_recievers(
    xml_message_folder_message *message);
PD_API xml_message_folder_receiver *__xml_message_folder_get_last_reciever(
    xml_message_folder_receivers *group);

PD_API xml_message_post *__xml_message_post_init(void);
/* A new, empty holder in the post's second word; the holder it replaces is
 * released with its message. */
PD_API xml_message_post_message *__xml_message_post_message_init(xml_message_post *post);

PD_END_DECLS

#endif
