// The path table, the path classifier, the TLS test and the gateway URL.
#include "composer/pd_api_composer.h"
#include "frame/frame_fixture.h"

namespace pd_test {
namespace {

sns_request_envelope envelope_for(const char *path, const char *method = "") {
  sns_request_envelope envelope{};
  std::strncpy(envelope.szPath, path, sizeof envelope.szPath - 1);
  std::strncpy(envelope.szMethod, method, sizeof envelope.szMethod - 1);
  return envelope;
}

// The path table, the classifier's category (from the initial value on, in
// row order) and the TLS test, by the rows of tests/data/gateway/paths.rows.
TEST(Paths, TableClassifierAndTlsTestAsTheRowsSay) {
  for (const auto &row : data_rows("gateway/paths.rows")) {
    SCOPED_TRACE(row[0] + " " + row[1]);
    if (row[0] == "uri") {
      const char *path = sns_get_uri(std::stoul(row[1]));
      EXPECT_EQ(path != nullptr ? path : "null", row[2]);
    } else if (row[0] == "secure") {
      EXPECT_EQ(__check_uri(row[1] == "null" ? nullptr : row[1].c_str()), std::stoi(row[2]));
    } else {
      sns_composed_request request{};
      EXPECT_EQ(sns_engine_network_manager_make_request_t(envelope_for(row[1].c_str()), &request), 1);
      EXPECT_EQ(snsmsg_type, std::stoi(row[2]));
    }
  }
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
  EXPECT_TRUE(matches_golden("gateway/make-request.log", log.all()));
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

TEST(GatewayUrl, SchemeHostExplicitPortAndPath) {
  LogCapture log;
  std::string urls;
  // A category outside the table gives the bare origin rather than a crash.
  for (auto [secure, category] : {std::pair{1, 1u}, {0, 6u}, {0, 42u}}) {
    sns_composed_request request{1, 2, secure, nullptr, nullptr};
    char *url = __network_manager_make_url(&request, category);
    urls += std::string(url) + "\n";
    std::free(url);
  }
  // Only the secure URL is echoed on a plain line.
  EXPECT_TRUE(matches_golden("gateway/make-url.log", urls + log.all()));
}

}  // namespace
}  // namespace pd_test
