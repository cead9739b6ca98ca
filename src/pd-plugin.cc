// The plug-in frame: the instance and its entry points, the dispatch of
// engine requests to gateway operations, and the dispatch of transport
// replies to the parsers and on to the engine.
#define PD_LOG_SOURCE "plugins/client-plugin/palisade/src/pd-plugin"

#include "pd-plugin/pd_plugin.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "composer/pd_api_composer.h"
#include "frame.h"
#include "log.h"
#include "parser/pd_parser.h"
#include "parser/pdXmlPhoto.h"
#include "pd-plugin/pd_settings.h"
#include "pd-plugin/pd_upload.h"
#include "pd_assert.h"
#include "sns-tiface/sns_nt.h"

namespace {

// ---------------------------------------------------------------------------
// Request routes: one row per engine request code 0..34.

// Composes the gateway request of one engine request from its parameter
// block; null when nothing could be composed.
using Compose = sns_composed_request *(*)(void *params);

struct RequestRoute {
  Compose compose;    // null: the code is not served and is refused
  uint32_t category;  // method category of the URL
  bool upload;        // the photo upload: the request carries an upload record
};

constexpr uint32_t kCodeCount = PD_REQ_LAST + 1;

// The parameter block is the engine's pointer: an array of texts for the
// codes that take several words, the text itself for those that take one.
char **words(void *params) { return static_cast<char **>(params); }
const char *text(void *params) { return static_cast<const char *>(params); }

// Codes without a row are not served and are refused.
constexpr std::array<RequestRoute, kCodeCount> kRequestRoutes = [] {
  std::array<RequestRoute, kCodeCount> routes{};
  routes[PD_REQ_LOGIN] = {[](void *p) { return _compose_torvane_gateway_login(words(p)); }, 1, false};
  routes[PD_REQ_ACTIVITY_FEED] = {[](void *) { return _compose_torvane_gateway_get_status(); }, 9, false};
  routes[PD_REQ_SET_STATUS] = {[](void *p) { return _compose_torvane_gateway_add_status(text(p)); }, 4, false};
  routes[PD_REQ_GET_PHOTO_COMMENTS] = {
      [](void *p) { return _compose_torvane_gateway_get_comment_status(text(p), "photo"); }, 14, false};
  routes[PD_REQ_UPLOAD_PHOTO] = {
      [](void *p) { return _compose_torvane_gateway_add_photo(words(p)[0], words(p)[1]); }, 11, true};
  routes[PD_REQ_COMMENT_PHOTO] = {
      [](void *p) { return _compose_torvane_gateway_comment_status(words(p), "photo"); }, 14, false};
  routes[PD_REQ_COMMENT_ACTIVITY] = {
      [](void *p) { return _compose_torvane_gateway_comment_status(words(p), "activity"); }, 14, false};
  routes[PD_REQ_GET_ACTIVITY_COMMENTS] = {
      [](void *p) { return _compose_torvane_gateway_get_comment_status(text(p), "activity"); }, 14, false};
  routes[PD_REQ_ALBUM_LIST] = {[](void *) { return _compose_torvane_gateway_get_album_list(); }, 12, false};
  routes[PD_REQ_ALBUM_PHOTOS] = {
      [](void *p) { return _compose_torvane_gateway_get_album_photo_list(text(p)); }, 12, false};
  routes[PD_REQ_LOGOUT] = {[](void *p) { return _compose_torvane_gateway_logout(p); }, 1, false};
  routes[PD_REQ_FRIENDS] = {[](void *) { return _compose_torvane_gateway_get_friends_list(); }, 6, false};
  routes[PD_REQ_PEOPLE_SEARCH] = {[](void *p) { return _compose_torvane_gateway_search(text(p)); }, 39, false};
  routes[PD_REQ_MESSAGE_FOLDER] = {
      [](void *p) { return _compose_torvane_gateway_get_message_folder(text(p)); }, 21, false};
  routes[PD_REQ_SEND_MESSAGE] = {
      [](void *p) { return _compose_torvane_gateway_send_message(words(p)); }, 20, false};
  return routes;
}();

// ---------------------------------------------------------------------------
// Reply branches: one row per engine request code 0..34. The receipt texts
// are the program's own, "recieved" and the borrowed login text included.

struct ReplyBranch {
  const char *receipt;  // null: no branch, the reply gives a null result
  int32_t parser;       // parser index, or -1 when the reply carries no record
};

constexpr const char *kLoginReceipt = "Login response recieved from sns nt\n\n";

constexpr std::array<ReplyBranch, kCodeCount> kReplyBranches = [] {
  std::array<ReplyBranch, kCodeCount> branches{};
  for (ReplyBranch &branch : branches) branch = {nullptr, -1};
  branches[PD_REQ_LOGIN] = {kLoginReceipt, 0};
  branches[PD_REQ_ACTIVITY_FEED] = {kLoginReceipt, 5};
  branches[PD_REQ_SET_STATUS] = {kLoginReceipt, 26};
  branches[PD_REQ_GET_PHOTO_COMMENTS] = {"Get Comment status/photo response recieved\n\n", 7};
  branches[PD_REQ_GET_ACTIVITY_COMMENTS] = {"Get Comment status/photo response recieved\n\n", 7};
  branches[PD_REQ_COMMENT_PHOTO] = {"Comment on status/photo response recieved\n\n", 6};
  branches[PD_REQ_COMMENT_ACTIVITY] = {"Comment on status/photo response recieved\n\n", 6};
  branches[PD_REQ_ALBUM_LIST] = {"Get album list response recieved\n\n", 31};
  branches[PD_REQ_ALBUM_PHOTOS] = {"Get photo of album  response recieved\n\n", 32};
  branches[PD_REQ_FRIENDS] = {kLoginReceipt, 8};
  branches[PD_REQ_PEOPLE_SEARCH] = {kLoginReceipt, 23};
  branches[PD_REQ_MESSAGE_FOLDER] = {"Get Message folder recieved\n\n", 16};
  // Index 15 has no handler: a sent message's reply carries no record
  // unless it is an error.
  branches[PD_REQ_SEND_MESSAGE] = {"Get Message folder recieved\n\n", 15};
  return branches;
}();

// The helpers below do pd_response_cb's work: their lines and assertions
// name it, as the engine's log readers expect.
constexpr const char *kResponseCb = "pd_response_cb";

// Parses the body of a served branch; the branch's receipt line is written.
intptr_t parse_branch(const ReplyBranch &branch, const char *body) {
  PD_LOG_DEBUG_FOR(kResponseCb, "%s", branch.receipt);
  PD_LOG_DEBUG_FOR(kResponseCb, "Body=%s\n\n", PD_STR(body));
  if (body == nullptr) {
    PD_LOG_DEBUG_FOR(kResponseCb, "Body is NULL... failed\n\n");
    return 0;
  }
  return __xml_parser(static_cast<uint32_t>(branch.parser), body);
}

// The photo upload's replies. Returns false when no notification must be
// delivered: a further chunk is under way, or the reply cannot be followed.
// When a notification is due the exchange is over and its upload data
// record is released here: the transport has no request of it left.
bool upload_branch(const sns_nt_response &response, intptr_t &result, int32_t &parser) {
  PD_LOG_DEBUG_FOR(kResponseCb, "Get Comment status response recieved\n\n");
  PD_LOG_DEBUG_FOR(kResponseCb, "Body=%s\n\n", PD_STR(response.pBody));
  PD_LOG_DEBUG_FOR(kResponseCb, "Private Data is %p\n\n", response.pPrivData);
  if (response.pPrivData == nullptr) {
    PD_LOG_ERROR_FOR(kResponseCb, "Private data is NULL... wat to do now?\n\n");
    return false;
  }
  auto *upload = static_cast<pd_upload_data *>(response.pPrivData);
  PD_LOG_DEBUG_FOR(kResponseCb, "File Name to upload %s\n\n", PD_STR(upload->pszFileName));
  result = 0;
  if (response.pBody == nullptr) {
    PD_LOG_DEBUG_FOR(kResponseCb, "Body is NULL... failed\n\n");
  } else {
    int32_t status = PD_UPLOAD_STEP_FAILED;
    intptr_t step = pd_handle_upload_response(const_cast<sns_nt_response *>(&response), upload,
                                              &status);
    if (status < PD_UPLOAD_STEP_DONE) return false;
    if (status == PD_UPLOAD_STEP_DONE) {
      result = step;
      parser = PD_PARSER_UPLOAD_PHOTO;
    }
  }
  pd::upload::release(upload);
  return true;
}

// `parser` is the index that made the result, or -1.
void deliver(const sns_nt_response &response, pd_engine_cb callback, intptr_t result,
             int32_t parser) {
  auto *pstResponse = static_cast<pd_notification *>(std::calloc(1, sizeof(pd_notification)));
  PD_ASSERT_FOR(kResponseCb, pstResponse);
  pstResponse->iMarker = -1;
  pstResponse->uReqCode = response.uReqCode;
  pstResponse->uHttpStatus = response.uHttpStatus;
  pstResponse->uReqId = response.uReqId;
  pstResponse->uReserved = 0;
  pstResponse->iResult = result;
  pstResponse->uPassThrough = response.uPassThrough;
  if (callback != nullptr) {
    callback(pstResponse);  // the engine owns it from here
  } else {
    // Nobody to hand it to: release it, and the parsed record with it,
    // rather than lose them.
    std::free(pstResponse);
    if (parser >= 0) pd::parser::discard_result(static_cast<uint32_t>(parser), result);
  }
}

}  // namespace

namespace pd::frame {

sns_nt_request *new_request(pd_inst *inst, const RequestShape &shape) {
  // Zero-filled: the words the transport does not read hold no leftovers.
  auto *request = static_cast<sns_nt_request *>(std::calloc(1, sizeof(sns_nt_request)));
  PD_ASSERT_FOR(shape.function, request);
  request->hTransport = inst->hTransport;
  request->uReqId = pd_util_reqid();
  request->uReqCode = shape.code;
  request->uKind = shape.kind;
  request->uWord16 = shape.word16;
  request->uWord20 = 9;
  request->pszUrl = shape.url;
  request->pheader = shape.header;
  request->pBody = shape.body;
  request->uBodyLen = shape.body_length;
  request->pInstance = inst;
  request->pCallerData = inst->pCallerData;
  request->pPrivData = shape.private_data;
  request->uUploadValue = shape.upload_value;
  return request;
}

}  // namespace pd::frame

extern "C" {

// ---------------------------------------------------------------------------
// Entry points

int pd_init(void **handle) {
  PD_LOG_START();
  PD_LOG_DEBUG("This is sample test print:%d\n\n", 123);
  if (handle == nullptr) {
    // Nowhere to put the instance: the engine could never reach it.
    PD_LOG_ERROR("invalid handle\n\n");
    return PD_ERR_INVALID;
  }
  auto *inst = static_cast<pd_inst *>(std::calloc(1, sizeof(pd_inst)));
  PD_ASSERT(inst);
  inst->szAttribute1[0] = '\0';
  inst->szAttribute2[0] = '\0';
  *handle = inst;
  int e_ret = sns_nt_init(&inst->hTransport);
  PD_LOG_DEBUG("sns_nt_init, e_ret :%d,\n\n", e_ret);
  sns_gconf_init();
  e_ret = sns_nt_connect(inst->hTransport);
  PD_LOG_DEBUG("sns_nt_connect, e_ret :%d,\n\n", e_ret);
  sns_nt_setattr(inst->hTransport, SNS_NT_ATTR_RESPONSE_CB, 1,
                 reinterpret_cast<void *>(&pd_response_cb));
  PD_LOG_END();
  return PD_OK;
}

int pd_finalize(void *handle) {
  PD_LOG_START();
  PD_LOG_DEBUG("Handle :%p\n\n", handle);
  int result = PD_OK;
  if (pd_inst *inst = pd::frame::instance(handle)) {
    sns_nt_finalize(inst->hTransport);
    // The transport hands nothing back from here on: an upload still under
    // way ends unheard, and its record is released here.
    pd::upload::release_all_of(inst);
    std::free(inst);
  } else {
    PD_LOG_ERROR("invalid handle\n\n");
    result = PD_ERR_INVALID;
  }
  PD_LOG_END();
  return result;
}

int pd_setattr(void *handle, int id, int kind, void *value) {
  PD_LOG_START();
  pd_inst *inst = pd::frame::instance(handle);
  if (inst == nullptr || value == nullptr) {
    PD_LOG_ERROR("invalid handle\n\n");
    return PD_ERR_INVALID;
  }
  // Independent tests, not an else-chain; a pair acts only when kind == id.
  if (id == PD_ATTR_TEXT1 && kind == PD_ATTR_TEXT1) {
    std::snprintf(inst->szAttribute1, 64, "%s", static_cast<const char *>(value));
    PD_LOG_DEBUG("Attribute ID is set:%s\n\n", inst->szAttribute1);
  }
  if (id == PD_ATTR_TEXT2 && kind == PD_ATTR_TEXT2) {
    std::snprintf(inst->szAttribute2, 64, "%s", static_cast<const char *>(value));
    PD_LOG_DEBUG("Attribute ID is set:%s\n\n", inst->szAttribute2);
  }
  if (id == PD_ATTR_ENGINE_CB && kind == PD_ATTR_ENGINE_CB)
    inst->pfnEngineCb = reinterpret_cast<pd_engine_cb>(value);
  PD_LOG_END();
  return PD_OK;
}

int pd_getattr(void *handle, int id, int *kind, void **value) {
  PD_LOG_START();
  pd_inst *inst = pd::frame::instance(handle);
  if (inst == nullptr) {
    PD_LOG_ERROR("invalid handle\n\n");
    return PD_ERR_INVALID;
  }
  char *text = id == PD_ATTR_TEXT1   ? inst->szAttribute1
               : id == PD_ATTR_TEXT2 ? inst->szAttribute2
                                     : nullptr;
  if (text != nullptr) {
    // Both texts report kind 1.
    if (kind != nullptr) *kind = 1;
    if (value != nullptr) *value = text;
  }
  PD_LOG_END();
  return PD_OK;
}

int pd_sendreq(void *handle, uint32_t code, void *params, void *extra) {
  PD_LOG_START();
  int e_ret = pd_send_pluggin_request(handle, code, params, extra);
  PD_LOG_END();
  return e_ret != 0 ? PD_ERR_INVALID : PD_OK;
}

// ---------------------------------------------------------------------------
// Request dispatch

int pd_send_pluggin_request(void *instance, uint32_t code, void *params, void * /*extra*/) {
  PD_LOG_START();
  pd_inst *inst = pd::frame::instance(instance);
  if (code > PD_REQ_LAST || inst == nullptr) return PD_ERR_NOT_SENT;
  const RequestRoute &route = kRequestRoutes[code];
  if (route.compose == nullptr) return PD_ERR_NOT_SENT;

  pd_upload_data *upload = nullptr;
  if (route.upload) {
    // Word 0 of the block is the photo's path; without it there is nothing
    // to upload.
    upload = sns_photo_upload_init(params ? static_cast<char **>(params)[0] : nullptr);
    PD_LOG_DEBUG("Data address is %p\n\n", static_cast<void *>(upload));
    if (upload == nullptr) return PD_ERR_NOT_SENT;
  }
  sns_composed_request *composed = route.compose(params);
  if (composed == nullptr) {
    pd::upload::release(upload);
    return PD_ERR_NOT_SENT;
  }

  char *url = __network_manager_make_url(composed, route.category);
  char *body = composed->pszBody;
  uint32_t length = body ? static_cast<uint32_t>(std::strlen(body)) : 0;
  sns_nt_request *request = pd::frame::new_request(
      inst, {code, SNS_NT_KIND_XML, 0, url, nullptr, body, length, upload, route.upload ? 20u : 0u,
             __func__});
  // The transport now owns the record, its URL and its body; the composed
  // request itself is the plug-in's and nothing reads it any more.
  std::free(composed);
  pd::upload::track(inst, upload);
  int e_ret = sns_nt_sendreq(inst->hTransport, request);
  // A refused upload never comes back: its record has no one else to go to.
  if (e_ret != 0) pd::upload::release(upload);
  return e_ret;
}

// ---------------------------------------------------------------------------
// Response dispatch

int pd_response_cb(void *response_record) {
  PD_LOG_START();
  auto *response = static_cast<sns_nt_response *>(response_record);
  if (response == nullptr) {
    PD_LOG_DEBUG("Response from the sns nt is NULL... return...\n\n");
    return 0;
  }
  pd_inst *inst = pd::frame::instance(response->pInstance);
  pd_engine_cb callback = inst != nullptr ? inst->pfnEngineCb : nullptr;

  intptr_t result = 0;
  int32_t parser = -1;
  if (response->uHttpStatus == 200 && response->uReqCode < kCodeCount) {
    if (response->uReqCode == PD_REQ_UPLOAD_PHOTO) {
      if (!upload_branch(*response, result, parser)) return 0;
    } else if (const ReplyBranch &branch = kReplyBranches[response->uReqCode]; branch.receipt) {
      result = parse_branch(branch, response->pBody);
      parser = branch.parser;
    }
  } else if (response->uReqCode == PD_REQ_UPLOAD_PHOTO) {
    // A failed exchange of an upload ends it: the engine hears the status.
    pd::upload::release(static_cast<pd_upload_data *>(response->pPrivData));
  }
  deliver(*response, callback, result, parser);
  PD_LOG_END();
  return 0;
}

}  // extern "C"
