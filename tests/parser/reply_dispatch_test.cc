// Replies delivered by the transport reach the engine as parsed records
// (run inside a private GConf session: a login reply stores its keys).
#include <string>

#include "frame/frame_fixture.h"
#include "parser/pd_parser.h"
#include "record_dump.h"
#include "support/golden.h"
#include "support/release_records.h"

namespace pd_test {
namespace {

class ParsedReplies : public FrameTest {
 protected:
  // Plays the transport's answer to a request of `code` with a reply file.
  void answer(uint32_t code, const std::string &reply_file) {
    reply(code, 200, read_data("replies/" + reply_file).c_str());
  }
  intptr_t last_result() const {
    std::vector<pd_notification> got = notifications();
    return got.empty() ? 0 : got.back().iResult;
  }
};

// A sent message's answer carries no record, unless it is an error: the
// envelope's dumps are numbers. Without an engine callback every record is
// released, not lost (the sanitizer build checks that nothing leaks), and a
// login's keys are stored all the same.
TEST_F(ParsedReplies, EachServedBranchDeliversItsFamilysRecord) {
  const struct {
    uint32_t code;
    const char *reply;  // under replies/, without .xml
    Dumper dump;
  } branches[] = {
      {PD_REQ_LOGIN, "login/full", dump_login},
      {PD_REQ_GET_PHOTO_COMMENTS, "comment_retrieve/two_comments", dump_comment_retrieve},
      {PD_REQ_GET_ACTIVITY_COMMENTS, "comment_retrieve/two_comments", dump_comment_retrieve},
      {PD_REQ_COMMENT_PHOTO, "comment_post/three_comments", dump_comment_post},
      {PD_REQ_COMMENT_ACTIVITY, "comment_post/three_comments", dump_comment_post},
      {PD_REQ_ALBUM_LIST, "albums/three_albums", dump_albums},
      {PD_REQ_ALBUM_PHOTOS, "album_photos/photos", dump_album_photos},
      {PD_REQ_FRIENDS, "friends/three_friends", dump_friends},
      {PD_REQ_FRIENDS, "friends/error_envelope", dump_friends},
      {PD_REQ_ACTIVITY_FEED, "activity/full", dump_activity},
      {PD_REQ_ACTIVITY_FEED, "activity/error_envelope", dump_activity},
      {PD_REQ_SET_STATUS, "profile_set/bare_response", dump_profile_set},
      {PD_REQ_SET_STATUS, "profile_set/with_people", dump_profile_set},
      {PD_REQ_PEOPLE_SEARCH, "people_search/two_people", dump_people_search},
      {PD_REQ_MESSAGE_FOLDER, "message_folder/two_threads", dump_message_folder},
      {PD_REQ_SEND_MESSAGE, "envelope/message_answer", dump_number},
      {PD_REQ_SEND_MESSAGE, "envelope/code_4_sub_1102", dump_number},
  };
  for (const auto &[code, reply, dump] : branches) {
    SCOPED_TRACE(reply);
    size_t before = notifications().size();
    answer(code, std::string(reply) + ".xml");
    ASSERT_EQ(notifications().size(), before + 1);
    EXPECT_EQ(notifications().back().uReqCode, code);
    EXPECT_EQ(dump(last_result()), read_data("replies/" + std::string(reply) + ".dump"));
    release_notification_result(code, last_result());
  }
  inst()->pfnEngineCb = nullptr;
  ASSERT_EQ(sns_gconf_set_string(PD_SETTING_SESSION_KEY, "old-session"), 1);
  for (const auto &branch : branches) answer(branch.code, std::string(branch.reply) + ".xml");
  EXPECT_EQ(notifications().size(), std::size(branches));
  EXPECT_EQ(read_setting(PD_SETTING_SESSION_KEY), "1:sk-7Q2fA9x1");
}

}  // namespace
}  // namespace pd_test
