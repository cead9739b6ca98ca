#include "sns_double.h"

#include <cstdlib>
#include <mutex>

#include "pd-plugin/pd_upload.h"

namespace {
std::recursive_mutex g_mutex;  // a callback may send again
std::vector<sns_double::Recorded> g_requests;
int g_init_result = 0, g_connect_result = 0, g_finalized = 0;
using Lock = std::lock_guard<std::recursive_mutex>;
}  // namespace

namespace sns_double {

void reset() {
  Lock lock(g_mutex);
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
  Lock lock(g_mutex);
  g_init_result = init;
  g_connect_result = connect;
}

int finalized() { Lock lock(g_mutex); return g_finalized; }
std::vector<Recorded> requests() { Lock lock(g_mutex); return g_requests; }
size_t request_count() { return requests().size(); }
sns_nt_response_cb callback(sns_nt_handle handle) {
  return handle ? *static_cast<sns_nt_response_cb *>(handle) : nullptr;
}

int respond(size_t index, uint32_t http_status, const char *body, uintptr_t pass_through) {
  std::vector<Recorded> recorded = requests();
  if (index >= recorded.size()) return -1;
  const sns_nt_request &request = *recorded[index].request;
  std::string owned = body ? body : "";
  sns_nt_response response{0, request.uReqId, request.uReqCode, http_status, 0,
                           body ? owned.data() : nullptr, static_cast<uint32_t>(owned.size()), 0,
                           request.pInstance, pass_through, request.pPrivData};
  return deliver(request.hTransport, &response);
}

int deliver(sns_nt_handle handle, void *response) {
  sns_nt_response_cb cb = callback(handle);
  return cb ? cb(response) : -1;
}

}  // namespace sns_double

// A handle is the callback it was given.
extern "C" {

int sns_nt_init(sns_nt_handle *out) {
  if (out) *out = new sns_nt_response_cb(nullptr);
  Lock lock(g_mutex);
  return g_init_result;
}

int sns_nt_connect(sns_nt_handle) {
  Lock lock(g_mutex);
  return g_connect_result;
}

int sns_nt_setattr(sns_nt_handle h, int id, int kind, void *value) {
  if (h && id == SNS_NT_ATTR_RESPONSE_CB && kind == 1)
    *static_cast<sns_nt_response_cb *>(h) = reinterpret_cast<sns_nt_response_cb>(value);
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
  Lock lock(g_mutex);
  g_requests.push_back(std::move(recorded));
  return 0;
}

int sns_nt_finalize(sns_nt_handle h) {
  delete static_cast<sns_nt_response_cb *>(h);
  Lock lock(g_mutex);
  ++g_finalized;
  return 0;
}

}  // extern "C"
