// Settings store: seven GConf string keys addressed by index.
//
// Reads come from GConf's own client cache. The client watches "/Apps/Sns"
// and GConf's change notifications keep that cache current, so a request
// costs no D-Bus round trip; a second, private D-Bus connection hears the
// configuration daemon come and go, because a new daemon knows nothing of
// the client's watch and would let the cache go stale unnoticed.
#define PD_LOG_SOURCE "plugins/client-plugin/palisade/src/pd_gconf"

#include <dbus/dbus.h>
#include <gconf/gconf-client.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <string>
#include <utility>

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
constexpr const char *kDir = "/Apps/Sns";

// Only the configuration daemon's name matters to the watch.
constexpr const char *kDaemonRule =
    "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
    "member='NameOwnerChanged',arg0='org.gnome.GConf'";

// Notifications delivered in one go before a read; a bound, so a source of
// the engine's that is always ready cannot keep a read waiting.
constexpr int kMaxDeliveries = 4096;

// How long a thread waits for the thread that runs the default main context
// to do its settings work. A read not done by then is refused.
constexpr auto kOwnerWait = std::chrono::seconds(2);

// One unit of settings work, done where GConf may be touched.
struct Work {
  enum class Kind { init, read, write };
  explicit Work(Kind what, uint32_t key = 0, std::string text = {})
      : kind(what), index(key), value(std::move(text)) {}

  Kind kind;
  uint32_t index;
  std::string value;      // write: the text; read: the value found
  bool found = false;     // read: GConf gave a value
  bool obtained = false;  // init: a client exists
  bool validated = false; // init: ... and it is a GConf client
};

// ---------------------------------------------------------------------------
// The GConf side. Everything here belongs to the default main context: GConf
// delivers its notifications there and they change the client's cache, so
// these members are touched only by the thread that holds that context (see
// run below), never under a lock of ours.
class Store {
 public:
  void execute(Work &work, bool deliver);

 private:
  void deliver_pending();
  void keep_current();
  enum News : unsigned { kNone = 0, kAppeared = 1, kVanished = 2, kLost = 4 };
  unsigned listen();
  void drop_watch();
  void rewatch();

  GConfClient *client_ = nullptr;
  DBusConnection *watch_ = nullptr;  // hears the daemon come and go
  bool dir_added_ = false;           // the client has "/Apps/Sns" in its list
  bool watching_ = false;            // ... and the current daemon notifies it
  bool stale_ = true;                // the daemon changed since the cache was filled
};

Store g_store;

// A client exists; read without the context, for the documented "not
// inited" answers.
std::atomic<bool> g_inited{false};

// The plug-in's own threads take the context one at a time, so one of them
// holding it briefly is never mistaken for an engine running a loop on it.
std::mutex g_take_mutex;

void Store::deliver_pending() {
  GMainContext *context = g_main_context_default();
  for (int i = 0; i < kMaxDeliveries && g_main_context_iteration(context, FALSE); ++i) {
  }
}

void Store::drop_watch() {
  dbus_connection_close(watch_);
  dbus_connection_unref(watch_);
  watch_ = nullptr;
}

// Reads what the watch heard since last time, without blocking.
unsigned Store::listen() {
  if (watch_ == nullptr) {
    DBusError error;
    dbus_error_init(&error);
    watch_ = dbus_bus_get_private(DBUS_BUS_SESSION, &error);
    if (watch_ == nullptr) {
      dbus_error_free(&error);
      return kLost;
    }
    dbus_connection_set_exit_on_disconnect(watch_, FALSE);
    dbus_bus_add_match(watch_, kDaemonRule, &error);
    if (dbus_error_is_set(&error)) {
      dbus_error_free(&error);
      drop_watch();
      return kLost;
    }
    // Whatever happened before the watch began is unknown.
    return kVanished;
  }
  unsigned news = kNone;
  if (!dbus_connection_read_write(watch_, 0)) news |= kLost;
  while (DBusMessage *message = dbus_connection_pop_message(watch_)) {
    const char *name = nullptr, *old_owner = nullptr, *new_owner = nullptr;
    if (dbus_message_is_signal(message, DBUS_INTERFACE_DBUS, "NameOwnerChanged") &&
        dbus_message_get_args(message, nullptr, DBUS_TYPE_STRING, &name, DBUS_TYPE_STRING,
                              &old_owner, DBUS_TYPE_STRING, &new_owner, DBUS_TYPE_INVALID)) {
      if (old_owner[0] != '\0') news |= kVanished;
      if (new_owner[0] != '\0') news |= kAppeared;
    } else if (dbus_message_is_signal(message, DBUS_INTERFACE_LOCAL, "Disconnected")) {
      news |= kLost;
    }
    dbus_message_unref(message);
  }
  if ((news & kLost) != 0) drop_watch();
  return news;
}

// Watches the directory afresh with the daemon there is now and fills the
// cache from it: the notification request comes first, so a change made
// after the fill is notified and one made before it is in the fill.
void Store::rewatch() {
  GError *error = nullptr;
  if (dir_added_) {
    gconf_client_remove_dir(client_, kDir, &error);
    g_clear_error(&error);
    dir_added_ = false;
  }
  gconf_client_clear_cache(client_);
  watching_ = false;
  gconf_client_add_dir(client_, kDir, GCONF_CLIENT_PRELOAD_NONE, &error);
  if (error != nullptr) {
    g_clear_error(&error);
    return;
  }
  dir_added_ = true;
  watching_ = true;
  // Listing the directory caches every key it holds, and its absent keys as
  // absent. A failed listing leaves the cache to fill key by key.
  GSList *entries = gconf_client_all_entries(client_, kDir, &error);
  g_clear_error(&error);
  g_slist_free_full(entries, reinterpret_cast<GDestroyNotify>(gconf_entry_free));
}

void Store::keep_current() {
  if (listen() != kNone) stale_ = true;
  if (watch_ != nullptr && (stale_ || !watching_)) {
    rewatch();
    // Watching may itself have started the daemon; its arrival is no news.
    // A daemon that went away since is.
    stale_ = (listen() & (kVanished | kLost)) != 0;
  }
  // Without the watch, a watched directory, or with news not yet acted on,
  // nothing vouches for the cache: the read asks the daemon.
  if (watch_ == nullptr || !watching_ || stale_) gconf_client_clear_cache(client_);
}

void Store::execute(Work &work, bool deliver) {
  if (deliver) deliver_pending();
  if (work.kind == Work::Kind::init) {
    G_GNUC_BEGIN_IGNORE_DEPRECATIONS
    g_type_init();
    G_GNUC_END_IGNORE_DEPRECATIONS
    GConfClient *client = gconf_client_get_default();
    // A second instance gets the same default client back; drop the extra
    // reference so the process holds exactly one.
    if (client_ != nullptr && client == client_) g_object_unref(client);
    client_ = client;
    work.obtained = client != nullptr;
    if (client == nullptr) return;
    GType type = gconf_client_get_type();
    auto *instance = reinterpret_cast<GTypeInstance *>(client);
    work.validated = (instance->g_class != nullptr && instance->g_class->g_type == type) ||
                     g_type_check_instance_is_a(instance, type);
    g_inited.store(true);
    keep_current();
    return;
  }
  if (client_ == nullptr) return;
  keep_current();
  const char *key = kKeys[work.index];
  if (work.kind == Work::Kind::read) {
    if (gchar *value = gconf_client_get_string(client_, key, nullptr)) {
      work.value.assign(value);
      work.found = true;
      g_free(value);
    }
  } else {
    gconf_client_set_string(client_, key, work.value.c_str(), nullptr);
  }
}

// ---------------------------------------------------------------------------
// Work for the thread that runs the default main context. It is queued in
// order and run there at idle priority, after the notifications already
// pending; the asking thread waits a bounded time. A write outwaited stays
// queued and is done later, in order; a read outwaited is dropped. Whichever
// side is the last to let go of a handoff deletes it.
struct Handoff {
  explicit Handoff(const Work &asked) : work(asked) {}

  Work work;
  std::mutex mutex;
  std::condition_variable finished;
  bool done = false;
  bool abandoned = false;  // the asking thread stopped waiting
};

std::mutex g_handoff_mutex;
std::deque<Handoff *> g_handoffs;

// On the thread that holds the context.
void run_handoffs() {
  for (;;) {
    Handoff *next;
    {
      std::lock_guard<std::mutex> lock(g_handoff_mutex);
      if (g_handoffs.empty()) return;
      next = g_handoffs.front();
      g_handoffs.pop_front();
    }
    bool skip;
    {
      std::lock_guard<std::mutex> lock(next->mutex);
      skip = next->abandoned && next->work.kind == Work::Kind::read;
    }
    if (!skip) g_store.execute(next->work, false);
    bool orphan;
    {
      std::lock_guard<std::mutex> lock(next->mutex);
      next->done = true;
      orphan = next->abandoned;
      if (!orphan) next->finished.notify_all();
    }
    if (orphan) delete next;
  }
}

gboolean run_handoffs_source(gpointer) {
  run_handoffs();
  return G_SOURCE_REMOVE;
}

bool hand_over(Work &work) {
  auto *handoff = new Handoff(work);
  {
    std::lock_guard<std::mutex> lock(g_handoff_mutex);
    g_handoffs.push_back(handoff);
  }
  g_main_context_invoke_full(g_main_context_default(), G_PRIORITY_DEFAULT_IDLE,
                             run_handoffs_source, nullptr, nullptr);
  {
    std::unique_lock<std::mutex> lock(handoff->mutex);
    if (!handoff->finished.wait_for(lock, kOwnerWait, [&] { return handoff->done; })) {
      handoff->abandoned = true;
      return false;
    }
    work = handoff->work;
  }
  delete handoff;
  return true;
}

// Does `work` where GConf may be touched. False when it could not be done
// in time (a read then found nothing).
bool run(Work &work) {
  GMainContext *context = g_main_context_default();
  if (g_main_context_is_owner(context)) {
    // This thread holds the context. Inside one of its dispatches (the
    // engine's loop is calling us) the loop is not entered again: it
    // delivers the pending notifications itself once we return.
    run_handoffs();
    g_store.execute(work, g_main_depth() == 0);
    return true;
  }
  {
    std::lock_guard<std::mutex> lock(g_take_mutex);
    if (g_main_context_acquire(context)) {
      // Nobody runs the context: deliver what is pending, without blocking.
      run_handoffs();
      g_store.execute(work, true);
      g_main_context_release(context);
      return true;
    }
  }
  return hand_over(work);
}

// Both getters are sns_gconf_get_string to whoever reads the log, also
// when a gateway operation reads its keys through settings::read.
constexpr const char *kGetter = "sns_gconf_get_string";

// The common front of both getters: the documented log lines and checks.
// Returns false when the read must stop with result 0.
bool begin_read(uint32_t index) {
  PD_LOG_DEBUG_FOR(kGetter, "START >>>>>>>>\n\n");
  if (!g_inited.load()) {
    PD_LOG_DEBUG_FOR(kGetter, "Gconf client is not inited...returning\n\n");
    return false;
  }
  if (index >= kKeyCount) {
    PD_LOG_DEBUG_FOR(kGetter, "key error! \n\n\n");
    return false;
  }
  return true;
}

// Reads a key; found is false when it is unset (or could not be read).
Work fetch(uint32_t index) {
  Work work(Work::Kind::read, index);
  run(work);
  return work;
}

}  // namespace

namespace pd::settings {

const char *key(uint32_t index) noexcept { return index < kKeyCount ? kKeys[index] : nullptr; }

int read(uint32_t index, std::string &out) {
  if (!begin_read(index)) return 0;
  Work work = fetch(index);
  if (work.found) out = work.value;
  PD_LOG_DEBUG_FOR(kGetter, "END >>>>>>>>\n\n");
  return work.found && !work.value.empty() ? 1 : 0;
}

}  // namespace pd::settings

extern "C" {

int sns_gconf_init(void) {
  PD_LOG_START();
  Work work(Work::Kind::init);
  run(work);
  if (!work.obtained) {
    PD_LOG_DEBUG("gconf_client is NULL\n\n\n");
    PD_LOG_END();
    return 0;
  }
  if (!work.validated) PD_LOG_DEBUG("gconf is not validated\n\n\n");
  PD_LOG_END();
  return 1;
}

int sns_gconf_get_string(uint32_t index, char *out) {
  if (!begin_read(index)) return 0;
  Work work = fetch(index);
  // The documented unbounded copy: the caller sized `out` for any value.
  if (work.found && out != nullptr) std::memcpy(out, work.value.c_str(), work.value.size() + 1);
  PD_LOG_END();
  return work.found && !work.value.empty() ? 1 : 0;
}

int sns_gconf_set_string(uint32_t index, const char *value) {
  if (!g_inited.load()) {
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
    Work work(Work::Kind::write, index, value);
    run(work);
  }
  PD_LOG_END();
  return 1;
}

}  // extern "C"
