// Every request document, byte for byte against tests/data/requests, with the
// result codes and partial documents of the failing cases.
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <functional>
#include <initializer_list>
#include <string>
#include <tuple>
#include <vector>

#include "composer/pd_composer.h"
#include "support/golden.h"
#include "support/log_capture.h"

namespace pd_test {
namespace {

constexpr const char *kSk = "SK-7f3a";

struct Case {
  const char *golden;  // tests/data/requests/<golden>.xml
  int code;
  std::function<int(char *)> compose;  // builds fresh records on every call
};

void PrintTo(const Case &c, std::ostream *os) { *os << c.golden; }

// A record with one node per row, each row in the order of the type's _add.
template <class T, class... Texts>
T *list(T *(*create)(), T *(*add)(T *, Texts...),
        std::initializer_list<std::array<const char *, sizeof...(Texts)>> rows) {
  T *record = create();
  for (const auto &row : rows) std::apply([&](auto... texts) { add(record, texts...); }, row);
  return record;
}
#define LIST(type, ...) list(Composer_##type##_create, Composer_##type##_add, {__VA_ARGS__})

// Short for an absent text or record in the tables below.
constexpr std::nullptr_t N = nullptr;

Composer_People *people(const char *id, const char *sp = nullptr) {
  return LIST(People, {id, sp, N, N, N, N});
}
Composer_Response *paging(const char *offset, const char *count) {
  return Composer_Response_create(offset, count, nullptr, nullptr);
}

const std::vector<Case> &cases() {
  static const std::vector<Case> all = {
      {"auth_login", 0, [](char *b) { return xml_composer_auth_login(b, "alice", "secret"); }},
      {"auth_login-null-password", 0, [](char *b) { return xml_composer_auth_login(b, "alice", N); }},
      {"auth_logout", 0, [](char *b) { return xml_composer_auth_logout(b, "k"); }},
      {"auth_key_delete", 0, [](char *b) { return xml_composer_auth_key_delete(b, kSk, "PK-19"); }},
      {"auth_resolve", 0, [](char *b) { return xml_composer_auth_resolve(b, "PK-19"); }},
      {"photo_update", 0, [](char *b) {
         return xml_composer_photo_update(b, kSk, LIST(Photo, {"p1", "palisade", N}, {"p2", N, "Sunset & sea"}),
                                          LIST(Album, {"owner", "a9", N}), LIST(File, {N, "junk.jpg"}));
       }},
      {"photo_update-upload", 0, [](char *b) {
         return xml_composer_photo_update(b, kSk, LIST(Photo, {N, N, "Image"}), LIST(Album, {"owner", "a9", N}),
                                          LIST(File, {N, "junk.jpg"}));
       }},
      {"photo_delete", 0, [](char *b) {
         return xml_composer_photo_delete(b, kSk, LIST(Photo, {"p1", "palisade", N}));
       }},
      {"photo_get", 0, [](char *b) {
         return xml_composer_photo_get(b, kSk, people("owner"), LIST(Photo, {"p1", N, N}),
                                       LIST(Params, {"Caption,Created", "public"}));
       }},
      {"photo_album_retrieve", 0, [](char *b) {
         return xml_composer_photo_album_retrieve(b, kSk, people("owner"), LIST(Album, {N, "a9", N}), N,
                                                  paging("1", "16"));
       }},
      {"photo_album_get", 0, [](char *b) {
         return xml_composer_photo_album_get(b, kSk, people("owner"), LIST(Album, {"u5", "a1", "Holidays"}),
                                             LIST(Params, {"Name", N}), paging("0", "20"));
       }},
      {"notification_post", 0, [](char *b) {
         return xml_composer_notification_post(
             b, kSk, "true",
             LIST(Notification, {"n1", "ignored", "friend", "request", "10"}, {"n2", N, "message", N, N}));
       }},
      {"notification_post-missing-name", 120, [](char *b) {
         return xml_composer_notification_post(b, kSk, N,
                                               LIST(Notification, {"n1", N, "friend", N, N}, {"n2", N, N, N, N}));
       }},
      {"notification_post-missing-id", 119, [](char *b) {
         return xml_composer_notification_post(b, kSk, N, LIST(Notification, {N, N, "friend", N, N}));
       }},
      {"message_poke_post", 0, [](char *b) {
         return xml_composer_message_poke_post(b, kSk, LIST(Poke, {"u1", "palisade", "u2"}, {"u1", N, "u3"}));
       }},
      {"message_poke_delete", 0, [](char *b) {
         return xml_composer_message_poke_delete(b, kSk, LIST(Poke, {"u4", "vesper", "u1"}));
       }},
      {"message_poke_retrieve", 0,
       [](char *b) { return xml_composer_message_poke_retrieve(b, kSk, "palisade", paging("1", "16")); }},
      {"message_post", 0, [](char *b) {
         return xml_composer_message_post(b, kSk, LIST(Receiver, {"u2", "palisade"}, {"u3", N}), "Hi",
                                          "See you at 8 <pm> & bring \"snacks\"", LIST(Reply, {"m7", "t3"}),
                                          "new");
       }},
      {"message_post-bad-send-type", 1004, [](char *b) {
         return xml_composer_message_post(b, kSk, LIST(Receiver, {"u2", N}), N, "x", Composer_Reply_create(),
                                          "New");
       }},
      {"message_post-missing-receiver-id", 118, [](char *b) {
         return xml_composer_message_post(b, kSk, LIST(Receiver, {"u2", N}, {N, "palisade"}), "Hi", "x",
                                          LIST(Reply, {"m7", "t3"}), "new");
       }},
      {"message_delete", 0, [](char *b) {
         return xml_composer_message_delete(b, kSk, "trash", LIST(Message, {"m1", "t1", N}, {"m2", N, "inbox"}));
       }},
      {"message_delete-bad-message-folder", 1003, [](char *b) {
         return xml_composer_message_delete(b, kSk, "inbox", LIST(Message, {"m1", "t1", "Inbox"}));
       }},
      {"message_get", 0, [](char *b) {
         return xml_composer_message_get(b, kSk, LIST(Thread, {"t1"}), LIST(Message, {"m1", "t1", "inbox"}),
                                         Composer_FullText_create("header", N));
       }},
      {"message_get-missing-message-id", 115, [](char *b) {
         return xml_composer_message_get(b, kSk, LIST(Thread, {"t1"}), LIST(Message, {N, "t1", N}), N);
       }},
      {"message_folder_retrieve", 0, [](char *b) {
         return xml_composer_message_folder_retrieve(b, kSk, people("owner"), "inbox", N, "true",
                                                     Composer_Response_create("1", "16", N, "true"),
                                                     Composer_FullText_create("full", "64"));
       }},
      {"message_folder_retrieve-folder-and-opponent", 3000, [](char *b) {
         return xml_composer_message_folder_retrieve(b, kSk, people("owner"), "inbox", "u9", N,
                                                     paging("1", "16"), N);
       }},
      {"friend_request_post", 0, [](char *b) {
         return xml_composer_friend_request_post(
             b, kSk, LIST(People, {"u5", "velora", N, N, N, "Remember me? We met at the caf\xc3\xa9"}));
       }},
      {"friend_request_accept", 0, [](char *b) {
         return xml_composer_friend_request_accept(
             b, kSk, LIST(FriendRequest, {"r1", "palisade", "u5", "friend", N}, {"r2", N, "u6", N, "Welcome!"}));
       }},
      {"friend_request_reject", 0, [](char *b) {
         return xml_composer_friend_request_reject(b, kSk, LIST(FriendRequest, {"r3", N, N, N, N}));
       }},
      {"friend_request_get", 0, [](char *b) {
         return xml_composer_friend_request_get(b, kSk, LIST(FriendRequest, {N, "palisade", N, N, N}),
                                                paging("0", "20"));
       }},
      {"friend_grouping_retrieve", 0, [](char *b) {
         return xml_composer_friend_grouping_retrieve(b, kSk, people("123", "palisade"), paging("0", "20"));
       }},
      {"friend_grouping_retrieve-missing-id", 111, [](char *b) {
         return xml_composer_friend_grouping_retrieve(
             b, kSk, LIST(People, {"123", N, "a@b.example", "Lee", "false", N}, {N, "palisade", N, N, N, N}),
             paging("0", "20"));
       }},
      {"friend_grouping_retrieve-empty-record", 0,
       [](char *b) { return xml_composer_friend_grouping_retrieve(b, kSk, Composer_People_create(), N); }},
      {"people_profile_set", 0, [](char *b) {
         return xml_composer_people_profile_set(b, kSk, people("owner"), "Feeling <great> & \"happy\" \xc3\xa9\xff");
       }},
      {"people_profile_set-empty-values", 0,
       [](char *b) { return xml_composer_people_profile_set(b, kSk, people("", ""), ""); }},
      {"people_profile_get", 0, [](char *b) {
         return xml_composer_people_profile_get(b, kSk, people("u5", "velora"), LIST(Params, {"Name,Status", N}));
       }},
      {"people_info_get", 0, [](char *b) {
         return xml_composer_people_info_get(b, kSk, people("u5", "velora"), LIST(Params, {"Name,Status", N}));
       }},
      {"people_search", 0, [](char *b) {
         return xml_composer_people_search(b, kSk, "palisade", "Ann", "ann@example.org", paging("1", "16"));
       }},
      {"people_search-email-quirk", 0,
       [](char *b) { return xml_composer_people_search(b, kSk, "palisade", N, N, N); }},
      {"people_search-no-provider", 0, [](char *b) {
         return xml_composer_people_search(b, kSk, N, "Ann", "ann@example.org", paging("1", "16"));
       }},
      {"comment_post", 0, [](char *b) {
         return xml_composer_comment_post(b, kSk, LIST(Target, {"act-42", N, "activity", "owner", N, N, N}),
                                          "Nice one!");
       }},
      {"comment_post-recommend", 0, [](char *b) {
         return xml_composer_comment_post(
             b, kSk, LIST(Target, {"p1", "u5", "photo", N, "true", "Great shot", "photo"}), N);
       }},
      {"comment_post-recommend-false", 0, [](char *b) {
         return xml_composer_comment_post(b, kSk, LIST(Target, {"p1", N, "photo", N, "false", N, N}), "ok");
       }},
      {"comment_post-recommend-without-content", 1005, [](char *b) {
         return xml_composer_comment_post(b, kSk, LIST(Target, {"p1", N, "photo", N, "true", N, N}), "ok");
       }},
      {"comment_retrieve", 0, [](char *b) {
         return xml_composer_comment_retrieve(b, kSk, LIST(Target, {"p1", N, "photo", "owner", N, N, N}),
                                              paging("1", "16"));
       }},
      {"comment_retrieve-missing-target-id", 103, [](char *b) {
         return xml_composer_comment_retrieve(b, kSk, LIST(Target, {N, N, "photo", "owner", N, N, N}),
                                              paging("1", "16"));
       }},
      {"activity_get", 0, [](char *b) {
         return xml_composer_activity_get(b, kSk, LIST(Target, {"all", "all", N, N, N, N, "all"}),
                                          paging("1", "16"), Composer_FullText_create("full", N));
       }},
      {"activity_get-bad-fulltext", 1000, [](char *b) {
         return xml_composer_activity_get(b, kSk, N, paging("1", "16"), Composer_FullText_create("Full", N));
       }},
      {"activity_get-header-length", 0, [](char *b) {
         return xml_composer_activity_get(b, kSk, N, N, Composer_FullText_create("header", "64"));
       }},
      {"activity_delete", 0, [](char *b) {
         return xml_composer_activity_delete(b, kSk, LIST(Activity, {"a1", N, N}, {"a2", "u5", "palisade"}));
       }},
      {"activity_delete-missing-id", 102, [](char *b) {
         return xml_composer_activity_delete(b, kSk, LIST(Activity, {"a1", N, N}, {N, "u5", N}));
       }},
  };
  return all;
}

class Documents : public ::testing::TestWithParam<Case> {};

// The document, its result code, and the same length when only measured.
TEST_P(Documents, MatchGoldenFile) {
  const Case &c = GetParam();
  xml_composer_set_xml_last_index(12345);
  ASSERT_EQ(c.compose(nullptr), c.code);
  const uint32_t measured = xml_last_index;

  std::vector<char> buffer(measured + 1, '\x7f');
  ASSERT_EQ(c.compose(buffer.data()), c.code);
  ASSERT_EQ(xml_last_index, measured);
  EXPECT_EQ(buffer[xml_last_index], '\0');
  EXPECT_TRUE(matches_golden(std::string("requests/") + c.golden + ".xml",
                             std::string(buffer.data(), xml_last_index)));
}

INSTANTIATE_TEST_SUITE_P(Requests, Documents, ::testing::ValuesIn(cases()),
                         [](const ::testing::TestParamInfo<Case> &info) {
                           std::string name = info.param.golden;
                           for (char &ch : name)
                             if (ch == '-') ch = '_';
                           return name;
                         });

// Argument checks fail before the first byte: buffer and write position
// keep whatever they held, and the records handed over are still released
// (LeakSanitizer checks that in the sanitizer build).
TEST(DocumentChecks, FailBeforeWritingAnything) {
  const std::vector<Case> checks = {
      {"logout", 100, [](char *b) { return xml_composer_auth_logout(b, N); }},
      {"key delete", 100, [](char *b) { return xml_composer_auth_key_delete(b, N, N); }},
      {"key delete", 101, [](char *b) { return xml_composer_auth_key_delete(b, kSk, N); }},
      {"resolve", 101, [](char *b) { return xml_composer_auth_resolve(b, N); }},
      {"message delete", 100, [](char *b) { return xml_composer_message_delete(b, N, N, N); }},
      {"message delete", 116,
       [](char *b) { return xml_composer_message_delete(b, kSk, N, LIST(Message, {"m1", N, N})); }},
      {"message delete", 1003,
       [](char *b) { return xml_composer_message_delete(b, kSk, "All", LIST(Message, {"m1", N, N})); }},
      {"message post", 100, [](char *b) {
         return xml_composer_message_post(b, N, LIST(Receiver, {"u2", N}), "t", "c", LIST(Reply, {"m", "t"}),
                                          "bogus");
       }},
      {"photo update", 100, [](char *b) {
         return xml_composer_photo_update(b, N, LIST(Photo, {"p", N, N}), LIST(Album, {"o", "a", N}),
                                          LIST(File, {N, "f"}));
       }},
      {"folder retrieve", 100, [](char *b) {
         return xml_composer_message_folder_retrieve(b, N, people("owner"), "inbox", "u9", N, paging("1", "16"),
                                                     Composer_FullText_create("x", N));
       }},
  };
  for (const Case &check : checks) {
    char buffer[16] = "untouched";
    xml_composer_set_xml_last_index(7);
    EXPECT_EQ(check.compose(buffer), check.code) << check.golden;
    EXPECT_EQ(xml_last_index, 7u) << check.golden;
    EXPECT_STREQ(buffer, "untouched") << check.golden;
  }
}

TEST(DocumentChecks, FriendRequestsPrintOneSeparatorPerNode) {
  LogCapture log;
  char buffer[512];
  for (const Case &c : cases()) {
    if (std::string(c.golden) == "friend_request_accept") {
      ASSERT_EQ(c.compose(buffer), 0);
    }
  }
  EXPECT_EQ(log.text(pd::log::Channel::out), "------->------->------>\n------->------->------>\n");
  EXPECT_EQ(log.records().size(), 2u);
}

// ---- Sizes --------------------------------------------------------------------
//
// The gateway operations size a body as 512 bytes plus the length of every
// text they pass. That holds when each text is written once and the markup
// around the texts stays below 512 bytes with every optional part present.

struct Sized {
  const char *builder;
  size_t texts;                                      // how many texts it passes
  std::function<int(char *, const char *)> compose;  // every text is the same
};

// The builders the gateway operations call, with their records filled in
// every field the operation could fill. Keywords have to pass their checks,
// so they are fixed and counted as markup.
const std::vector<Sized> &gateway_builders() {
  static const std::vector<Sized> all = {
      {"auth_login", 2, [](char *b, const char *s) { return xml_composer_auth_login(b, s, s); }},
      {"auth_logout", 1, [](char *b, const char *s) { return xml_composer_auth_logout(b, s); }},
      {"friend_grouping_retrieve", 11, [](char *b, const char *s) {
         return xml_composer_friend_grouping_retrieve(b, s, LIST(People, {s, s, s, s, s, s}),
                                                      Composer_Response_create(s, s, s, s));
       }},
      {"people_search", 8, [](char *b, const char *s) {
         return xml_composer_people_search(b, s, s, s, s, Composer_Response_create(s, s, s, s));
       }},
      {"activity_get", 12, [](char *b, const char *s) {
         return xml_composer_activity_get(b, s, LIST(Target, {s, s, s, s, s, s, s}),
                                          Composer_Response_create(s, s, s, s), N);
       }},
      {"people_profile_set", 8, [](char *b, const char *s) {
         return xml_composer_people_profile_set(b, s, LIST(People, {s, s, s, s, s, s}), s);
       }},
      {"comment_post", 9, [](char *b, const char *s) {
         return xml_composer_comment_post(b, s, LIST(Target, {s, s, s, s, s, s, s}), s);
       }},
      {"comment_retrieve", 12, [](char *b, const char *s) {
         return xml_composer_comment_retrieve(b, s, LIST(Target, {s, s, s, s, s, s, s}),
                                              Composer_Response_create(s, s, s, s));
       }},
      {"photo_update", 9, [](char *b, const char *s) {
         return xml_composer_photo_update(b, s, LIST(Photo, {s, s, s}), LIST(Album, {s, s, s}), LIST(File, {s, s}));
       }},
      {"photo_album_get", 16, [](char *b, const char *s) {
         return xml_composer_photo_album_get(b, s, LIST(People, {s, s, s, s, s, s}), LIST(Album, {s, s, s}),
                                             LIST(Params, {s, s}), Composer_Response_create(s, s, s, s));
       }},
      {"photo_album_retrieve", 16, [](char *b, const char *s) {
         return xml_composer_photo_album_retrieve(b, s, LIST(People, {s, s, s, s, s, s}), LIST(Album, {s, s, s}),
                                                  LIST(Params, {s, s}), Composer_Response_create(s, s, s, s));
       }},
      {"message_folder_retrieve", 12, [](char *b, const char *s) {
         return xml_composer_message_folder_retrieve(b, s, LIST(People, {s, s, s, s, s, s}), "commenting", N, s,
                                                     Composer_Response_create(s, s, s, s), N);
       }},
      {"message_post", 7, [](char *b, const char *s) {
         return xml_composer_message_post(b, s, LIST(Receiver, {s, s}), s, s, LIST(Reply, {s, s}), "forward");
       }},
  };
  return all;
}

TEST(DocumentSizes, GatewayMarkupFitsTheBaseBodySize) {
  uint32_t largest = 0;
  std::string largest_builder;
  for (const Sized &sized : gateway_builders()) {
    std::vector<char> buffer(4096);
    ASSERT_EQ(sized.compose(buffer.data(), ""), 0) << sized.builder;
    uint32_t markup = xml_last_index;
    // Each text appears exactly once: longer texts grow the document by
    // exactly their own length.
    std::string text(100, 'x');
    ASSERT_EQ(sized.compose(buffer.data(), text.c_str()), 0) << sized.builder;
    EXPECT_EQ(xml_last_index, markup + sized.texts * text.size()) << sized.builder;
    if (markup > largest) largest = markup, largest_builder = sized.builder;
  }
  // The body needs the markup, the texts and the NUL.
  EXPECT_LT(largest, 512u);
  std::printf("largest fixed markup: %u bytes (%s)\n", largest, largest_builder.c_str());
}

// A megabyte of text, with every byte the writer must pass through as it
// stands, composes into a buffer of exactly the document's size.
TEST(DocumentSizes, MegabyteTextsComposeVerbatim) {
  std::string text(1 << 20, 'a');
  const char kVerbatim[] = "<&\"'\xff\xc3\x80";
  for (size_t i = 0; i < text.size(); i += 5) text[i] = kVerbatim[(i / 5) % 7];
  const std::string head = std::string("<Request Method=\"set\" SessionKey=\"") + kSk + "\" >\n" +
                           "<People ID=\"" + text + "\" />\n<Status>";
  const std::string expected = head + text + "</Status>\n</Request>\n";
  std::vector<char> buffer(expected.size() + 1);
  ASSERT_EQ(xml_composer_people_profile_set(buffer.data(), kSk, people(text.c_str()), text.c_str()), 0);
  ASSERT_EQ(xml_last_index, expected.size());
  EXPECT_TRUE(std::string(buffer.data(), xml_last_index) == expected);
}

}  // namespace
}  // namespace pd_test
