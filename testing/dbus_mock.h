// A stand-in service on a private bus: python3-dbusmock owns a name, serves
// methods added to it and records every call. Header only; the tests that
// use it link GIO and the testing library already.
#pragma once

#include <gio/gio.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <vector>

#include "testing/bus_client.h"
#include "testing/child_process.h"

namespace Vantor::Testing {

class DBusMock {
 public:
  // Owns `name` on the bus at `address` with an object at `path` whose main
  // interface is `interface`; throws when the mock never comes up.
  DBusMock(const std::string& address, const std::string& name, const std::string& path, const std::string& interface)
      : name_(name),
        path_(path),
        mock_({{"/usr/bin/python3", "-m", "dbusmock", name, path, interface}, {{"DBUS_SESSION_BUS_ADDRESS", address}}}),
        connection_(connectToBus(address)) {
    if (connection_ == nullptr) throw std::runtime_error("dbusmock: no bus connection");
    // Calls fail until the mock owns its name and serves its object.
    const auto answers = [this] {
      GVariant* reply = mockCall("GetCalls", nullptr, nullptr);
      if (reply != nullptr) g_variant_unref(reply);
      return reply != nullptr;
    };
    if (!waitUntil(answers, std::chrono::seconds(30))) {
      g_object_unref(connection_);
      throw std::runtime_error("dbusmock: " + name_ + " never came up");
    }
  }
  ~DBusMock() { g_object_unref(connection_); }
  DBusMock(const DBusMock&) = delete;
  DBusMock& operator=(const DBusMock&) = delete;

  // Serves `method` of `interface` taking `in` and giving `out` (D-Bus
  // signatures), running the Python `code`; true when the mock took it.
  bool addMethod(const char* interface, const char* method, const char* in, const char* out, const char* code) {
    GVariant* reply = mockCall("AddMethod", g_variant_new("(sssss)", interface, method, in, out, code), nullptr);
    if (reply != nullptr) g_variant_unref(reply);
    return reply != nullptr;
  }

  // The arguments of each call of `method` so far, as GVariant prints them
  // with their types.
  std::vector<std::string> calls(const std::string& method) {
    std::vector<std::string> result;
    GVariant* reply = mockCall("GetCalls", nullptr, G_VARIANT_TYPE("(a(tsav))"));
    if (reply == nullptr) return result;
    GVariant* list = g_variant_get_child_value(reply, 0);
    for (gsize i = 0; i < g_variant_n_children(list); ++i) {
      const gchar* name = nullptr;
      GVariant* args = nullptr;
      g_variant_get_child(list, i, "(t&s@av)", nullptr, &name, &args);
      gchar* printed = g_variant_print(args, TRUE);
      if (method == name) result.emplace_back(printed);
      g_free(printed);
      g_variant_unref(args);
    }
    g_variant_unref(list);
    g_variant_unref(reply);
    return result;
  }

 private:
  GVariant* mockCall(const char* method, GVariant* parameters, const GVariantType* replyType) {
    return g_dbus_connection_call_sync(connection_, name_.c_str(), path_.c_str(), "org.freedesktop.DBus.Mock", method,
                                       parameters, replyType, G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, nullptr);
  }

  std::string name_;
  std::string path_;
  ChildProcess mock_;
  GDBusConnection* connection_;
};

}  // namespace Vantor::Testing
