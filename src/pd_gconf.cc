// Settings store: seven GConf string keys addressed by index.
#define PD_LOG_SOURCE "plugins/client-plugin/palisade/src/pd_gconf"

#include <gconf/gconf-client.h>

#include <atomic>
#include <cstring>
#include <mutex>

#include "log.h"
#include "pd-plugin/pd_settings.h"
#include "settings.h"

namespace {

constexpr const char *kKeys[] = {
    "/Apps/Sns/Persistkey",  "/Apps/Sns/Sessionkey", "/Apps/Sns/Remembermecheckbox",
    "/Apps/Sns/Emailaddress", "/Apps/Sns/Loginpeopleid", "/Apps/Sns/UserName",
    "/Apps/Sns/Password",
};
constexpr uint32_t kKeyCount = sizeof kKeys / sizeof kKeys[0];

// One process-wide client, kept for the life of the process. Reads come from
// the engine's thread and from the transport's callback thread (a login
// reply stores its keys there); the GConf client is not safe to call from
// two threads at once, so every call into it is made under this mutex.
std::atomic<GConfClient *> g_client{nullptr};
std::mutex g_gconf_mutex;

// Reads a key into an owned g_char, or null when unset.
gchar *fetch(uint32_t index) {
  std::lock_guard<std::mutex> lock(g_gconf_mutex);
  // The keys are shared with the rest of the phone, and the client would
  // otherwise answer from its cache a value that another program has since
  // changed (it hears of changes only through a main loop we do not run).
  gconf_client_clear_cache(g_client.load());
  return gconf_client_get_string(g_client.load(), kKeys[index], nullptr);
}

// Both getters are sns_gconf_get_string to whoever reads the log, also
// when a gateway operation reads its keys through settings::read.
constexpr const char *kGetter = "sns_gconf_get_string";

// The common front of both getters: the documented log lines and checks.
// Returns false when the read must stop with result 0.
bool begin_read(uint32_t index) {
  PD_LOG_DEBUG_FOR(kGetter, "START >>>>>>>>\n\n");
  if (g_client.load() == nullptr) {
    PD_LOG_DEBUG_FOR(kGetter, "Gconf client is not inited...returning\n\n");
    return false;
  }
  if (index >= kKeyCount) {
    PD_LOG_DEBUG_FOR(kGetter, "key error! \n\n\n");
    return false;
  }
  return true;
}

}  // namespace

namespace pd::settings {

const char *key(uint32_t index) noexcept { return index < kKeyCount ? kKeys[index] : nullptr; }

int read(uint32_t index, std::string &out) {
  if (!begin_read(index)) return 0;
  int result = 0;
  if (gchar *value = fetch(index)) {
    out.assign(value);
    result = value[0] != '\0' ? 1 : 0;
    g_free(value);
  }
  PD_LOG_DEBUG_FOR(kGetter, "END >>>>>>>>\n\n");
  return result;
}

}  // namespace pd::settings

extern "C" {

int sns_gconf_init(void) {
  PD_LOG_START();
  GConfClient *client;
  {
    std::lock_guard<std::mutex> lock(g_gconf_mutex);
    G_GNUC_BEGIN_IGNORE_DEPRECATIONS
    g_type_init();
    G_GNUC_END_IGNORE_DEPRECATIONS
    GConfClient *previous = g_client.load();
    client = gconf_client_get_default();
    // A second instance gets the same default client back; drop the extra
    // reference so the process holds exactly one.
    if (previous != nullptr && client == previous) g_object_unref(client);
    g_client.store(client);
  }
  if (client == nullptr) {
    PD_LOG_DEBUG("gconf_client is NULL\n\n\n");
    PD_LOG_END();
    return 0;
  }
  GType type = gconf_client_get_type();
  auto *instance = reinterpret_cast<GTypeInstance *>(client);
  bool is_client = (instance->g_class != nullptr && instance->g_class->g_type == type) ||
                   g_type_check_instance_is_a(instance, type);
  if (!is_client) PD_LOG_DEBUG("gconf is not validated\n\n\n");
  PD_LOG_END();
  return 1;
}

int sns_gconf_get_string(uint32_t index, char *out) {
  if (!begin_read(index)) return 0;
  int result = 0;
  if (gchar *value = fetch(index)) {
    // The documented unbounded copy: the caller sized `out` for any value.
    if (out != nullptr) std::strcpy(out, value);
    result = value[0] != '\0' ? 1 : 0;
    g_free(value);
  }
  PD_LOG_END();
  return result;
}

int sns_gconf_set_string(uint32_t index, const char *value) {
  GConfClient *client = g_client.load();
  if (client == nullptr) {
    PD_LOG_DEBUG("Gconf client is not inited...returning\n\n");
    return 0;
  }
  PD_LOG_START();
  if (index >= kKeyCount) {
    PD_LOG_DEBUG("key error! \n\n\n");
    PD_LOG_END();
    return 0;
  }
  // GConf refuses a null text and the key keeps its value: a login reply
  // without a session key leaves the stored one as it was. The null is not
  // handed over only to spare the log GConf's critical warning.
  if (value != nullptr) {
    std::lock_guard<std::mutex> lock(g_gconf_mutex);
    gconf_client_set_string(client, kKeys[index], value, nullptr);
  }
  PD_LOG_END();
  return 1;
}

}  // extern "C"
