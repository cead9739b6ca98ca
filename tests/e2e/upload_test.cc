// The photo upload over the real wire: the add-photo request, then the file
// in chunks sent from the transport's callback, each answered by
// gateway-sim, and one notification at the very end.
#include <chrono>
#include <set>
#include <thread>

#include "e2e_fixture.h"
#include "support/golden.h"

namespace pd_test {
namespace {

class PhotoUpload : public EndToEnd {
 protected:
  // Uploads `file` (written as `name`) to Ann's album "al4".
  pd_notification upload(const std::string &name) {
    return exchange(PD_REQ_UPLOAD_PHOTO, std::vector<const char *>{path_of(name).c_str(), "al4"});
  }

  // The requests from `first` on are the add-photo request and then the
  // file, in order, in chunks of 64 KiB, each with its Content-Range.
  void expect_sent_whole(size_t first, const std::string &file) {
    std::vector<RecordedRequest> sent = requests();
    ASSERT_GT(sent.size(), first);
    EXPECT_EQ(sent[first].path, "/palisade/photo");
    size_t chunks = file.empty() ? 1 : (file.size() + PD_UPLOAD_CHUNK_SIZE - 1) / PD_UPLOAD_CHUNK_SIZE;
    ASSERT_EQ(sent.size(), first + 1 + chunks);
    size_t offset = 0;
    for (size_t i = first + 1; i < sent.size(); ++i) {
      SCOPED_TRACE("chunk " + std::to_string(i - first));
      const RecordedRequest &chunk = sent[i];
      size_t length = std::min<size_t>(file.size() - offset, PD_UPLOAD_CHUNK_SIZE);
      std::string range = file.empty() ? "bytes */0"
                                       : "bytes " + std::to_string(offset) + "-" +
                                             std::to_string(offset + length - 1) + "/" +
                                             std::to_string(file.size());
      EXPECT_EQ(chunk.method + " " + chunk.scheme, "POST http");
      EXPECT_EQ(chunk.path, sent[first + 1].path);
      ASSERT_NE(chunk.header("Content-Range"), nullptr);
      EXPECT_EQ(*chunk.header("Content-Range"), range);
      ASSERT_NE(chunk.header("Content-Type"), nullptr);
      EXPECT_EQ(*chunk.header("Content-Type"), "image/jpg");
      EXPECT_EQ(*chunk.header("Host"), GatewaySim::upload_host());
      EXPECT_TRUE(chunk.body == file.substr(offset, length)) << "chunk bytes differ";
      offset += length;
    }
  }

  // The photo the simulator stored for a finished upload, by its record.
  std::optional<std::string> stored_photo(const pd_notification &done) {
    if (done.iResult <= 0) return std::nullopt;
    return sim_.fetch(std::string("/media/") + reinterpret_cast<const xml_photo *>(done.iResult)->pszID);
  }
};

TEST_F(PhotoUpload, FiveMegabytesArriveWholeWithOneNotificationAtTheEnd) {
  start();
  login();
  // Not a multiple of 64 KiB: 76 whole chunks and a last one of 19,264.
  std::string file = photo("five.jpg", 5000000);
  pd_notification done = upload("five.jpg");
  EXPECT_TRUE(matches_golden("e2e/upload/done.dump", describe(done, masks_)));
  EXPECT_EQ(done.uReqId, requests().size());
  expect_sent_whole(1, file);
  std::optional<std::string> stored = stored_photo(done);
  ASSERT_TRUE(stored.has_value());
  EXPECT_EQ(stored->size(), file.size());
  EXPECT_TRUE(*stored == file) << "the stored photo differs from the file";
}

// An empty file goes as one empty chunk; a file of exactly one chunk in one;
// one byte more needs a second chunk of one byte.
TEST_F(PhotoUpload, SizesAroundOneChunk) {
  start();
  login();
  for (size_t size : {size_t{0}, size_t{PD_UPLOAD_CHUNK_SIZE}, size_t{PD_UPLOAD_CHUNK_SIZE + 1}}) {
    SCOPED_TRACE(size);
    std::string name = std::to_string(size) + ".jpg";
    std::string file = photo(name, size);
    size_t first = requests().size();
    pd_notification done = upload(name);
    EXPECT_EQ(done.uHttpStatus, 200u);
    ASSERT_GT(done.iResult, 0);
    EXPECT_STREQ(reinterpret_cast<const xml_photo *>(done.iResult)->pszStatus, "done");
    expect_sent_whole(first, file);
    EXPECT_EQ(stored_photo(done), file);
  }
}

// The gateway names a location but the file cannot be read, or it names no
// location at all (an album that is not the user's): the engine hears of
// the failure with a null record, and no chunk is sent.
TEST_F(PhotoUpload, NoChunkWithoutAFileOrALocation) {
  start();
  login();
  expect_no_record(exchange(PD_REQ_UPLOAD_PHOTO, std::vector<const char *>{"/nonexistent/photo.jpg", "al4"}),
                   PD_REQ_UPLOAD_PHOTO, 200);
  photo("photo.jpg", 1000);
  expect_no_record(exchange(PD_REQ_UPLOAD_PHOTO, std::vector<const char *>{path_of("photo.jpg").c_str(), "al3"}),
                   PD_REQ_UPLOAD_PHOTO, 200);
  EXPECT_EQ(requests().size(), 3u);
}

// Sizes around the chunk boundaries, a fault at each step of the exchange
// (the add-photo request, the first, a middle and the last chunk) and each
// kind of fault: one notification each, with the documented result, from
// one simulator whose faults are set through its control port.
TEST_F(PhotoUpload, AFaultAtAnyStepEndsTheExchangeWithOneNotification) {
  struct Fault {
    const char *effect;  // control fields
    uint32_t status;     // of the notification
  };
  // A dropped request may be sent once more on a new connection by libcurl,
  // and is dropped again; the timeout waits for none.
  const Fault kFaults[] = {{"status=500&count=1", 500}, {"malformed&count=1", 200}, {"drop", 0},
                           {"delay=1000&count=1", 0}};
  start();
  login();
  for (const Fault &fault : kFaults) {
    std::string effect = fault.effect;
    if (effect.rfind("delay", 0) == 0) {
      setenv("SNS_NT_TIMEOUT_MS", "300", 1);
      reopen();
    }
    for (size_t size : {0, 1, 65535, 65536, 65537, 200000, 1 << 20}) {
      std::string name = std::to_string(size) + ".jpg", file = photo(name, size);
      size_t chunks = std::max<size_t>(1, (size + PD_UPLOAD_CHUNK_SIZE - 1) / PD_UPLOAD_CHUNK_SIZE);
      for (size_t step : std::set<size_t>{0, 1, (chunks + 1) / 2, chunks}) {  // 0: the add-photo request
        SCOPED_TRACE(effect + " at step " + std::to_string(step) + " of a file of " + std::to_string(size) + " bytes");
        ASSERT_TRUE(sim_.clear_faults());
        ASSERT_TRUE(sim_.fault((step == 0 ? "path=/palisade/photo" : "path=/upload/*&skip=" + std::to_string(step - 1)) +
                               "&" + effect));
        long long before = sim_.counter("requests");
        pd_notification done = upload(name);
        long long sent = sim_.counter("requests") - before;
        EXPECT_EQ(done.uHttpStatus, fault.status);
        // The answers to chunks before the last are not read: a malformed
        // one there does not stop the upload.
        if (effect == "malformed&count=1" && step != 0 && step != chunks) {
          EXPECT_EQ(sent, static_cast<long long>(1 + chunks));
          ASSERT_GT(done.iResult, 0);
          EXPECT_EQ(stored_photo(done), file);
          continue;
        }
        EXPECT_EQ(done.iResult, 0);
        EXPECT_GE(sent, static_cast<long long>(1 + step)) << "the exchange went on past the fault";
        EXPECT_LE(sent, static_cast<long long>(1 + step + (effect == "drop"))) << "the exchange went on past the fault";
      }
    }
  }
}

// A cut answer to the last chunk: the gateway holds the whole file, the
// engine gets no record for it.
TEST_F(PhotoUpload, ACutLastAnswerStillLeavesTheWholeFileStored) {
  start({"--malformed", "--fault-path", "/upload/*", "--fault-skip", "4"});
  login();
  std::string file = photo("photo.jpg", 300000);
  expect_no_record(upload("photo.jpg"), PD_REQ_UPLOAD_PHOTO, 200);
  expect_sent_whole(1, file);
  pd_notification album = exchange(PD_REQ_ALBUM_PHOTOS, "al4");
  ASSERT_GT(album.iResult, 0);
  const xml_photo_album_photo *listed = reinterpret_cast<const xml_photo_album_photo_list *>(album.iResult)->pstPhoto;
  ASSERT_NE(listed, nullptr);
  EXPECT_EQ(sim_.fetch(std::string("/media/") + listed->pszID), file);
}

// The engine finalizes its instance while a chunk is on the wire: no
// notification comes, and nothing of the upload is left behind (the
// sanitizer build's LeakSanitizer sees the process end).
TEST_F(PhotoUpload, FinalizeWhileAChunkIsOnTheWire) {
  start({"--delay-ms", "1000", "--fault-path", "/upload/*"});
  login();
  photo("photo.jpg", 300000);
  std::string path = path_of("photo.jpg");
  ASSERT_EQ(engine_.send(PD_REQ_UPLOAD_PHOTO, std::vector<const char *>{path.c_str(), "al4"}), PD_OK);
  auto chunk_sent = [&] {
    for (const RecordedRequest &request : requests())
      if (request.path.rfind("/upload/", 0) == 0) return true;
    return false;
  };
  for (int waited = 0; waited < 1000 && !chunk_sent(); ++waited)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  ASSERT_TRUE(chunk_sent());
  engine_.close();
  EXPECT_EQ(engine_.count(), 1u);  // the login's
}

}  // namespace
}  // namespace pd_test
