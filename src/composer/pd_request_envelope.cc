// The path table, the path classifier, the TLS test and the gateway URL.
#define PD_LOG_SOURCE "plugins/client-plugin/palisade/src/composer/pd_api_composer"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "composer/pd_api_composer.h"
#include "log.h"
#include "pd_assert.h"

#ifndef PD_GATEWAY_HOST
#error "PD_GATEWAY_HOST must name the gateway host (set by the build)"
#endif

namespace {

constexpr std::string_view kHost = PD_GATEWAY_HOST;
// The longest URL is the secure scheme with the longest path of the table.
constexpr std::string_view kLongestPath = "/palisade/serviceprovider";
static_assert(std::string_view("https://").size() + kHost.size() + std::string_view(":443").size() +
                      kLongestPath.size() <
                  HTTP_URL_LENGTH,
              "PD_GATEWAY_HOST is too long for a gateway URL");

struct Keyword {
  const char *text;
  int32_t category;
};

struct ClassifierRow {
  Keyword first;
  Keyword second[5];  // tried in order; a null text ends the list
};

// First-level keywords in the order they are tried; the first found decides
// the branch. "group" tries "member" before "category" and the search path
// does not contain "searching": both are how the gateway's categories have
// always been read and are kept.
constexpr ClassifierRow kClassifier[] = {
    {{"auth", 0}, {{"key", 1}}},
    {{"people", 2}, {{"info", 3}, {"profile", 4}}},
    {{"friend", 5}, {{"grouping", 6}, {"request", 7}}},
    {{"activity", 8}, {{"statuslist", 9}, {"walltowall", 10}}},
    {{"photo", 11}, {{"album", 12}, {"phototag", 13}}},
    {{"comment", 14}, {{"favorite", 15}}},
    {{"note", 16}, {{"category", 17}}},
    {{"video", 18}, {{"category", 19}}},
    {{"message", 20}, {{"folder", 21}, {"thread", 22}, {"spamfilter", 23}, {"poke", 24}, {"helpdesk", 25}}},
    {{"group", 26}, {{"member", 28}, {"category", 27}}},
    {{"page", 29}, {{"info", 30}}},
    {{"bulletin", 31}, {}},
    {{"chat", 32}, {}},
    {{"notification", 33}, {}},
    {{"serviceprovider", 34}, {{"privacy", 35}, {"moodlist", 36}, {"disclaimer", 37}, {"deeplink", 38}}},
    {{"searching", 39}, {{"trending", 40}}},
    {{"schedule", 41}, {}},
};

// The category a path selects, or -1 when no first-level keyword is in it.
// A second-level search starts where the first-level keyword was found.
int32_t classify(const char *path) {
  for (const ClassifierRow &row : kClassifier) {
    const char *at = std::strstr(path, row.first.text);
    if (at == nullptr) continue;
    for (const Keyword &second : row.second) {
      if (second.text == nullptr) break;
      if (std::strstr(at, second.text) != nullptr) return second.category;
    }
    return row.first.category;
  }
  return -1;
}

// The composed request keeps a path pointer for diagnosis only. Rather than
// the address of the by-value envelope, which dies with the call, it points
// at the table's own constant text of the same path, or is null.
const char *stable_path(const char *path) {
  for (const char *entry : req_uri_list)
    if (std::strcmp(entry, path) == 0) return entry;
  return nullptr;
}

}  // namespace

extern "C" {

int32_t snsmsg_type = -1;
char g_method[64];

const char *const req_uri_list[SNS_METHOD_CATEGORIES] = {
    "/palisade/auth",          "/palisade/auth",           "/palisade/people",
    "/palisade/people",        "/palisade/people/profile", "/palisade/people",
    "/palisade/friend/grouping", "/palisade/people",       "/palisade/activity",
    "/palisade/activity",      "/palisade/activity",       "/palisade/photo",
    "/palisade/photo/album",   "/palisade/photo",          "/palisade/comment",
    "/palisade/comment",       "/palisade/note",           "/palisade/note",
    "/palisade/video",         "/palisade/video",          "/palisade/message",
    "/palisade/message/folder", "/palisade/message",       "/palisade/message",
    "/palisade/message",       "/palisade/message",        "/palisade/group",
    "/palisade/group",         "/palisade/group",          "/palisade/page",
    "/palisade/page",          "/palisade/bulletin",       "/palisade/chat",
    "/palisade/notification",  "/palisade/serviceprovider", "/palisade/serviceprovider",
    "/palisade/serviceprovider", "/palisade/serviceprovider", "/palisade/serviceprovider",
    "/palisade/search",        "/palisade/search",         "/palisade/schedule",
};

const char *sns_get_uri(uint32_t category) {
  return category < SNS_METHOD_CATEGORIES ? req_uri_list[category] : nullptr;
}

int sns_engine_network_manager_make_request_t(sns_request_envelope envelope,
                                               sns_composed_request *request) {
  PD_LOG_DEBUG(">>> sns_engine_network_manager_make_request_t  start\n\n");
  // Both texts are fixed-size arrays that an operation may have left without
  // a terminator; read them as bounded texts.
  envelope.szPath[sizeof envelope.szPath - 1] = '\0';
  envelope.szMethod[sizeof envelope.szMethod - 1] = '\0';
  if (request != nullptr) request->pszPath = stable_path(envelope.szPath);
  int32_t category = classify(envelope.szPath);
  if (category >= 0) snsmsg_type = category;
  PD_LOG_DEBUG("snsmsg_type :: %d \n\n\n", snsmsg_type);
  // A string copy: what lies past the terminator stays as the last wrap
  // left it.
  std::strcpy(g_method, envelope.szMethod);
  PD_LOG_DEBUG("g_method :: %s \n\n\n", g_method);
  if (request != nullptr) {
    request->iSecure = envelope.iSecure;
    request->pszBody = envelope.pszBody;
    request->iTagOne = envelope.iTagOne;
    request->iTagTwo = envelope.iTagTwo;
  }
  PD_LOG_DEBUG(">>> sns_engine_network_manager_make_request_t  end\n\n");
  return 1;
}

int __check_uri(const char *path) {
  if (path == nullptr || path[0] == '\0') return 0;
  return std::strstr(path, "/auth") != nullptr ? 1 : 0;
}

char *__network_manager_make_url(sns_composed_request *request, uint32_t category) {
  PD_LOG_START();
  // Zero-filled from the start: the "0:" line shows the buffer before it is
  // written, and a fresh block must not be read as text while it holds
  // whatever the allocator left.
  char *psz_url = static_cast<char *>(std::calloc(HTTP_URL_LENGTH, 1));
  PD_ASSERT(psz_url);
  PD_LOG_DEBUG("HTTP_URL_LENGTH : %d \n\n\n", HTTP_URL_LENGTH);
  PD_LOG_DEBUG("0: <<<%s>>>\n\n\n", psz_url);
  PD_LOG_DEBUG("1: <<<%s>>>\n\n\n", psz_url);
  const char *path = sns_get_uri(category);
  if (path == nullptr) path = "";
  bool secure = request != nullptr && request->iSecure != 0;
  // The build refuses a host that could not fit with the longest path, so
  // the bound never cuts a URL of the table.
  std::snprintf(psz_url, HTTP_URL_LENGTH, "%s%.*s%s%s", secure ? "https://" : "http://",
                static_cast<int>(kHost.size()), kHost.data(), secure ? ":443" : ":80", path);
  if (secure) PD_LOG_STDOUT("2: <<<%s>>>\n", psz_url);
  PD_LOG_DEBUG("3: <<<%s>>>\n\n\n", psz_url);
  PD_LOG_DEBUG(">>> __network_manager_make_url  end\n\n");
  PD_LOG_END();
  return psz_url;
}

}  // extern "C"
