/* The photo upload exchange (engine request 9): the upload data record that
 * travels as private data of every request of the exchange, the upload
 * location the gateway names, and the photo record it answers at the end. */
#ifndef PD_PLUGIN_PD_UPLOAD_H
#define PD_PLUGIN_PD_UPLOAD_H

#include <stdint.h>

#include "pd-plugin/pd_export.h"

PD_BEGIN_DECLS

#define PD_UPLOAD_CHUNK_SIZE 65536u
#define PD_UPLOAD_MAX_PATH 5242880u

/* Upload states. */
enum pd_upload_state {
  PD_UPLOAD_WAIT_LOCATION = 0, /* add-photo request sent */
  PD_UPLOAD_FIRST_CHUNK = 1,   /* first chunk sent, more to follow */
  PD_UPLOAD_MORE_CHUNKS = 2,   /* a further chunk sent, more to follow */
  PD_UPLOAD_LAST_CHUNK = 3     /* last chunk sent, waiting for the photo */
};

/* Step status of pd_handle_upload_response. */
enum pd_upload_step {
  PD_UPLOAD_STEP_SENT = 2,     /* a further request was sent */
  PD_UPLOAD_STEP_DONE = 3,     /* finished: the result is the photo record */
  PD_UPLOAD_STEP_FAILED = 4
};

/* Upload location (parser index 29). */
typedef struct xml_photo_upload_location {
  char *pszFileName;   /* "FileName" */
  char *pszHostAddr;   /* "HostAddr" */
  char *pszResourceID; /* "ResourceID" */
  char *pszExpires;    /* "Expires" */
} xml_photo_upload_location;

/* The uploaded photo (parser index 30); the engine owns it. */
typedef struct xml_photo {
  char *pszID;      /* "ID" */
  char *pszAlbumID; /* "AlbumID" */
  char *pszSP;      /* "SP" */
  char *pszStatus;  /* "Status" */
} xml_photo;

/* Upload data record. */
typedef struct pd_upload_data {
  char *pszFileName;
  uint32_t uState;   /* enum pd_upload_state */
  int32_t iFileSize; /* taken when the location arrives */
  uint32_t uOffset;  /* bytes of the file already read into chunks */
  xml_photo_upload_location *pstLocation;
} pd_upload_data;

/* A new upload data record for the photo at `path` (the path is copied), in
 * state 0; null for a null path. A path of PD_UPLOAD_MAX_PATH characters or
 * more stops the process with an assertion. */
PD_API pd_upload_data *sns_photo_upload_init(const char *path);

/* Stores `state`; 1, or 0 for a null record. */
PD_API int sns_photo_upload_set_state(pd_upload_data *upload, uint32_t state);

/* One step of the exchange for a reply to a request of the upload (the
 * transport's response record). `status` is preset to 4 by the caller and
 * left at 2 (a further request was sent), 3 (finished: the result is the
 * photo record, or a negative gateway error) or 4 (failed). */
PD_API intptr_t pd_handle_upload_response(void *response, pd_upload_data *upload,
                                          int32_t *status);

/* Empty records of the exchange. */
PD_API xml_photo_upload_location *__xml_photo_upload_location_init(void);
PD_API xml_photo *__xml_photo_init(void);

/* Releases the photo record that ends an upload (the engine's); null is
 * ignored. */
PD_API void __xml_photo_delete(xml_photo *photo);

/* How a transport learns the length of an upload chunk (request kind 2).
 * Only the first chunk's request carries its length; later ones carry 0.
 * The upload data record in the private data has already been advanced past
 * the chunk when it is sent, and every chunk but the last is exactly
 * PD_UPLOAD_CHUNK_SIZE bytes, so the chunk ending at `uOffset` is the
 * remainder of that offset. */
static inline uint32_t pd_upload_chunk_length(const pd_upload_data *upload,
                                              uint32_t body_length) {
  if (body_length != 0 || upload == 0 || upload->uOffset == 0) return body_length;
  return ((upload->uOffset - 1u) % PD_UPLOAD_CHUNK_SIZE) + 1u;
}

PD_END_DECLS

#endif
