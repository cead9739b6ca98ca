#include "support/bus_count.h"

#include <chrono>

namespace pd_test {

BusCount::BusCount()
    : monitor_(dbus_bus_get_private(DBUS_BUS_SESSION, nullptr)),
      marks_(dbus_bus_get_private(DBUS_BUS_SESSION, nullptr)) {
  if (monitor_ == nullptr) return;
  dbus_connection_set_exit_on_disconnect(monitor_, FALSE);
  // No match rules: every message on the bus.
  DBusMessage *call = dbus_message_new_method_call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS,
                                                   "org.freedesktop.DBus.Monitoring", "BecomeMonitor");
  const char **rules = nullptr;
  dbus_uint32_t flags = 0;
  dbus_message_append_args(call, DBUS_TYPE_ARRAY, DBUS_TYPE_STRING, &rules, 0, DBUS_TYPE_UINT32, &flags,
                           DBUS_TYPE_INVALID);
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
  DBusMessage *signal = dbus_message_new_signal("/pd/test/Mark", "pd.test.Mark", member);
  dbus_connection_send(marks_, signal, nullptr);
  dbus_connection_flush(marks_);
  dbus_message_unref(signal);
  // What the monitor sees before the mark is the work's.
  std::vector<std::string> seen;
  auto until = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (std::chrono::steady_clock::now() < until && dbus_connection_read_write(monitor_, 100)) {
    while (DBusMessage *message = dbus_connection_pop_message(monitor_)) {
      bool is_mark = dbus_message_is_signal(message, "pd.test.Mark", member);
      std::string line = dbus_message_type_to_string(dbus_message_get_type(message));
      for (const char *part : {dbus_message_get_sender(message), dbus_message_get_destination(message),
                               dbus_message_get_interface(message), dbus_message_get_member(message)})
        line += std::string("\t") + (part ? part : "");
      dbus_message_unref(message);
      if (is_mark) {
        seen_ = std::move(seen);
        return true;
      }
      seen.push_back(line);
    }
  }
  return false;
}

}  // namespace pd_test
