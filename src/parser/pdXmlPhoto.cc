// The photo upload: the upload data record, the two reply handlers of the
// exchange, and one step of the exchange per transport reply.
//
// Who owns what. The upload data record is the plug-in's: it travels as the
// private data of every request of the exchange, which the transport hands
// back untouched, and pd_response_cb releases it once the exchange is over
// (see pd::upload::release), or pd_finalize when the instance ends first. Each chunk request, with its URL, header buffer
// and chunk buffer, is the transport's from the moment it is handed to
// sns_nt_sendreq. The location record belongs to the upload data record; the
// photo record that ends the exchange belongs to the engine.
#define PD_LOG_SOURCE "plugins/client-plugin/palisade/src/parser/pdXmlPhoto"

#include "parser/pdXmlPhoto.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <vector>

#include "frame.h"
#include "log.h"
#include "parser/parse_support.h"
#include "parser/pd_parser.h"
#include "pd-plugin/pd_data.h"
#include "pd-plugin/pd_plugin.h"
#include "pd_assert.h"
#include "sns-tiface/sns_nt.h"

namespace {

constexpr uint32_t kLocationParser = 29;
constexpr uint32_t kPhotoParser = 30;
constexpr size_t kUrlSize = 200;
constexpr size_t kHeaderSize = 4096;

using pd::parser::is_element;
using pd::parser::is_named;
using pd::parser::store_attrs;

// Both answers of the exchange are a "Response" root that makes the record
// and one element under it that fills it.
template <class Record, class Fill>
void one_element_answer(uint32_t depth, const char *parent, xmlNode *node, intptr_t *result,
                        Record *(*init)(), const char *element, Fill fill) {
  if (depth == 0) {
    pd::parser::open_reply(node, result, init);
  } else if (depth == 1 && is_element(node, element) && is_named(parent, "Response")) {
    if (Record *record = pd::parser::record_in<Record>(result)) fill(*record);
  }
}

// The helpers below are the steps of pd_handle_upload_response: their lines
// and assertions name it.
constexpr const char *kStep = "pd_handle_upload_response";

void log_location(const xml_photo_upload_location &location) {
  PD_LOG_DEBUG_FOR(kStep, "Upload Location is %s\n\n", PD_STR(location.pszHostAddr));
  PD_LOG_DEBUG_FOR(kStep, "Resource Id is %s\n\n", PD_STR(location.pszResourceID));
}

// A parse result of the frame is a record only when it is positive: null is
// no record, a negative number a gateway error.
template <typename Record>
Record *as_record(intptr_t result) {
  return result > 0 ? reinterpret_cast<Record *>(result) : nullptr;
}

// Reads `length` bytes at `offset` into a zero-filled buffer of `size`
// bytes. False when the file has fewer bytes there than it had when the
// exchange began: the upload cannot go on without sending bytes the file
// does not hold.
bool read_chunk(std::FILE *file, uint32_t offset, uint32_t length, char *buffer) {
  if (std::fseek(file, static_cast<long>(offset), SEEK_SET) != 0) return false;
  return std::fread(buffer, 1, length, file) == length;
}

// Hands one chunk to the transport as a raw request to the upload location.
void send_chunk(const sns_nt_response &response, pd_upload_data *upload, char *chunk,
                uint32_t body_length) {
  auto *inst = static_cast<pd_inst *>(response.pInstance);
  const xml_photo_upload_location &location = *upload->pstLocation;

  auto *psz_url = static_cast<char *>(std::calloc(kUrlSize, 1));
  PD_ASSERT_FOR(kStep, psz_url);
  std::snprintf(psz_url, kUrlSize, "http://%s/%s", PD_STR(location.pszHostAddr),
                PD_STR(location.pszResourceID));

  char *header = static_cast<char *>(std::calloc(kHeaderSize, 1));
  if (header == nullptr) pd::assert_fail("request->pheader", PD_LOG_SOURCE, __LINE__, kStep);
  std::snprintf(header, kHeaderSize, "%s", "Content-Type: image/jpg\r\n");
  sns_nt_request *request = pd::frame::new_request(
      inst, {PD_REQ_UPLOAD_PHOTO, SNS_NT_KIND_CHUNK, 9, psz_url, header, chunk, body_length,
             upload, 20, kStep});
  pd::upload::track(inst, upload);
  // A refused chunk ends the exchange unnoticed by the engine; the
  // transport has released the request, and nothing refers to the upload
  // any more.
  if (sns_nt_sendreq(inst->hTransport, request) != 0) pd::upload::release(upload);
}

// State 0: the gateway named the upload location; the first chunk goes.
void first_chunk(const sns_nt_response &response, pd_upload_data *upload, int32_t &status) {
  intptr_t parsed = __xml_parser(kLocationParser, response.pBody);
  auto *location = as_record<xml_photo_upload_location>(parsed);
  if (location == nullptr) {
    // A gateway error is no location either.
    PD_LOG_ERROR_FOR(kStep, "Error in parsing upload location\n\n");
    status = PD_UPLOAD_STEP_FAILED;
    return;
  }
  log_location(*location);
  pd::upload::location_delete(upload->pstLocation);
  upload->pstLocation = location;

  std::FILE *file = std::fopen(upload->pszFileName, "rb");
  if (file == nullptr) {
    PD_LOG_DEBUG_FOR(kStep, "Uplod File open failed..!!!\n\n");
    status = PD_UPLOAD_STEP_FAILED;
    return;
  }
  std::fseek(file, 0, SEEK_END);
  long end = std::ftell(file);
  // A file beyond what the record's signed 32-bit size can hold counts as a
  // negative size, like a failed ftell.
  upload->iFileSize = end < 0 || end > INT32_MAX ? -1 : static_cast<int32_t>(end);

  // The first chunk starts the file, whatever a reused record held before.
  upload->uOffset = 0;
  uint32_t length;
  char *pszFileContent;
  if (upload->iFileSize > static_cast<int32_t>(PD_UPLOAD_CHUNK_SIZE)) {
    length = PD_UPLOAD_CHUNK_SIZE;
    upload->uOffset += length;
    upload->uState = PD_UPLOAD_FIRST_CHUNK;
    pszFileContent = static_cast<char *>(std::calloc(length, 1));
  } else {
    upload->uState = PD_UPLOAD_LAST_CHUNK;
    if (upload->iFileSize < 0) {
      PD_LOG_ERROR_FOR(kStep, "Memory Allocation Fail\n\n");
      std::fclose(file);
      status = PD_UPLOAD_STEP_FAILED;
      return;
    }
    length = static_cast<uint32_t>(upload->iFileSize);
    upload->uOffset += length;
    pszFileContent = static_cast<char *>(std::calloc(length + 1, 1));
  }
  PD_ASSERT_FOR(kStep, pszFileContent);
  bool complete = read_chunk(file, 0, length, pszFileContent);
  std::fclose(file);
  if (!complete) {
    PD_LOG_ERROR_FOR(kStep, "Upload file changed while it was read\n\n");
    std::free(pszFileContent);
    status = PD_UPLOAD_STEP_FAILED;
    return;
  }
  status = PD_UPLOAD_STEP_SENT;
  send_chunk(response, upload, pszFileContent, length);
}

// States 1 and 2: the gateway accepted a chunk; the next one goes.
void next_chunk(const sns_nt_response &response, pd_upload_data *upload, int32_t &status) {
  if (upload->pstLocation == nullptr) {
    PD_LOG_ERROR_FOR(kStep, "There is no upload Info in the private data... returning\n\n");
    status = PD_UPLOAD_STEP_FAILED;
    return;
  }
  log_location(*upload->pstLocation);
  std::FILE *file = std::fopen(upload->pszFileName, "rb");
  if (file == nullptr) {
    // The caller's preset failure status stands.
    PD_LOG_DEBUG_FOR(kStep, "Uplod File open failed..!!!\n\n");
    return;
  }
  int64_t remaining = static_cast<int64_t>(upload->iFileSize) - upload->uOffset;
  if (remaining < 1) {
    PD_LOG_ERROR_FOR(kStep, "Memory Allocation Fail\n\n");
    std::fclose(file);
    status = PD_UPLOAD_STEP_FAILED;
    return;
  }
  uint32_t length;
  if (remaining > static_cast<int64_t>(PD_UPLOAD_CHUNK_SIZE)) {
    upload->uState = PD_UPLOAD_MORE_CHUNKS;
    length = PD_UPLOAD_CHUNK_SIZE;
  } else {
    upload->uState = PD_UPLOAD_LAST_CHUNK;
    length = static_cast<uint32_t>(remaining);
  }
  auto *pszFileContent = static_cast<char *>(std::calloc(length + 1, 1));
  PD_ASSERT_FOR(kStep, pszFileContent);
  bool complete = read_chunk(file, upload->uOffset, length, pszFileContent);
  std::fclose(file);
  if (!complete) {
    PD_LOG_ERROR_FOR(kStep, "Upload file changed while it was read\n\n");
    std::free(pszFileContent);
    status = PD_UPLOAD_STEP_FAILED;
    return;
  }
  upload->uOffset += length;
  status = PD_UPLOAD_STEP_SENT;
  // Only the first chunk's request carries its length; the transport learns
  // the others from the upload data record.
  send_chunk(response, upload, pszFileContent, 0);
}

// State 3: the last chunk was accepted; the answer describes the photo.
intptr_t last_answer(const sns_nt_response &response, int32_t &status) {
  intptr_t parsed = __xml_parser(kPhotoParser, response.pBody);
  if (parsed == 0) {
    PD_LOG_ERROR_FOR(kStep, "Error in parsing upload location\n\n");
    status = PD_UPLOAD_STEP_FAILED;
    return 0;
  }
  status = PD_UPLOAD_STEP_DONE;
  return parsed;
}

// The exchanges under way, each with the instance that sent it. Kept beside
// the instance record, whose layout is the engine's: once an instance's
// transport is finalized no reply hands its records back, and only this
// list still knows them. An engine has a few uploads going at most.
struct UnderWay {
  pd_upload_data *upload;
  pd_inst *inst;
};
std::mutex g_under_way_mutex;
std::vector<UnderWay> g_under_way;

// Takes `upload` off the list; the caller holds the mutex.
void forget(pd_upload_data *upload) {
  std::erase_if(g_under_way, [upload](const UnderWay &entry) { return entry.upload == upload; });
}

}  // namespace

namespace pd::upload {

void track(pd_inst *inst, pd_upload_data *upload) {
  if (upload == nullptr) return;
  std::lock_guard<std::mutex> lock(g_under_way_mutex);
  forget(upload);
  g_under_way.push_back({upload, inst});
}

void release_all_of(pd_inst *inst) noexcept {
  std::vector<pd_upload_data *> ended;
  {
    std::lock_guard<std::mutex> lock(g_under_way_mutex);
    for (const UnderWay &entry : g_under_way)
      if (entry.inst == inst) ended.push_back(entry.upload);
    std::erase_if(g_under_way, [inst](const UnderWay &entry) { return entry.inst == inst; });
  }
  for (pd_upload_data *upload : ended) release(upload);
}

void location_delete(xml_photo_upload_location *location) noexcept {
  if (location == nullptr) return;
  pd::parser::release_texts(location->pszFileName, location->pszHostAddr,
                            location->pszResourceID, location->pszExpires);
  std::free(location);
}

void release(pd_upload_data *upload) noexcept {
  if (upload == nullptr) return;
  {
    std::lock_guard<std::mutex> lock(g_under_way_mutex);
    forget(upload);
  }
  location_delete(upload->pstLocation);
  std::free(upload->pszFileName);
  std::free(upload);
}

}  // namespace pd::upload

extern "C" {

pd_upload_data *sns_photo_upload_init(const char *path) {
  if (path == nullptr) return nullptr;
  auto *pdata = static_cast<pd_upload_data *>(std::calloc(1, sizeof(pd_upload_data)));
  PD_ASSERT(pdata);
  size_t length = std::strlen(path);
  PD_ASSERT_TEXT(length + 1 <= PD_UPLOAD_MAX_PATH, "0");
  pdata->pszFileName = static_cast<char *>(std::calloc(length + 1, 1));
  PD_ASSERT(pdata->pszFileName);
  if (length > 0) std::memcpy(pdata->pszFileName, path, length);
  pdata->uState = PD_UPLOAD_WAIT_LOCATION;
  pdata->iFileSize = 0;
  pdata->uOffset = 0;
  return pdata;
}

int sns_photo_upload_set_state(pd_upload_data *upload, uint32_t state) {
  if (upload == nullptr) return 0;
  upload->uState = state;
  return 1;
}

xml_photo_upload_location *__xml_photo_upload_location_init(void) {
  return static_cast<xml_photo_upload_location *>(
      std::calloc(1, sizeof(xml_photo_upload_location)));
}

xml_photo *__xml_photo_init(void) {
  return static_cast<xml_photo *>(std::calloc(1, sizeof(xml_photo)));
}

void __xml_photo_delete(xml_photo *photo) {
  if (photo == nullptr) return;
  pd::parser::release_texts(photo->pszID, photo->pszAlbumID, photo->pszSP, photo->pszStatus);
  std::free(photo);
}

void xml_photo_update_location(uint32_t depth, const char *parent, xmlNode *node,
                               intptr_t *result) {
  one_element_answer(depth, parent, node, result, __xml_photo_upload_location_init,
                     "UploadLocation", [node](xml_photo_upload_location &location) {
                       store_attrs(node, {{&location.pszFileName, "FileName"},
                                          {&location.pszHostAddr, "HostAddr"},
                                          {&location.pszResourceID, "ResourceID"},
                                          {&location.pszExpires, "Expires"}});
                     });
}

void xml_photo_upload(uint32_t depth, const char *parent, xmlNode *node, intptr_t *result) {
  one_element_answer(depth, parent, node, result, __xml_photo_init, "Photo",
                     [node](xml_photo &photo) {
                       store_attrs(node, {{&photo.pszID, "ID"},
                                          {&photo.pszAlbumID, "AlbumID"},
                                          {&photo.pszSP, "SP"},
                                          {&photo.pszStatus, "Status"}});
                     });
}

intptr_t pd_handle_upload_response(void *response_record, pd_upload_data *upload,
                                   int32_t *status) {
  int32_t ignored = PD_UPLOAD_STEP_FAILED;
  int32_t &step = status != nullptr ? *status : ignored;
  auto *response = static_cast<const sns_nt_response *>(response_record);
  if (response == nullptr || upload == nullptr || response->pInstance == nullptr) {
    step = PD_UPLOAD_STEP_FAILED;
    return 0;
  }
  switch (upload->uState) {
    case PD_UPLOAD_WAIT_LOCATION:
      first_chunk(*response, upload, step);
      return 0;
    case PD_UPLOAD_FIRST_CHUNK:
    case PD_UPLOAD_MORE_CHUNKS:
      next_chunk(*response, upload, step);
      return 0;
    case PD_UPLOAD_LAST_CHUNK:
      return last_answer(*response, step);
    default:
      // No step produces another state; a record set to one by hand fails.
      step = PD_UPLOAD_STEP_FAILED;
      return 0;
  }
}

}  // extern "C"
