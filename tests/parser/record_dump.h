// Readable dumps of parse results, for the golden files under
// tests/data/replies/<family>/<case>.dump; each record type's text fields
// are named by tests/data/records/fields.txt.
#ifndef PD_TESTS_PARSER_RECORD_DUMP_H
#define PD_TESTS_PARSER_RECORD_DUMP_H

#include <cstdint>
#include <string>

namespace pd_test {

// "result: null", "result: -30" (a number), or the record's name and its
// fields, one per line, lists as numbered entries.
using Dumper = std::string (*)(intptr_t result);

std::string dump_login(intptr_t result);
std::string dump_logout(intptr_t result);
std::string dump_friends(intptr_t result);
std::string dump_comment_post(intptr_t result);
std::string dump_comment_retrieve(intptr_t result);
std::string dump_albums(intptr_t result);
std::string dump_album_photos(intptr_t result);
std::string dump_activity(intptr_t result);
std::string dump_people_search(intptr_t result);
std::string dump_profile_set(intptr_t result);
std::string dump_message_folder(intptr_t result);
std::string dump_message_post(intptr_t result);
// The two process-wide slots of the activity deletion answer (the argument
// is not used).
std::string dump_activity_delete_slots(intptr_t ignored);
// For parser indexes without a handler: the result is only ever a number.
std::string dump_number(intptr_t result);

// A text as the dumps show it: null, or quoted with \n, \", \\ and other
// control bytes escaped.
std::string quoted(const char *text);

}  // namespace pd_test

#endif
