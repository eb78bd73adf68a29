// Distributed notifications as D-Bus signals on the session bus (GDBus).
#include "Plinth/inventory/distributed_notifications_linux.h"

#include <gio/gio.h>

#include <atomic>
#include <mutex>
#include <vector>

namespace Plinth {
namespace {

struct Registration {
  const void* observer;
  std::string name;
  std::optional<std::string> object;
  DistributedNotificationCenter::Selector selector;
  std::atomic<bool> active{true};
  guint subscription = 0;
};

// GDBus may call a subscription's callback once more after it was removed on
// another thread; each subscription owns a reference and checks `active`.
void onSignal(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*, GVariant* parameters,
              gpointer data) {
  const auto& registration = *static_cast<std::shared_ptr<Registration>*>(data);
  if (!registration->active.load() || !g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sbs)"))) return;
  const gchar* name = nullptr;
  gboolean hasObject = FALSE;
  const gchar* object = nullptr;
  g_variant_get(parameters, "(&sb&s)", &name, &hasObject, &object);
  if (registration->name != name) return;
  DistributedNotification notification{name, hasObject ? std::optional<std::string>(object) : std::nullopt};
  // An observer with an object hears only equal objects; a post without an
  // object reaches only observers without one.
  if (registration->object && notification.object != registration->object) return;
  registration->selector(notification);
}

void freeRegistration(gpointer data) { delete static_cast<std::shared_ptr<Registration>*>(data); }

}  // namespace

struct BusNotificationCenter::Impl {
  std::optional<std::string> address;
  std::mutex mutex;
  bool attempted = false;                   // guarded by mutex
  GDBusConnection* connection = nullptr;    // guarded by mutex; set once
  std::optional<std::string> failure;       // guarded by mutex
  std::vector<std::shared_ptr<Registration>> registrations;  // guarded by mutex
  std::function<void(const std::string&)> lostHandler;       // guarded by mutex
  gulong closedHandler = 0;

  static void onClosed(GDBusConnection*, gboolean, GError* error, gpointer data) {
    auto* self = static_cast<Impl*>(data);
    const std::string reason = error != nullptr ? error->message : "the session bus closed the connection";
    std::function<void(const std::string&)> handler;
    {
      std::lock_guard lock(self->mutex);
      self->failure = "the D-Bus session bus went away: " + reason;
      handler = self->lostHandler;
    }
    if (handler) handler(reason);
  }

  // The connection, made on first use; nullptr when the bus cannot be reached.
  GDBusConnection* connect() {
    std::lock_guard lock(mutex);
    if (attempted) return failure ? nullptr : connection;
    attempted = true;
    GError* error = nullptr;
    gchar* busAddress = address ? g_strdup(address->c_str())
                                : g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, nullptr, &error);
    if (busAddress != nullptr) {
      connection = g_dbus_connection_new_for_address_sync(
          busAddress,
          static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                            G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
          nullptr, nullptr, &error);
      g_free(busAddress);
    }
    if (connection == nullptr) {
      failure = std::string("no D-Bus session bus: ") + (error != nullptr ? error->message : "unknown error");
      g_clear_error(&error);
      return nullptr;
    }
    // The default would send this process SIGTERM when the bus dies.
    g_dbus_connection_set_exit_on_close(connection, FALSE);
    closedHandler = g_signal_connect(connection, "closed", G_CALLBACK(&Impl::onClosed), this);
    return connection;
  }

  ~Impl() {
    if (connection == nullptr) return;
    for (auto& r : registrations) {
      r->active.store(false);
      g_dbus_connection_signal_unsubscribe(connection, r->subscription);
    }
    g_signal_handler_disconnect(connection, closedHandler);
    g_dbus_connection_close_sync(connection, nullptr, nullptr);
    g_object_unref(connection);
  }
};

BusNotificationCenter::BusNotificationCenter(std::optional<std::string> address) : impl_(std::make_unique<Impl>()) {
  impl_->address = std::move(address);
}

BusNotificationCenter::~BusNotificationCenter() = default;

void BusNotificationCenter::addObserver(const void* observer, Selector selector, const std::string& name,
                                        const std::optional<std::string>& object) {
  GDBusConnection* connection = impl_->connect();
  if (connection == nullptr || !g_utf8_validate(name.data(), static_cast<gssize>(name.size()), nullptr)) return;
  auto registration = std::make_shared<Registration>();
  registration->observer = observer;
  registration->name = name;
  registration->object = object;
  registration->selector = std::move(selector);
  // arg0 filtering lets the bus drop other names before they reach us. The
  // callback runs in the calling thread's default main context.
  registration->subscription = g_dbus_connection_signal_subscribe(
      connection, nullptr, kNotificationBusInterface, kNotificationBusMember, kNotificationBusPath, name.c_str(),
      G_DBUS_SIGNAL_FLAGS_NONE, &onSignal, new std::shared_ptr<Registration>(registration), &freeRegistration);
  {
    std::lock_guard lock(impl_->mutex);
    impl_->registrations.push_back(std::move(registration));
  }
  // A round trip to the bus: once it returns, the bus has the match rule, so
  // a post made after addObserver returns is never missed.
  GVariant* reply = g_dbus_connection_call_sync(connection, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                "org.freedesktop.DBus.Peer", "Ping", nullptr, nullptr,
                                                G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, nullptr);
  if (reply != nullptr) g_variant_unref(reply);
}

void BusNotificationCenter::removeObserver(const void* observer, const std::string& name) {
  std::vector<std::shared_ptr<Registration>> removed;
  {
    std::lock_guard lock(impl_->mutex);
    auto& all = impl_->registrations;
    for (auto it = all.begin(); it != all.end();) {
      if ((*it)->observer == observer && (*it)->name == name) {
        removed.push_back(std::move(*it));
        it = all.erase(it);
      } else {
        ++it;
      }
    }
  }
  for (auto& r : removed) {
    r->active.store(false);
    g_dbus_connection_signal_unsubscribe(impl_->connection, r->subscription);
  }
}

void BusNotificationCenter::post(const std::string& name, const std::optional<std::string>& object) {
  GDBusConnection* connection = impl_->connect();
  if (connection == nullptr) return;
  // D-Bus texts must be UTF-8; anything else could not be delivered anyway.
  if (!g_utf8_validate(name.data(), static_cast<gssize>(name.size()), nullptr) ||
      (object && !g_utf8_validate(object->data(), static_cast<gssize>(object->size()), nullptr))) {
    return;
  }
  g_dbus_connection_emit_signal(connection, nullptr, kNotificationBusPath, kNotificationBusInterface,
                                kNotificationBusMember,
                                g_variant_new("(sbs)", name.c_str(), object.has_value(), object ? object->c_str() : ""),
                                nullptr);
  // Emitting only queues the message; deliver it now, even if we exit next.
  g_dbus_connection_flush_sync(connection, nullptr, nullptr);
}

std::optional<std::string> BusNotificationCenter::unavailableReason() {
  impl_->connect();
  std::lock_guard lock(impl_->mutex);
  return impl_->failure;
}

void BusNotificationCenter::setConnectionLostHandler(std::function<void(const std::string& reason)> handler) {
  std::lock_guard lock(impl_->mutex);
  impl_->lostHandler = std::move(handler);
}

DistributedNotificationCenter& DistributedNotificationCenter::defaultCenter() {
  static BusNotificationCenter* const center = new BusNotificationCenter();
  return *center;
}

}  // namespace Plinth
