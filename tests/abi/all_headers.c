/* Every public header compiles as C (and, as all_headers.cc, as C++). */
#include "pd-plugin/pd_data.h"
#include "pd-plugin/pd_export.h"
#include "pd-plugin/pd_plugin.h"
#include "pd-plugin/pd_settings.h"
#include "pd-plugin/pd_upload.h"
#include "sns-tiface/sns_nt.h"
#include "sns-tiface/sns_nt_progress.h"

int main(void) { return 0; }
