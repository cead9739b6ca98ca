/* People: the answer to a people search (engine request 30, parser index
 * 23), the answer to setting one's status (engine request 5, parser index
 * 26), and the records of a fetched profile.
 *
 * A search result is released with xml_people_search_delete, which releases
 * the FIRST person only: an engine that wants the whole list released
 * releases persons 2..n itself (each one's three element records with their
 * deletes, its photo address with data_Del, then the node; read each pstNext
 * first). The profile records are released whole by
 * xml_people_profile_get_delete. */
#ifndef PD_PLUGIN_PD_XML_PEOPLE_H
#define PD_PLUGIN_PD_XML_PEOPLE_H

#include <stdint.h>

#include "pd-plugin/pd_export.h"
#include "pd-plugin/pd_xml_element.h"

PD_BEGIN_DECLS

/* One person found. The three element records are made with the node. */
typedef struct xml_people_search_people {
  xml_element_people *pstPeople; /* the attributes of "People" */
  xml_element_status *pstStatus; /* "Status" under "People" */
  xml_element_mood *pstMood;     /* stays empty: it is read from an element
                                    named "Mood " (with a blank), which no
                                    reply can hold */
  char *pszProfilePhotoURL;      /* "URL" of "ProfilePhoto" under "People" */
  struct xml_people_search_people *pstNext;
} xml_people_search_people;

typedef struct xml_people_search {
  char *pszReserved1;    /* never filled */
  char *pszReserved2;    /* never filled */
  char *pszStartContext; /* "StartContext" of the root */
  char *pszHasNext;      /* "HasNext" of the root */
  xml_people_search_people *pstPeople; /* first, null when none */
} xml_people_search;

/* The answer to setting one's status: a record for a bare "Response", a
 * null result when the answer holds a "People" element. */
typedef struct xml_people_profile_set {
  char *pszReserved; /* never filled */
} xml_people_profile_set;

/* A fetched profile. No reply fills these records yet; the meaning of the
 * texts is given by whatever fills them. */
typedef struct xml_people_profile_profilephoto {
  char *pszText[2];
  struct xml_people_profile_profilephoto *pstNext;
} xml_people_profile_profilephoto;

typedef struct xml_people_profile_profilephotos {
  xml_people_profile_profilephoto *pstProfilePhoto; /* first entry */
  struct xml_people_profile_profilephotos *pstNext;
} xml_people_profile_profilephotos;

typedef struct xml_people_profile_people {
  char *pszText[15];
  xml_people_profile_profilephotos *pstProfilePhotos; /* first */
  struct xml_people_profile_people *pstNext;
} xml_people_profile_people;

typedef struct xml_people_profile_get {
  xml_people_profile_people *pstPeople; /* first */
} xml_people_profile_get;

PD_API xml_people_search *__xml_people_search_init(void);
/* A new person with its three empty element records, appended to the
 * record's list (free-standing for null). */
PD_API xml_people_search_people *__xml_people_search_people_init(xml_people_search *record);
/* The last person, or null for a null record or an empty list. */
PD_API xml_people_search_people *__xml_poeple_get_last_profile(xml_people_search *record);
/* Releases the texts, the first person and the record; null is ignored. */
PD_API void xml_people_search_delete(xml_people_search *record);
PD_API void __xml_people_search_delete(xml_people_search *record);

PD_API xml_people_profile_set *__xml_people_profile_set_init(void);
PD_API void xml_people_profile_set_delete(xml_people_profile_set *record);
PD_API void __xml_people_profile_set_delete(xml_people_profile_set *record);

/* Each init appends its new, empty node to the list it is given (the
 * record's, the person's, or the list whose head is *head); null gives a
 * free-standing node. */
PD_API xml_people_profile_get *__xml_people_profile_get_init(void);
PD_API xml_people_profile_people *__xml_people_profile_people_init(xml_people_profile_get *record);
PD_API xml_people_profile_profilephotos *__xml_people_profile_profilephotos_init(
    xml_people_profile_people *people);
PD_API xml_people_profile_profilephoto *__xml_people_profile_profilephoto_init(
    xml_people_profile_profilephoto **head);
/* Releases every person with every list under it, and the record. */
PD_API void xml_people_profile_get_delete(xml_people_profile_get *record);
PD_API void __xml_people_profile_get_delete(xml_people_profile_get *record);

PD_END_DECLS

#endif
