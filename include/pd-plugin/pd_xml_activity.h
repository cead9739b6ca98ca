/* The activity feed (engine request 4, parser index 5): a tree of nodes and
 * holders built out of element records (pd_xml_element.h), the answer to an
 * activity deletion with its two process-wide slots, and the engine's
 * flattened activity record with its printer.
 *
 * Every node and holder is a row of pointers, null when the reply did not
 * carry the part. A holder keeps one element record; a links holder keeps
 * the first link node. Lists are singly linked through pstNext, in document
 * order.
 *
 * Each node and holder kind has an init operation, named after its path in
 * the tree, that takes its parent and returns the new node or holder (a
 * node is appended to its parent's list; a holder takes its parent's slot,
 * and the holder it replaces is released), and a delete operation.
 *
 * Release: xml_activity_get_delete releases the paging head and the FIRST
 * activity only; and every node releases its element record, its holders
 * and the FIRST node of each of its lists, never following pstNext. An
 * engine that wants the whole tree released releases the nodes after each
 * head itself, with the delete of their kind (read each pstNext first). */
#ifndef PD_PLUGIN_PD_XML_ACTIVITY_H
#define PD_PLUGIN_PD_XML_ACTIVITY_H

#include <stdint.h>

#include "pd-plugin/pd_export.h"
#include "pd-plugin/pd_xml_base.h"
#include "pd-plugin/pd_xml_element.h"

PD_BEGIN_DECLS

/* Holders of one element record. */
typedef struct xml_activity_get_content {
  xml_element_content *pstContent;
} xml_activity_get_content;

typedef struct xml_activity_get_profilephoto {
  xml_element_profilephoto *pstProfilePhoto;
} xml_activity_get_profilephoto;

typedef struct xml_activity_get_photothumbnail {
  xml_element_photothumbnail *pstPhotoThumbnail;
} xml_activity_get_photothumbnail;

typedef struct xml_activity_get_thumbnail {
  xml_element_thumbnail *pstThumbnail;
} xml_activity_get_thumbnail;

typedef struct xml_activity_get_link_photo {
  xml_element_link_photo *pstLinkPhoto;
} xml_activity_get_link_photo;

/* A link of a group, note, event or URL: a "Photo" under "Links". */
typedef struct xml_activity_get_link {
  xml_element_link *pstLink;
  xml_activity_get_link_photo *pstLinkPhoto; /* "Link" inside "Link" */
  struct xml_activity_get_link *pstNext;
} xml_activity_get_link;

typedef struct xml_activity_get_links {
  xml_activity_get_link *pstLink; /* first */
} xml_activity_get_links;

typedef struct xml_activity_get_owner {
  xml_element_owner *pstOwner;
  xml_activity_get_profilephoto *pstProfilePhoto;
  xml_activity_get_photothumbnail *pstPhotoThumbnail;
} xml_activity_get_owner;

typedef struct xml_activity_get_group {
  xml_element_group *pstGroup;
  xml_activity_get_content *pstContent;
  xml_activity_get_links *pstLinks;
  struct xml_activity_get_group *pstNext;
} xml_activity_get_group;

typedef struct xml_activity_get_photo {
  xml_element_photo *pstPhoto;
  xml_activity_get_thumbnail *pstThumbnail;
  struct xml_activity_get_photo *pstNext;
} xml_activity_get_photo;

typedef struct xml_activity_get_note {
  xml_element_note *pstNote;
  xml_activity_get_content *pstContent;
  xml_activity_get_links *pstLinks;
  struct xml_activity_get_note *pstNext;
} xml_activity_get_note;

typedef struct xml_activity_get_event {
  xml_element_event *pstEvent;
  xml_activity_get_content *pstContent;
  xml_activity_get_links *pstLinks;
  struct xml_activity_get_event *pstNext;
} xml_activity_get_event;

typedef struct xml_activity_get_url {
  xml_element_url *pstURL;
  xml_activity_get_content *pstContent;
  xml_activity_get_links *pstLinks;
  struct xml_activity_get_url *pstNext;
} xml_activity_get_url;

typedef struct xml_activity_get_video {
  xml_element_video *pstVideo;
  xml_activity_get_content *pstContent;
  xml_activity_get_thumbnail *pstThumbnail;
  struct xml_activity_get_video *pstNext;
} xml_activity_get_video;

typedef struct xml_activity_get_attachedphoto {
  xml_element_attachedphoto *pstAttachedPhoto;
  xml_activity_get_thumbnail *pstThumbnail;
  struct xml_activity_get_attachedphoto *pstNext;
} xml_activity_get_attachedphoto;

typedef struct xml_activity_get_activity {
  xml_element_activity *pstActivity;
  xml_activity_get_content *pstContent;
  xml_activity_get_owner *pstOwner;
  xml_activity_get_group *pstGroup;                 /* first of each list */
  xml_activity_get_photo *pstPhoto;
  xml_activity_get_note *pstNote;
  xml_activity_get_event *pstEvent;
  xml_activity_get_url *pstURL;
  xml_activity_get_video *pstVideo;
  xml_activity_get_attachedphoto *pstAttachedPhoto;
  struct xml_activity_get_activity *pstNext;
} xml_activity_get_activity;

/* The result of an activity reply. */
typedef struct xml_activity_get {
  xml_element_response_base *pstResponseBase; /* "StartContext", "HasNext" */
  xml_activity_get_activity *pstActivity;     /* first, null when none */
} xml_activity_get;

/* Selects the links list that a "Photo" under "Links" and a "Link" inside
 * "Link" go to: 2 note, 3 event, 4 URL (of the first node of that kind of
 * the last activity). Set by a "Links" under "Note", "Event" or "URL" and
 * kept across replies; nothing sets it to 1 (group), so a group's links
 * list stays empty. 0 at load. */
PD_API extern int32_t LinkType;

PD_API xml_activity_get *__xml_activity_get_init(void);
PD_API void __xml_activity_get_delete(xml_activity_get *record);
PD_API void xml_activity_get_delete(xml_activity_get *record);
/* The last activity, or null for a null record or an empty list. */
PD_API xml_activity_get_activity *__xml_activity_get_last_activity(xml_activity_get *record);

PD_API xml_activity_get_activity *__xml_activity_get_activity_init(xml_activity_get *parent);
PD_API void __xml_activity_get_activity_delete(xml_activity_get_activity *node);
PD_API xml_activity_get_content *__xml_activity_get_activity_content_init(
    xml_activity_get_activity *parent);
PD_API void __xml_activity_get_activity_content_delete(xml_activity_get_content *holder);

PD_API xml_activity_get_owner *__xml_activity_get_activity_owner_init(
    xml_activity_get_activity *parent);
PD_API void __xml_activity_get_activity_owner_delete(xml_activity_get_owner *node);
PD_API xml_activity_get_profilephoto *__xml_activity_get_activity_owner_profilephoto_init(
    xml_activity_get_owner *parent);
PD_API void __xml_activity_get_activity_owner_profilephoto_delete(
    xml_activity_get_profilephoto *holder);
PD_API xml_activity_get_photothumbnail *__xml_activity_get_activity_owner_photothumbnail_init(
    xml_activity_get_owner *parent);
PD_API void __xml_activity_get_activity_owner_photothumbnail_delete(
    xml_activity_get_photothumbnail *holder);

/* Groups, notes, events and URLs: the node, its content, its links holder,
 * a link, and a link's link photo. */
#define PD_ACTIVITY_ITEM_FAMILY(kind)                                                          \
  PD_API xml_activity_get_##kind *__xml_activity_get_activity_##kind##_init(                    \
      xml_activity_get_activity *parent);                                                       \
  PD_API void __xml_activity_get_activity_##kind##_delete(xml_activity_get_##kind *node);       \
  PD_API xml_activity_get_content *__xml_activity_get_activity_##kind##_content_init(           \
      xml_activity_get_##kind *parent);                                                         \
  PD_API void __xml_activity_get_activity_##kind##_content_delete(                              \
      xml_activity_get_content *holder);                                                        \
  PD_API xml_activity_get_links *__xml_activity_get_activity_##kind##_links_init(               \
      xml_activity_get_##kind *parent);                                                         \
  PD_API void __xml_activity_get_activity_##kind##_links_delete(xml_activity_get_links *holder);\
  PD_API xml_activity_get_link *__xml_activity_get_activity_##kind##_links_link_init(           \
      xml_activity_get_links *parent);                                                          \
  PD_API void __xml_activity_get_activity_##kind##_links_link_delete(                           \
      xml_activity_get_link *node);                                                             \
  PD_API xml_activity_get_link_photo                                                            \
      *__xml_activity_get_activity_##kind##_links_link_link_photo_init(                         \
          xml_activity_get_link *parent);                                                       \
  PD_API void __xml_activity_get_activity_##kind##_links_link_link_photo_delete(                \
      xml_activity_get_link_photo *holder);

PD_ACTIVITY_ITEM_FAMILY(group)
PD_ACTIVITY_ITEM_FAMILY(note)
PD_ACTIVITY_ITEM_FAMILY(event)
PD_ACTIVITY_ITEM_FAMILY(url)
#undef PD_ACTIVITY_ITEM_FAMILY

PD_API xml_activity_get_photo *__xml_activity_get_activity_photo_init(
    xml_activity_get_activity *parent);
PD_API void __xml_activity_get_activity_photo_delete(xml_activity_get_photo *node);
PD_API xml_activity_get_thumbnail *__xml_activity_get_activity_photo_thumbnail_init(
    xml_activity_get_photo *parent);
PD_API void __xml_activity_get_activity_photo_thumbnail_delete(xml_activity_get_thumbnail *holder);

PD_API xml_activity_get_video *__xml_activity_get_activity_video_init(
    xml_activity_get_activity *parent);
PD_API void __xml_activity_get_activity_video_delete(xml_activity_get_video *node);
PD_API xml_activity_get_content *__xml_activity_get_activity_video_content_init(
    xml_activity_get_video *parent);
PD_API void __xml_activity_get_activity_video_content_delete(xml_activity_get_content *holder);
PD_API xml_activity_get_thumbnail *__xml_activity_get_activity_video_thumbnail_init(
    xml_activity_get_video *parent);
PD_API void __xml_activity_get_activity_video_thumbnail_delete(xml_activity_get_thumbnail *holder);

PD_API xml_activity_get_attachedphoto *__xml_activity_get_activity_attachedphoto_init(
    xml_activity_get_activity *parent);
PD_API void __xml_activity_get_activity_attachedphoto_delete(xml_activity_get_attachedphoto *node);
PD_API xml_activity_get_thumbnail *__xml_activity_get_activity_attachedphoto_thumbnail_init(
    xml_activity_get_attachedphoto *parent);
PD_API void __xml_activity_get_activity_attachedphoto_thumbnail_delete(
    xml_activity_get_thumbnail *holder);

/* The answer to an activity deletion. Its handler, xml_activity_delete_parser
 * (declared with the parsers), keeps the answer in two process-wide slots
 * rather than in a result word: activity_delete gets a record for the
 * "Response" root (its pointer stays null: the "Deleted" record is not
 * linked into it), activity_delete_deleted a record with the "Count" of
 * "Deleted". Each answer replaces the records of the one before without
 * releasing them: they are the engine's, handed out by
 * xml_activity_delete_return (and read from activity_delete_deleted), and
 * released by the engine with the operations below. A record released so
 * while still in its slot leaves the slot empty. */
typedef struct xml_activity_delete_deleted {
  char *pszCount; /* "Count" of "Deleted" */
} xml_activity_delete_deleted;

typedef struct xml_activity_delete {
  xml_activity_delete_deleted *pstDeleted; /* never set by the handler */
} xml_activity_delete;

PD_API extern xml_activity_delete *activity_delete;
PD_API extern xml_activity_delete_deleted *activity_delete_deleted;

/* activity_delete. */
PD_API xml_activity_delete *xml_activity_delete_return(void);
/* Releases the record's deleted record (not its "Count" text) and the
 * record; null is ignored. */
PD_API void xml_activity_delete_delete(xml_activity_delete *record);
PD_API xml_activity_delete *__xml_activity_delete_init(void);
PD_API xml_activity_delete_deleted *__xml_activity_delete_deleted_init(void);
PD_API void __xml_activity_delete_delete(xml_activity_delete *record);
/* Releases the one-word record only: the "Count" text is the caller's. */
PD_API void __xml_activity_delete_deleted_delete(xml_activity_delete_deleted *record);

/* The engine's flattened activity record; the plug-in only prints it.
 * Texts are the engine's (null prints as "(null)"). */
typedef struct db_activity {
  int32_t iResponseHasNext;
  char *pszResponseStartContext;
  char *pszID;
  int32_t iSP;
  char *pszTargetID;
  char *pszActDate;
  char *pszType;
  char *pszContent;
  char *pszOwnerID;
  char *pszOwnerName;
  char *pszOwnerProfilePhotoURL;
  char *pszOwnerIsFriend;
  char *pszRelatedID;
  char *pszRelatedName;
  char *pszURL;
  int32_t iRecommendsCount;
  int32_t iCommentsCount;
  int32_t iCommentable;
  char *pszGroupID;
  char *pszGroupName;
  char *pszGroupContent;
  char *pszGroupCaption;
  char *pszGroupLinkTitle;
  char *pszGroupLinkAuthorName;
  char *pszGroupLinkPhotoURL;
  char *pszPhotoAlbumID;
  char *pszPhotoAlbumName;
  char *pszPhotoAlbumCaption;
  char *pszPhotoID;
  char *pszPhotoThumbnailURL;
  char *pszPhotoResolution;
  char *pszPhotoOwnerName;
  int32_t iPhotoCounts;
  char *pszNoteID;
  char *pszNoteTitle;
  char *pszNoteContent;
  char *pszNoteLinkTitle;
  char *pszNoteLinkAuthorName;
  char *pszNoteLinkPhotoURL;
  char *pszEventID;
  char *pszEventTitle;
  char *pszEventCaption;
  char *pszEventContent;
  char *pszEventDatetime;
  char *pszEventLocation;
  char *pszEventHostname;
  char *pszEventLinkTitle;
  char *pszEventLinkAuthorName;
  char *pszEventLinkPhotoURL;
  char *pszVideoID;
  char *pszVideoTitle;
  char *pszVideoAuthorID;
  char *pszVideoAuthorName;
  char *pszVideoThumbnailURL;
  char *pszVideoSourceURL;
  char *pszVideoSourceType;
  char *pszVideoPlaytimeLength;
} db_activity;

/* A Start line, one line per field (label padded to 27 characters, value in
 * square brackets), an End line; for null only the Start and End lines. */
PD_API void __db_activity_data_print(const db_activity *record);

PD_END_DECLS

#endif
