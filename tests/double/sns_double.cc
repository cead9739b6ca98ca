#include "sns_double.h"

#include <cstdlib>
#include <cstring>
#include <mutex>

#include "pd-plugin/pd_upload.h"

namespace {

struct Handle {
  sns_nt_response_cb callback = nullptr;
};

std::recursive_mutex g_mutex;  // respond() may be re-entered from the callback
sns_double::Counters g_counters;
std::vector<sns_double::Recorded> g_requests;
int g_init_result = 0, g_connect_result = 0, g_sendreq_result = 0;

void release(sns_nt_request *request) {
  std::free(request->pszUrl);
  std::free(request->pheader);
  std::free(request->pBody);
  std::free(request);
}

}  // namespace

namespace sns_double {

void reset() {
  std::lock_guard<std::recursive_mutex> lock(g_mutex);
  for (Recorded &recorded : g_requests) release(recorded.request);
  g_requests.clear();
  g_counters = {};
  g_init_result = g_connect_result = g_sendreq_result = 0;
}

void set_results(int init, int connect, int sendreq) {
  std::lock_guard<std::recursive_mutex> lock(g_mutex);
  g_init_result = init;
  g_connect_result = connect;
  g_sendreq_result = sendreq;
}

Counters counters() {
  std::lock_guard<std::recursive_mutex> lock(g_mutex);
  return g_counters;
}

std::vector<Recorded> requests() {
  std::lock_guard<std::recursive_mutex> lock(g_mutex);
  return g_requests;
}

size_t request_count() {
  std::lock_guard<std::recursive_mutex> lock(g_mutex);
  return g_requests.size();
}

sns_nt_response_cb callback(sns_nt_handle handle) {
  return handle ? static_cast<Handle *>(handle)->callback : nullptr;
}

int respond(size_t index, uint32_t http_status, const char *body, uintptr_t pass_through) {
  sns_nt_request *request;
  {
    std::lock_guard<std::recursive_mutex> lock(g_mutex);
    if (index >= g_requests.size()) return -1;
    request = g_requests[index].request;
  }
  sns_nt_response response{};
  response.uReqId = request->uReqId;
  response.uReqCode = request->uReqCode;
  response.uHttpStatus = http_status;
  std::string owned = body ? body : "";
  response.pBody = body ? owned.data() : nullptr;
  response.uBodyLen = static_cast<uint32_t>(owned.size());
  response.pInstance = request->pInstance;
  response.uPassThrough = pass_through;
  response.pPrivData = request->pPrivData;
  return deliver(request->hTransport, &response);
}

int deliver(sns_nt_handle handle, void *response) {
  sns_nt_response_cb cb = callback(handle);
  return cb ? cb(response) : -1;
}

}  // namespace sns_double

extern "C" {

int sns_nt_init(sns_nt_handle *out) {
  std::lock_guard<std::recursive_mutex> lock(g_mutex);
  ++g_counters.init;
  if (out) *out = new Handle;
  return g_init_result;
}

int sns_nt_connect(sns_nt_handle) {
  std::lock_guard<std::recursive_mutex> lock(g_mutex);
  ++g_counters.connect;
  return g_connect_result;
}

int sns_nt_setattr(sns_nt_handle h, int id, int kind, void *value) {
  std::lock_guard<std::recursive_mutex> lock(g_mutex);
  ++g_counters.setattr;
  if (h && id == SNS_NT_ATTR_RESPONSE_CB && kind == 1)
    static_cast<Handle *>(h)->callback = reinterpret_cast<sns_nt_response_cb>(value);
  return 0;
}

int sns_nt_sendreq(sns_nt_handle, void *record) {
  std::lock_guard<std::recursive_mutex> lock(g_mutex);
  ++g_counters.sendreq;
  auto *request = static_cast<sns_nt_request *>(record);
  if (g_sendreq_result != 0) {
    // A refusing transport still takes the request over.
    release(request);
    return g_sendreq_result;
  }
  sns_double::Recorded recorded{};
  recorded.request = request;
  if (request->pszUrl) recorded.url = request->pszUrl;
  if (request->pheader) recorded.header = request->pheader;
  uint32_t length = request->uBodyLen;
  if (request->uKind == SNS_NT_KIND_CHUNK) {
    auto *upload = static_cast<const pd_upload_data *>(request->pPrivData);
    length = pd_upload_chunk_length(upload, request->uBodyLen);
    if (upload) {
      recorded.upload_state = upload->uState;
      recorded.upload_offset = upload->uOffset;
    }
  }
  if (request->pBody) recorded.body.assign(request->pBody, length);
  g_requests.push_back(std::move(recorded));
  return 0;
}

int sns_nt_finalize(sns_nt_handle h) {
  std::lock_guard<std::recursive_mutex> lock(g_mutex);
  ++g_counters.finalize;
  delete static_cast<Handle *>(h);
  return 0;
}

}  // extern "C"
