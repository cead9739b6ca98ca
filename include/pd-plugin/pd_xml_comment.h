/* Comments: the answer to posting a comment (engine requests 11 and 12,
 * parser index 6) and the comments of an item (engine requests 8 and 13,
 * parser index 7). Both release operations release the whole list. */
#ifndef PD_PLUGIN_PD_XML_COMMENT_H
#define PD_PLUGIN_PD_XML_COMMENT_H

#include <stdint.h>

#include "pd-plugin/pd_export.h"

PD_BEGIN_DECLS

/* One posted comment as the gateway confirms it. */
typedef struct xml_comment_post_comment {
  char *pszID;       /* "ID" of "Comment" */
  char *pszTargetID; /* "TargetID": the item commented on */
  char *pszResult;   /* "Result" */
  struct xml_comment_post_comment *pstNext;
} xml_comment_post_comment;

typedef struct xml_comment_post {
  xml_comment_post_comment *pstComment; /* first, null when none */
} xml_comment_post;

typedef struct xml_comment_retrieve_comment {
  char *pszID;                 /* "ID" of "Comment" */
  char *pszSP;                 /* "SP" */
  char *pszTargetID;           /* "TargetID" */
  char *pszCreateTime;         /* "CreateTime" */
  char *pszRecommend;          /* "Recommend" (see __data_Recommend) */
  char *pszContent;            /* text of "Content" */
  char *pszCommenterID;        /* "ID" of "Commenter" */
  char *pszCommenterName;      /* "Name" of "Commenter" */
  char *pszCommenterPhotoURL;  /* "URL" of the commenter's "ProfilePhoto" */
  struct xml_comment_retrieve_comment *pstNext;
} xml_comment_retrieve_comment;

typedef struct xml_comment_retrieve {
  char *pszReserved1;    /* never filled */
  char *pszReserved2;    /* never filled */
  char *pszStartContext; /* "StartContext" of the root */
  char *pszHasNext;      /* "HasNext" of the root */
  xml_comment_retrieve_comment *pstComment; /* first, null when none */
} xml_comment_retrieve;

PD_API xml_comment_post *__xml_comment_post_init(void);
/* A new, empty node appended to the list whose head is *head (a free node
 * for a null head address). */
PD_API xml_comment_post_comment *__xml_comment_post_comment_init(
    xml_comment_post_comment **head);
/* Release a post record and its whole list; null is ignored. */
PD_API void xml_comment_post_delete(xml_comment_post *record);
PD_API void __xml_comment_post_delete(xml_comment_post *record);

PD_API xml_comment_retrieve *__xml_comment_retrieve_init(void);
PD_API xml_comment_retrieve_comment *__xml_comment_retrieve_comment_init(
    xml_comment_retrieve *record);
/* The last comment, or null. */
PD_API xml_comment_retrieve_comment *__xml_comment_retrieve_get_last_comment(
    xml_comment_retrieve *record);
PD_API void xml_comment_retrieve_delete(xml_comment_retrieve *record);
PD_API void __xml_comment_retrieve_delete(xml_comment_retrieve *record);

/* 1 for exactly "true", otherwise 0 (null included). */
PD_API int32_t __data_Recommend(const char *text);

PD_END_DECLS

#endif
