// Any sequence of transport responses through pd_response_cb: any request
// code, HTTP status and body, with the photo upload's steps carried by a real
// upload data record over real files, and the instance finalized at the end
// with whatever upload is still under way. Each response gets exactly the
// notifications the dispatch promises (none for a chunk sent on, none without
// an upload record), carrying the code, status, id and pass-through word it
// was given and no record where none is due. Every record is released as an
// engine releases it; LeakSanitizer sees whatever is left behind.
//
// An input is a sequence of up to 16 responses, each: a code byte (255: the
// largest code there is), a status byte (below 128: 200, else one of a few
// others), a flags byte (bit 0: no body; bit 1: no upload record for code 9;
// bits 2-4: the file a new upload record names), and the body up to the next
// NUL.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "log.h"
#include "pd-plugin/pd_plugin.h"
#include "pd-plugin/pd_upload.h"
#include "sns_double.h"
#include "support/release_records.h"

namespace {

// Inputs beyond these add no new shapes, only time: every chunk sent reads,
// copies and records 64 KiB.
constexpr size_t kMaxInput = 8192;
constexpr uint32_t kMaxResponses = 16;

constexpr uint32_t kStatuses[] = {0, 199, 201, 204, 302, 404, 500, UINT32_MAX};

// Files an upload may name: around one chunk, several chunks, none at all.
std::vector<std::string> g_files;

std::vector<pd_notification> g_got;

void engine_callback(pd_notification *notification) {
  g_got.push_back(*notification);
  std::free(notification);
}

void check(bool condition) {
  if (!condition) __builtin_trap();
}

// Engine request codes whose notification may carry a record.
bool has_record(uint32_t code) {
  switch (code) {
    case PD_REQ_LOGIN: case PD_REQ_ACTIVITY_FEED: case PD_REQ_SET_STATUS:
    case PD_REQ_GET_PHOTO_COMMENTS: case PD_REQ_UPLOAD_PHOTO: case PD_REQ_COMMENT_PHOTO:
    case PD_REQ_COMMENT_ACTIVITY: case PD_REQ_GET_ACTIVITY_COMMENTS: case PD_REQ_ALBUM_LIST:
    case PD_REQ_ALBUM_PHOTOS: case PD_REQ_FRIENDS: case PD_REQ_PEOPLE_SEARCH:
    case PD_REQ_MESSAGE_FOLDER:
      return true;
    default:
      return false;
  }
}

class Input {
 public:
  Input(const uint8_t *data, size_t size) : data_(data), size_(size) {}
  bool done() const { return at_ >= size_; }
  uint8_t byte() { return at_ < size_ ? data_[at_++] : 0; }
  std::string body() {
    std::string out;
    while (at_ < size_ && data_[at_] != 0) out.push_back(static_cast<char>(data_[at_++]));
    if (at_ < size_) ++at_;
    return out;
  }

 private:
  const uint8_t *data_;
  size_t size_;
  size_t at_ = 0;
};

// An instance as pd_init makes it, without the settings store: a login
// reply would otherwise reach for a GConf daemon on every input.
pd_inst *open_instance() {
  auto *inst = static_cast<pd_inst *>(std::calloc(1, sizeof(pd_inst)));
  sns_nt_init(&inst->hTransport);
  sns_nt_setattr(inst->hTransport, SNS_NT_ATTR_RESPONSE_CB, 1, reinterpret_cast<void *>(&pd_response_cb));
  pd_setattr(inst, PD_ATTR_ENGINE_CB, PD_ATTR_ENGINE_CB, reinterpret_cast<void *>(&engine_callback));
  return inst;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  pd::log::set_level(pd::log::Level::none);
  char pattern[] = "/tmp/pd-fuzz-response.XXXXXX";
  if (mkdtemp(pattern) == nullptr) std::abort();
  static const std::string dir = pattern;
  std::atexit([] {
    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
  });
  for (size_t size : {size_t{0}, size_t{1}, size_t{PD_UPLOAD_CHUNK_SIZE}, size_t{PD_UPLOAD_CHUNK_SIZE + 1},
                      size_t{2 * PD_UPLOAD_CHUNK_SIZE + 1}}) {
    std::string path = dir + "/" + std::to_string(size) + ".jpg";
    std::ofstream(path, std::ios::binary) << std::string(size, 'j');
    g_files.push_back(path);
  }
  g_files.push_back(dir + "/missing.jpg");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size > kMaxInput) return 0;
  pd_inst *inst = open_instance();
  pd_upload_data *under_way = nullptr;  // the upload the gateway is answering
  Input in(data, size);
  for (uint32_t id = 1; !in.done() && id <= kMaxResponses; ++id) {
    uint8_t code_byte = in.byte();
    uint8_t status_byte = in.byte();
    uint8_t flags = in.byte();
    std::string body = in.body();

    sns_nt_response response{};
    response.uReqId = id;
    response.uReqCode = code_byte == 255 ? UINT32_MAX : code_byte;
    response.uHttpStatus = status_byte < 128 ? 200 : kStatuses[status_byte % 8];
    response.pBody = flags & 1 ? nullptr : body.data();
    response.uBodyLen = static_cast<uint32_t>(body.size());
    response.pInstance = inst;
    response.uPassThrough = id * 3u;
    bool upload = response.uReqCode == PD_REQ_UPLOAD_PHOTO && !(flags & 2);
    if (upload) {
      if (under_way == nullptr)
        under_way = sns_photo_upload_init(g_files[((flags >> 2) & 7) % g_files.size()].c_str());
      response.pPrivData = under_way;
    }

    g_got.clear();
    sns_double::deliver(inst->hTransport, &response);

    bool served = response.uHttpStatus == 200 && response.uReqCode <= PD_REQ_LAST;
    if (response.uReqCode == PD_REQ_UPLOAD_PHOTO && served && !upload) {
      check(g_got.empty());  // no upload record: nothing to tell
    } else if (upload && served && response.pBody != nullptr) {
      check(g_got.size() <= 1);  // silent while a further chunk goes
    } else {
      check(g_got.size() == 1);
    }
    if (upload && !g_got.empty()) under_way = nullptr;  // the exchange is over and released

    for (const pd_notification &n : g_got) {
      check(n.iMarker == -1 && n.uReqCode == response.uReqCode &&
            n.uHttpStatus == response.uHttpStatus && n.uReqId == id && n.uReserved == 0 &&
            n.uPassThrough == response.uPassThrough);
      // A sent message's reply carries no record, only what the error
      // check made of it (a negative code counts in positive tens).
      if (!served || (!has_record(n.uReqCode) && n.uReqCode != PD_REQ_SEND_MESSAGE))
        check(n.iResult == 0);
      // A record is an address: a small positive number would be taken for one.
      if (has_record(n.uReqCode)) check(n.iResult <= 0 || n.iResult >= 4096);
      pd_test::release_notification_result(n.uReqCode, n.iResult);
    }
  }
  // The transport hands nothing back after this: an upload still under way
  // is the plug-in's to release.
  check(pd_finalize(inst) == PD_OK);
  sns_double::reset();
  return 0;
}
