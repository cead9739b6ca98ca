#include "support/bus_count.h"

#include <chrono>

namespace pd_test {
namespace {
constexpr const char *kMarkInterface = "pd.test.Mark";

DBusConnection *connect() {
  DBusConnection *connection = dbus_bus_get_private(DBUS_BUS_SESSION, nullptr);
  if (connection != nullptr) dbus_connection_set_exit_on_disconnect(connection, FALSE);
  return connection;
}

std::string describe(DBusMessage *message) {
  std::string line = dbus_message_type_to_string(dbus_message_get_type(message));
  for (const char *part : {dbus_message_get_sender(message), dbus_message_get_destination(message),
                           dbus_message_get_interface(message), dbus_message_get_member(message)})
    line += std::string("\t") + (part ? part : "");
  return line;
}
}  // namespace

BusCount::BusCount() : monitor_(connect()), marks_(connect()) {
  if (monitor_ == nullptr || marks_ == nullptr) return;
  // No match rules: the monitor sees every message on the bus.
  DBusMessage *call = dbus_message_new_method_call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS,
                                                   "org.freedesktop.DBus.Monitoring", "BecomeMonitor");
  DBusMessageIter args, rules;
  dbus_uint32_t flags = 0;
  dbus_message_iter_init_append(call, &args);
  dbus_message_iter_open_container(&args, DBUS_TYPE_ARRAY, "s", &rules);
  dbus_message_iter_close_container(&args, &rules);
  dbus_message_iter_append_basic(&args, DBUS_TYPE_UINT32, &flags);
  DBusMessage *reply = dbus_connection_send_with_reply_and_block(monitor_, call, 5000, nullptr);
  dbus_message_unref(call);
  if (reply != nullptr) {
    dbus_message_unref(reply);
  } else {
    dbus_connection_close(monitor_);
    dbus_connection_unref(monitor_);
    monitor_ = nullptr;
  }
}

BusCount::~BusCount() {
  for (DBusConnection *connection : {monitor_, marks_}) {
    if (connection == nullptr) continue;
    dbus_connection_close(connection);
    dbus_connection_unref(connection);
  }
}

bool BusCount::mark(const char *member) {
  if (monitor_ == nullptr || marks_ == nullptr) return false;
  DBusMessage *signal = dbus_message_new_signal("/pd/test/Mark", kMarkInterface, member);
  dbus_connection_send(marks_, signal, nullptr);
  dbus_connection_flush(marks_);
  dbus_message_unref(signal);
  // Everything the monitor saw before the mark is the work's.
  std::vector<std::string> seen;
  auto until = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (std::chrono::steady_clock::now() < until && dbus_connection_read_write(monitor_, 100)) {
    while (DBusMessage *message = dbus_connection_pop_message(monitor_)) {
      bool is_mark = dbus_message_is_signal(message, kMarkInterface, member);
      if (!is_mark) seen.push_back(describe(message));
      dbus_message_unref(message);
      if (is_mark) {
        seen_ = std::move(seen);
        return true;
      }
    }
  }
  return false;
}

}  // namespace pd_test
