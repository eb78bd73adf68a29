// Distributed notifications as D-Bus signals on the session bus (GDBus).
#include "Plinth/inventory/distributed_notifications_linux.h"

#include <gio/gio.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace Plinth {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kConnectionFlags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                                    G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);

struct Registration {
  const void* observer;
  std::string name;
  std::optional<std::string> object;
  DistributedNotificationCenter::Selector selector;
  std::atomic<bool> active{true};
  guint subscription = 0;  // guarded by the centre's mutex; 0 until subscribed
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

bool isUtf8(const std::string& text) { return g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr); }

std::string seconds(std::chrono::milliseconds duration) {
  char text[32];
  std::snprintf(text, sizeof text, "%g s", static_cast<double>(duration.count()) / 1000.0);
  return text;
}

// Cancels `cancellable` at `deadline` unless dismissed first: the bound of a
// synchronous connection, as GDBus's blocking calls take only a cancellable.
class Watchdog {
 public:
  Watchdog(GCancellable* cancellable, Clock::time_point deadline)
      : thread_([this, cancellable, deadline] {
          std::unique_lock lock(mutex_);
          if (!dismissed_.wait_until(lock, deadline, [this] { return done_; })) g_cancellable_cancel(cancellable);
        }) {}
  ~Watchdog() {
    {
      std::lock_guard lock(mutex_);
      done_ = true;
    }
    dismissed_.notify_all();
    thread_.join();
  }
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

 private:
  std::mutex mutex_;
  std::condition_variable dismissed_;
  bool done_ = false;
  std::thread thread_;
};

// Work that waits for the connection on some thread's main context: resumed
// there once, when the connection is settled or its deadline has passed.
struct Waiter {
  GMainContext* context;
  std::function<void()> resume;
  GSource* timer = nullptr;  // touched on `context` only
  bool done = false;         // touched on `context` only

  Waiter(GMainContext* c, std::function<void()> r) : context(c), resume(std::move(r)) {}
  ~Waiter() {
    if (timer != nullptr) {
      g_source_destroy(timer);
      g_source_unref(timer);
    }
    g_main_context_unref(context);
  }

  static gboolean run(gpointer data) {
    Waiter& self = **static_cast<std::shared_ptr<Waiter>*>(data);
    if (!self.done) {
      self.done = true;
      self.resume();
    }
    return G_SOURCE_REMOVE;
  }
  static void release(gpointer data) { delete static_cast<std::shared_ptr<Waiter>*>(data); }

  // Queues resume() on the waiter's context; never runs it inline.
  static void schedule(const std::shared_ptr<Waiter>& waiter) {
    GSource* idle = g_idle_source_new();
    g_source_set_priority(idle, G_PRIORITY_DEFAULT);
    g_source_set_callback(idle, &Waiter::run, new std::shared_ptr<Waiter>(waiter), &Waiter::release);
    g_source_attach(idle, waiter->context);
    g_source_unref(idle);
  }
};

}  // namespace

// The centre's state. GLib is never called with `mutex` held, so that no lock
// order with GLib's own locks can arise.
struct BusNotificationCenter::Impl : std::enable_shared_from_this<Impl> {
  enum class State { kIdle, kConnecting, kConnected, kFailed };
  using Waiters = std::vector<std::shared_ptr<Waiter>>;

  Impl(std::optional<std::string> a, std::chrono::milliseconds t)
      : timeout(t), cancellable(g_cancellable_new()), address(std::move(a)) {}
  ~Impl() { g_object_unref(cancellable); }

  const std::chrono::milliseconds timeout;
  GCancellable* const cancellable;  // of the one connection attempt
  std::mutex mutex;
  std::condition_variable settled;
  std::optional<std::string> address;                        // guarded: as given, or the session bus's once known
  State state = State::kIdle;                                // guarded
  Clock::time_point deadline;                                // guarded: of the connection attempt
  GDBusConnection* connection = nullptr;                     // guarded: set once
  gulong closedHandler = 0;                                  // guarded: set with `connection`
  std::optional<std::string> failure;                        // guarded
  Waiters waiting;                                           // guarded
  std::vector<std::shared_ptr<Registration>> registrations;  // guarded
  std::function<void(const std::string&)> lostHandler;       // guarded
  bool shutDown = false;                                     // guarded

  std::string busLocked() const { return "the D-Bus session bus" + (address ? " at " + *address : std::string()); }

  // Called with the lock held: the attempt starts now. True when it had not
  // started before, so that the caller has to start it.
  bool beginLocked() {
    if (state != State::kIdle) return false;
    state = State::kConnecting;
    deadline = Clock::now() + timeout;
    return true;
  }

  // Called with the lock held as the attempt ends: wakes those blocked on it
  // and hands over those to resume, which the caller schedules once unlocked.
  Waiters settleLocked() {
    settled.notify_all();
    return std::exchange(waiting, {});
  }

  static void resume(const Waiters& waiters) {
    for (const auto& waiter : waiters) Waiter::schedule(waiter);
  }

  // Ends an attempt that is still under way once its deadline has passed.
  void giveUp() {
    Waiters woken;
    {
      std::lock_guard lock(mutex);
      if (state != State::kConnecting) return;
      state = State::kFailed;
      failure = busLocked() + " did not answer within " + seconds(timeout);
      woken = settleLocked();
    }
    g_cancellable_cancel(cancellable);
    resume(woken);
  }

  void finish(GDBusConnection* made, const GError* error) {
    // Only the deadline or the centre's end cancels an attempt.
    if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED)) {
      giveUp();
      return;
    }
    gulong closed = 0;
    if (made != nullptr) {
      // The default would send this process SIGTERM when the bus dies.
      g_dbus_connection_set_exit_on_close(made, FALSE);
      closed = g_signal_connect(made, "closed", G_CALLBACK(&Impl::onClosed), this);
    }
    bool kept = false;
    Waiters woken;
    {
      std::lock_guard lock(mutex);
      if (state == State::kConnecting && !shutDown) {
        if (made != nullptr) {
          connection = made;
          closedHandler = closed;
          state = State::kConnected;
          kept = true;
        } else {
          state = State::kFailed;
          failure = std::string("no D-Bus session bus: ") + (error != nullptr ? error->message : "unknown error");
        }
        woken = settleLocked();
      }
    }
    if (made != nullptr && !kept) {
      // Too late: the attempt was given up, or the centre is gone.
      g_signal_handler_disconnect(made, closed);
      g_dbus_connection_close(made, nullptr, nullptr, nullptr);
      g_object_unref(made);
    }
    resume(woken);
  }

  static void onClosed(GDBusConnection*, gboolean, GError* error, gpointer data) {
    auto* self = static_cast<Impl*>(data);
    const std::string reason = error != nullptr ? error->message : "the session bus closed the connection";
    std::function<void(const std::string&)> handler;
    {
      std::lock_guard lock(self->mutex);
      self->state = State::kFailed;
      self->failure = "the D-Bus session bus went away: " + reason;
      handler = self->lostHandler;
    }
    if (handler) handler(reason);
  }

  // The connection, made on first use on the calling thread; nullptr when the
  // bus cannot be reached or did not answer in time.
  GDBusConnection* connectSync() {
    std::unique_lock lock(mutex);
    if (beginLocked()) {
      const std::optional<std::string> given = address;
      const Clock::time_point until = deadline;
      lock.unlock();
      GError* error = nullptr;
      GDBusConnection* made = nullptr;
      {
        Watchdog watchdog(cancellable, until);
        gchar* found =
            given ? g_strdup(given->c_str()) : g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, cancellable, &error);
        if (found != nullptr) {
          {
            std::lock_guard named(mutex);
            address = found;
          }
          made = g_dbus_connection_new_for_address_sync(found, kConnectionFlags, nullptr, cancellable, &error);
          g_free(found);
        }
      }
      finish(made, error);
      g_clear_error(&error);
      lock.lock();
    }
    if (!settled.wait_until(lock, deadline, [this] { return state != State::kConnecting; })) {
      lock.unlock();
      giveUp();
      lock.lock();
    }
    return state == State::kConnected && !shutDown ? connection : nullptr;
  }

  // Runs `resume` on the calling thread's main context once the connection
  // is made, has failed, or has not been made by its deadline. Starts
  // connecting, without blocking, if nobody has.
  void whenConnected(std::function<void()> work) {
    auto waiter = std::make_shared<Waiter>(g_main_context_ref_thread_default(), std::move(work));
    bool starting = false;
    bool connecting = false;
    Clock::time_point until;
    {
      std::lock_guard lock(mutex);
      starting = beginLocked();
      connecting = state == State::kConnecting;
      until = deadline;
    }
    if (!connecting) {
      Waiter::schedule(waiter);
      return;
    }
    // The timer is set before the waiter is published, as only its own
    // context may touch it afterwards.
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
    waiter->timer = g_timeout_source_new(static_cast<guint>(std::max<std::int64_t>(left.count(), 0)));
    g_source_set_callback(
        waiter->timer,
        [](gpointer data) -> gboolean {
          if (const auto self = static_cast<std::weak_ptr<Impl>*>(data)->lock()) self->giveUp();
          return G_SOURCE_REMOVE;
        },
        new std::weak_ptr<Impl>(weak_from_this()),
        [](gpointer data) { delete static_cast<std::weak_ptr<Impl>*>(data); });
    g_source_attach(waiter->timer, waiter->context);
    bool waits = false;
    {
      std::lock_guard lock(mutex);
      if (state == State::kConnecting) {
        waiting.push_back(waiter);
        waits = true;
      }
    }
    if (!waits) Waiter::schedule(waiter);
    if (starting) startConnecting();
  }

  // Starts connecting without blocking, if nobody has.
  void prepare() {
    bool starting = false;
    {
      std::lock_guard lock(mutex);
      starting = beginLocked();
    }
    if (starting) startConnecting();
  }

  // Called once, right after the attempt began.
  void startConnecting() {
    std::optional<std::string> given;
    {
      std::lock_guard lock(mutex);
      given = address;
    }
    // The environment names the session bus in every desktop session; only
    // without it may finding the bus take time (GIO would run dbus-launch),
    // so only then does that happen in a thread of its own.
    const char* session = g_getenv("DBUS_SESSION_BUS_ADDRESS");
    if (!given && session != nullptr && *session != '\0') {
      given = session;
      std::lock_guard named(mutex);
      address = given;
    }
    if (given) {
      connectAsync(*given);
      return;
    }
    GTask* task =
        g_task_new(nullptr, cancellable, &Impl::onAddressFound, new std::shared_ptr<Impl>(shared_from_this()));
    g_task_run_in_thread(task, [](GTask* t, gpointer, gpointer, GCancellable* c) {
      GError* error = nullptr;
      if (gchar* found = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, c, &error)) {
        g_task_return_pointer(t, found, g_free);
      } else {
        g_task_return_error(t, error);
      }
    });
    g_object_unref(task);
  }

  static void onAddressFound(GObject*, GAsyncResult* result, gpointer data) {
    const std::unique_ptr<std::shared_ptr<Impl>> self(static_cast<std::shared_ptr<Impl>*>(data));
    GError* error = nullptr;
    auto* found = static_cast<gchar*>(g_task_propagate_pointer(G_TASK(result), &error));
    if (found == nullptr) {
      (*self)->finish(nullptr, error);
      g_clear_error(&error);
      return;
    }
    {
      std::lock_guard lock((*self)->mutex);
      (*self)->address = found;
    }
    (*self)->connectAsync(found);
    g_free(found);
  }

  // Constructs the connection on the calling thread, so that its "closed"
  // signal comes to that thread's context, and authenticates in GIO's pool.
  void connectAsync(const std::string& busAddress) {
    g_dbus_connection_new_for_address(
        busAddress.c_str(), kConnectionFlags, nullptr, cancellable,
        [](GObject*, GAsyncResult* result, gpointer data) {
          const std::unique_ptr<std::shared_ptr<Impl>> self(static_cast<std::shared_ptr<Impl>*>(data));
          GError* error = nullptr;
          GDBusConnection* made = g_dbus_connection_new_for_address_finish(result, &error);
          (*self)->finish(made, error);
          g_clear_error(&error);
        },
        new std::shared_ptr<Impl>(shared_from_this()));
  }

  // Adds the bus's match rule for `registration` on the calling thread, whose
  // context delivery will use. Nothing when the centre cannot reach the bus.
  GDBusConnection* subscribe(const std::shared_ptr<Registration>& registration) {
    GDBusConnection* bus = nullptr;
    {
      std::lock_guard lock(mutex);
      if (state != State::kConnected || shutDown || !registration->active.load()) return nullptr;
      bus = connection;
    }
    // arg0 filtering lets the bus drop other names before they reach us.
    const guint id = g_dbus_connection_signal_subscribe(
        bus, nullptr, kNotificationBusInterface, kNotificationBusMember, kNotificationBusPath,
        registration->name.c_str(), G_DBUS_SIGNAL_FLAGS_NONE, &onSignal,
        new std::shared_ptr<Registration>(registration), &freeRegistration);
    std::lock_guard lock(mutex);
    registration->subscription = id;
    return bus;
  }

  std::optional<std::string> reasonLocked() const {
    if (shutDown) return "the notification centre was destroyed";
    return failure ? failure : "the observer was removed before it was registered";
  }

  void shutdown() {
    std::vector<guint> subscriptions;
    GDBusConnection* bus = nullptr;
    gulong closed = 0;
    bool wasConnecting = false;
    Waiters woken;
    {
      std::lock_guard lock(mutex);
      shutDown = true;
      if (state == State::kConnecting) {
        // Registrations still waiting for the connection learn it now.
        state = State::kFailed;
        failure = "the notification centre was destroyed";
        wasConnecting = true;
        woken = settleLocked();
      }
      for (auto& r : registrations) {
        r->active.store(false);
        if (r->subscription != 0) subscriptions.push_back(r->subscription);
      }
      registrations.clear();
      bus = std::exchange(connection, nullptr);
      closed = closedHandler;
    }
    if (wasConnecting) g_cancellable_cancel(cancellable);
    resume(woken);
    if (bus == nullptr) return;
    for (guint subscription : subscriptions) g_dbus_connection_signal_unsubscribe(bus, subscription);
    g_signal_handler_disconnect(bus, closed);
    g_dbus_connection_close_sync(bus, nullptr, nullptr);
    g_object_unref(bus);
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
  if (impl_->connectSync() == nullptr || !isUtf8(name)) return;
  auto registration = makeRegistration(observer, std::move(selector), name, object);
  {
    std::lock_guard lock(impl_->mutex);
    impl_->registrations.push_back(registration);
  }
  GDBusConnection* bus = impl_->subscribe(registration);
  if (bus == nullptr) return;
  // A round trip to the bus: once it returns, the bus has the match rule, so
  // a post made after addObserver returns is never missed.
  GVariant* reply = g_dbus_connection_call_sync(
      bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus.Peer", "Ping", nullptr, nullptr,
      G_DBUS_CALL_FLAGS_NONE, static_cast<gint>(impl_->timeout.count()), nullptr, nullptr);
  if (reply != nullptr) g_variant_unref(reply);
}

void BusNotificationCenter::addObserver(const void* observer, Selector selector, const std::string& name,
                                        const std::optional<std::string>& object, Registered registered) {
  auto registration = makeRegistration(observer, std::move(selector), name, object);
  {
    std::lock_guard lock(impl_->mutex);
    impl_->registrations.push_back(registration);
  }
  const Clock::time_point deadline = Clock::now() + impl_->timeout;
  impl_->whenConnected([impl = impl_, registration, registered = std::move(registered), deadline]() mutable {
    if (!isUtf8(registration->name)) {
      registered("a notification name must be UTF-8");
      return;
    }
    GDBusConnection* bus = impl->subscribe(registration);
    if (bus == nullptr) {
      std::optional<std::string> reason;
      {
        std::lock_guard lock(impl->mutex);
        reason = impl->reasonLocked();
      }
      registered(reason);
      return;
    }
    // The same confirming round trip as above, answered on this loop.
    struct Pending {
      std::shared_ptr<Impl> impl;
      Registered registered;
    };
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    g_dbus_connection_call(
        bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus.Peer", "Ping", nullptr, nullptr,
        G_DBUS_CALL_FLAGS_NONE, static_cast<gint>(std::max<std::int64_t>(left.count(), 1)), nullptr,
        [](GObject* source, GAsyncResult* result, gpointer data) {
          const std::unique_ptr<Pending> pending(static_cast<Pending*>(data));
          GError* error = nullptr;
          GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, &error);
          if (reply != nullptr) {
            g_variant_unref(reply);
            pending->registered(std::nullopt);
            return;
          }
          std::string reason;
          {
            std::lock_guard lock(pending->impl->mutex);
            reason = g_error_matches(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT)
                         ? pending->impl->busLocked() + " did not answer within " + seconds(pending->impl->timeout)
                         : pending->impl->busLocked() + ": " + error->message;
          }
          g_clear_error(&error);
          pending->registered(reason);
        },
        new Pending{impl, std::move(registered)});
  });
}

void BusNotificationCenter::prepareConnection() { impl_->prepare(); }

void BusNotificationCenter::removeObserver(const void* observer, const std::string& name) {
  std::vector<std::pair<std::shared_ptr<Registration>, guint>> removed;
  GDBusConnection* bus = nullptr;
  {
    std::lock_guard lock(impl_->mutex);
    bus = impl_->connection;
    auto& all = impl_->registrations;
    for (auto it = all.begin(); it != all.end();) {
      if ((*it)->observer == observer && (*it)->name == name) {
        (*it)->active.store(false);
        const guint subscription = (*it)->subscription;
        removed.emplace_back(std::move(*it), subscription);
        it = all.erase(it);
      } else {
        ++it;
      }
    }
  }
  for (auto& [registration, subscription] : removed) {
    if (bus != nullptr && subscription != 0) g_dbus_connection_signal_unsubscribe(bus, subscription);
  }
}

void BusNotificationCenter::post(const std::string& name, const std::optional<std::string>& object) {
  GDBusConnection* connection = impl_->connectSync();
  if (connection == nullptr) return;
  // D-Bus texts must be UTF-8; anything else could not be delivered anyway.
  if (!isUtf8(name) || (object && !isUtf8(*object))) return;
  g_dbus_connection_emit_signal(
      connection, nullptr, kNotificationBusPath, kNotificationBusInterface, kNotificationBusMember,
      g_variant_new("(sbs)", name.c_str(), object.has_value(), object ? object->c_str() : ""), nullptr);
  // Emitting only queues the message; deliver it now, even if we exit next.
  g_dbus_connection_flush_sync(connection, nullptr, nullptr);
}

std::optional<std::string> BusNotificationCenter::unavailableReason() {
  impl_->connectSync();
  std::lock_guard lock(impl_->mutex);
  return impl_->failure;
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
