// Login and logout answers. A login answer is the only place where a login
// becomes persistent: its session key and persist key go to the settings.
#include <cstdlib>

#include "log.h"
#include "parser/parse_support.h"
#include "parser/pd_xml_handlers.h"
#include "pd-plugin/pd_settings.h"

using pd::parser::is_element;
using pd::parser::is_named;
using pd::parser::record_in;
using pd::parser::store_attr;

extern "C" {

xml_base *__xml_base_init(void) { return static_cast<xml_base *>(pd::parser::zeroed(sizeof(xml_base))); }

void __xml_base_delete(xml_base **slot) {
  if (slot == nullptr || *slot == nullptr) return;
  xml_base *record = *slot;
  pd::parser::release_texts(record->pszSessionKey, record->pszPersistKeyValue,
                            record->pszPersistKeyExpires, record->pszServerAddr,
                            record->pszRemoteLoginInfoLoginPeopleID,
                            record->pszRemoteLoginInfoDisplayName, record->pszProfilePhotoURL);
  data_Del(record);
  *slot = nullptr;
}

void xml_login_delete(xml_base **slot) { __xml_base_delete(slot); }

void xml_login_print(const xml_base *record) {
  if (record == nullptr) return;
  PD_LOG_STDOUT("sessionkey                   [%s]\n", PD_STR(record->pszSessionKey));
  PD_LOG_STDOUT("persistkey_value             [%s]\n", PD_STR(record->pszPersistKeyValue));
  PD_LOG_STDOUT("persistkey_expires           [%s]\n", PD_STR(record->pszPersistKeyExpires));
  PD_LOG_STDOUT("server_addr                  [%s]\n", PD_STR(record->pszServerAddr));
  PD_LOG_STDOUT("remotelogininfo_loginpeopleid[%s]\n",
                PD_STR(record->pszRemoteLoginInfoLoginPeopleID));
  PD_LOG_STDOUT("remotelogininfo_displayname  [%s]\n",
                PD_STR(record->pszRemoteLoginInfoDisplayName));
  PD_LOG_STDOUT("profilephoto_url             [%s]\n", PD_STR(record->pszProfilePhotoURL));
}

// Depth 0 is the root; the parent of a depth-1 element is not looked at.
void xml_login_parser(uint32_t depth, const char *, xmlNode *node, intptr_t *result) {
  if (node == nullptr || result == nullptr) return;
  if (depth == 0) {
    if (xml_base *record = pd::parser::open_reply(node, result, __xml_base_init)) {
      store_attr(record->pszSessionKey, node, "SessionKey");
      sns_gconf_set_string(PD_SETTING_SESSION_KEY, record->pszSessionKey);
    }
    return;
  }
  xml_base *record = record_in<xml_base>(result);
  if (record == nullptr) return;
  if (depth == 1) {
    if (is_element(node, "PersistKey")) {
      store_attr(record->pszPersistKeyValue, node, "Value");
      store_attr(record->pszPersistKeyExpires, node, "Expires");
      sns_gconf_set_string(PD_SETTING_PERSIST_KEY, record->pszPersistKeyValue);
    } else if (is_element(node, "Server")) {
      store_attr(record->pszServerAddr, node, "Addr");
    } else if (is_element(node, "RemoteLoginInfo")) {
      store_attr(record->pszRemoteLoginInfoLoginPeopleID, node, "LoginPeopleID");
      store_attr(record->pszRemoteLoginInfoDisplayName, node, "DisplayName");
    }
  } else if (depth == 2 && is_element(node, "ProfilePhoto")) {
    store_attr(record->pszProfilePhotoURL, node, "URL");
  }
}

// ---------------------------------------------------------------------------

xml_logout *__xml_logout_init(void) {
  return static_cast<xml_logout *>(pd::parser::zeroed(sizeof(xml_logout)));
}

void xml_logout_delete(xml_logout **slot) {
  if (slot == nullptr || *slot == nullptr) return;
  pd::parser::release_texts((*slot)->pszSessionKeyValue, (*slot)->pszPersistKeyLoggined);
  data_Del(*slot);
  *slot = nullptr;
}

void __xml_logout_delete(xml_logout **slot) { xml_logout_delete(slot); }

void xml_logout_print(const xml_logout *record) {
  if (record == nullptr) return;
  PD_LOG_STDOUT("sessionkey_value    [%s]\n", PD_STR(record->pszSessionKeyValue));
  PD_LOG_STDOUT("persistkey_loggined [%s]\n", PD_STR(record->pszPersistKeyLoggined));
}

// Unlike the login parser, this one checks the parent.
void xml_logout_parser(uint32_t depth, const char *parent, xmlNode *node, intptr_t *result) {
  if (node == nullptr || result == nullptr) return;
  if (depth == 0) {
    pd::parser::open_reply(node, result, __xml_logout_init);
    return;
  }
  xml_logout *record = record_in<xml_logout>(result);
  if (depth != 1 || record == nullptr || !is_named(parent, "Response")) return;
  if (is_element(node, "SessionKey"))
    store_attr(record->pszSessionKeyValue, node, "Value");
  else if (is_element(node, "PersistKey"))
    store_attr(record->pszPersistKeyLoggined, node, "Loggined");
}

}  // extern "C"
