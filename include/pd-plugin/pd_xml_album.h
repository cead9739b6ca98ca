/* Photo albums: a person's album list (engine request 17, parser index 31)
 * and the photos of one album (engine request 18, parser index 32).
 *
 * The album list is released with xml_photo_album_get_delete. The photo list
 * has no release operation: the engine releases each entry's four texts, the
 * entries, the two texts of the record and the record with free() (or
 * data_Del). */
#ifndef PD_PLUGIN_PD_XML_ALBUM_H
#define PD_PLUGIN_PD_XML_ALBUM_H

#include <stdint.h>

#include "pd-plugin/pd_export.h"

PD_BEGIN_DECLS

typedef struct xml_photo_album_get_album {
  char *pszID;            /* "ID" of "Album" */
  char *pszSP;            /* "SP" */
  char *pszName;          /* "Name" */
  char *pszVisible;       /* "Visible" (see __data_album_get_visible) */
  char *pszPlace;         /* "Place" */
  char *pszCreatorID;     /* "CreatorID" */
  char *pszPhotosCount;   /* "PhotosCount" */
  char *pszDescription;   /* text of "Description" */
  char *pszCoverPhotoURL; /* "URL" of "CoverPhoto" */
  char *pszProfilePhotos; /* "ProfilePhotos" */
  struct xml_photo_album_get_album *pstNext;
} xml_photo_album_get_album;

typedef struct xml_photo_album_get {
  char *pszReserved1;    /* never filled */
  char *pszReserved2;    /* never filled */
  char *pszStartContext; /* "StartContext" of the root */
  char *pszHasNext;      /* "HasNext" of the root */
  xml_photo_album_get_album *pstAlbum; /* first, null when none */
} xml_photo_album_get;

/* One photo of an album. */
typedef struct xml_photo_album_photo {
  char *pszID;           /* "ID" of "Photo" */
  char *pszTitle;        /* "Title" */
  char *pszMainPhotoURL; /* "URL" of the child "MainPhoto" */
  char *pszThumbnailURL; /* "URL" of the child "Thumbnail" */
  uint32_t uReserved;    /* always 0 */
  int32_t iCommentsCount; /* "CommentsCount" as a decimal number, 0 when absent */
  struct xml_photo_album_photo *pstNext;
} xml_photo_album_photo;

typedef struct xml_photo_album_photo_list {
  char *pszReserved1;    /* always null */
  char *pszReserved2;    /* always null */
  char *pszStartContext; /* "StartContext" of the root */
  char *pszHasNext;      /* "HasNext" of the root */
  xml_photo_album_photo *pstPhoto; /* first, null when none */
} xml_photo_album_photo_list;

PD_API xml_photo_album_get *__xml_photo_album_get_init(void);
/* A new, empty album appended to the record's list. */
PD_API xml_photo_album_get_album *__xml_photo_album_get_album_init(xml_photo_album_get *record);
/* The last album, or null. */
PD_API xml_photo_album_get_album *__xml_photo_album_get_last_album(xml_photo_album_get *record);
/* Release an album list and every album in it; null is ignored. */
PD_API void xml_photo_album_get_delete(xml_photo_album_get *record);
PD_API void __xml_photo_album_get_delete(xml_photo_album_get *record);

/* 0 for exactly "true", -1 for any other text, -255 for null. */
PD_API int32_t __data_album_get_visible(const char *text);

PD_END_DECLS

#endif
