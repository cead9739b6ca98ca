// The gateway pieces that need no settings: the path table, the request
// envelope (path classifier and method), the TLS test and the URL, with any
// category, method and path, ended or not within the envelope's fixed
// fields. The envelope hands its values on unchanged, the diagnostics stay
// in range, and a URL is a scheme, the host and the category's path in fewer
// than 200 bytes.
//
// An input is a category byte (255: the largest category number), a flags
// byte (bit 0: secure; bit 1: no composed request for the envelope; bit 2:
// none for the URL), the method up to a NUL, then the path.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "composer/pd_api_composer.h"
#include "log.h"

namespace {

constexpr size_t kMaxInput = 1024;

void check(bool condition) {
  if (!condition) __builtin_trap();
}

// `text` cut at its first NUL and at `limit` bytes.
std::string_view bounded(const char *text, size_t limit) { return {text, strnlen(text, limit)}; }

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  pd::log::set_level(pd::log::Level::none);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 2 || size > kMaxInput) return 0;
  uint32_t category = data[0] == 255 ? UINT32_MAX : data[0];
  uint8_t flags = data[1];
  std::string_view rest(reinterpret_cast<const char *>(data + 2), size - 2);
  size_t split = std::min(rest.find('\0'), rest.size());
  std::string method(rest.substr(0, split));
  std::string path(split < rest.size() ? rest.substr(split + 1) : std::string_view());

  const char *uri = sns_get_uri(category);
  check((uri == nullptr) == (category >= SNS_METHOD_CATEGORIES));

  // Fields filled to the brim are left unended, as an operation might.
  sns_request_envelope envelope{};
  std::memcpy(envelope.szMethod, method.data(), std::min(method.size(), sizeof envelope.szMethod));
  std::memcpy(envelope.szPath, path.data(), std::min(path.size(), sizeof envelope.szPath));
  char body[] = "<Request/>";
  envelope.pszBody = body;
  envelope.iTagOne = 7;
  envelope.iTagTwo = -7;
  envelope.iSecure = flags & 1;
  sns_composed_request composed{};
  check(sns_engine_network_manager_make_request_t(envelope, flags & 2 ? nullptr : &composed) == 1);
  check(snsmsg_type >= -1 && snsmsg_type < static_cast<int32_t>(SNS_METHOD_CATEGORIES));
  check(bounded(g_method, sizeof g_method) ==
        bounded(envelope.szMethod, sizeof envelope.szMethod - 1));
  if (!(flags & 2)) {
    check(composed.pszBody == body && composed.iTagOne == 7 && composed.iTagTwo == -7 &&
          composed.iSecure == envelope.iSecure);
    // The path kept for diagnosis is the table's own text, or none.
    if (composed.pszPath != nullptr) {
      check(std::find(std::begin(req_uri_list), std::end(req_uri_list), composed.pszPath) !=
            std::end(req_uri_list));
      check(bounded(composed.pszPath, SNS_ENVELOPE_PATH_SIZE) ==
            bounded(envelope.szPath, sizeof envelope.szPath - 1));
    }
  }

  int secure = __check_uri(path.c_str());
  check(secure == 0 || secure == 1);

  char *url = __network_manager_make_url(flags & 4 ? nullptr : &composed, category);
  check(url != nullptr);
  std::string_view made(url, strnlen(url, HTTP_URL_LENGTH));
  check(made.size() < HTTP_URL_LENGTH);
  bool https = !(flags & 4) && composed.iSecure != 0;
  check(made.starts_with(https ? "https://" : "http://"));
  check(made.ends_with(uri != nullptr ? uri : (https ? ":443" : ":80")));
  std::free(url);
  return 0;
}
