// Gateway operations: each turns one engine request into a composed
// request, reading the user's keys from the settings and having one
// document builder write the body.
#define PD_LOG_SOURCE "plugins/client-plugin/palisade/src/composer/pd_api_composer"

#include "composer/pd_api_composer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

#include "composer/pd_composer.h"
#include "log.h"
#include "pd-plugin/pd_settings.h"
#include "pd_assert.h"
#include "settings.h"

namespace {

// Every operation's body buffer has at least this many bytes.
constexpr size_t kBodyMinimum = 512;

// Method categories of the operations (indexes of req_uri_list).
constexpr uint32_t kAuth = 1, kProfile = 4, kFriendGrouping = 6, kStatusList = 9, kPhoto = 11,
                   kPhotoAlbum = 12, kComment = 14, kMessage = 20, kMessageFolder = 21,
                   kSearch = 39;

// How an operation reports its builder's result; several name another
// builder than the one called, and are kept as the program has always
// written them.
struct ResultLine {
  const char *format;
  bool to_stderr;  // prefix-less on standard error, else a debug line
};
constexpr ResultLine kLoginLine{"xml_composer_auth_login : return value = %d\n\n\n", false};
constexpr ResultLine kFriendLine{"xml_composer_friend_grouping_retrieve : return value = %d\n", true};
constexpr ResultLine kProfileLine{"xml_composer_people_profile_set : return value = %d\n", true};
constexpr ResultLine kCommentLine{"xml_composer_comment_post : return value = %d\n", true};
constexpr ResultLine kActivityLine{"xml_composer_activity_get : return value = %d\n\n\n", false};

const char *word(char **params, int index) { return params ? params[index] : nullptr; }
bool non_empty(const char *text) { return text != nullptr && text[0] != '\0'; }

// The document writer keeps one process-wide write position, and wrapping
// records the last request in process-wide diagnostics, so documents are
// written and wrapped one at a time even when the engine sends from several
// threads. The settings are read and written outside this lock: a read may
// be a round trip to the configuration daemon, and no sender should wait
// behind another's.
std::mutex g_compose_mutex;

// The operation being composed: its name for the log lines and assertions,
// and the envelope it fills.
struct Operation {
  explicit Operation(const char *operation) : name(operation) {}

  const char *name;
  sns_request_envelope envelope{};
  const char *path = nullptr;

  void look_up_path(uint32_t category) {
    path = sns_get_uri(category);
    PD_LOG_DEBUG_FOR(name, "after  sns_get_uri  %s= \n\n", PD_STR(path));
    std::strncpy(envelope.szPath, path, sizeof envelope.szPath - 1);
  }

  // Writes the body with `build(buffer)`. The buffer holds at least 512
  // bytes and always the whole document: the builder is run once without a
  // buffer, which only measures, and the buffer is sized from that. Returns
  // the builder's result; the body is null only when measuring is
  // impossible.
  template <typename Build>
  int compose(Build build, char *&body) {
    std::lock_guard<std::mutex> lock(g_compose_mutex);
    xml_composer_set_xml_last_index(0);
    build(nullptr);
    size_t size = std::max(kBodyMinimum, static_cast<size_t>(xml_last_index) + 1);
    char *composeMsg = static_cast<char *>(std::calloc(size, 1));
    if (composeMsg == nullptr) pd::assert_fail("composeMsg", PD_LOG_SOURCE, __LINE__, name);
    body = composeMsg;
    return build(composeMsg);
  }

  void log_result(ResultLine line, int result) {
    if (line.to_stderr)
      PD_LOG_STDERR(line.format, result);
    else
      PD_LOG_DEBUG_FOR(name, line.format, result);
  }

  // Wraps path and body into a composed request; null when wrapping failed.
  sns_composed_request *wrap(char *body, bool log_end) {
    int32_t secure = __check_uri(path);
    auto *req = static_cast<sns_composed_request *>(std::calloc(1, sizeof(sns_composed_request)));
    if (req == nullptr) pd::assert_fail("req", PD_LOG_SOURCE, __LINE__, name);
    envelope.pszBody = body;
    envelope.iTagOne = 1;
    envelope.iTagTwo = 2;
    envelope.iSecure = secure == 1 ? 1 : 0;
    int rc;
    {
      std::lock_guard<std::mutex> lock(g_compose_mutex);
      rc = sns_engine_network_manager_make_request_t(envelope, req);
    }
    PD_LOG_DEBUG_FOR(name, "rc : %d\n\n", rc);
    if (rc == 0) {
      PD_LOG_DEBUG_FOR(name, "<<<<sns_engine_network_manager_make_request_t() failed<<<<\n\n");
      std::free(req);
      std::free(body);
      return nullptr;
    }
    if (log_end) PD_LOG_DEBUG_FOR(name, "on_request end\n\n");
    return req;
  }
};

// The shape shared by every operation but login and logout: the path, the
// stored session key, the records and one builder (`build(buffer, key)`),
// then the envelope. A builder error (a result above 0) composes nothing.
template <typename Build>
sns_composed_request *compose_session_request(const char *name, uint32_t category,
                                              ResultLine line, Build build) {
  Operation op(name);
  op.look_up_path(category);
  std::string session_key;
  if (pd::settings::read(PD_SETTING_SESSION_KEY, session_key) == 0) return nullptr;
  char *body = nullptr;
  int result = op.compose([&](char *buffer) { return build(buffer, session_key.c_str()); }, body);
  op.log_result(line, result);
  if (result > 0) {
    std::free(body);
    return nullptr;
  }
  return op.wrap(body, true);
}

// Login and logout discard the stored keys, session key first.
void forget_keys() {
  sns_gconf_set_string(PD_SETTING_SESSION_KEY, "");
  sns_gconf_set_string(PD_SETTING_PERSIST_KEY, "");
}

// The paging record every list request sends: from the first item, 16 at a
// time.
Composer_Response *first_page() { return Composer_Response_create("1", "16", nullptr, nullptr); }

Composer_People *owner() {
  return Composer_People_add(Composer_People_create(), "owner", nullptr, nullptr, nullptr,
                             nullptr, nullptr);
}

Composer_Target *all_targets() {
  return Composer_Target_add(Composer_Target_create(), "all", "all", nullptr, nullptr, nullptr,
                             nullptr, "all");
}

Composer_Target *item(const char *id, const char *kind) {
  return Composer_Target_add(Composer_Target_create(), id, nullptr, kind, "owner", nullptr,
                             nullptr, nullptr);
}

}  // namespace

extern "C" {

sns_composed_request *_compose_torvane_gateway_login(char **params) {
  Operation op(__func__);
  PD_LOG_DEBUG("before sns_get_uri\n\n");
  op.look_up_path(kAuth);
  PD_LOG_DEBUG("before xml_composer_auth_login\n\n");
  // Credentials come from the engine when it gives both, else from the
  // settings.
  std::string user, password;
  int result = -1;
  char *body = nullptr;
  if (non_empty(word(params, 0)) && non_empty(word(params, 1))) {
    user = word(params, 0);
    password = word(params, 1);
    result = 0;
  } else if (pd::settings::read(PD_SETTING_USER_NAME, user) != 0 &&
             pd::settings::read(PD_SETTING_PASSWORD, password) != 0) {
    result = 0;
  }
  if (result == 0)
    result = op.compose(
        [&](char *buffer) { return xml_composer_auth_login(buffer, user.c_str(), password.c_str()); },
        body);
  op.log_result(kLoginLine, result);
  if (result == -1) return nullptr;
  // The stored keys go before anything is sent; the login reply stores the
  // new ones.
  forget_keys();
  return op.wrap(body, true);
}

sns_composed_request *_compose_torvane_gateway_logout(void * /*params*/) {
  Operation op(__func__);
  PD_LOG_DEBUG("before sns_get_uri\n\n");
  op.look_up_path(kAuth);
  std::string session_key;
  if (pd::settings::read(PD_SETTING_SESSION_KEY, session_key) == 0) return nullptr;
  char *body = nullptr;
  int result = op.compose(
      [&](char *buffer) { return xml_composer_auth_logout(buffer, session_key.c_str()); }, body);
  op.log_result(kLoginLine, result);
  sns_composed_request *req = op.wrap(body, false);
  // The keys are forgotten as soon as the request exists, before the
  // gateway has answered.
  if (req != nullptr) forget_keys();
  return req;
}

sns_composed_request *_compose_torvane_gateway_get_friends_list(void) {
  return compose_session_request(__func__, kFriendGrouping, kFriendLine,
                                 [](char *buffer, const char *key) {
                                   return xml_composer_friend_grouping_retrieve(
                                       buffer, key, owner(), first_page());
                                 });
}

sns_composed_request *_compose_torvane_gateway_search(const char *search) {
  return compose_session_request(__func__, kSearch, kActivityLine,
                                 [search](char *buffer, const char *key) {
                                   // A target is prepared but the search
                                   // goes without one.
                                   Composer_Target_delete(all_targets());
                                   return xml_composer_people_search(buffer, key, nullptr, search,
                                                                     nullptr, first_page());
                                 });
}

sns_composed_request *_compose_torvane_gateway_get_status(void) {
  return compose_session_request(__func__, kStatusList, kActivityLine,
                                 [](char *buffer, const char *key) {
                                   return xml_composer_activity_get(buffer, key, all_targets(),
                                                                    first_page(), nullptr);
                                 });
}

sns_composed_request *_compose_torvane_gateway_add_status(const char *status) {
  return compose_session_request(__func__, kProfile, kProfileLine,
                                 [status](char *buffer, const char *key) {
                                   return xml_composer_people_profile_set(buffer, key, owner(),
                                                                          status);
                                 });
}

sns_composed_request *_compose_torvane_gateway_comment_status(char **params, const char *kind) {
  const char *comment = word(params, 0);
  const char *id = word(params, 1);
  return compose_session_request(__func__, kComment, kCommentLine,
                                 [=](char *buffer, const char *key) {
                                   return xml_composer_comment_post(buffer, key, item(id, kind),
                                                                    comment);
                                 });
}

sns_composed_request *_compose_torvane_gateway_get_comment_status(const char *id,
                                                                   const char *kind) {
  return compose_session_request(__func__, kComment, kCommentLine,
                                 [=](char *buffer, const char *key) {
                                   return xml_composer_comment_retrieve(buffer, key, item(id, kind),
                                                                        first_page());
                                 });
}

sns_composed_request *_compose_torvane_gateway_add_photo(const char * /*first*/,
                                                          const char *album) {
  return compose_session_request(
      __func__, kPhoto, kProfileLine, [album](char *buffer, const char *key) {
        Composer_Photo *photo = Composer_Photo_add(Composer_Photo_create(), nullptr, nullptr, "Image");
        Composer_Album *in = Composer_Album_add(Composer_Album_create(), "owner", album, nullptr);
        Composer_File *file = Composer_File_add(Composer_File_create(), nullptr, "junk.jpg");
        return xml_composer_photo_update(buffer, key, photo, in, file);
      });
}

sns_composed_request *_compose_torvane_gateway_get_album_list(void) {
  return compose_session_request(__func__, kPhotoAlbum, kFriendLine,
                                 [](char *buffer, const char *key) {
                                   return xml_composer_photo_album_get(buffer, key, owner(), nullptr,
                                                                       nullptr, first_page());
                                 });
}

sns_composed_request *_compose_torvane_gateway_get_album_photo_list(const char *album) {
  return compose_session_request(
      __func__, kPhotoAlbum, kFriendLine, [album](char *buffer, const char *key) {
        Composer_Album *in = Composer_Album_add(Composer_Album_create(), nullptr, album, nullptr);
        return xml_composer_photo_album_retrieve(buffer, key, owner(), in, nullptr, first_page());
      });
}

sns_composed_request *_compose_torvane_gateway_get_message_folder(const char *folder) {
  return compose_session_request(__func__, kMessageFolder, kFriendLine,
                                 [folder](char *buffer, const char *key) {
                                   return xml_composer_message_folder_retrieve(
                                       buffer, key, owner(), folder, nullptr, nullptr,
                                       first_page(), nullptr);
                                 });
}

sns_composed_request *_compose_torvane_gateway_send_message(char **params) {
  if (params == nullptr) return nullptr;
  return compose_session_request(
      __func__, kMessage, kFriendLine, [params](char *buffer, const char *key) {
        Composer_Receiver *receiver =
            Composer_Receiver_add(Composer_Receiver_create(), params[0], params[1]);
        Composer_Reply *reply = Composer_Reply_add(Composer_Reply_create(), params[2], params[3]);
        return xml_composer_message_post(buffer, key, receiver, params[4], params[5], reply,
                                         params[6]);
      });
}

}  // extern "C"
