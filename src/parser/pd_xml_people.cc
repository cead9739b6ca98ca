// People: the search answer, the answer to setting one's status, and the
// records of a fetched profile.
#include <cstdlib>

#include "parser/parse_support.h"
#include "parser/pd_xml_handlers.h"

using pd::parser::is_element;
using pd::parser::is_named;
using pd::parser::new_record;
using pd::parser::record_in;
using pd::parser::release_row;

namespace {

// With their own operations (as the engine's release does), or without
// tracing lines (for results nobody receives).
template <bool kQuiet>
void release_person(xml_people_search_people *person) noexcept {
  if (person == nullptr) return;
  if constexpr (kQuiet) {
    release_row(person->pstPeople);
    release_row(person->pstStatus);
    release_row(person->pstMood);
  } else {
    xml_element_people_delete(person->pstPeople);
    xml_element_status_delete(person->pstStatus);
    xml_element_mood_delete(person->pstMood);
  }
  data_Del(person->pszProfilePhotoURL);
  data_Del(person);
}

}  // namespace

namespace pd::parser {

void discard_people_search(xml_people_search *record) noexcept {
  if (record == nullptr) return;
  release_list(&record->pstPeople, release_person<true>);
  release_paging(record);
  data_Del(record);
}

}  // namespace pd::parser

extern "C" {

// ---------------------------------------------------------------------------
// Search

xml_people_search *__xml_people_search_init(void) { return new_record<xml_people_search>(); }

xml_people_search_people *__xml_people_search_people_init(xml_people_search *record) {
  auto *person = new_record<xml_people_search_people>();
  if (person == nullptr) return nullptr;
  person->pstPeople = xml_element_people_init();
  person->pstStatus = xml_element_status_init();
  person->pstMood = xml_element_mood_init();
  if (record != nullptr) pd::parser::append_node(&record->pstPeople, person);
  return person;
}

xml_people_search_people *__xml_poeple_get_last_profile(xml_people_search *record) {
  return record != nullptr ? pd::parser::last_node(&record->pstPeople) : nullptr;
}

// The first person only: the engine owns the rest of the list.
void __xml_people_search_delete(xml_people_search *record) {
  if (record == nullptr) return;
  pd::parser::tails::forget(&record->pstPeople);
  pd::parser::release_paging(record);
  release_person<false>(record->pstPeople);
  data_Del(record);
}

void xml_people_search_delete(xml_people_search *record) { __xml_people_search_delete(record); }

void xml_people_search_parser(uint32_t depth, const char *parent, xmlNode *node,
                              intptr_t *result) {
  if (node == nullptr || result == nullptr) return;
  if (depth == 0) {
    pd::parser::open_reply(node, result, __xml_people_search_init);
    return;
  }
  auto *record = record_in<xml_people_search>(result);
  if (record == nullptr) return;
  if (depth == 1) {
    if (!is_element(node, "People") || !is_named(parent, "Response")) return;
    if (xml_people_search_people *person = __xml_people_search_people_init(record))
      xml_element_people_set(person->pstPeople, node);
    return;
  }
  if (depth != 2 || !is_named(parent, "People")) return;
  xml_people_search_people *person = __xml_poeple_get_last_profile(record);
  if (person == nullptr) return;
  // "Mood " carries a blank that no element name can have: the mood record
  // stays empty, as the engine has always received it.
  if (is_element(node, "Status"))
    xml_element_status_set(person->pstStatus, node);
  else if (is_element(node, "ProfilePhoto"))
    pd::parser::store_attr(person->pszProfilePhotoURL, node, "URL");
  else if (is_element(node, "Mood "))
    xml_element_mood_set(person->pstMood, node);
}

// ---------------------------------------------------------------------------
// Setting one's status

xml_people_profile_set *__xml_people_profile_set_init(void) {
  return new_record<xml_people_profile_set>();
}

void __xml_people_profile_set_delete(xml_people_profile_set *record) {
  if (record == nullptr) return;
  data_Del(record->pszReserved);
  data_Del(record);
}

void xml_people_profile_set_delete(xml_people_profile_set *record) {
  __xml_people_profile_set_delete(record);
}

// The engine reads a record as success: an answer that carries a "People"
// element yields null instead. The record made for the root goes then.
void xml_people_profile_set_parser(uint32_t depth, const char *parent, xmlNode *node,
                                   intptr_t *result) {
  if (node == nullptr || result == nullptr) return;
  if (depth == 0) {
    pd::parser::open_reply(node, result, __xml_people_profile_set_init);
  } else if (depth == 1 && is_element(node, "People") && is_named(parent, "Response")) {
    __xml_people_profile_set_delete(record_in<xml_people_profile_set>(result));
    *result = 0;
  }
}

// ---------------------------------------------------------------------------
// A fetched profile

xml_people_profile_get *__xml_people_profile_get_init(void) {
  return new_record<xml_people_profile_get>();
}

xml_people_profile_people *__xml_people_profile_people_init(xml_people_profile_get *record) {
  auto *people = new_record<xml_people_profile_people>();
  if (record != nullptr) pd::parser::append_node(&record->pstPeople, people);
  return people;
}

xml_people_profile_profilephotos *__xml_people_profile_profilephotos_init(
    xml_people_profile_people *people) {
  auto *photos = new_record<xml_people_profile_profilephotos>();
  if (people != nullptr) pd::parser::append_node(&people->pstProfilePhotos, photos);
  return photos;
}

xml_people_profile_profilephoto *__xml_people_profile_profilephoto_init(
    xml_people_profile_profilephoto **head) {
  auto *photo = new_record<xml_people_profile_profilephoto>();
  if (head != nullptr) pd::parser::append_node(head, photo);
  return photo;
}

void __xml_people_profile_get_delete(xml_people_profile_get *record) {
  if (record == nullptr) return;
  pd::parser::release_list(&record->pstPeople, [](xml_people_profile_people *people) {
    for (char *text : people->pszText) data_Del(text);
    pd::parser::release_list(&people->pstProfilePhotos, [](xml_people_profile_profilephotos *photos) {
      pd::parser::release_list(&photos->pstProfilePhoto, [](xml_people_profile_profilephoto *photo) {
        for (char *text : photo->pszText) data_Del(text);
        data_Del(photo);
      });
      data_Del(photos);
    });
    data_Del(people);
  });
  data_Del(record);
}

void xml_people_profile_get_delete(xml_people_profile_get *record) {
  __xml_people_profile_get_delete(record);
}

}  // extern "C"
