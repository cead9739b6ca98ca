#include "sns_double.h"

#include <cstdlib>
#include <mutex>

#include "pd-plugin/pd_upload.h"

namespace {

struct Handle {
  sns_nt_response_cb callback = nullptr;
};

std::recursive_mutex g_mutex;  // respond() may be re-entered from the callback
std::vector<sns_double::Recorded> g_requests;
int g_init_result = 0, g_connect_result = 0, g_finalized = 0;

}  // namespace

namespace sns_double {

void reset() {
  std::lock_guard<std::recursive_mutex> lock(g_mutex);
  for (Recorded &recorded : g_requests) {
    std::free(recorded.request->pszUrl);
    std::free(recorded.request->pheader);
    std::free(recorded.request->pBody);
    std::free(recorded.request);
  }
  g_requests.clear();
  g_init_result = g_connect_result = g_finalized = 0;
}

void set_results(int init, int connect) {
  std::lock_guard<std::recursive_mutex> lock(g_mutex);
  g_init_result = init;
  g_connect_result = connect;
}

int finalized() {
  std::lock_guard<std::recursive_mutex> lock(g_mutex);
  return g_finalized;
}

std::vector<Recorded> requests() {
  std::lock_guard<std::recursive_mutex> lock(g_mutex);
  return g_requests;
}

size_t request_count() { return requests().size(); }

sns_nt_response_cb callback(sns_nt_handle handle) {
  return handle ? static_cast<Handle *>(handle)->callback : nullptr;
}

int respond(size_t index, uint32_t http_status, const char *body, uintptr_t pass_through) {
  std::vector<Recorded> recorded = requests();
  if (index >= recorded.size()) return -1;
  const sns_nt_request &request = *recorded[index].request;
  std::string owned = body ? body : "";
  sns_nt_response response{};
  response.uReqId = request.uReqId;
  response.uReqCode = request.uReqCode;
  response.uHttpStatus = http_status;
  response.pBody = body ? owned.data() : nullptr;
  response.uBodyLen = static_cast<uint32_t>(owned.size());
  response.pInstance = request.pInstance;
  response.uPassThrough = pass_through;
  response.pPrivData = request.pPrivData;
  return deliver(request.hTransport, &response);
}

int deliver(sns_nt_handle handle, void *response) {
  sns_nt_response_cb cb = callback(handle);
  return cb ? cb(response) : -1;
}

}  // namespace sns_double

extern "C" {

int sns_nt_init(sns_nt_handle *out) {
  std::lock_guard<std::recursive_mutex> lock(g_mutex);
  if (out) *out = new Handle;
  return g_init_result;
}

int sns_nt_connect(sns_nt_handle) {
  std::lock_guard<std::recursive_mutex> lock(g_mutex);
  return g_connect_result;
}

int sns_nt_setattr(sns_nt_handle h, int id, int kind, void *value) {
  if (h && id == SNS_NT_ATTR_RESPONSE_CB && kind == 1)
    static_cast<Handle *>(h)->callback = reinterpret_cast<sns_nt_response_cb>(value);
  return 0;
}

int sns_nt_sendreq(sns_nt_handle, void *record) {
  auto *request = static_cast<sns_nt_request *>(record);
  sns_double::Recorded recorded{request, request->pszUrl ? request->pszUrl : "",
                                request->pheader ? request->pheader : "", "", 0};
  uint32_t length = request->uBodyLen;
  if (request->uKind == SNS_NT_KIND_CHUNK) {
    auto *upload = static_cast<const pd_upload_data *>(request->pPrivData);
    length = pd_upload_chunk_length(upload, request->uBodyLen);
    if (upload) recorded.upload_state = upload->uState;
  }
  if (request->pBody) recorded.body.assign(request->pBody, length);
  std::lock_guard<std::recursive_mutex> lock(g_mutex);
  g_requests.push_back(std::move(recorded));
  return 0;
}

int sns_nt_finalize(sns_nt_handle h) {
  std::lock_guard<std::recursive_mutex> lock(g_mutex);
  ++g_finalized;
  delete static_cast<Handle *>(h);
  return 0;
}

}  // extern "C"
