// The records the plug-in shares with the engine and the transport, as the
// build for the phone lays them out and fills them: rows of 32-bit words at
// fixed offsets. Built only where pointers are 32 bits wide. Every shared
// record's size and offsets, and the composed request's, are compile-time
// checks here; what the instance, the upload data record and the composed
// request hold is checked by name by the frame, upload and gateway tests,
// which this build runs too.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "composer/pd_api_composer.h"
#include "frame/frame_fixture.h"

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

}  // namespace
}  // namespace pd_test
