// Messages: the folder as threads, messages, receiver groups and receivers,
// and the answer to posting a message.
#include <cstdlib>

#include "parser/parse_support.h"
#include "parser/pd_xml_handlers.h"

using pd::parser::copy_first_text;
using pd::parser::is_element;
using pd::parser::is_named;
using pd::parser::new_record;
using pd::parser::record_in;
using pd::parser::release_list;
using pd::parser::release_texts;
using pd::parser::store;
using pd::parser::store_attr;
using pd::parser::store_attrs;

namespace {

void release_receiver(xml_message_folder_receiver *receiver) noexcept {
  release_texts(receiver->pszID, receiver->pszName, receiver->pszPhotoURL);
  data_Del(receiver);
}

void release_group(xml_message_folder_receivers *group) noexcept {
  release_list(&group->pstReceiver, release_receiver);
  data_Del(group);
}

void release_message(xml_message_folder_message *message) noexcept {
  release_texts(message->pszID, message->pszSP, message->pszTitle, message->pszSenderID,
                message->pszSenderName, message->pszSenderPhotoURL, message->pszContent,
                message->pszSendTime);
  release_list(&message->pstReceivers, release_group);
  data_Del(message);
}

void release_thread(xml_message_folder_thread *thread) noexcept {
  release_texts(thread->pszID, thread->pszUnread, thread->pszFolder);
  release_list(&thread->pstMessage, release_message);
  data_Del(thread);
}

// The last message of the last thread, or null.
xml_message_folder_message *last_message(xml_message_folder_retrieve *record) {
  xml_message_folder_thread *thread = __xml_message_folder_get_last_thread(record);
  return thread != nullptr ? __xml_message_get_last_folder_message(thread) : nullptr;
}

}  // namespace

namespace pd::parser {

void discard_message_folder(xml_message_folder_retrieve *record) noexcept {
  if (record == nullptr) return;
  release_paging(record);
  release_list(&record->pstThread, release_thread);
  data_Del(record);
}

}  // namespace pd::parser

extern "C" {

// ---------------------------------------------------------------------------
// The folder

xml_message_folder_retrieve *__xml_message_folder_retrieve_init(void) {
  return new_record<xml_message_folder_retrieve>();
}

xml_message_folder_thread *__xml_message_folder_thread_init(xml_message_folder_retrieve *result) {
  auto *thread = new_record<xml_message_folder_thread>();
  if (result != nullptr) pd::parser::append_node(&result->pstThread, thread);
  return thread;
}

xml_message_folder_message *__xml_message_folder_message_init(xml_message_folder_thread *thread) {
  auto *message = new_record<xml_message_folder_message>();
  if (thread != nullptr) pd::parser::append_node(&thread->pstMessage, message);
  return message;
}

xml_message_folder_receivers *__xml_message_folder_receivers_init(
    xml_message_folder_message *message) {
  auto *group = new_record<xml_message_folder_receivers>();
  if (message != nullptr) pd::parser::append_node(&message->pstReceivers, group);
  return group;
}

xml_message_folder_receiver *__xml_message_folder_receiver_init(
    xml_message_folder_receivers *group) {
  auto *receiver = new_record<xml_message_folder_receiver>();
  if (group != nullptr && receiver != nullptr) {
    pd::parser::append_node(&group->pstReceiver, receiver);
    ++group->uCount;
  }
  return receiver;
}

xml_message_folder_thread *__xml_message_folder_get_last_thread(
    xml_message_folder_retrieve *result) {
  return result != nullptr ? pd::parser::last_node(&result->pstThread) : nullptr;
}

xml_message_folder_message *__xml_message_get_last_folder_message(
    xml_message_folder_thread *thread) {
  return thread != nullptr ? pd::parser::last_node(&thread->pstMessage) : nullptr;
}

xml_message_folder_receivers *__xml_message_folder_receivers_get_last_recievers(
    xml_message_folder_message *message) {
  return message != nullptr ? pd::parser::last_node(&message->pstReceivers) : nullptr;
}

xml_message_folder_receiver *__xml_message_folder_get_last_reciever(
    xml_message_folder_receivers *group) {
  return group != nullptr ? pd::parser::last_node(&group->pstReceiver) : nullptr;
}

// Below the message, everything goes to the last message of the last
// thread. From depth 4 on the message's last receiver group is needed
// before the element is even looked at, so a sender's "ProfilePhoto" that
// comes before any "Receivers" of its message is dropped; engines have
// always received it that way.
void xml_message_folder_retrieve_parser(uint32_t depth, const char *parent, xmlNode *node,
                                        intptr_t *result) {
  if (node == nullptr || result == nullptr) return;
  if (depth == 0) {
    pd::parser::open_reply(node, result, __xml_message_folder_retrieve_init);
    return;
  }
  auto *record = record_in<xml_message_folder_retrieve>(result);
  if (record == nullptr || depth > 5) return;
  if (depth == 1) {
    if (!is_element(node, "Thread") || !is_named(parent, "Response")) return;
    xml_message_folder_thread *thread = __xml_message_folder_thread_init(record);
    if (thread == nullptr) return;
    store_attrs(node, {{&thread->pszID, "ID"}, {&thread->pszUnread, "Unread"},
                       {&thread->pszFolder, "Folder"}});
    return;
  }
  if (depth == 2) {
    if (!is_element(node, "Message") || !is_named(parent, "Thread")) return;
    xml_message_folder_thread *thread = __xml_message_folder_get_last_thread(record);
    if (thread == nullptr) return;
    xml_message_folder_message *message = __xml_message_folder_message_init(thread);
    if (message == nullptr) return;
    store_attrs(node, {{&message->pszID, "ID"}, {&message->pszSP, "SP"},
                       {&message->pszTitle, "Title"}, {&message->pszSendTime, "SendTime"}});
    return;
  }
  xml_message_folder_message *message = last_message(record);
  if (message == nullptr) return;
  if (depth == 3) {
    if (!is_named(parent, "Message")) return;
    if (is_element(node, "Sender")) {
      store_attr(message->pszSenderID, node, "ID");
      store_attr(message->pszSenderName, node, "Name");
    } else if (is_element(node, "Content")) {
      store(message->pszContent, copy_first_text(node));
    } else if (is_element(node, "Receivers")) {
      __xml_message_folder_receivers_init(message);
    }
    return;
  }
  xml_message_folder_receivers *group = __xml_message_folder_receivers_get_last_recievers(message);
  if (group == nullptr) return;
  if (depth == 4) {
    if (is_element(node, "ProfilePhoto") && is_named(parent, "Sender")) {
      store_attr(message->pszSenderPhotoURL, node, "URL");
    } else if (is_element(node, "Receiver") && is_named(parent, "Receivers")) {
      if (xml_message_folder_receiver *receiver = __xml_message_folder_receiver_init(group)) {
        store_attr(receiver->pszID, node, "ID");
        store_attr(receiver->pszName, node, "Name");
      }
    }
    return;
  }
  xml_message_folder_receiver *receiver = __xml_message_folder_get_last_reciever(group);
  if (receiver != nullptr && is_element(node, "ProfilePhoto") && is_named(parent, "Receiver"))
    store_attr(receiver->pszPhotoURL, node, "URL");
}

// ---------------------------------------------------------------------------
// The answer to posting a message

xml_message_post *__xml_message_post_init(void) { return new_record<xml_message_post>(); }

// The holder it replaces is released with its message: nothing else refers
// to them.
xml_message_post_message *__xml_message_post_message_init(xml_message_post *post) {
  auto *holder = new_record<xml_message_post_message>();
  if (post == nullptr) return holder;
  if (post->pstMessage != nullptr) {
    pd::parser::release_row(post->pstMessage->pstMessage);
    data_Del(post->pstMessage);
  }
  post->pstMessage = holder;
  return holder;
}

void xml_message_post_parser(uint32_t depth, const char *parent, xmlNode *node,
                             intptr_t *result) {
  if (node == nullptr || result == nullptr) return;
  if (depth == 0) {
    xml_message_post *post = pd::parser::open_reply(node, result, __xml_message_post_init);
    if (post == nullptr) return;
    post->pstResponseBase = xml_element_response_base_init();
    xml_element_response_base_set(post->pstResponseBase, node);
    return;
  }
  auto *post = record_in<xml_message_post>(result);
  if (depth != 1 || post == nullptr) return;
  if (!is_element(node, "Message") || !is_named(parent, "Response")) return;
  xml_message_post_message *holder = __xml_message_post_message_init(post);
  if (holder == nullptr) return;
  holder->pstMessage = xml_element_message_init();
  xml_element_message_set(holder->pstMessage, node);
}

}  // extern "C"
