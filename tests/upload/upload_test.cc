// The photo upload played against the transport double: the table answers
// as the gateway would, chunk by chunk.
#include <filesystem>
#include <string>

#include "frame/frame_fixture.h"
#include "pd-plugin/pd_upload.h"
#include "support/golden.h"

namespace pd_test {
namespace {

TEST_F(FrameTest, UploadsPlayAsTheTableSays) {
  const std::string photo =
      (std::filesystem::temp_directory_path() / ("pd-upload-" + std::to_string(getpid()) + ".jpg")).string();
  EXPECT_TRUE(matches_golden("upload/uploads.transcript", play_calls("upload/uploads.rows", handle_, true, photo)));
  std::filesystem::remove(photo);
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
