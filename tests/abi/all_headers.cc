/* Every public header compiles as C (and, as all_headers.cc, as C++). */
#include "pd-plugin/pd_data.h"
#include "pd-plugin/pd_export.h"
#include "pd-plugin/pd_plugin.h"
#include "pd-plugin/pd_records.h"
#include "pd-plugin/pd_settings.h"
#include "pd-plugin/pd_upload.h"
#include "pd-plugin/pd_xml_activity.h"
#include "pd-plugin/pd_xml_album.h"
#include "pd-plugin/pd_xml_base.h"
#include "pd-plugin/pd_xml_comment.h"
#include "pd-plugin/pd_xml_element.h"
#include "pd-plugin/pd_xml_friend.h"
#include "pd-plugin/pd_xml_message.h"
#include "pd-plugin/pd_xml_people.h"
#include "sns-tiface/sns_nt.h"
#include "sns-tiface/sns_nt_progress.h"

int main(void) { return 0; }
