#include "login_state.h"

#include <gconf/gconf-client.h>

#include <cctype>

namespace pdctl {
namespace {

constexpr const char *kSessionKey = "/Apps/Sns/Sessionkey";

void drop_message(const gchar *, GLogLevelFlags, const gchar *, gpointer) {}

}  // namespace

void quiet_gconf_warnings() {
  g_log_set_handler("GConf", static_cast<GLogLevelFlags>(G_LOG_LEVEL_WARNING | G_LOG_LEVEL_MESSAGE),
                    drop_message, nullptr);
}

std::optional<std::string> stored_session_key(std::string *why) {
  // The plug-in shares the process's default client; it is called only
  // while no plug-in instance exists, so never from two threads at once.
  GConfClient *client = gconf_client_get_default();
  if (client == nullptr) {
    *why = "no GConf client";
    return std::nullopt;
  }
  // Another program may have changed the key since this client last read it.
  gconf_client_clear_cache(client);
  GError *error = nullptr;
  gchar *value = gconf_client_get_string(client, kSessionKey, &error);
  std::optional<std::string> key;
  if (error != nullptr) {
    *why = error->message;
    while (!why->empty() && std::isspace(static_cast<unsigned char>(why->back()))) why->pop_back();
    g_error_free(error);
  } else {
    key = value != nullptr ? value : "";
  }
  g_free(value);
  g_object_unref(client);
  return key;
}

}  // namespace pdctl
