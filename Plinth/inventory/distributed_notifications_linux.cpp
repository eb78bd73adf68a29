// Distributed notifications as D-Bus signals on the session bus (GDBus).
#include "Plinth/inventory/distributed_notifications_linux.h"

#include <atomic>
#include <mutex>
#include <utility>
#include <vector>

#include "Keel/core/message_bus_linux.h"

namespace Plinth {
namespace {

namespace bus = Keel::detail;
using bus::BusClock;

struct Registration {
  const void* observer;
  std::string name;
  std::optional<std::string> object;
  DistributedNotificationCenter::Selector selector;
  std::atomic<bool> active{true};
  bus::SignalSubscription subscription;  // guarded by the centre's mutex
  std::string rule;                      // guarded: the match rule added for it, once subscribed
};

void deliver(const Registration& registration, GVariant* parameters) {
  if (!registration.active.load() || !g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sbs)"))) return;
  const gchar* name = nullptr;
  gboolean hasObject = FALSE;
  const gchar* object = nullptr;
  g_variant_get(parameters, "(&sb&s)", &name, &hasObject, &object);
  // The bus filters by name only where the rule could say so (see subscribe).
  if (registration.name != name) return;
  DistributedNotification notification{name, hasObject ? std::optional<std::string>(object) : std::nullopt};
  // An observer with an object hears only equal objects; a post without an
  // object reaches only observers without one.
  if (registration.object && notification.object != registration.object) return;
  registration.selector(notification);
}

bool isUtf8(const std::string& text) { return g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr); }

bus::BusCall busDaemonCall(const char* method, const std::string& rule) {
  return {"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method,
          g_variant_new("(s)", rule.c_str())};
}

}  // namespace

// The centre's state, shared with the callbacks of work under way. GLib is
// never called with `mutex` held.
struct BusNotificationCenter::Impl : std::enable_shared_from_this<Impl> {
  Impl(std::optional<std::string> a, std::chrono::milliseconds t) : address(std::move(a)), timeout(t) {}

  const std::optional<std::string> address;
  const std::chrono::milliseconds timeout;

  std::mutex busMutex;
  std::unique_ptr<bus::BusConnection> connection;  // guarded by busMutex; made on first use, kept

  std::mutex mutex;
  std::vector<std::shared_ptr<Registration>> registrations;  // guarded
  std::function<void(const std::string&)> lostHandler;       // guarded
  bool shutDown = false;                                     // guarded

  // The connection, which starts connecting on the first call. Its closed
  // handler runs on the context of the thread that made that call.
  bus::BusConnection& bus() {
    std::lock_guard lock(busMutex);
    if (!connection) {
      connection = std::make_unique<bus::BusConnection>(bus::BusType::session, address, timeout);
      connection->setClosedHandler([weak = weak_from_this()](const std::string& reason) {
        const auto self = weak.lock();
        if (!self) return;
        std::function<void(const std::string&)> handler;
        {
          std::lock_guard guard(self->mutex);
          handler = self->lostHandler;
        }
        if (handler) handler(reason);
      });
    }
    return *connection;
  }

  // The connection for a blocking call, waiting at most until the deadline
  // of connecting; nothing when there is none.
  bus::GObjectPtr<GDBusConnection> connectSync() {
    auto made = bus().wait();
    std::lock_guard lock(mutex);
    return shutDown ? nullptr : std::move(made);
  }

  std::string reason() {
    {
      std::lock_guard lock(mutex);
      if (shutDown) return "the notification centre was destroyed";
    }
    return bus().status().errorOr("the observer was removed before it was registered");
  }

  // Subscribes `registration` on the calling thread, whose context delivery
  // will use, and returns the connection and the match rule the bus still
  // has to be given; nothing when the centre cannot reach the bus.
  std::pair<bus::GObjectPtr<GDBusConnection>, std::string> subscribe(const std::shared_ptr<Registration>& registration) {
    auto made = bus().get();
    if (!made) return {};
    // GDBus writes arg0 into its rule unescaped, and a rule past the bus's
    // limit is refused without a word; so the rule is ours, and names are
    // compared on receipt as well, for the names it cannot carry.
    std::string rule =
        bus::signalRule(notificationBusInterface, notificationBusMember, notificationBusPath, registration->name);
    bus::SignalSubscription subscription(made.get(),
                                         {nullptr, notificationBusInterface, notificationBusMember, notificationBusPath,
                                          nullptr, G_DBUS_SIGNAL_FLAGS_NO_MATCH_RULE},
                                         [weak = std::weak_ptr<Registration>(registration)](GVariant* parameters) {
                                           if (const auto registered = weak.lock()) deliver(*registered, parameters);
                                         });
    {
      std::lock_guard lock(mutex);
      if (!shutDown && registration->active.load()) {
        registration->subscription = std::move(subscription);
        registration->rule = rule;
        return {std::move(made), std::move(rule)};
      }
    }
    return {};  // removed meanwhile: the subscription ends here
  }

  void shutdown() {
    std::vector<bus::SignalSubscription> ended;
    {
      std::lock_guard lock(mutex);
      shutDown = true;
      for (auto& registration : registrations) {
        registration->active.store(false);
        ended.push_back(std::move(registration->subscription));
      }
      registrations.clear();
    }
    ended.clear();
    std::lock_guard lock(busMutex);
    // Registrations still waiting for the connection hear of it now; the bus
    // drops the match rules with the connection.
    if (connection) connection->close();
  }
};

BusNotificationCenter::BusNotificationCenter(std::optional<std::string> address,
                                             std::chrono::milliseconds responseTimeout)
    : impl_(std::make_shared<Impl>(std::move(address), responseTimeout)) {}

BusNotificationCenter::~BusNotificationCenter() { impl_->shutdown(); }

namespace {

std::shared_ptr<Registration> makeRegistration(const void* observer, DistributedNotificationCenter::Selector selector,
                                               const std::string& name, const std::optional<std::string>& object) {
  auto registration = std::make_shared<Registration>();
  registration->observer = observer;
  registration->name = name;
  registration->object = object;
  registration->selector = std::move(selector);
  return registration;
}

}  // namespace

void BusNotificationCenter::addObserver(const void* observer, Selector selector, const std::string& name,
                                        const std::optional<std::string>& object) {
  const auto deadline = BusClock::now() + impl_->timeout;
  if (!impl_->connectSync() || !isUtf8(name)) return;
  auto registration = makeRegistration(observer, std::move(selector), name, object);
  {
    std::lock_guard lock(impl_->mutex);
    impl_->registrations.push_back(registration);
  }
  auto [connection, rule] = impl_->subscribe(registration);
  if (!connection) return;
  // The bus handles our messages in order, so once it has answered, a post
  // made after addObserver returns is never missed.
  bus::GErrorSlot error;
  (void)bus::callSync(connection.get(), busDaemonCall("AddMatch", rule), deadline, error);
}

void BusNotificationCenter::addObserver(const void* observer, Selector selector, const std::string& name,
                                        const std::optional<std::string>& object, Registered registered) {
  auto registration = makeRegistration(observer, std::move(selector), name, object);
  {
    std::lock_guard lock(impl_->mutex);
    impl_->registrations.push_back(registration);
  }
  const auto deadline = BusClock::now() + impl_->timeout;
  impl_->bus().whenSettled([impl = impl_, registration, registered = std::move(registered), deadline] {
    if (!isUtf8(registration->name)) {
      registered(Keel::failure("a notification name must be UTF-8"));
      return;
    }
    auto [connection, rule] = impl->subscribe(registration);
    if (!connection) {
      registered(Keel::failure(impl->reason()));
      return;
    }
    // The same confirming round trip, answered on this loop.
    bus::call(connection.get(), busDaemonCall("AddMatch", rule), deadline,
              [impl, registered](bus::VariantPtr reply, const bus::GErrorSlot& error) {
                if (reply) {
                  registered(Keel::success());
                } else if (error.is(G_IO_ERROR, G_IO_ERROR_TIMED_OUT)) {
                  registered(Keel::failure(impl->bus().description() + " did not answer within " +
                                           bus::secondsText(impl->timeout)));
                } else {
                  registered(Keel::failure(impl->bus().description() + ": " + error.message()));
                }
              });
  });
}

void BusNotificationCenter::prepareConnection() { (void)impl_->bus(); }

void BusNotificationCenter::removeObserver(const void* observer, const std::string& name) {
  std::vector<std::pair<bus::SignalSubscription, std::string>> removed;
  {
    std::lock_guard lock(impl_->mutex);
    auto& all = impl_->registrations;
    for (auto it = all.begin(); it != all.end();) {
      if ((*it)->observer == observer && (*it)->name == name) {
        (*it)->active.store(false);
        removed.emplace_back(std::move((*it)->subscription), std::move((*it)->rule));
        it = all.erase(it);
      } else {
        ++it;
      }
    }
  }
  for (auto& [subscription, rule] : removed) {
    subscription.reset();
    // Only a subscribed registration has a rule, and so a connection to send on.
    if (rule.empty()) continue;
    if (const auto connection = impl_->bus().get()) bus::send(connection.get(), busDaemonCall("RemoveMatch", rule));
  }
}

void BusNotificationCenter::post(const std::string& name, const std::optional<std::string>& object) {
  const auto deadline = BusClock::now() + impl_->timeout;
  const auto connection = impl_->connectSync();
  if (!connection) return;
  // D-Bus texts must be UTF-8; anything else could not be delivered anyway.
  if (!isUtf8(name) || (object && !isUtf8(*object))) return;
  g_dbus_connection_emit_signal(
      connection.get(), nullptr, notificationBusPath, notificationBusInterface, notificationBusMember,
      g_variant_new("(sbs)", name.c_str(), object.has_value(), object ? object->c_str() : ""), nullptr);
  // Emitting only queues the message; deliver it now, even if we exit next.
  bus::flush(connection.get(), deadline);
}

Keel::Result<void> BusNotificationCenter::availability() {
  if (impl_->connectSync()) return Keel::success();
  return Keel::failure(impl_->reason());
}

void BusNotificationCenter::setConnectionLostHandler(std::function<void(const std::string& reason)> handler) {
  std::lock_guard lock(impl_->mutex);
  impl_->lostHandler = std::move(handler);
}

DistributedNotificationCenter& DistributedNotificationCenter::defaultCenter() {
  static auto* const center = new BusNotificationCenter();
  return *center;
}

}  // namespace Plinth
