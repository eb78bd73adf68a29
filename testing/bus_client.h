// A test's own client connection to a private bus, and the questions tests
// ask the bus itself. Header only; the tests that use it link GIO already.
#pragma once

#include <gio/gio.h>

#include <string>

namespace Vantor::Testing {

// A registered connection to the bus at `address`, or null. Its closing
// does not end the process, as a bus stopped by a test would otherwise do.
inline GDBusConnection* connectToBus(const std::string& address) {
  GDBusConnection* connection = g_dbus_connection_new_for_address_sync(
      address.c_str(),
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, nullptr);
  if (connection != nullptr) g_dbus_connection_set_exit_on_close(connection, FALSE);
  return connection;
}

// True once something owns `name` on the bus.
inline bool nameHasOwner(GDBusConnection* connection, const char* name) {
  GVariant* reply = g_dbus_connection_call_sync(connection, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                "org.freedesktop.DBus", "NameHasOwner", g_variant_new("(s)", name),
                                                G_VARIANT_TYPE("(b)"), G_DBUS_CALL_FLAGS_NONE, 1000, nullptr, nullptr);
  gboolean owned = FALSE;
  if (reply != nullptr) {
    g_variant_get(reply, "(b)", &owned);
    g_variant_unref(reply);
  }
  return owned != FALSE;
}

}  // namespace Vantor::Testing
