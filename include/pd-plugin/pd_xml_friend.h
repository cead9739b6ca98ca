/* The friends list (engine request 29, parser index 8): a result record with
 * a singly linked list of friends, and a flat friend record with fixed-size
 * texts for the engine's own use.
 *
 * __xml_friend_grouping_retrieve_delete releases the result, its texts and
 * the FIRST friend only: it does not follow the list. An engine that wants
 * the whole list released releases friends 2..n itself with
 * __xml_friend_grouping_friend_delete (read each pstNext first). */
#ifndef PD_PLUGIN_PD_XML_FRIEND_H
#define PD_PLUGIN_PD_XML_FRIEND_H

#include <stdint.h>

#include "pd-plugin/pd_export.h"

PD_BEGIN_DECLS

typedef struct xml_friend_grouping_friend {
  char *pszID;                 /*  0: "ID" of "Friend" */
  char *pszSP;                 /*  1: "SP" */
  char *pszGroupingID;         /*  2: "GroupingID" */
  char *pszDisplayName;        /*  3: "DisplayName" */
  char *pszFullName;           /*  4: "FullName" */
  char *pszEmail;              /*  5: "Email" */
  char *pszStatus;             /*  6: text of "Status" */
  char *pszStatusCreateTime;   /*  7: "CreateTime" of "Status" */
  char *pszStatusID;           /*  8: "ID" of "Status" */
  char *pszMoodID;             /*  9: "ID" of "Mood " */
  char *pszMoodIconID;         /* 10: "IconID" of "Mood " */
  char *pszMoodText;           /* 11: "Text" of "Mood " */
  char *pszPresence;           /* 12: "Presence" of "Friend" */
  char *pszLocation;           /* 13: "Location" */
  char *pszCity;               /* 14: "City" */
  char *pszAge;                /* 15: "Age" */
  char *pszRelationType;       /* 16: "Type" of "Relation" */
  char *pszRelationModifyTime; /* 17: "ModifyTime" of "Relation" */
  char *pszProfilePhotoURL;    /* 18: "URL" of "ProfilePhoto" */
  char *pszFollowingNum;       /* 19: "FollowingNum" of "Friendship" under "People" */
  char *pszFollowerNum;        /* 20: "FollowerNum" of "Friendship" under "People" */
  struct xml_friend_grouping_friend *pstNext; /* 21 */
} xml_friend_grouping_friend;

typedef struct xml_friend_grouping_retrieve {
  char *pszReserved1;    /* never filled */
  char *pszReserved2;    /* never filled */
  char *pszStartContext; /* "StartContext" of the root */
  char *pszHasNext;      /* "HasNext" of the root */
  xml_friend_grouping_friend *pstFriend; /* first friend, null when none */
} xml_friend_grouping_retrieve;

PD_API xml_friend_grouping_retrieve *__xml_friend_grouping_retrieve_init(void);
/* A new, empty friend appended to result's list (unlinked for null). */
PD_API xml_friend_grouping_friend *__xml_friend_grouping_friend_init(
    xml_friend_grouping_retrieve *result);
/* The last friend of the list, or null. */
PD_API xml_friend_grouping_friend *__xml_friend_get_last_friend(
    xml_friend_grouping_retrieve *result);
/* Releases the texts, the first friend and the record; null is ignored. */
PD_API void __xml_friend_grouping_retrieve_delete(xml_friend_grouping_retrieve *result);
/* Releases one friend; its pstNext is not followed. */
PD_API void __xml_friend_grouping_friend_delete(xml_friend_grouping_friend *record);

/* The flat friend record. */
#define DB_FRIEND_TEXT_SHORT 100
#define DB_FRIEND_TEXT_NAME 500
#define DB_FRIEND_TEXT_LONG 1000

typedef struct db_friend {
  int32_t iReserved;
  char szID[DB_FRIEND_TEXT_SHORT];
  int32_t iSP;
  char szGroupingID[DB_FRIEND_TEXT_SHORT];
  char szDisplayName[DB_FRIEND_TEXT_NAME];
  char szFullName[DB_FRIEND_TEXT_SHORT];
  char szEmails[DB_FRIEND_TEXT_LONG];
  char szStatus[DB_FRIEND_TEXT_LONG];
  char szStatusCreateAt[DB_FRIEND_TEXT_SHORT];
  char szStatusID[DB_FRIEND_TEXT_SHORT];
  char szMoodID[DB_FRIEND_TEXT_SHORT];
  char szMoodIconID[DB_FRIEND_TEXT_SHORT];
  char szMoodText[DB_FRIEND_TEXT_SHORT];
  int32_t iPresence;
  char szLocation[DB_FRIEND_TEXT_SHORT];
  char szCity[DB_FRIEND_TEXT_SHORT];
  int32_t iAge;
  int32_t iRelationType;
  char szRelationUpdateDate[DB_FRIEND_TEXT_SHORT];
  char szProfilePhotoURL[DB_FRIEND_TEXT_LONG];
  int32_t iFollowingNum;
  int32_t iFollowerNum;
  char szResponseStartContext[DB_FRIEND_TEXT_SHORT];
  int32_t iResponseHasNext;
} db_friend;

/* Empties every field (texts "", numbers 0, sp the value of an unknown
 * provider keyword); null is ignored. */
PD_API void __db_friend_init(db_friend *record);
/* The same for the friend's own fields, without the response fields. */
PD_API void __db_friend_friend_init(db_friend *record);
/* One line per field on standard output; null prints nothing. */
PD_API void __db_friend_print(const db_friend *record);

PD_END_DECLS

#endif
