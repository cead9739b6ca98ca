// Every request document builder, driven by the calls of
// tests/data/requests/builders.txt: documents byte for byte against their
// golden files, argument checks that fail before the first byte, and the
// markup sizes the gateway operations count on.
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "composer/pd_composer.h"
#include "rows.h"
#include "support/golden.h"
#include "support/log_capture.h"

namespace pd_test {
namespace {

// One argument of a call: a text, or a record ([Type row | row ...]).
struct Arg {
  Text text;
  std::string type;                    // empty for a text or no record
  std::vector<std::vector<Text>> rows;
};
using Args = std::vector<Arg>;

struct Call {
  std::string kind, name, builder;
  int number = 0;
  std::string arguments;  // as written, "$" not yet filled in
};

Args parse(const std::string &arguments, const std::string &fill) {
  Args args;
  auto all = tokens(arguments, fill);
  for (size_t i = 0; i < all.size(); ++i) {
    if (all[i].second != '[') { args.push_back({all[i].first, "", {}}); continue; }
    Arg record{std::nullopt, *all.at(++i).first, {}};
    for (++i; all.at(i).second != ']'; ++i) {
      if (record.rows.empty()) record.rows.emplace_back();
      if (all[i].second == '|') record.rows.emplace_back();
      else record.rows.back().push_back(all[i].first);
    }
    args.push_back(record);
  }
  return args;
}

const char *c_str(const Text &text) { return text ? text->c_str() : nullptr; }

// A record with a node for each row, in the order of the type's _add.
template <class T, class... S>
T *listed(const Arg &a, const char *type, T *(*create)(), T *(*add)(T *, S...)) {
  if (a.type.empty()) return nullptr;
  EXPECT_EQ(a.type, type);
  T *record = create();
  for (const auto &row : a.rows) {
    EXPECT_EQ(row.size(), sizeof...(S)) << type;
    if (row.size() != sizeof...(S)) continue;
    [&]<size_t... I>(std::index_sequence<I...>) { add(record, c_str(row[I])...); }
    (std::index_sequence_for<S...>{});
  }
  return record;
}
// A record that takes its texts at creation.
template <class T, class... S>
T *created(const Arg &a, const char *type, T *(*create)(S...)) {
  if (a.type.empty()) return nullptr;
  EXPECT_EQ(a.type, type);
  EXPECT_EQ(a.rows.at(0).size(), sizeof...(S)) << type;
  return [&]<size_t... I>(std::index_sequence<I...>) { return create(c_str(a.rows[0].at(I))...); }
  (std::index_sequence_for<S...>{});
}

const char *from(const Arg &a, const char *) { return c_str(a.text); }
#define PD_LISTED(T) \
  Composer_##T *from(const Arg &a, Composer_##T *) { return listed(a, #T, Composer_##T##_create, Composer_##T##_add); }
PD_LISTED(Photo) PD_LISTED(Album) PD_LISTED(File) PD_LISTED(People) PD_LISTED(Params) PD_LISTED(Notification)
PD_LISTED(Poke) PD_LISTED(Receiver) PD_LISTED(Reply) PD_LISTED(Message) PD_LISTED(Thread)
PD_LISTED(FriendRequest) PD_LISTED(Target) PD_LISTED(Activity)
#undef PD_LISTED
Composer_Response *from(const Arg &a, Composer_Response *) { return created(a, "Response", Composer_Response_create); }
Composer_FullText *from(const Arg &a, Composer_FullText *) { return created(a, "FullText", Composer_FullText_create); }

// Calls a builder with the arguments converted to its parameter types.
template <class... P>
int call(int (*builder)(char *, P...), char *buffer, const Args &args) {
  EXPECT_EQ(args.size(), sizeof...(P));
  if (args.size() != sizeof...(P)) return -1;
  return [&]<size_t... I>(std::index_sequence<I...>) { return builder(buffer, from(args[I], P{})...); }
  (std::index_sequence_for<P...>{});
}

using Builder = int (*)(char *, const Args &);
#define PD_BUILDER(name) {#name, [](char *b, const Args &a) { return call(xml_composer_##name, b, a); }},
const std::map<std::string, Builder> kBuilders = {
    PD_BUILDER(auth_login) PD_BUILDER(auth_logout) PD_BUILDER(auth_key_delete) PD_BUILDER(auth_resolve)
    PD_BUILDER(photo_update) PD_BUILDER(photo_delete) PD_BUILDER(photo_get) PD_BUILDER(photo_album_retrieve)
    PD_BUILDER(photo_album_get) PD_BUILDER(notification_post) PD_BUILDER(message_poke_post)
    PD_BUILDER(message_poke_delete) PD_BUILDER(message_poke_retrieve) PD_BUILDER(message_post)
    PD_BUILDER(message_delete) PD_BUILDER(message_get) PD_BUILDER(message_folder_retrieve)
    PD_BUILDER(friend_request_post) PD_BUILDER(friend_request_accept) PD_BUILDER(friend_request_reject)
    PD_BUILDER(friend_request_get) PD_BUILDER(friend_grouping_retrieve) PD_BUILDER(people_profile_set)
    PD_BUILDER(people_profile_get) PD_BUILDER(people_info_get) PD_BUILDER(people_search)
    PD_BUILDER(comment_post) PD_BUILDER(comment_retrieve) PD_BUILDER(activity_get) PD_BUILDER(activity_delete)};
#undef PD_BUILDER

std::vector<Call> calls(const std::string &kind) {
  std::vector<Call> out;
  for (const std::string &line : data_lines("requests/builders.txt")) {
    Call c;
    std::istringstream fields(line);
    if (!(fields >> c.kind >> c.name >> c.number >> c.builder) || c.kind != kind) continue;
    std::getline(fields, c.arguments);
    out.push_back(c);
  }
  EXPECT_FALSE(out.empty()) << kind;
  return out;
}

// Builds fresh records on every call: the builder releases them.
int compose(const Call &c, char *buffer, const std::string &fill = "") {
  auto builder = kBuilders.find(c.builder);
  if (builder == kBuilders.end()) {
    ADD_FAILURE() << "no builder " << c.builder;
    return -1;
  }
  return builder->second(buffer, parse(c.arguments, fill));
}

// The document, its result code, and the same length when only measured.
// What a builder prints while it writes (friend requests: a separator per
// node) goes to a golden file of its own, each record in brackets.
TEST(Documents, MatchTheirGoldenFiles) {
  LogCapture log;
  std::string printed;
  for (const Call &c : calls("document")) {
    SCOPED_TRACE(c.name);
    xml_composer_set_xml_last_index(12345);
    ASSERT_EQ(compose(c, nullptr), c.number);
    const uint32_t measured = xml_last_index;
    std::vector<char> buffer(measured + 1, '\x7f');
    log.clear();
    ASSERT_EQ(compose(c, buffer.data()), c.number);
    ASSERT_EQ(xml_last_index, measured);
    EXPECT_EQ(buffer[xml_last_index], '\0');
    EXPECT_TRUE(matches_golden("requests/" + c.name + ".xml", std::string(buffer.data(), xml_last_index)));
    for (const LogRecord &record : log.records()) printed += c.name + " [" + record.text + "]\n";
  }
  EXPECT_TRUE(matches_golden("composer/documents.printed", printed));
}

// Argument checks fail before the first byte: buffer and write position
// keep whatever they held, and the records handed over are still released
// (LeakSanitizer checks that in the sanitizer build).
TEST(Documents, ChecksFailBeforeWritingAnything) {
  for (const Call &c : calls("refused")) {
    char buffer[16] = "untouched";
    xml_composer_set_xml_last_index(7);
    EXPECT_EQ(compose(c, buffer), c.number) << c.name;
    EXPECT_EQ(xml_last_index, 7u) << c.name;
    EXPECT_STREQ(buffer, "untouched") << c.name;
  }
}

// The gateway operations size a body as 512 bytes plus the length of every
// text they pass. That holds when each text is written once and the markup
// around the texts stays below 512 bytes with every optional part present.
TEST(Documents, GatewayMarkupFitsTheBaseBodySize) {
  const std::string text(100, 'x');
  for (const Call &c : calls("sized")) {
    std::vector<char> buffer(4096);
    ASSERT_EQ(compose(c, buffer.data()), 0) << c.name;
    const uint32_t markup = xml_last_index;
    ASSERT_EQ(compose(c, buffer.data(), text), 0) << c.name;
    EXPECT_EQ(xml_last_index, markup + c.number * text.size()) << c.name;
    EXPECT_LT(markup, 512u) << c.name;  // the body also needs the NUL
  }
}

}  // namespace
}  // namespace pd_test
