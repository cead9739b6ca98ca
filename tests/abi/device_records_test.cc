// The records the plug-in shares with the engine and the transport, as the
// build for the phone lays them out and fills them: rows of 32-bit words at
// fixed offsets. Built only where pointers are 32 bits wide.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "composer/pd_api_composer.h"
#include "frame/frame_fixture.h"
#include "pd-plugin/pd_upload.h"

// The public records' layout; the composed request is the plug-in's own.
#include "abi/layout32.h"

PD_STATIC_ASSERT(sizeof(sns_composed_request) == 20, "composed request is 5 words");
AT(sns_composed_request, iTagOne, 0);
AT(sns_composed_request, iTagTwo, 4);
AT(sns_composed_request, iSecure, 8);
AT(sns_composed_request, pszPath, 12);
AT(sns_composed_request, pszBody, 16);

namespace pd_test {
namespace {

// (offset, the 32-bit word expected there)
using Words = std::vector<std::pair<size_t, uint32_t>>;

uint32_t word(const void *record, size_t offset) {
  uint32_t value;
  std::memcpy(&value, static_cast<const unsigned char *>(record) + offset, sizeof value);
  return value;
}

uint32_t address(const void *pointer) { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(pointer)); }

void expect_words(const char *record_name, const void *record, const Words &expected) {
  for (const auto &[offset, value] : expected)
    EXPECT_EQ(word(record, offset), value) << record_name << " word at " << offset;
}

class DeviceRecords : public FrameTest {};

// The engine's login goes out as an 18-word request record; its answer comes
// back as a response record read at the transport's offsets, and reaches
// the engine as a 7-word notification.
TEST_F(DeviceRecords, RequestResponseAndNotificationAreRowsOfWords) {
  char user[] = "ann@palisade.example", password[] = "harbour-lights";
  char *login[] = {user, password};
  ASSERT_EQ(pd_sendreq(handle_, 0, login, nullptr), 0);
  ASSERT_EQ(sns_double::request_count(), 1u);
  const sns_nt_request *request = sns_double::requests()[0].request;
  const uint32_t transport = word(handle_, 132);
  expect_words("request", request,
               {{0, transport}, {4, 1}, {8, 0}, {12, 1}, {16, 0}, {20, 9}, {24, 0}, {28, 0},
                {36, 0}, {48, static_cast<uint32_t>(std::strlen(request->pBody))},
                {52, address(handle_)}, {56, 0}, {60, 0}, {64, 0}});
  EXPECT_EQ(std::string(reinterpret_cast<const char *>(word(request, 32))),
            "https://" PD_GATEWAY_HOST ":443/palisade/auth");
  EXPECT_NE(std::strstr(reinterpret_cast<const char *>(word(request, 44)), "<Request"), nullptr);

  // A logout answer (code 28 carries no record), built word by word.
  char body[] = "<Response/>";
  uint32_t response[11] = {};
  response[1] = 7;                 // request id
  response[2] = 28;                // request code
  response[3] = 200;               // HTTP status
  response[5] = address(body);     // body
  response[8] = address(handle_);  // instance
  response[9] = 0xbeef;            // passed through
  ASSERT_EQ(sizeof response, sizeof(sns_nt_response));
  sns_double::deliver(reinterpret_cast<void *>(static_cast<uintptr_t>(transport)), response);
  ASSERT_EQ(notifications().size(), 1u);
  pd_notification notification = notifications()[0];
  expect_words("notification", &notification,
               {{0, 0xffffffffu}, {4, 28}, {8, 200}, {12, 7}, {16, 0}, {20, 0}, {24, 0xbeef}});
}

// The instance behind the handle: two 65-character texts, then the
// transport handle, the caller word and the engine's callback.
TEST_F(DeviceRecords, InstanceKeepsItsTextsAndWords) {
  char first[] = "first", second[] = "second";
  ASSERT_EQ(pd_setattr(handle_, 1, 1, first), 0);
  ASSERT_EQ(pd_setattr(handle_, 2, 2, second), 0);
  const char *bytes = static_cast<const char *>(handle_);
  EXPECT_STREQ(bytes, "first");
  EXPECT_STREQ(bytes + 65, "second");
  EXPECT_NE(word(handle_, 132), 0u);
  expect_words("instance", handle_,
               {{136, 0}, {140, address(reinterpret_cast<void *>(&engine_callback))}});
}

// The upload data record and the composed request, as their makers fill them.
TEST_F(DeviceRecords, UploadDataAndComposedRequestAreFiveWords) {
  pd_upload_data *upload = sns_photo_upload_init("/tmp/photo.jpg");
  ASSERT_NE(upload, nullptr);
  ASSERT_EQ(sns_photo_upload_set_state(upload, 2), 1);
  expect_words("upload data", upload, {{4, 2}, {8, 0}, {12, 0}});
  EXPECT_STREQ(reinterpret_cast<const char *>(word(upload, 0)), "/tmp/photo.jpg");
  std::free(upload->pszFileName);
  std::free(upload);

  char user[] = "ann@palisade.example", password[] = "harbour-lights";
  char *login[] = {user, password};
  sns_composed_request *composed = _compose_torvane_gateway_login(login);
  ASSERT_NE(composed, nullptr);
  expect_words("composed request", composed, {{0, 1}, {4, 2}, {8, 1}});
  EXPECT_NE(std::strstr(reinterpret_cast<const char *>(word(composed, 16)), "<Request"), nullptr);
  std::free(composed->pszBody);
  std::free(composed);
}

}  // namespace
}  // namespace pd_test
