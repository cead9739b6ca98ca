// Every request document, byte for byte against tests/data/requests, with the
// result codes and partial documents of the failing cases.
#include <gtest/gtest.h>

#include <functional>
#include <string>
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

Composer_People *people(const char *id, const char *sp = nullptr) {
  return Composer_People_add(Composer_People_create(), id, sp, nullptr, nullptr, nullptr, nullptr);
}
Composer_Response *paging(const char *offset, const char *count) {
  return Composer_Response_create(offset, count, nullptr, nullptr);
}
Composer_Target *target(const char *id, const char *owner, const char *type, const char *author,
                        const char *recommend, const char *content, const char *types) {
  return Composer_Target_add(Composer_Target_create(), id, owner, type, author, recommend, content,
                             types);
}

const std::vector<Case> &cases() {
  static const std::vector<Case> all = {
      {"auth_login", 0, [](char *b) { return xml_composer_auth_login(b, "alice", "secret"); }},
      {"auth_login-null-password", 0,
       [](char *b) { return xml_composer_auth_login(b, "alice", nullptr); }},
      {"auth_logout", 0, [](char *b) { return xml_composer_auth_logout(b, "k"); }},
      {"auth_key_delete", 0, [](char *b) { return xml_composer_auth_key_delete(b, kSk, "PK-19"); }},
      {"auth_resolve", 0, [](char *b) { return xml_composer_auth_resolve(b, "PK-19"); }},
      {"photo_update", 0,
       [](char *b) {
         Composer_Photo *photo = Composer_Photo_add(Composer_Photo_create(), "p1", "palisade", nullptr);
         Composer_Photo_add(photo, "p2", nullptr, "Sunset & sea");
         return xml_composer_photo_update(
             b, kSk, photo, Composer_Album_add(Composer_Album_create(), "owner", "a9", nullptr),
             Composer_File_add(Composer_File_create(), nullptr, "junk.jpg"));
       }},
      {"photo_update-upload", 0,
       [](char *b) {
         return xml_composer_photo_update(
             b, kSk, Composer_Photo_add(Composer_Photo_create(), nullptr, nullptr, "Image"),
             Composer_Album_add(Composer_Album_create(), "owner", "a9", nullptr),
             Composer_File_add(Composer_File_create(), nullptr, "junk.jpg"));
       }},
      {"photo_delete", 0,
       [](char *b) {
         return xml_composer_photo_delete(
             b, kSk, Composer_Photo_add(Composer_Photo_create(), "p1", "palisade", nullptr));
       }},
      {"photo_get", 0,
       [](char *b) {
         return xml_composer_photo_get(
             b, kSk, people("owner"), Composer_Photo_add(Composer_Photo_create(), "p1", nullptr, nullptr),
             Composer_Params_add(Composer_Params_create(), "Caption,Created", "public"));
       }},
      {"photo_album_retrieve", 0,
       [](char *b) {
         return xml_composer_photo_album_retrieve(
             b, kSk, people("owner"), Composer_Album_add(Composer_Album_create(), nullptr, "a9", nullptr),
             nullptr, paging("1", "16"));
       }},
      {"photo_album_get", 0,
       [](char *b) {
         return xml_composer_photo_album_get(
             b, kSk, people("owner"), Composer_Album_add(Composer_Album_create(), "u5", "a1", "Holidays"),
             Composer_Params_add(Composer_Params_create(), "Name", nullptr), paging("0", "20"));
       }},
      {"notification_post", 0,
       [](char *b) {
         Composer_Notification *n = Composer_Notification_add(Composer_Notification_create(), "n1",
                                                              "ignored", "friend", "request", "10");
         Composer_Notification_add(n, "n2", nullptr, "message", nullptr, nullptr);
         return xml_composer_notification_post(b, kSk, "true", n);
       }},
      {"notification_post-missing-name", 120,
       [](char *b) {
         Composer_Notification *n = Composer_Notification_add(Composer_Notification_create(), "n1",
                                                              nullptr, "friend", nullptr, nullptr);
         Composer_Notification_add(n, "n2", nullptr, nullptr, nullptr, nullptr);
         return xml_composer_notification_post(b, kSk, nullptr, n);
       }},
      {"notification_post-missing-id", 119,
       [](char *b) {
         return xml_composer_notification_post(
             b, kSk, nullptr,
             Composer_Notification_add(Composer_Notification_create(), nullptr, nullptr, "friend",
                                       nullptr, nullptr));
       }},
      {"message_poke_post", 0,
       [](char *b) {
         Composer_Poke *poke = Composer_Poke_add(Composer_Poke_create(), "u1", "palisade", "u2");
         Composer_Poke_add(poke, "u1", nullptr, "u3");
         return xml_composer_message_poke_post(b, kSk, poke);
       }},
      {"message_poke_delete", 0,
       [](char *b) {
         return xml_composer_message_poke_delete(
             b, kSk, Composer_Poke_add(Composer_Poke_create(), "u4", "vesper", "u1"));
       }},
      {"message_poke_retrieve", 0,
       [](char *b) { return xml_composer_message_poke_retrieve(b, kSk, "palisade", paging("1", "16")); }},
      {"message_post", 0,
       [](char *b) {
         Composer_Receiver *to = Composer_Receiver_add(Composer_Receiver_create(), "u2", "palisade");
         Composer_Receiver_add(to, "u3", nullptr);
         return xml_composer_message_post(b, kSk, to, "Hi", "See you at 8 <pm> & bring \"snacks\"",
                                          Composer_Reply_add(Composer_Reply_create(), "m7", "t3"), "new");
       }},
      {"message_post-bad-send-type", 1004,
       [](char *b) {
         return xml_composer_message_post(b, kSk,
                                          Composer_Receiver_add(Composer_Receiver_create(), "u2", nullptr),
                                          nullptr, "x", Composer_Reply_create(), "New");
       }},
      {"message_post-missing-receiver-id", 118,
       [](char *b) {
         Composer_Receiver *to = Composer_Receiver_add(Composer_Receiver_create(), "u2", nullptr);
         Composer_Receiver_add(to, nullptr, "palisade");
         return xml_composer_message_post(b, kSk, to, "Hi", "x",
                                          Composer_Reply_add(Composer_Reply_create(), "m7", "t3"), "new");
       }},
      {"message_delete", 0,
       [](char *b) {
         Composer_Message *m = Composer_Message_add(Composer_Message_create(), "m1", "t1", nullptr);
         Composer_Message_add(m, "m2", nullptr, "inbox");
         return xml_composer_message_delete(b, kSk, "trash", m);
       }},
      {"message_delete-bad-message-folder", 1003,
       [](char *b) {
         return xml_composer_message_delete(
             b, kSk, "inbox", Composer_Message_add(Composer_Message_create(), "m1", "t1", "Inbox"));
       }},
      {"message_get", 0,
       [](char *b) {
         return xml_composer_message_get(
             b, kSk, Composer_Thread_add(Composer_Thread_create(), "t1"),
             Composer_Message_add(Composer_Message_create(), "m1", "t1", "inbox"),
             Composer_FullText_create("header", nullptr));
       }},
      {"message_get-missing-message-id", 115,
       [](char *b) {
         return xml_composer_message_get(b, kSk, Composer_Thread_add(Composer_Thread_create(), "t1"),
                                         Composer_Message_add(Composer_Message_create(), nullptr, "t1", nullptr),
                                         nullptr);
       }},
      {"message_folder_retrieve", 0,
       [](char *b) {
         return xml_composer_message_folder_retrieve(
             b, kSk, people("owner"), "inbox", nullptr, "true",
             Composer_Response_create("1", "16", nullptr, "true"), Composer_FullText_create("full", "64"));
       }},
      {"message_folder_retrieve-folder-and-opponent", 3000,
       [](char *b) {
         return xml_composer_message_folder_retrieve(b, kSk, people("owner"), "inbox", "u9", nullptr,
                                                     paging("1", "16"), nullptr);
       }},
      {"friend_request_post", 0,
       [](char *b) {
         return xml_composer_friend_request_post(
             b, kSk,
             Composer_People_add(Composer_People_create(), "u5", "velora", nullptr, nullptr, nullptr,
                                 "Remember me? We met at the caf\xc3\xa9"));
       }},
      {"friend_request_accept", 0,
       [](char *b) {
         Composer_FriendRequest *r = Composer_FriendRequest_add(Composer_FriendRequest_create(), "r1",
                                                                "palisade", "u5", "friend", nullptr);
         Composer_FriendRequest_add(r, "r2", nullptr, "u6", nullptr, "Welcome!");
         return xml_composer_friend_request_accept(b, kSk, r);
       }},
      {"friend_request_reject", 0,
       [](char *b) {
         return xml_composer_friend_request_reject(
             b, kSk,
             Composer_FriendRequest_add(Composer_FriendRequest_create(), "r3", nullptr, nullptr, nullptr,
                                        nullptr));
       }},
      {"friend_request_get", 0,
       [](char *b) {
         return xml_composer_friend_request_get(
             b, kSk,
             Composer_FriendRequest_add(Composer_FriendRequest_create(), nullptr, "palisade", nullptr,
                                        nullptr, nullptr),
             paging("0", "20"));
       }},
      {"friend_grouping_retrieve", 0,
       [](char *b) {
         return xml_composer_friend_grouping_retrieve(b, kSk, people("123", "palisade"), paging("0", "20"));
       }},
      {"friend_grouping_retrieve-missing-id", 111,
       [](char *b) {
         Composer_People *p = Composer_People_add(Composer_People_create(), "123", nullptr, "a@b.example",
                                                  "Lee", "false", nullptr);
         Composer_People_add(p, nullptr, "palisade", nullptr, nullptr, nullptr, nullptr);
         return xml_composer_friend_grouping_retrieve(b, kSk, p, paging("0", "20"));
       }},
      {"friend_grouping_retrieve-empty-record", 0,
       [](char *b) {
         return xml_composer_friend_grouping_retrieve(b, kSk, Composer_People_create(), nullptr);
       }},
      {"people_profile_set", 0,
       [](char *b) {
         return xml_composer_people_profile_set(b, kSk, people("owner"),
                                                "Feeling <great> & \"happy\" \xc3\xa9\xff");
       }},
      {"people_profile_set-empty-values", 0,
       [](char *b) { return xml_composer_people_profile_set(b, kSk, people("", ""), ""); }},
      {"people_profile_get", 0,
       [](char *b) {
         return xml_composer_people_profile_get(
             b, kSk, people("u5", "velora"),
             Composer_Params_add(Composer_Params_create(), "Name,Status", nullptr));
       }},
      {"people_info_get", 0,
       [](char *b) {
         return xml_composer_people_info_get(
             b, kSk, people("u5", "velora"),
             Composer_Params_add(Composer_Params_create(), "Name,Status", nullptr));
       }},
      {"people_search", 0,
       [](char *b) {
         return xml_composer_people_search(b, kSk, "palisade", "Ann", "ann@example.org", paging("1", "16"));
       }},
      {"people_search-email-quirk", 0,
       [](char *b) { return xml_composer_people_search(b, kSk, "palisade", nullptr, nullptr, nullptr); }},
      {"people_search-no-provider", 0,
       [](char *b) {
         return xml_composer_people_search(b, kSk, nullptr, "Ann", "ann@example.org", paging("1", "16"));
       }},
      {"comment_post", 0,
       [](char *b) {
         return xml_composer_comment_post(
             b, kSk, target("act-42", nullptr, "activity", "owner", nullptr, nullptr, nullptr),
             "Nice one!");
       }},
      {"comment_post-recommend", 0,
       [](char *b) {
         return xml_composer_comment_post(
             b, kSk, target("p1", "u5", "photo", nullptr, "true", "Great shot", "photo"), nullptr);
       }},
      {"comment_post-recommend-false", 0,
       [](char *b) {
         return xml_composer_comment_post(
             b, kSk, target("p1", nullptr, "photo", nullptr, "false", nullptr, nullptr), "ok");
       }},
      {"comment_post-recommend-without-content", 1005,
       [](char *b) {
         return xml_composer_comment_post(
             b, kSk, target("p1", nullptr, "photo", nullptr, "true", nullptr, nullptr), "ok");
       }},
      {"comment_retrieve", 0,
       [](char *b) {
         return xml_composer_comment_retrieve(
             b, kSk, target("p1", nullptr, "photo", "owner", nullptr, nullptr, nullptr), paging("1", "16"));
       }},
      {"comment_retrieve-missing-target-id", 103,
       [](char *b) {
         return xml_composer_comment_retrieve(
             b, kSk, target(nullptr, nullptr, "photo", "owner", nullptr, nullptr, nullptr),
             paging("1", "16"));
       }},
      {"activity_get", 0,
       [](char *b) {
         return xml_composer_activity_get(b, kSk,
                                          target("all", "all", nullptr, nullptr, nullptr, nullptr, "all"),
                                          paging("1", "16"), Composer_FullText_create("full", nullptr));
       }},
      {"activity_get-bad-fulltext", 1000,
       [](char *b) {
         return xml_composer_activity_get(b, kSk, nullptr, paging("1", "16"),
                                          Composer_FullText_create("Full", nullptr));
       }},
      {"activity_get-header-length", 0,
       [](char *b) {
         return xml_composer_activity_get(b, kSk, nullptr, nullptr, Composer_FullText_create("header", "64"));
       }},
      {"activity_delete", 0,
       [](char *b) {
         Composer_Activity *a = Composer_Activity_add(Composer_Activity_create(), "a1", nullptr, nullptr);
         Composer_Activity_add(a, "a2", "u5", "palisade");
         return xml_composer_activity_delete(b, kSk, a);
       }},
      {"activity_delete-missing-id", 102,
       [](char *b) {
         Composer_Activity *a = Composer_Activity_add(Composer_Activity_create(), "a1", nullptr, nullptr);
         Composer_Activity_add(a, nullptr, "u5", nullptr);
         return xml_composer_activity_delete(b, kSk, a);
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
  struct Check {
    const char *what;
    int code;
    std::function<int(char *)> compose;
  };
  const std::vector<Check> checks = {
      {"logout", 100, [](char *b) { return xml_composer_auth_logout(b, nullptr); }},
      {"key delete without session", 100,
       [](char *b) { return xml_composer_auth_key_delete(b, nullptr, nullptr); }},
      {"key delete without key", 101, [](char *b) { return xml_composer_auth_key_delete(b, kSk, nullptr); }},
      {"resolve", 101, [](char *b) { return xml_composer_auth_resolve(b, nullptr); }},
      {"message delete without session", 100,
       [](char *b) { return xml_composer_message_delete(b, nullptr, nullptr, nullptr); }},
      {"message delete without folder", 116,
       [](char *b) {
         return xml_composer_message_delete(
             b, kSk, nullptr, Composer_Message_add(Composer_Message_create(), "m1", nullptr, nullptr));
       }},
      {"message delete with a bad folder", 1003,
       [](char *b) {
         return xml_composer_message_delete(
             b, kSk, "All", Composer_Message_add(Composer_Message_create(), "m1", nullptr, nullptr));
       }},
      {"message post", 100,
       [](char *b) {
         return xml_composer_message_post(b, nullptr,
                                          Composer_Receiver_add(Composer_Receiver_create(), "u2", nullptr),
                                          "t", "c", Composer_Reply_add(Composer_Reply_create(), "m", "t"),
                                          "bogus");
       }},
      {"photo update", 100,
       [](char *b) {
         return xml_composer_photo_update(b, nullptr,
                                          Composer_Photo_add(Composer_Photo_create(), "p", nullptr, nullptr),
                                          Composer_Album_add(Composer_Album_create(), "o", "a", nullptr),
                                          Composer_File_add(Composer_File_create(), nullptr, "f"));
       }},
      {"folder retrieve", 100,
       [](char *b) {
         return xml_composer_message_folder_retrieve(b, nullptr, people("owner"), "inbox", "u9", nullptr,
                                                     paging("1", "16"), Composer_FullText_create("x", nullptr));
       }},
      {"grouping", 100,
       [](char *b) {
         return xml_composer_friend_grouping_retrieve(b, nullptr, people("1"), paging("0", "20"));
       }},
      {"search", 100, [](char *b) { return xml_composer_people_search(b, nullptr, "p", "n", "e", nullptr); }},
      {"activity get", 100,
       [](char *b) {
         return xml_composer_activity_get(b, nullptr, target("all", 0, 0, 0, 0, 0, 0), paging("1", "16"),
                                          Composer_FullText_create("full", nullptr));
       }},
  };
  for (const Check &check : checks) {
    char buffer[16] = "untouched";
    xml_composer_set_xml_last_index(7);
    EXPECT_EQ(check.compose(buffer), check.code) << check.what;
    EXPECT_EQ(xml_last_index, 7u) << check.what;
    EXPECT_STREQ(buffer, "untouched") << check.what;
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
  std::function<int(char *, const std::string &)> compose;  // every text is `t`
  int texts;                                                // how many texts it passes
};

// The builders the gateway operations call, with their records filled in
// every field the operation could fill. Keywords have to pass their checks,
// so they are fixed and counted as markup.
const std::vector<Sized> &gateway_builders() {
  static const std::vector<Sized> all = {
      {"auth_login", [](char *b, const std::string &t) {
         return xml_composer_auth_login(b, t.c_str(), t.c_str());
       }, 2},
      {"auth_logout", [](char *b, const std::string &t) { return xml_composer_auth_logout(b, t.c_str()); }, 1},
      {"friend_grouping_retrieve", [](char *b, const std::string &t) {
         const char *s = t.c_str();
         return xml_composer_friend_grouping_retrieve(
             b, s, Composer_People_add(Composer_People_create(), s, s, s, s, s, s),
             Composer_Response_create(s, s, s, s));
       }, 11},
      {"people_search", [](char *b, const std::string &t) {
         const char *s = t.c_str();
         return xml_composer_people_search(b, s, s, s, s, Composer_Response_create(s, s, s, s));
       }, 8},
      {"activity_get", [](char *b, const std::string &t) {
         const char *s = t.c_str();
         return xml_composer_activity_get(b, s, Composer_Target_add(Composer_Target_create(), s, s, s, s, s, s, s),
                                          Composer_Response_create(s, s, s, s), nullptr);
       }, 12},
      {"people_profile_set", [](char *b, const std::string &t) {
         const char *s = t.c_str();
         return xml_composer_people_profile_set(
             b, s, Composer_People_add(Composer_People_create(), s, s, s, s, s, s), s);
       }, 8},
      {"comment_post", [](char *b, const std::string &t) {
         const char *s = t.c_str();
         return xml_composer_comment_post(b, s, Composer_Target_add(Composer_Target_create(), s, s, s, s, s, s, s),
                                          s);
       }, 9},
      {"comment_retrieve", [](char *b, const std::string &t) {
         const char *s = t.c_str();
         return xml_composer_comment_retrieve(
             b, s, Composer_Target_add(Composer_Target_create(), s, s, s, s, s, s, s),
             Composer_Response_create(s, s, s, s));
       }, 12},
      {"photo_update", [](char *b, const std::string &t) {
         const char *s = t.c_str();
         return xml_composer_photo_update(b, s, Composer_Photo_add(Composer_Photo_create(), s, s, s),
                                          Composer_Album_add(Composer_Album_create(), s, s, s),
                                          Composer_File_add(Composer_File_create(), s, s));
       }, 9},
      {"photo_album_get", [](char *b, const std::string &t) {
         const char *s = t.c_str();
         return xml_composer_photo_album_get(b, s, Composer_People_add(Composer_People_create(), s, s, s, s, s, s),
                                             Composer_Album_add(Composer_Album_create(), s, s, s),
                                             Composer_Params_add(Composer_Params_create(), s, s),
                                             Composer_Response_create(s, s, s, s));
       }, 16},
      {"photo_album_retrieve", [](char *b, const std::string &t) {
         const char *s = t.c_str();
         return xml_composer_photo_album_retrieve(
             b, s, Composer_People_add(Composer_People_create(), s, s, s, s, s, s),
             Composer_Album_add(Composer_Album_create(), s, s, s),
             Composer_Params_add(Composer_Params_create(), s, s), Composer_Response_create(s, s, s, s));
       }, 16},
      {"message_folder_retrieve", [](char *b, const std::string &t) {
         const char *s = t.c_str();
         return xml_composer_message_folder_retrieve(
             b, s, Composer_People_add(Composer_People_create(), s, s, s, s, s, s), "commenting", nullptr, s,
             Composer_Response_create(s, s, s, s), nullptr);
       }, 12},
      {"message_post", [](char *b, const std::string &t) {
         const char *s = t.c_str();
         return xml_composer_message_post(b, s, Composer_Receiver_add(Composer_Receiver_create(), s, s), s, s,
                                          Composer_Reply_add(Composer_Reply_create(), s, s), "forward");
       }, 7},
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
    ASSERT_EQ(sized.compose(buffer.data(), text), 0) << sized.builder;
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
  for (size_t i = 0; i < text.size(); i += 7) text[i] = "<&\"'\xff\xc3\x80"[i % 7];
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
