#include "forward.h"

#include <curl/curl.h>

#include <algorithm>
#include <memory>

namespace gateway_sim {
namespace {

// Headers that belong to one hop and are set again by libcurl for the next:
// the gateway must see its own host, length and connection handling, and an
// answer in plain bytes (no compression) so the recording reads as sent.
bool hop_header(const std::string &name) {
  static const char *const kHop[] = {"host", "content-length", "connection", "keep-alive",
                                     "transfer-encoding", "expect", "accept-encoding", "te", "upgrade"};
  return std::any_of(std::begin(kHop), std::end(kHop), [&](const char *hop) { return same_header_name(name, hop); });
}

struct Received {
  ForwardedReply reply;
  uint64_t limit;
  bool too_large = false;
};

size_t take_body(char *data, size_t size, size_t count, void *user) {
  auto *received = static_cast<Received *>(user);
  size_t bytes = size * count;
  if (received->reply.body.size() + bytes > received->limit) {
    received->too_large = true;
    return 0;  // ends the transfer
  }
  received->reply.body.append(data, bytes);
  return bytes;
}

size_t take_header(char *data, size_t size, size_t count, void *user) {
  auto *received = static_cast<Received *>(user);
  std::string line(data, size * count);
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
  // A new status line (after "100 Continue" or a redirect's answer) starts
  // the headers over: only the final answer's are kept.
  if (line.rfind("HTTP/", 0) == 0) {
    received->reply.headers.clear();
  } else if (size_t colon = line.find(':'); colon != std::string::npos) {
    size_t value = line.find_first_not_of(" \t", colon + 1);
    received->reply.headers.emplace_back(line.substr(0, colon),
                                         value == std::string::npos ? "" : line.substr(value));
  }
  return size * count;
}

struct EasyRelease {
  void operator()(CURL *easy) const { curl_easy_cleanup(easy); }
};
struct ListRelease {
  void operator()(curl_slist *list) const { curl_slist_free_all(list); }
};

}  // namespace

bool forward_base_ok(const std::string &option, const std::string &base, std::string *why) {
  const bool scheme = base.rfind("http://", 0) == 0 || base.rfind("https://", 0) == 0;
  const size_t host = base.find("://") + 3;
  if (!scheme || base.size() <= host || base.find('/', host) != std::string::npos) {
    *why = option + " " + base + ": expected http://HOST[:PORT] or https://HOST[:PORT], without a path";
    return false;
  }
  return true;
}

std::string secure_base_of(const std::string &base) {
  const size_t host = base.find("://") + 3;
  std::string name = base.substr(host);
  // A port follows the last colon, unless that colon is inside an IPv6
  // address in brackets.
  if (size_t colon = name.rfind(':'); colon != std::string::npos && name.find(']', colon) == std::string::npos)
    name.resize(colon);
  return "https://" + name;
}

Forwarder::Forwarder(std::string plain, std::string secure, std::string ca_file, uint64_t max_reply_bytes)
    : plain_(std::move(plain)),
      secure_(std::move(secure)),
      ca_file_(std::move(ca_file)),
      max_reply_bytes_(max_reply_bytes) {
  curl_global_init(CURL_GLOBAL_DEFAULT);
}

std::optional<ForwardedReply> Forwarder::forward(const TraceMessage &request, bool secure,
                                                 std::string *why) const {
  // The start line is "METHOD TARGET VERSION"; the target keeps its query.
  const size_t first = request.start.find(' ');
  const size_t last = request.start.rfind(' ');
  if (first == std::string::npos || last <= first) {
    *why = "a request line it cannot read";
    return std::nullopt;
  }
  const std::string method = request.start.substr(0, first);
  const std::string url = base(secure) + request.start.substr(first + 1, last - first - 1);

  std::unique_ptr<CURL, EasyRelease> easy(curl_easy_init());
  curl_slist *raw_list = curl_slist_append(nullptr, "Expect:");
  for (const auto &[name, value] : request.headers)
    if (!hop_header(name)) raw_list = curl_slist_append(raw_list, (name + ": " + value).c_str());
  std::unique_ptr<curl_slist, ListRelease> headers(raw_list);
  if (easy == nullptr || headers == nullptr) {
    *why = "out of memory";
    return std::nullopt;
  }
  Received received{{}, max_reply_bytes_};
  char error[CURL_ERROR_SIZE] = "";
  CURL *e = easy.get();
  curl_easy_setopt(e, CURLOPT_URL, url.c_str());
  curl_easy_setopt(e, CURLOPT_CUSTOMREQUEST, method.c_str());
  if (!request.body.empty() || method == "POST" || method == "PUT") {
    curl_easy_setopt(e, CURLOPT_POSTFIELDS, request.body.data());
    curl_easy_setopt(e, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
  }
  curl_easy_setopt(e, CURLOPT_HTTPHEADER, headers.get());
  curl_easy_setopt(e, CURLOPT_WRITEFUNCTION, take_body);
  curl_easy_setopt(e, CURLOPT_WRITEDATA, &received);
  curl_easy_setopt(e, CURLOPT_HEADERFUNCTION, take_header);
  curl_easy_setopt(e, CURLOPT_HEADERDATA, &received);
  curl_easy_setopt(e, CURLOPT_ERRORBUFFER, error);
  curl_easy_setopt(e, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(e, CURLOPT_CONNECTTIMEOUT, 10L);
  curl_easy_setopt(e, CURLOPT_TIMEOUT, 120L);
  if (!ca_file_.empty()) curl_easy_setopt(e, CURLOPT_CAINFO, ca_file_.c_str());
  CURLcode result = curl_easy_perform(e);
  if (received.too_large) {
    *why = "its answer is larger than " + std::to_string(max_reply_bytes_) + " bytes";
    return std::nullopt;
  }
  if (result != CURLE_OK) {
    *why = error[0] != '\0' ? error : curl_easy_strerror(result);
    return std::nullopt;
  }
  long status = 0;
  curl_easy_getinfo(e, CURLINFO_RESPONSE_CODE, &status);
  received.reply.status = static_cast<int>(status);
  return std::move(received.reply);
}

}  // namespace gateway_sim
