// The photo upload played against the transport double: the test answers
// as the gateway would, chunk by chunk.
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "frame/frame_fixture.h"
#include "pd-plugin/pd_settings.h"
#include "pd-plugin/pd_upload.h"
#include "support/golden.h"

namespace pd_test {
namespace {

namespace fs = std::filesystem;

std::string random_bytes(size_t size, unsigned seed) {
  std::mt19937 generator(seed);
  std::string bytes(size, '\0');
  for (char &byte : bytes) byte = static_cast<char>(generator());
  return bytes;
}

class Upload : public FrameTest {
 protected:
  void SetUp() override {
    FrameTest::SetUp();
    dir_ = fs::temp_directory_path() /
           ("pd-upload-" + std::to_string(::getpid()) + "-" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(dir_);
  }
  void TearDown() override {
    fs::remove_all(dir_);
    FrameTest::TearDown();
  }

  std::string write_file(const std::string &bytes) {
    std::string path = (dir_ / "photo.jpg").string();
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
  }

  // Answers the add-photo request of an exchange whose upload record the
  // dispatcher made, as the transport would deliver the gateway's reply.
  void answer_add_photo(pd_upload_data *upload, const char *body, uint32_t status = 200) {
    sns_nt_response response{};
    response.uReqId = 1;
    response.uReqCode = 9;
    response.uHttpStatus = status;
    response.pBody = const_cast<char *>(body);
    response.pInstance = handle_;
    response.pPrivData = upload;
    sns_double::deliver(inst()->hTransport, &response);
  }

  // Plays the gateway until the exchange ends: every chunk of this instance
  // is accepted, the last one with the photo marked done. Returns the
  // requests in order.
  std::vector<sns_double::Recorded> accept_all_chunks() {
    std::string partial = read_data("replies/upload/photo-partial.xml");
    std::string done = read_data("replies/upload/photo-done.xml");
    for (size_t answered = 0; answered < sns_double::request_count(); ++answered) {
      EXPECT_TRUE(notifications().empty()) << "the engine heard before the end";
      const sns_double::Recorded recorded = sns_double::requests()[answered];
      if (recorded.request->uKind != SNS_NT_KIND_CHUNK) continue;  // answered by the test
      if (recorded.request->pInstance != handle_) continue;
      bool last = recorded.upload_state == PD_UPLOAD_LAST_CHUNK;
      sns_double::respond(answered, 200, (last ? done : partial).c_str());
    }
    return sns_double::requests();
  }

  xml_photo *delivered_photo() {
    std::vector<pd_notification> got = notifications();
    if (got.size() != 1) {
      ADD_FAILURE() << got.size() << " notifications";
      return nullptr;
    }
    EXPECT_EQ(got[0].uReqCode, 9u);
    EXPECT_EQ(got[0].uHttpStatus, 200u);
    return reinterpret_cast<xml_photo *>(got[0].iResult);
  }

  fs::path dir_;
};

struct ChunkCase {
  size_t size;
  std::vector<size_t> chunks;
  std::vector<uint32_t> states;
  friend void PrintTo(const ChunkCase &c, std::ostream *out) { *out << c.size << " bytes"; }
};

class UploadSizes : public Upload, public ::testing::WithParamInterface<ChunkCase> {};

TEST_P(UploadSizes, SendsTheFileInChunksAndReportsOnceAtTheEnd) {
  const ChunkCase &c = GetParam();
  std::string bytes = random_bytes(c.size, static_cast<unsigned>(c.size));
  pd_upload_data *upload = sns_photo_upload_init(write_file(bytes).c_str());
  ASSERT_NE(upload, nullptr);
  answer_add_photo(upload, read_data("replies/upload/location.xml").c_str());

  std::vector<sns_double::Recorded> sent = accept_all_chunks();
  ASSERT_EQ(sent.size(), c.chunks.size());
  std::string reassembled;
  for (size_t i = 0; i < sent.size(); ++i) {
    const sns_nt_request &request = *sent[i].request;
    EXPECT_EQ(sent[i].body.size(), c.chunks[i]) << i;
    EXPECT_EQ(sent[i].upload_state, c.states[i]) << i;
    EXPECT_EQ(sent[i].url, "http://upload.palisade.example/res/7f3a");
    EXPECT_EQ(sent[i].header, "Content-Type: image/jpg\r\n");
    EXPECT_EQ(request.uReqCode, 9u);
    EXPECT_EQ(request.uKind, 2u);
    EXPECT_EQ(request.uWord16, 9u);
    EXPECT_EQ(request.uWord20, 9u);
    EXPECT_EQ(request.uUploadValue, 20u);
    EXPECT_EQ(request.pInstance, handle_);
    EXPECT_EQ(request.hTransport, inst()->hTransport);
    EXPECT_EQ(request.uReqId, i + 1);
    // Only the first chunk's request carries its length.
    EXPECT_EQ(request.uBodyLen, i == 0 ? c.chunks[0] : 0u) << i;
    reassembled += sent[i].body;
  }
  EXPECT_EQ(reassembled, bytes);

  xml_photo *photo = delivered_photo();
  ASSERT_NE(photo, nullptr);
  EXPECT_STREQ(photo->pszID, "ph-77");
  EXPECT_STREQ(photo->pszAlbumID, "al-2");
  EXPECT_STREQ(photo->pszSP, "palisade");
  EXPECT_STREQ(photo->pszStatus, "done");
  __xml_photo_delete(photo);
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, UploadSizes,
    ::testing::Values(ChunkCase{0, {0}, {3}}, ChunkCase{1, {1}, {3}},
                      ChunkCase{65536, {65536}, {3}}, ChunkCase{65537, {65536, 1}, {1, 3}},
                      ChunkCase{200000, {65536, 65536, 65536, 3392}, {1, 2, 2, 3}}),
    [](const auto &info) { return "Bytes" + std::to_string(info.param.size); });

TEST_F(Upload, EveryFailureEndsWithOneNullNotification) {
  struct Failure {
    const char *name;
    bool make_file;
    const char *reply;  // to the add-photo request
    const char *log;
  };
  const Failure failures[] = {
      {"missing file", false, "replies/upload/location.xml", "Uplod File open failed..!!!"},
      {"unparsable location", true, "replies/upload/location-broken.xml",
       "Error in parsing upload location"},
      {"gateway error", true, "replies/upload/error-session.xml",
       "Error in parsing upload location"},
  };
  for (const Failure &failure : failures) {
    SCOPED_TRACE(failure.name);
    g_notifications.clear();
    sns_double::reset();
    std::string path = failure.make_file ? write_file("jpeg") : (dir_ / "absent.jpg").string();
    LogCapture log;
    answer_add_photo(sns_photo_upload_init(path.c_str()), read_data(failure.reply).c_str());
    EXPECT_TRUE(log.contains(failure.log));
    EXPECT_EQ(sns_double::request_count(), 0u);
    ASSERT_EQ(notifications().size(), 1u);
    EXPECT_EQ(notifications()[0].iResult, 0);
  }
}

TEST_F(Upload, FileDeletedAfterTheFirstChunk) {
  std::string path = write_file(random_bytes(100000, 1));
  answer_add_photo(sns_photo_upload_init(path.c_str()),
                   read_data("replies/upload/location.xml").c_str());
  ASSERT_EQ(sns_double::request_count(), 1u);
  fs::remove(path);
  LogCapture log;
  sns_double::respond(0, 200, read_data("replies/upload/photo-partial.xml").c_str());
  EXPECT_TRUE(log.contains("[PD-PLUGIN-DEBUG]plugins/client-plugin/palisade/src/parser/pdXmlPhoto:"
                           "pd_handle_upload_response:N: Uplod File open failed..!!!\n\n"));
  EXPECT_EQ(sns_double::request_count(), 1u);
  ASSERT_EQ(notifications().size(), 1u);
  EXPECT_EQ(notifications()[0].iResult, 0);
}

TEST_F(Upload, FileThatShrinksOrGrowsIsNeverReadPastItsBuffer) {
  std::string path = write_file(random_bytes(150000, 2));
  answer_add_photo(sns_photo_upload_init(path.c_str()),
                   read_data("replies/upload/location.xml").c_str());
  // Shrunk below what is still to come: the exchange fails.
  std::filesystem::resize_file(path, 70000);
  sns_double::respond(0, 200, read_data("replies/upload/photo-partial.xml").c_str());
  ASSERT_EQ(notifications().size(), 1u);
  EXPECT_EQ(notifications()[0].iResult, 0);

  // Grown: the size taken at the start is what is sent.
  g_notifications.clear();
  sns_double::reset();
  std::string bytes = random_bytes(70000, 3);
  path = write_file(bytes);
  answer_add_photo(sns_photo_upload_init(path.c_str()),
                   read_data("replies/upload/location.xml").c_str());
  std::ofstream(path, std::ios::binary | std::ios::app) << random_bytes(100000, 4);
  std::vector<sns_double::Recorded> sent = accept_all_chunks();
  ASSERT_EQ(sent.size(), 2u);
  EXPECT_EQ(sent[0].body + sent[1].body, bytes);
  __xml_photo_delete(delivered_photo());
}

TEST_F(Upload, GatewayErrorOnTheLastChunkReachesTheEngine) {
  answer_add_photo(sns_photo_upload_init(write_file("tiny").c_str()),
                   read_data("replies/upload/location.xml").c_str());
  sns_double::respond(0, 200, read_data("replies/upload/error-session.xml").c_str());
  ASSERT_EQ(notifications().size(), 1u);
  EXPECT_EQ(notifications()[0].iResult, -1102);
}

TEST_F(Upload, FailedChunkExchangeEndsTheUploadWithItsStatus) {
  answer_add_photo(sns_photo_upload_init(write_file(random_bytes(70000, 5)).c_str()),
                   read_data("replies/upload/location.xml").c_str());
  sns_double::respond(0, 0, nullptr);
  ASSERT_EQ(notifications().size(), 1u);
  EXPECT_EQ(notifications()[0].uHttpStatus, 0u);
  EXPECT_EQ(notifications()[0].iResult, 0);
}

TEST_F(Upload, FromTheEngineRequestToThePhoto) {
  ASSERT_EQ(sns_gconf_set_string(PD_SETTING_SESSION_KEY, "sk-9"), 1);
  std::string bytes = random_bytes(150000, 6);
  std::string path = write_file(bytes);
  char *block[] = {path.data(), const_cast<char *>("al-2")};
  LogCapture log;
  ASSERT_EQ(pd_sendreq(handle_, 9, block, nullptr), 0);
  EXPECT_TRUE(log.contains("pd_send_pluggin_request:N: Data address is 0x"));
  ASSERT_EQ(sns_double::request_count(), 1u);
  const sns_double::Recorded add_photo = sns_double::requests()[0];
  EXPECT_EQ(add_photo.url, "http://gateway.palisade.example:80/palisade/photo");
  auto *upload = static_cast<pd_upload_data *>(add_photo.request->pPrivData);
  ASSERT_NE(upload, nullptr);
  EXPECT_EQ(upload->pszFileName, path);

  sns_double::respond(0, 200, read_data("replies/upload/location.xml").c_str());
  std::vector<sns_double::Recorded> sent = accept_all_chunks();
  ASSERT_EQ(sent.size(), 4u);  // the add-photo request and three chunks
  EXPECT_EQ(sent[1].body + sent[2].body + sent[3].body, bytes);
  xml_photo *photo = delivered_photo();
  ASSERT_NE(photo, nullptr);
  EXPECT_STREQ(photo->pszStatus, "done");
  __xml_photo_delete(photo);

  // Without a path there is nothing to upload and nothing is sent.
  char *no_path[] = {nullptr, const_cast<char *>("al-2")};
  EXPECT_EQ(pd_sendreq(handle_, 9, no_path, nullptr), 3);
  EXPECT_EQ(sns_double::request_count(), 4u);
}

// pd_finalize with uploads under way: the transport hands nothing back
// after it, so the plug-in releases each upload's record, file name and
// location itself (LeakSanitizer, in the sanitizer build, finds any left),
// and the engine hears nothing. Another instance's upload goes on.
TEST_F(Upload, FinalizeReleasesUploadsUnderWaySilently) {
  ASSERT_EQ(sns_gconf_set_string(PD_SETTING_SESSION_KEY, "sk-9"), 1);
  std::string bytes = random_bytes(200000, 7);
  std::string path = write_file(bytes);
  char *block[] = {path.data(), const_cast<char *>("al-2")};
  std::string location = read_data("replies/upload/location.xml");
  std::string partial = read_data("replies/upload/photo-partial.xml");
  ASSERT_EQ(pd_sendreq(handle_, 9, block, nullptr), 0);
  sns_double::respond(0, 200, location.c_str());

  // Replies the finalized instance had: none (waiting for the location),
  // the location (first chunk out), two more (third chunk out).
  for (size_t replies : {0u, 1u, 3u}) {
    SCOPED_TRACE(replies);
    void *other = nullptr;
    ASSERT_EQ(pd_init(&other), 0);
    ASSERT_EQ(pd_setattr(other, 3, 3, reinterpret_cast<void *>(&engine_callback)), 0);
    size_t first = sns_double::request_count();
    ASSERT_EQ(pd_sendreq(other, 9, block, nullptr), 0);
    for (size_t i = 0; i < replies; ++i)
      sns_double::respond(first + i, 200, (i == 0 ? location : partial).c_str());
    ASSERT_EQ(sns_double::request_count(), first + 1 + replies);
    EXPECT_EQ(pd_finalize(other), 0);
    EXPECT_TRUE(notifications().empty());
  }

  std::vector<sns_double::Recorded> sent = accept_all_chunks();
  std::string received;
  for (const sns_double::Recorded &recorded : sent)
    if (recorded.request->pInstance == handle_ && recorded.request->uKind == SNS_NT_KIND_CHUNK)
      received += recorded.body;
  EXPECT_EQ(received, bytes);
  xml_photo *photo = delivered_photo();
  ASSERT_NE(photo, nullptr);
  EXPECT_STREQ(photo->pszStatus, "done");
  __xml_photo_delete(photo);
}

TEST(UploadRecord, InitCopiesThePathAndRefusesNone) {
  EXPECT_EQ(sns_photo_upload_init(nullptr), nullptr);
  EXPECT_EQ(sns_photo_upload_set_state(nullptr, 2), 0);
  std::string longest(PD_UPLOAD_MAX_PATH - 1, 'p');
  pd_upload_data *upload = sns_photo_upload_init(longest.c_str());
  ASSERT_NE(upload, nullptr);
  EXPECT_EQ(upload->pszFileName, longest);
  EXPECT_EQ(upload->uState, 0u);
  EXPECT_EQ(upload->iFileSize, 0);
  EXPECT_EQ(upload->uOffset, 0u);
  EXPECT_EQ(sns_photo_upload_set_state(upload, 2), 1);
  EXPECT_EQ(upload->uState, 2u);
  std::free(upload->pszFileName);
  std::free(upload);

  pd_upload_data *empty = sns_photo_upload_init("");
  ASSERT_NE(empty, nullptr);
  EXPECT_STREQ(empty->pszFileName, "");
  std::free(empty->pszFileName);
  std::free(empty);
}

TEST(UploadRecordDeathTest, PathOfTheLimitStopsTheProcess) {
  std::string too_long(PD_UPLOAD_MAX_PATH, 'p');
  // Printed as the C library prints it: program, file, line, function.
  EXPECT_DEATH(sns_photo_upload_init(too_long.c_str()),
               "[a-z_]+: plugins/client-plugin/palisade/src/parser/pdXmlPhoto:[0-9]+: "
               "sns_photo_upload_init: Assertion `0' failed\\.");
}

}  // namespace
}  // namespace pd_test
