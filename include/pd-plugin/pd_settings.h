/* The plug-in's settings in GConf, addressed by index:
 *   0 /Apps/Sns/Persistkey      1 /Apps/Sns/Sessionkey
 *   2 /Apps/Sns/Remembermecheckbox   3 /Apps/Sns/Emailaddress
 *   4 /Apps/Sns/Loginpeopleid   5 /Apps/Sns/UserName   6 /Apps/Sns/Password */
#ifndef PD_PLUGIN_PD_SETTINGS_H
#define PD_PLUGIN_PD_SETTINGS_H

#include <stdint.h>

#include "pd-plugin/pd_export.h"

PD_BEGIN_DECLS

enum pd_setting {
  PD_SETTING_PERSIST_KEY = 0,
  PD_SETTING_SESSION_KEY = 1,
  PD_SETTING_REMEMBER_ME = 2,
  PD_SETTING_EMAIL = 3,
  PD_SETTING_LOGIN_PEOPLE_ID = 4,
  PD_SETTING_USER_NAME = 5,
  PD_SETTING_PASSWORD = 6
};

/* 1 when a GConf client was obtained, 0 when none. */
PD_API int sns_gconf_init(void);

/* 1 when the key holds a non-empty value. The value is copied whole into
 * `out`, which must be large enough for any stored value: the copy is not
 * bounded. */
PD_API int sns_gconf_get_string(uint32_t index, char *out);

/* 1 when the value was handed to GConf. */
PD_API int sns_gconf_set_string(uint32_t index, const char *value);

PD_END_DECLS

#endif
