/* The element records: one flat row of texts per kind of element that the
 * gateway sends (a photo, an owner, a person, a mood ...). The activity,
 * people and message parsers build their trees out of these rows.
 *
 * Every field is an owned copy of an attribute (or, where noted, of the
 * element's text) or null when the reply did not carry it; numbers, times
 * and flags stay text. Each type has three operations:
 *   xml_element_<type>_init()          a new record, every field null
 *   xml_element_<type>_set(record, n)  fills it from element n (declared
 *                                      with the parsers, it takes a libxml2
 *                                      node)
 *   xml_element_<type>_delete(record)  releases the fields and the record;
 *                                      null is ignored
 * The paging head xml_element_response_base (pd_xml_base.h) belongs to the
 * family too. */
#ifndef PD_PLUGIN_PD_XML_ELEMENT_H
#define PD_PLUGIN_PD_XML_ELEMENT_H

#include "pd-plugin/pd_export.h"
#include "pd-plugin/pd_xml_base.h"

PD_BEGIN_DECLS

typedef struct xml_element_link_photo {
  char *pszURL;  /* "URL" */
} xml_element_link_photo;

typedef struct xml_element_thumbnail {
  char *pszURL;  /* "URL" */
} xml_element_thumbnail;

typedef struct xml_element_attachedphoto {
  char *pszID;       /* "ID" */
  char *pszAlbumID;  /* "AlbumID" */
} xml_element_attachedphoto;

typedef struct xml_element_video {
  char *pszID;              /* "ID" */
  char *pszTitle;           /* "Title" */
  char *pszAuthorID;        /* "AuthorID" */
  char *pszAuthorName;      /* "AuthorName" */
  char *pszCaption;         /* "Caption" */
  char *pszSourceURL;       /* "SourceURL" */
  char *pszSourceType;      /* "SourceType" */
  char *pszPlayTimeLength;  /* "PlayTimeLength" */
} xml_element_video;

typedef struct xml_element_url {
  char *pszTitle;    /* "Title" */
  char *pszCaption;  /* "Caption" */
  char *pszValue;    /* "Value" */
} xml_element_url;

typedef struct xml_element_event {
  char *pszID;         /* "ID" */
  char *pszTitle;      /* "Title" */
  char *pszEventTime;  /* "EventTime" */
  char *pszLocation;   /* "Location" */
  char *pszHostName;   /* "HostName" */
} xml_element_event;

typedef struct xml_element_note {
  char *pszID;     /* "ID" */
  char *pszTitle;  /* "Title" */
} xml_element_note;

typedef struct xml_element_photo {
  char *pszAlbumID;       /* "AlbumID" */
  char *pszAlbumName;     /* "AlbumName" */
  char *pszAlbumCaption;  /* "AlbumCaption" */
  char *pszID;            /* "ID" */
  char *pszOwnerName;     /* "OwnerName" */
  char *pszResolution;    /* "Resolution" */
  char *pszAuthorName;    /* "AuthorName" */
  char *pszCounts;        /* "Counts" */
} xml_element_photo;

typedef struct xml_element_link {
  char *pszTitle;       /* "Title" */
  char *pszAuthorName;  /* "AuthorName" */
} xml_element_link;

typedef struct xml_element_group {
  char *pszID;       /* "ID" */
  char *pszName;     /* "Name" */
  char *pszCaption;  /* "Caption" */
} xml_element_group;

typedef struct xml_element_photothumbnail {
  char *pszURL;  /* "URL" */
} xml_element_photothumbnail;

typedef struct xml_element_owner {
  char *pszID;        /* "ID" */
  char *pszName;      /* "Name" */
  char *pszType;      /* "Type" */
  char *pszIsFriend;  /* "IsFriend" */
} xml_element_owner;

typedef struct xml_element_content {
  char *pszContent;  /* text of the element (its first child) */
} xml_element_content;

typedef struct xml_element_activity {
  char *pszID;               /* "ID" */
  char *pszSP;               /* "SP" */
  char *pszTargetID;         /* "TargetID" */
  char *pszActTime;          /* "ActTime" */
  char *pszType;             /* "Type" */
  char *pszRelatedID;        /* "RelatedID" */
  char *pszRelatedName;      /* "RelatedName" */
  char *pszRecommendsCount;  /* "RecommendsCount" */
  char *pszCommentsCount;    /* "CommentsCount" */
  char *pszMobileAuth;       /* "MobileAuth" */
  char *pszCommentable;      /* "Commentable" */
} xml_element_activity;

typedef struct xml_element_sender {
  char *pszID;    /* "ID" */
  char *pszName;  /* "Name" */
} xml_element_sender;

typedef struct xml_element_message {
  char *pszID;        /* "ID" */
  char *pszSendTime;  /* "SendTime" */
  char *pszSP;        /* "SP" */
  char *pszThreadID;  /* "ThreadID" */
  char *pszResult;    /* "Result" */
  char *pszContent;   /* text of the element (its first child) */
} xml_element_message;

typedef struct xml_element_profilephoto {
  char *pszURL;  /* "URL" */
} xml_element_profilephoto;

typedef struct xml_element_receiver {
  char *pszID;    /* "ID" */
  char *pszName;  /* "Name" */
} xml_element_receiver;

typedef struct xml_element_requester {
  char *pszID;    /* "ID" */
  char *pszName;  /* "Name" */
} xml_element_requester;

typedef struct xml_element_deleted {
  char *pszCount;  /* "Count" */
} xml_element_deleted;

typedef struct xml_element_poke {
  char *pszAdd;       /* "Add" */
  char *pszSendTime;  /* "SendTime" */
  char *pszSP;        /* "SP" */
  char *pszHide;      /* "Hide" */
} xml_element_poke;

typedef struct xml_element_friendrequest {
  char *pszID;          /* "ID" */
  char *pszSP;          /* "SP" */
  char *pszCreateTime;  /* "CreateTime" */
  char *pszUnread;      /* "Unread" */
} xml_element_friendrequest;

typedef struct xml_element_description {
  char *pszDescription;  /* text of the element (its first child) */
} xml_element_description;

typedef struct xml_element_relationship {
  char *pszStatus;       /* "Status" */
  char *pszPartnerID;    /* "PartnerID" */
  char *pszPartnerName;  /* "PartnerName" */
} xml_element_relationship;

typedef struct xml_element_attribute_address {
  char *pszType;     /* "Type" */
  char *pszCountry;  /* "Country" */
  char *pszCity;     /* "City" */
  char *pszDetail;   /* "Detail" */
  char *pszZip;      /* "Zip" */
} xml_element_attribute_address;

typedef struct xml_element_attribute_school {
  char *pszName;       /* "Name" */
  char *pszYear;       /* "Year" */
  char *pszDegree;     /* "Degree" */
  char *pszMajor;      /* "Major" */
  char *pszMinor;      /* "Minor" */
  char *pszClub;       /* "Club" */
  char *pszCountry;    /* "Country" */
  char *pszAttending;  /* "Attending" */
} xml_element_attribute_school;

typedef struct xml_element_attribute_work {
  char *pszEmployer;     /* "Employer" */
  char *pszPosition;     /* "Position" */
  char *pszDescription;  /* "Description" */
  char *pszStartMonth;   /* "StartMonth" */
  char *pszEndMonth;     /* "EndMonth" */
  char *pszCountry;      /* "Country" */
  char *pszCity;         /* "City" */
} xml_element_attribute_work;

typedef struct xml_element_attribute_page {
  char *pszID;    /* "ID" */
  char *pszName;  /* "Name" */
} xml_element_attribute_page;

typedef struct xml_element_attribute_group {
  char *pszID;    /* "ID" */
  char *pszName;  /* "Name" */
} xml_element_attribute_group;

typedef struct xml_element_attribute_network {
  char *pszID;    /* "ID" */
  char *pszName;  /* "Name" */
} xml_element_attribute_network;

typedef struct xml_element_attribute_iminfo {
  char *pszIM;    /* "IM" */
  char *pszName;  /* "Name" */
} xml_element_attribute_iminfo;

typedef struct xml_element_attribute_phone_num {
  char *pszType;   /* "Type" */
  char *pszValue;  /* "Value" */
} xml_element_attribute_phone_num;

typedef struct xml_element_attribute_favorite {
  char *pszType;      /* "Type" */
  char *pszFavorite;  /* text of the element (its first child) */
} xml_element_attribute_favorite;

typedef struct xml_element_people {
  char *pszAge;          /* "Age" */
  char *pszBirthday;     /* "Birthday" */
  char *pszBodyType;     /* "BodyType" */
  char *pszChildren;     /* "Children" */
  char *pszCity;         /* "City" */
  char *pszDescription;  /* "Description" */
  char *pszDisplayName;  /* "DisplayName" */
  char *pszDrinker;      /* "Drinker" */
  char *pszEducation;    /* "Education" */
  char *pszEmails;       /* "Emails" */
  char *pszFirstName;    /* "FirstName" */
  char *pszGender;       /* "Gender" */
  char *pszHeadline;     /* "Headline" */
  char *pszHeight;       /* "Height" */
  char *pszID;           /* "ID" */
  char *pszIncome;       /* "Income" */
  char *pszCommentable;  /* "Commentable" */
  char *pszIsFriend;     /* "IsFriend" */
  char *pszLastName;     /* "LastName" */
  char *pszLikeToMeet;   /* "LikeToMeet" */
  char *pszLocation;     /* "Location" */
  char *pszMiddleName;   /* "MiddleName" */
  char *pszName;         /* "Name" */
  char *pszOccupation;   /* "Occupation" */
  char *pszPolicy;       /* "Policy" */
  char *pszPresence;     /* "Presence" */
  char *pszRelation;     /* "Relation" */
  char *pszReligion;     /* "Religion" */
  char *pszCommentable2; /* "Commentable" again: the same value as field 17 */
  char *pszSmoker;       /* "Smoker" */
  char *pszSP;           /* "SP" */
  char *pszWebSite;      /* "WebSite" */
} xml_element_people;

typedef struct xml_element_status {
  char *pszStatus;      /* text of the element (its first child) */
  char *pszCreateTime;  /* "CreateTime" */
  char *pszID;          /* "ID" */
} xml_element_status;

typedef struct xml_element_mood {
  char *pszID;      /* "ID" */
  char *pszIconID;  /* "IconID" */
  char *pszText;    /* "Text" */
} xml_element_mood;

PD_API xml_element_link_photo *xml_element_link_photo_init(void);
PD_API void xml_element_link_photo_delete(xml_element_link_photo *record);
PD_API xml_element_thumbnail *xml_element_thumbnail_init(void);
PD_API void xml_element_thumbnail_delete(xml_element_thumbnail *record);
PD_API xml_element_attachedphoto *xml_element_attachedphoto_init(void);
PD_API void xml_element_attachedphoto_delete(xml_element_attachedphoto *record);
PD_API xml_element_video *xml_element_video_init(void);
PD_API void xml_element_video_delete(xml_element_video *record);
PD_API xml_element_url *xml_element_url_init(void);
PD_API void xml_element_url_delete(xml_element_url *record);
PD_API xml_element_event *xml_element_event_init(void);
PD_API void xml_element_event_delete(xml_element_event *record);
PD_API xml_element_note *xml_element_note_init(void);
PD_API void xml_element_note_delete(xml_element_note *record);
PD_API xml_element_photo *xml_element_photo_init(void);
PD_API void xml_element_photo_delete(xml_element_photo *record);
PD_API xml_element_link *xml_element_link_init(void);
PD_API void xml_element_link_delete(xml_element_link *record);
PD_API xml_element_group *xml_element_group_init(void);
PD_API void xml_element_group_delete(xml_element_group *record);
PD_API xml_element_photothumbnail *xml_element_photothumbnail_init(void);
PD_API void xml_element_photothumbnail_delete(xml_element_photothumbnail *record);
PD_API xml_element_owner *xml_element_owner_init(void);
PD_API void xml_element_owner_delete(xml_element_owner *record);
PD_API xml_element_content *xml_element_content_init(void);
PD_API void xml_element_content_delete(xml_element_content *record);
PD_API xml_element_activity *xml_element_activity_init(void);
PD_API void xml_element_activity_delete(xml_element_activity *record);
PD_API xml_element_sender *xml_element_sender_init(void);
PD_API void xml_element_sender_delete(xml_element_sender *record);
PD_API xml_element_message *xml_element_message_init(void);
PD_API void xml_element_message_delete(xml_element_message *record);
PD_API xml_element_profilephoto *xml_element_profilephoto_init(void);
PD_API void xml_element_profilephoto_delete(xml_element_profilephoto *record);
PD_API xml_element_receiver *xml_element_receiver_init(void);
PD_API void xml_element_receiver_delete(xml_element_receiver *record);
PD_API xml_element_requester *xml_element_requester_init(void);
PD_API void xml_element_requester_delete(xml_element_requester *record);
PD_API xml_element_deleted *xml_element_deleted_init(void);
PD_API void xml_element_deleted_delete(xml_element_deleted *record);
PD_API xml_element_poke *xml_element_poke_init(void);
PD_API void xml_element_poke_delete(xml_element_poke *record);
PD_API xml_element_friendrequest *xml_element_friendrequest_init(void);
PD_API void xml_element_friendrequest_delete(xml_element_friendrequest *record);
PD_API xml_element_description *xml_element_description_init(void);
PD_API void xml_element_description_delete(xml_element_description *record);
PD_API xml_element_relationship *xml_element_relationship_init(void);
PD_API void xml_element_relationship_delete(xml_element_relationship *record);
PD_API xml_element_attribute_address *xml_element_attribute_address_init(void);
PD_API void xml_element_attribute_address_delete(xml_element_attribute_address *record);
PD_API xml_element_attribute_school *xml_element_attribute_school_init(void);
PD_API void xml_element_attribute_school_delete(xml_element_attribute_school *record);
PD_API xml_element_attribute_work *xml_element_attribute_work_init(void);
PD_API void xml_element_attribute_work_delete(xml_element_attribute_work *record);
PD_API xml_element_attribute_page *xml_element_attribute_page_init(void);
PD_API void xml_element_attribute_page_delete(xml_element_attribute_page *record);
PD_API xml_element_attribute_group *xml_element_attribute_group_init(void);
PD_API void xml_element_attribute_group_delete(xml_element_attribute_group *record);
PD_API xml_element_attribute_network *xml_element_attribute_network_init(void);
PD_API void xml_element_attribute_network_delete(xml_element_attribute_network *record);
PD_API xml_element_attribute_iminfo *xml_element_attribute_iminfo_init(void);
PD_API void xml_element_attribute_iminfo_delete(xml_element_attribute_iminfo *record);
PD_API xml_element_attribute_phone_num *xml_element_attribute_phone_num_init(void);
PD_API void xml_element_attribute_phone_num_delete(xml_element_attribute_phone_num *record);
PD_API xml_element_attribute_favorite *xml_element_attribute_favorite_init(void);
PD_API void xml_element_attribute_favorite_delete(xml_element_attribute_favorite *record);
PD_API xml_element_people *xml_element_people_init(void);
PD_API void xml_element_people_delete(xml_element_people *record);
PD_API xml_element_status *xml_element_status_init(void);
PD_API void xml_element_status_delete(xml_element_status *record);
PD_API xml_element_mood *xml_element_mood_init(void);
PD_API void xml_element_mood_delete(xml_element_mood *record);

PD_END_DECLS

#endif
