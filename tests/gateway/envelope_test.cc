// The path table, the path classifier, the TLS test and the gateway URL.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "composer/pd_api_composer.h"
#include "support/log_capture.h"

namespace pd_test {
namespace {

sns_request_envelope envelope_for(const char *path, const char *method = "") {
  sns_request_envelope envelope{};
  std::strncpy(envelope.szPath, path, sizeof envelope.szPath - 1);
  std::strncpy(envelope.szMethod, method, sizeof envelope.szMethod - 1);
  return envelope;
}

TEST(PathTable, HoldsFortyTwoPathsAndNothingBeyond) {
  EXPECT_STREQ(sns_get_uri(0), "/palisade/auth");
  EXPECT_STREQ(sns_get_uri(6), "/palisade/friend/grouping");
  EXPECT_STREQ(sns_get_uri(21), "/palisade/message/folder");
  EXPECT_STREQ(sns_get_uri(39), "/palisade/search");
  EXPECT_STREQ(sns_get_uri(41), "/palisade/schedule");
  EXPECT_EQ(sns_get_uri(42), nullptr);
  EXPECT_EQ(sns_get_uri(UINT32_MAX), nullptr);
}

TEST(PathClassifier, KeywordsChooseTheCategory) {
  const std::pair<const char *, int32_t> cases[] = {
      {"/palisade/auth", 0},
      {"/palisade/auth/key", 1},
      {"/palisade/people/profile", 4},
      {"/palisade/people/info", 3},
      {"/palisade/friend/grouping", 6},
      {"/palisade/friend/request", 7},
      {"/palisade/activity", 8},
      {"/palisade/photo/album", 12},
      {"/palisade/comment", 14},
      {"/palisade/message", 20},
      {"/palisade/message/folder", 21},
      // "member" is tried before "category", against the numbering.
      {"/palisade/group/category/member", 28},
      {"/palisade/group/category", 27},
      {"/palisade/serviceprovider/deeplink", 38},
      {"/x/searching/trending", 40},
      {"/palisade/schedule", 41},
      // The second keyword is looked for from the first one on.
      {"/info/people", 2},
  };
  for (const auto &[path, category] : cases) {
    sns_composed_request request{};
    EXPECT_EQ(sns_engine_network_manager_make_request_t(envelope_for(path), &request), 1);
    EXPECT_EQ(snsmsg_type, category) << path;
  }
  // No first-level keyword: the last value stays.
  snsmsg_type = 12;
  sns_composed_request request{};
  sns_engine_network_manager_make_request_t(envelope_for("/palisade/search"), &request);
  EXPECT_EQ(snsmsg_type, 12);
}

TEST(PathClassifier, SearchLeavesTheInitialValue) {
  EXPECT_EQ(snsmsg_type, -1);
  sns_composed_request request{};
  sns_engine_network_manager_make_request_t(envelope_for("/palisade/search"), &request);
  EXPECT_EQ(snsmsg_type, -1);
}

TEST(Wrapping, FillsTheComposedRequestAndTheDiagnostics) {
  char body[] = "<Request />";
  sns_request_envelope envelope = envelope_for("/palisade/auth", "login-method");
  envelope.pszBody = body;
  envelope.iTagOne = 1;
  envelope.iTagTwo = 2;
  envelope.iSecure = 1;
  sns_composed_request request{};
  LogCapture log;
  ASSERT_EQ(sns_engine_network_manager_make_request_t(envelope, &request), 1);
  EXPECT_EQ(request.iTagOne, 1);
  EXPECT_EQ(request.iTagTwo, 2);
  EXPECT_EQ(request.iSecure, 1);
  EXPECT_EQ(request.pszBody, body);
  EXPECT_STREQ(request.pszPath, "/palisade/auth");
  EXPECT_STREQ(g_method, "login-method");
  const std::string where = "[PD-PLUGIN-DEBUG]plugins/client-plugin/palisade/src/composer/"
                            "pd_api_composer:sns_engine_network_manager_make_request_t:N: ";
  EXPECT_EQ(log.all(), where + ">>> sns_engine_network_manager_make_request_t  start\n\n" + where +
                           "snsmsg_type :: 0 \n\n\n" + where + "g_method :: login-method \n\n\n" +
                           where + ">>> sns_engine_network_manager_make_request_t  end\n\n");
  // A path of the full size without a terminator is read as bounded text.
  sns_request_envelope full{};
  std::memset(full.szPath, 'p', sizeof full.szPath);
  std::memset(full.szMethod, 'm', sizeof full.szMethod);
  EXPECT_EQ(sns_engine_network_manager_make_request_t(full, &request), 1);
  EXPECT_EQ(std::strlen(g_method), sizeof g_method - 1);
  // Only the text and its terminator are copied.
  sns_engine_network_manager_make_request_t(envelope, &request);
  EXPECT_EQ(std::string(g_method, sizeof g_method), "login-method" + std::string(1, '\0') +
                                                      std::string(sizeof g_method - 14, 'm') + '\0');
}

TEST(CheckUri, OnlyPathsHoldingAuthAreSecure) {
  EXPECT_EQ(__check_uri(""), 0);
  EXPECT_EQ(__check_uri(nullptr), 0);
  EXPECT_EQ(__check_uri("/palisade/auth"), 1);
  EXPECT_EQ(__check_uri("/x/authority/y"), 1);
  EXPECT_EQ(__check_uri("/auth"), 1);
  EXPECT_EQ(__check_uri("/aut"), 0);
  EXPECT_EQ(__check_uri("/palisade/people"), 0);
}

TEST(GatewayUrl, SchemeHostExplicitPortAndPath) {
  sns_composed_request secure{1, 2, 1, nullptr, nullptr};
  LogCapture log;
  char *url = __network_manager_make_url(&secure, 1);
  EXPECT_STREQ(url, "https://gateway.palisade.example:443/palisade/auth");
  std::free(url);
  // Only the secure URL is echoed on a plain line.
  EXPECT_EQ(log.text(pd::log::Channel::out), "2: <<<https://gateway.palisade.example:443/palisade/auth>>>\n");
  const std::string where =
      "[PD-PLUGIN-DEBUG]plugins/client-plugin/palisade/src/composer/pd_api_composer:"
      "__network_manager_make_url:N: ";
  EXPECT_EQ(log.text(pd::log::Channel::debug),
            where + "START >>>>>>>>\n\n" + where + "HTTP_URL_LENGTH : 200 \n\n\n" + where +
                "0: <<<>>>\n\n\n" + where + "1: <<<>>>\n\n\n" + where +
                "3: <<<https://gateway.palisade.example:443/palisade/auth>>>\n\n\n" + where +
                ">>> __network_manager_make_url  end\n\n" + where + "END >>>>>>>>\n\n");

  sns_composed_request plain{1, 2, 0, nullptr, nullptr};
  log.clear();
  url = __network_manager_make_url(&plain, 6);
  EXPECT_STREQ(url, "http://gateway.palisade.example:80/palisade/friend/grouping");
  EXPECT_EQ(log.text(pd::log::Channel::out), "");
  std::free(url);
  // A category outside the table gives the bare origin rather than a crash.
  url = __network_manager_make_url(&plain, 42);
  EXPECT_STREQ(url, "http://gateway.palisade.example:80");
  std::free(url);
}

}  // namespace
}  // namespace pd_test
