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
 public:  // the rows of a table reach in
  void TearDown() override {
    fs::remove(path_);
    FrameTest::TearDown();
  }

  // Answers the add-photo request of an exchange whose upload record the
  // dispatcher made for the photo, with the reply of a data file.
  void start(const char *reply_file = "location.xml") {
    reply(9, 200, read_data(std::string("replies/upload/") + reply_file).c_str(),
          sns_photo_upload_init(path_.c_str()), 1, 0);
  }
  void write(const std::string &bytes) { std::ofstream(path_, std::ios::binary) << bytes; }
  void answer(size_t index, const char *reply_file) {
    sns_double::respond(index, 200, read_data(std::string("replies/upload/") + reply_file).c_str());
  }

  // Plays the gateway until the exchange ends: every chunk of this instance
  // is accepted, the last one with the photo marked done. Returns the bytes
  // of this instance's chunks.
  std::string accept_all_chunks() {
    std::string received;
    for (size_t answered = 0; answered < sns_double::request_count(); ++answered) {
      EXPECT_TRUE(notifications().empty()) << "the engine heard before the end";
      const sns_double::Recorded recorded = sns_double::requests()[answered];
      if (recorded.request->uKind != SNS_NT_KIND_CHUNK || recorded.request->pInstance != handle_) continue;
      received += recorded.body;
      answer(answered, recorded.upload_state == PD_UPLOAD_LAST_CHUNK ? "photo-done.xml" : "photo-partial.xml");
    }
    return received;
  }

  // The one notification the engine heard: its status and result.
  std::string outcome() {
    std::vector<pd_notification> got = notifications();
    if (got.size() != 1) return std::to_string(got.size()) + " notifications";
    std::string result = std::to_string(got[0].iResult);
    if (got[0].iResult > 0) {
      auto *photo = reinterpret_cast<xml_photo *>(got[0].iResult);
      result = std::string(photo->pszID) + " " + photo->pszAlbumID + " " + photo->pszSP + " " +
               photo->pszStatus;
      __xml_photo_delete(photo);
    }
    return std::to_string(got[0].uReqCode) + " " + std::to_string(got[0].uHttpStatus) + " " + result;
  }

  std::string path_ = (fs::temp_directory_path() / ("pd-upload-" + std::to_string(getpid()) + ".jpg")).string();
};

constexpr const char *kPhoto = "9 200 ph-77 al-2 palisade done";

// Files around the chunk size of 65,536 bytes, each sent whole in chunks with
// one notification at the end; what each chunk's request held against a
// golden transcript.
TEST_F(Upload, SendsTheFileInChunksAndReportsOnceAtTheEnd) {
  std::string transcript;
  for (size_t size : {0, 1, 65536, 65537, 131072, 200000}) {
    SCOPED_TRACE(size);
    g_notifications.clear();
    sns_double::reset();
    std::string bytes = random_bytes(size, static_cast<unsigned>(size));
    write(bytes);
    start();
    EXPECT_EQ(accept_all_chunks(), bytes);
    EXPECT_EQ(outcome(), kPhoto);
    transcript += "== " + std::to_string(size) + " bytes\n";
    for (const sns_double::Recorded &sent : sns_double::requests()) {
      const sns_nt_request &r = *sent.request;
      EXPECT_EQ(r.pInstance, handle_);
      EXPECT_EQ(r.hTransport, inst()->hTransport);
      char line[200];
      std::snprintf(line, sizeof line, "%zu bytes, state %u, id %u code %u kind %u words %u %u upload %u length %u\n",
                    sent.body.size(), sent.upload_state, r.uReqId, r.uReqCode, r.uKind, r.uWord16, r.uWord20,
                    r.uUploadValue, r.uBodyLen);
      transcript += line + sent.url + " " + sent.header;
    }
  }
  EXPECT_TRUE(matches_golden("upload/chunks.transcript", transcript));
}

// Every failure ends the exchange with one notification of a null (or the
// gateway's error) result, and nothing more is sent.
TEST_F(Upload, EveryFailureEndsWithOneNotification) {
  using Step = void (*)(Upload &);
  // The file's size (-1: none), the reply to the add-photo request, what
  // happens next, then "requests sent, code status result" and a log line.
  const std::tuple<int, const char *, Step, const char *, const char *> failures[] = {
      {-1, "location.xml", nullptr, "0, 9 200 0", "Uplod File open failed..!!!"},
      {4, "location-broken.xml", nullptr, "0, 9 200 0", "Error in parsing upload location"},
      {4, "error-session.xml", nullptr, "0, 9 200 0", "Error in parsing upload location"},
      {100000, "location.xml",
       [](Upload &u) {
         fs::remove(u.path_);
         u.answer(0, "photo-partial.xml");
       },
       "1, 9 200 0",
       "[PD-PLUGIN-DEBUG]plugins/client-plugin/palisade/src/parser/pdXmlPhoto:pd_handle_upload_response:N: "
       "Uplod File open failed..!!!\n\n"},
      {150000, "location.xml",
       [](Upload &u) {
         fs::resize_file(u.path_, 70000);
         u.answer(0, "photo-partial.xml");
       },
       "1, 9 200 0", "Upload file changed while it was read"},
      {4, "location.xml", [](Upload &u) { u.answer(0, "error-session.xml"); }, "1, 9 200 -1102", ""},
      {70000, "location.xml", [](Upload &) { sns_double::respond(0, 0, nullptr); }, "1, 9 0 0", ""},
  };
  for (const auto &[size, reply_file, next, result, line] : failures) {
    SCOPED_TRACE(std::to_string(size) + " bytes, " + reply_file + ", then " + (next ? "more" : "nothing"));
    g_notifications.clear();
    sns_double::reset();
    LogCapture log;
    fs::remove(path_);
    if (size >= 0) std::ofstream(path_, std::ios::binary) << random_bytes(size, 1);
    start(reply_file);
    if (next != nullptr) next(*this);
    EXPECT_EQ(std::to_string(sns_double::request_count()) + ", " + outcome(), result);
    EXPECT_TRUE(log.contains(line));
  }
}

TEST_F(Upload, FileThatGrowsIsSentAtItsSizeWhenTheUploadStarted) {
  std::string bytes = random_bytes(70000, 3);
  write(bytes);
  start();
  std::ofstream(path_, std::ios::binary | std::ios::app) << random_bytes(100000, 4);
  EXPECT_EQ(accept_all_chunks(), bytes);
  EXPECT_EQ(sns_double::request_count(), 2u);
  EXPECT_EQ(outcome(), kPhoto);
}

// From the engine's request on, two instances uploading at once. Finalizing
// one with its upload under way (waiting for the location, first chunk out,
// third chunk out) releases the upload's record, file name and location
// (LeakSanitizer, in the sanitizer build, finds any left), and the engine
// hears nothing; the other instance's upload goes on.
TEST_F(Upload, FromTheEngineRequestToThePhotoWhileAnotherInstanceFinalizes) {
  ASSERT_EQ(sns_gconf_set_string(PD_SETTING_SESSION_KEY, "sk-9"), 1);
  std::string bytes = random_bytes(200000, 7);
  write(bytes);
  char *block[] = {path_.data(), const_cast<char *>("al-2")};
  LogCapture log;
  ASSERT_EQ(pd_sendreq(handle_, 9, block, nullptr), 0);
  EXPECT_TRUE(log.contains("pd_send_pluggin_request:N: Data address is 0x"));
  ASSERT_EQ(sns_double::request_count(), 1u);
  const sns_double::Recorded add_photo = sns_double::requests()[0];
  EXPECT_EQ(add_photo.url, "http://gateway.palisade.example:80/palisade/photo");
  ASSERT_NE(add_photo.request->pPrivData, nullptr);
  EXPECT_EQ(static_cast<pd_upload_data *>(add_photo.request->pPrivData)->pszFileName, path_);
  answer(0, "location.xml");

  for (size_t replies : {0u, 1u, 3u}) {
    SCOPED_TRACE(replies);
    void *other = nullptr;
    ASSERT_EQ(pd_init(&other), 0);
    ASSERT_EQ(pd_setattr(other, 3, 3, reinterpret_cast<void *>(&engine_callback)), 0);
    size_t first = sns_double::request_count();
    ASSERT_EQ(pd_sendreq(other, 9, block, nullptr), 0);
    for (size_t i = 0; i < replies; ++i) answer(first + i, i == 0 ? "location.xml" : "photo-partial.xml");
    ASSERT_EQ(sns_double::request_count(), first + 1 + replies);
    EXPECT_EQ(pd_finalize(other), 0);
    EXPECT_TRUE(notifications().empty());
  }
  EXPECT_EQ(accept_all_chunks(), bytes);
  EXPECT_EQ(outcome(), kPhoto);

  // Without a path there is nothing to upload and nothing is sent.
  size_t sent = sns_double::request_count();
  char *no_path[] = {nullptr, const_cast<char *>("al-2")};
  EXPECT_EQ(pd_sendreq(handle_, 9, no_path, nullptr), 3);
  EXPECT_EQ(sns_double::request_count(), sent);
}

TEST(UploadRecord, InitCopiesThePathAndRefusesNone) {
  EXPECT_EQ(sns_photo_upload_init(nullptr), nullptr);
  EXPECT_EQ(sns_photo_upload_set_state(nullptr, 2), 0);
  for (const std::string &path : {std::string(PD_UPLOAD_MAX_PATH - 1, 'p'), std::string()}) {
    pd_upload_data *upload = sns_photo_upload_init(path.c_str());
    ASSERT_NE(upload, nullptr);
    EXPECT_EQ(upload->pszFileName, path);
    EXPECT_EQ(upload->uState + upload->uOffset + static_cast<uint32_t>(upload->iFileSize), 0u);
    EXPECT_EQ(sns_photo_upload_set_state(upload, 2), 1);
    EXPECT_EQ(upload->uState, 2u);
    std::free(upload->pszFileName);
    std::free(upload);
  }
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
