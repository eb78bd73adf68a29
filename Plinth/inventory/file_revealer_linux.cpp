#include "Plinth/inventory/file_revealer_linux.h"

#include <gio/gio.h>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace Plinth {
namespace {

constexpr auto kConnectionFlags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                                    G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);

// Cancels `cancellable` when the deadline passes before it is disarmed, so
// that a bus which accepts and then says nothing cannot hold the caller.
class Watchdog {
 public:
  Watchdog(GCancellable* cancellable, std::chrono::milliseconds timeout)
      : thread_([this, cancellable, timeout] {
          std::unique_lock lock(mutex_);
          if (!done_.wait_for(lock, timeout, [this] { return disarmed_; })) g_cancellable_cancel(cancellable);
        }) {}
  ~Watchdog() {
    {
      std::lock_guard lock(mutex_);
      disarmed_ = true;
    }
    done_.notify_one();
    thread_.join();
  }
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

 private:
  std::mutex mutex_;
  std::condition_variable done_;
  bool disarmed_ = false;
  std::thread thread_;
};

std::string message(GError* error, const char* fallback) {
  std::string text = error != nullptr ? error->message : fallback;
  if (error != nullptr) g_error_free(error);
  return text;
}

}  // namespace

const FileRevealer& FileRevealer::shared() {
  static const BusFileRevealer revealer;
  return revealer;
}

RevealResult BusFileRevealer::showItems(const std::vector<Keel::URL>& items) const {
  GCancellable* cancellable = g_cancellable_new();
  RevealResult result;
  {
    Watchdog watchdog(cancellable, timeout_);
    GError* error = nullptr;
    gchar* address = address_ ? g_strdup(address_->c_str())
                              : g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, cancellable, &error);
    GDBusConnection* connection = nullptr;
    if (address != nullptr) {
      connection = g_dbus_connection_new_for_address_sync(address, kConnectionFlags, nullptr, cancellable, &error);
      g_free(address);
    }
    if (connection == nullptr) {
      result.error = "no session bus: " + message(error, "unknown error");
    } else {
      GVariantBuilder uris;
      g_variant_builder_init(&uris, G_VARIANT_TYPE("as"));
      for (const Keel::URL& item : items) g_variant_builder_add(&uris, "s", item.absoluteString.c_str());
      const auto timeoutMs = static_cast<gint>(timeout_.count());
      GVariant* reply =
          g_dbus_connection_call_sync(connection, "org.freedesktop.FileManager1", "/org/freedesktop/FileManager1",
                                      "org.freedesktop.FileManager1", "ShowItems", g_variant_new("(ass)", &uris, ""),
                                      nullptr, G_DBUS_CALL_FLAGS_NONE, timeoutMs, cancellable, &error);
      if (reply != nullptr) {
        g_variant_unref(reply);
        result.shown = true;
      } else {
        result.error = "no file manager answered: " + message(error, "unknown error");
      }
      g_dbus_connection_close_sync(connection, nullptr, nullptr);
      g_object_unref(connection);
    }
  }
  g_object_unref(cancellable);
  return result;
}

}  // namespace Plinth
