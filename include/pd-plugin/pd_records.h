/* Every record that a notification's result can point to, with the
 * operations that release and print them.
 *
 * Which record a result holds depends on the engine request code of the
 * notification; a negative result is a gateway error number instead:
 *   0        xml_base                      xml_login_delete(&record)
 *   4        xml_activity_get              xml_activity_get_delete (first activity)
 *   5        xml_people_profile_set        xml_people_profile_set_delete
 *   8, 13    xml_comment_retrieve          xml_comment_retrieve_delete
 *   11, 12   xml_comment_post              xml_comment_post_delete
 *   17       xml_photo_album_get           xml_photo_album_get_delete
 *   18       xml_photo_album_photo_list    (released by the engine)
 *   29       xml_friend_grouping_retrieve  __xml_friend_grouping_retrieve_delete
 *   30       xml_people_search             xml_people_search_delete (first person)
 *   32       xml_message_folder_retrieve   (released by the engine)
 *   34       none: null, or a gateway error number */
#ifndef PD_PLUGIN_PD_RECORDS_H
#define PD_PLUGIN_PD_RECORDS_H

#include "pd-plugin/pd_xml_activity.h"
#include "pd-plugin/pd_xml_album.h"
#include "pd-plugin/pd_xml_base.h"
#include "pd-plugin/pd_xml_comment.h"
#include "pd-plugin/pd_xml_element.h"
#include "pd-plugin/pd_xml_friend.h"
#include "pd-plugin/pd_xml_message.h"
#include "pd-plugin/pd_xml_people.h"

#endif
