/* The reply parsers: element handlers of the parser frame (contract in
 * pd_parser.h) and the setters of the element records. They take libxml2
 * nodes, so they live here rather than in the engine's headers; they are
 * exported all the same. */
#ifndef PD_PLUGIN_SRC_PARSER_PD_XML_HANDLERS_H
#define PD_PLUGIN_SRC_PARSER_PD_XML_HANDLERS_H

#include <libxml/tree.h>
#include <stdint.h>

#include "pd-plugin/pd_export.h"
#include "pd-plugin/pd_records.h"

PD_BEGIN_DECLS

/* Login (index 0) and logout (no index: nothing selects it today). */
PD_API void xml_login_parser(uint32_t depth, const char *parent, xmlNode *node, intptr_t *result);
PD_API void xml_logout_parser(uint32_t depth, const char *parent, xmlNode *node, intptr_t *result);

/* Friends list (index 8). */
PD_API void xml_friend_grouping_retrieve_parser(uint32_t depth, const char *parent, xmlNode *node,
                                                intptr_t *result);

/* Comments: posting (index 6) and retrieving (index 7). */
PD_API void xml_comment_post_parser(uint32_t depth, const char *parent, xmlNode *node,
                                    intptr_t *result);
PD_API void xml_comment_retrieve_parser(uint32_t depth, const char *parent, xmlNode *node,
                                        intptr_t *result);

/* Albums (index 31) and the photos of an album (index 32, whole document). */
PD_API void xml_photo_album_get_parser(uint32_t depth, const char *parent, xmlNode *node,
                                       intptr_t *result);
/* The photo-list record for a "Response" root, otherwise null. */
PD_API xml_photo_album_photo_list *xml_photo_album_get_photo_list_parser(xmlNode *root);
/* Appends the "Photo" elements among `first` and its siblings; -1 when an
 * argument is null, otherwise 0. */
PD_API int xml_parse_photo_list(xmlNode *first, xml_photo_album_photo_list *record);

/* Activity feed (index 5), and the answer to an activity deletion, which
 * keeps its records in process-wide slots (no index selects it today). */
PD_API void xml_activity_get_parser(uint32_t depth, const char *parent, xmlNode *node,
                                    intptr_t *result);
PD_API void xml_activity_delete_parser(uint32_t depth, const char *parent, xmlNode *node);

/* People search (index 23) and setting one's status (index 26). */
PD_API void xml_people_search_parser(uint32_t depth, const char *parent, xmlNode *node,
                                     intptr_t *result);
PD_API void xml_people_profile_set_parser(uint32_t depth, const char *parent, xmlNode *node,
                                          intptr_t *result);

/* Message folder (index 16) and the answer to posting a message (no index:
 * a sent message's reply reaches the engine without a record). */
PD_API void xml_message_folder_retrieve_parser(uint32_t depth, const char *parent, xmlNode *node,
                                               intptr_t *result);
PD_API void xml_message_post_parser(uint32_t depth, const char *parent, xmlNode *node,
                                    intptr_t *result);

/* Setters of the element records: copy the element's attributes (and text)
 * into the record's fields in field order; a null record is ignored. */
PD_API void xml_element_response_base_set(xml_element_response_base *record, xmlNode *node);
PD_API void xml_element_link_photo_set(xml_element_link_photo *record, xmlNode *node);
PD_API void xml_element_thumbnail_set(xml_element_thumbnail *record, xmlNode *node);
PD_API void xml_element_attachedphoto_set(xml_element_attachedphoto *record, xmlNode *node);
PD_API void xml_element_video_set(xml_element_video *record, xmlNode *node);
PD_API void xml_element_url_set(xml_element_url *record, xmlNode *node);
PD_API void xml_element_event_set(xml_element_event *record, xmlNode *node);
PD_API void xml_element_note_set(xml_element_note *record, xmlNode *node);
PD_API void xml_element_photo_set(xml_element_photo *record, xmlNode *node);
PD_API void xml_element_link_set(xml_element_link *record, xmlNode *node);
PD_API void xml_element_group_set(xml_element_group *record, xmlNode *node);
PD_API void xml_element_photothumbnail_set(xml_element_photothumbnail *record, xmlNode *node);
PD_API void xml_element_owner_set(xml_element_owner *record, xmlNode *node);
PD_API void xml_element_content_set(xml_element_content *record, xmlNode *node);
PD_API void xml_element_activity_set(xml_element_activity *record, xmlNode *node);
PD_API void xml_element_sender_set(xml_element_sender *record, xmlNode *node);
PD_API void xml_element_message_set(xml_element_message *record, xmlNode *node);
PD_API void xml_element_profilephoto_set(xml_element_profilephoto *record, xmlNode *node);
PD_API void xml_element_receiver_set(xml_element_receiver *record, xmlNode *node);
PD_API void xml_element_requester_set(xml_element_requester *record, xmlNode *node);
PD_API void xml_element_deleted_set(xml_element_deleted *record, xmlNode *node);
PD_API void xml_element_poke_set(xml_element_poke *record, xmlNode *node);
PD_API void xml_element_friendrequest_set(xml_element_friendrequest *record, xmlNode *node);
PD_API void xml_element_description_set(xml_element_description *record, xmlNode *node);
PD_API void xml_element_relationship_set(xml_element_relationship *record, xmlNode *node);
PD_API void xml_element_attribute_address_set(xml_element_attribute_address *record, xmlNode *node);
PD_API void xml_element_attribute_school_set(xml_element_attribute_school *record, xmlNode *node);
PD_API void xml_element_attribute_work_set(xml_element_attribute_work *record, xmlNode *node);
PD_API void xml_element_attribute_page_set(xml_element_attribute_page *record, xmlNode *node);
PD_API void xml_element_attribute_group_set(xml_element_attribute_group *record, xmlNode *node);
PD_API void xml_element_attribute_network_set(xml_element_attribute_network *record, xmlNode *node);
PD_API void xml_element_attribute_iminfo_set(xml_element_attribute_iminfo *record, xmlNode *node);
PD_API void xml_element_attribute_phone_num_set(xml_element_attribute_phone_num *record, xmlNode *node);
PD_API void xml_element_attribute_favorite_set(xml_element_attribute_favorite *record, xmlNode *node);
PD_API void xml_element_people_set(xml_element_people *record, xmlNode *node);
PD_API void xml_element_status_set(xml_element_status *record, xmlNode *node);
PD_API void xml_element_mood_set(xml_element_mood *record, xmlNode *node);

PD_END_DECLS

#ifdef __cplusplus
namespace pd::parser {

// Whole releases, list tails included and without tracing lines, of results
// that nobody can receive; null is ignored.
void discard_activity(xml_activity_get *record) noexcept;
void discard_people_search(xml_people_search *record) noexcept;
void discard_message_folder(xml_message_folder_retrieve *record) noexcept;

}  // namespace pd::parser
#endif

#endif
