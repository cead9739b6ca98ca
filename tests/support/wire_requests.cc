#include "support/wire_requests.h"

#include <chrono>
#include <cstdlib>
#include <cstring>

namespace pd_test {
namespace {

char *copy_text(const std::string &text) {
  char *copy = static_cast<char *>(std::malloc(text.size() + 1));
  std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

sns_nt_request *new_request(sns_nt_handle handle, uint32_t id, uint32_t code,
                            const std::string &url) {
  auto *request = static_cast<sns_nt_request *>(std::calloc(1, sizeof(sns_nt_request)));
  request->hTransport = handle;
  request->uReqId = id;
  request->uReqCode = code;
  request->pszUrl = copy_text(url);
  return request;
}

}  // namespace

sns_nt_request *xml_request(sns_nt_handle handle, uint32_t id, uint32_t code,
                            const std::string &url, const std::string &body, void *instance,
                            void *caller) {
  sns_nt_request *request = new_request(handle, id, code, url);
  request->uKind = SNS_NT_KIND_XML;
  request->uWord20 = 9;
  request->pBody = copy_text(body);
  request->uBodyLen = static_cast<uint32_t>(body.size());
  request->pInstance = instance;
  request->pCallerData = caller;
  return request;
}

sns_nt_request *chunk_request(sns_nt_handle handle, uint32_t id, const std::string &url,
                              const std::string &chunk, bool first, pd_upload_data *upload) {
  sns_nt_request *request = new_request(handle, id, 9, url);
  request->uKind = SNS_NT_KIND_CHUNK;
  request->uWord16 = 9;
  request->uWord20 = 9;
  request->pheader = static_cast<char *>(std::calloc(4096, 1));
  std::strcpy(request->pheader, "Content-Type: image/jpg\r\n");
  request->pBody = static_cast<char *>(std::calloc(chunk.size() + 1, 1));
  std::memcpy(request->pBody, chunk.data(), chunk.size());
  request->uBodyLen = first ? static_cast<uint32_t>(chunk.size()) : 0;
  request->pPrivData = upload;
  request->uUploadValue = 20;
  return request;
}

Responses &Responses::instance() {
  static Responses responses;
  return responses;
}

int Responses::callback(void *record) {
  Responses &self = instance();
  const auto *response = static_cast<const sns_nt_response *>(record);
  std::function<void(const sns_nt_response &)> hook;
  {
    std::lock_guard<std::mutex> lock(self.mutex_);
    hook = self.hook_;
  }
  if (hook) hook(*response);
  Delivered delivered{*response, std::nullopt};
  if (response->pBody != nullptr) delivered.body.emplace(response->pBody, response->uBodyLen);
  std::lock_guard<std::mutex> lock(self.mutex_);
  self.delivered_.push_back(std::move(delivered));
  self.changed_.notify_all();
  return 0;
}

void Responses::on_response(std::function<void(const sns_nt_response &)> hook) {
  std::lock_guard<std::mutex> lock(mutex_);
  hook_ = std::move(hook);
}

bool Responses::wait_for(size_t count, double seconds) {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, std::chrono::duration<double>(seconds),
                           [&] { return delivered_.size() >= count; });
}

std::vector<Delivered> Responses::all() {
  std::lock_guard<std::mutex> lock(mutex_);
  return delivered_;
}

void Responses::clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  delivered_.clear();
}

}  // namespace pd_test
