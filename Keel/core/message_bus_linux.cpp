// The message-bus layer over GDBus: the address policy, the layer's thread,
// deadlines and private connections.
#include "Keel/core/message_bus_linux.h"

#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace Keel::detail {
namespace {

constexpr const char* systemBusSocket = "/var/run/dbus/system_bus_socket";

// Runs `work` once on `context`, after what was queued there before; never
// inline.
void postTo(GMainContext* context, std::function<void()> work) {
  GSource* idle = g_idle_source_new();
  g_source_set_priority(idle, G_PRIORITY_DEFAULT);
  g_source_set_callback(
      idle,
      [](gpointer data) -> gboolean {
        (*static_cast<std::function<void()>*>(data))();
        return G_SOURCE_REMOVE;
      },
      new std::function<void()>(std::move(work)), [](gpointer data) { delete static_cast<std::function<void()>*>(data); });
  g_source_attach(idle, context);
  g_source_unref(idle);
}

// The layer's one thread: it makes connections (so their completion and their
// "closed" signal come here rather than to a caller's context), runs the
// deadline timers and hands flushes to GDBus. Nothing it runs blocks. Made on
// first use and never ended, like GDBus's own worker.
GMainContext* busContext() {
  static GMainContext* const context = [] {
    GMainContext* made = g_main_context_new();
    std::thread([made] {
      g_main_context_push_thread_default(made);
      GMainLoop* loop = g_main_loop_new(made, FALSE);
      g_main_loop_run(loop);
    }).detach();
    return made;
  }();
  return context;
}

guint delayUntil(BusClock::time_point deadline) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - BusClock::now()).count();
  return static_cast<guint>(std::clamp<std::int64_t>(left, 0, INT_MAX));
}

std::string quoted(std::string_view value) {
  std::string text = "'";
  for (const char c : value) {
    if (c == '\'') {
      text += "'\\''";  // close the quote, an escaped apostrophe, reopen
    } else {
      text += c;
    }
  }
  return text + "'";
}

}  // namespace

// ------------------------------------------------------------ address policy

std::optional<std::string> busAddress(BusType type, const EnvironmentLookup& environment) {
  const bool session = type == BusType::session;
  if (auto given = environment(session ? "DBUS_SESSION_BUS_ADDRESS" : "DBUS_SYSTEM_BUS_ADDRESS");
      given && !given->empty()) {
    return given;
  }
  std::string socket = systemBusSocket;
  if (session) {
    const auto runtime = environment("XDG_RUNTIME_DIR");
    if (!runtime || runtime->empty()) return std::nullopt;
    socket = *runtime + "/bus";
  }
  struct stat info {};
  if (stat(socket.c_str(), &info) != 0 || !S_ISSOCK(info.st_mode)) return std::nullopt;
  gchar* escaped = g_dbus_address_escape_value(socket.c_str());
  std::string address = std::string("unix:path=") + escaped;
  g_free(escaped);
  return address;
}

std::optional<std::string> busAddress(BusType type) {
  return busAddress(type, [](const char* name) -> std::optional<std::string> {
    const gchar* value = g_getenv(name);
    return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
  });
}

std::string busName(BusType type) {
  return type == BusType::session ? "the D-Bus session bus" : "the D-Bus system bus";
}

// --------------------------------------------------------------- deadlines

int millisecondsUntil(BusClock::time_point deadline) {
  return static_cast<int>(std::max<guint>(delayUntil(deadline), 1));
}

std::string secondsText(std::chrono::milliseconds duration) {
  char text[32];
  std::snprintf(text, sizeof text, "%g s", static_cast<double>(duration.count()) / 1000.0);
  return text;
}

Watchdog::Watchdog(GCancellable* cancellable, BusClock::time_point deadline)
    : timer_(g_timeout_source_new(delayUntil(deadline))) {
  g_source_set_callback(
      timer_,
      [](gpointer data) -> gboolean {
        g_cancellable_cancel(G_CANCELLABLE(data));
        return G_SOURCE_REMOVE;
      },
      g_object_ref(cancellable), g_object_unref);
  g_source_attach(timer_, busContext());
}

Watchdog::~Watchdog() {
  g_source_destroy(timer_);
  g_source_unref(timer_);
}

// ----------------------------------------------------------- calls, signals

VariantPtr callSync(GDBusConnection* connection, const BusCall& call, BusClock::time_point deadline,
                    GErrorSlot& error) {
  // GDBus waits for the reply on a context of its own, bounded by the time-out.
  return VariantPtr(g_dbus_connection_call_sync(connection, call.destination, call.path, call.interface, call.method,
                                                call.parameters, call.replyType, call.flags,
                                                millisecondsUntil(deadline), nullptr, error.out()));
}

void call(GDBusConnection* connection, const BusCall& call, BusClock::time_point deadline, CallDone done) {
  g_dbus_connection_call(
      connection, call.destination, call.path, call.interface, call.method, call.parameters, call.replyType,
      call.flags, millisecondsUntil(deadline), nullptr,
      [](GObject* source, GAsyncResult* result, gpointer data) {
        const std::unique_ptr<CallDone> callback(static_cast<CallDone*>(data));
        GErrorSlot error;
        VariantPtr reply(g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, error.out()));
        (*callback)(std::move(reply), error);
      },
      new CallDone(std::move(done)));
}

void send(GDBusConnection* connection, const BusCall& call) {
  // Without a callback GDBus marks the message as expecting no reply.
  g_dbus_connection_call(connection, call.destination, call.path, call.interface, call.method, call.parameters,
                         call.replyType, call.flags, -1, nullptr, nullptr, nullptr);
}

bool flush(GDBusConnection* connection, BusClock::time_point deadline) {
  // GDBus's flush_sync ignores its cancellable; the asynchronous flush,
  // started on the layer's thread, reports there instead, and only the
  // waiting here is bounded.
  struct Flush {
    std::mutex mutex;
    std::condition_variable done;
    std::optional<bool> flushed;  // guarded
  };
  auto state = std::make_shared<Flush>();
  g_object_ref(connection);
  postTo(busContext(), [connection, state] {
    g_dbus_connection_flush(
        connection, nullptr,
        [](GObject* source, GAsyncResult* result, gpointer data) {
          const std::unique_ptr<std::shared_ptr<Flush>> flush(static_cast<std::shared_ptr<Flush>*>(data));
          const bool flushed = g_dbus_connection_flush_finish(G_DBUS_CONNECTION(source), result, nullptr) != FALSE;
          std::lock_guard lock((*flush)->mutex);
          (*flush)->flushed = flushed;
          (*flush)->done.notify_all();
        },
        new std::shared_ptr<Flush>(state));
    g_object_unref(connection);
  });
  std::unique_lock lock(state->mutex);
  return state->done.wait_until(lock, deadline, [&] { return state->flushed.has_value(); }) && *state->flushed;
}

std::string signalRule(std::string_view interface, std::string_view member, std::string_view path,
                       std::optional<std::string_view> arg0) {
  std::string rule =
      "type='signal',interface=" + quoted(interface) + ",member=" + quoted(member) + ",path=" + quoted(path);
  if (arg0) {
    std::string matched = rule + ",arg0=" + quoted(*arg0);
    if (matched.size() <= maximumMatchRuleBytes) return matched;
  }
  return rule;
}

struct SignalSubscription::Target {
  std::atomic<bool> active{true};
  Handler handler;
};

SignalSubscription::SignalSubscription(GDBusConnection* connection, const SignalMatch& match, Handler handler)
    : connection_(G_DBUS_CONNECTION(g_object_ref(connection))), target_(std::make_shared<Target>()) {
  target_->handler = std::move(handler);
  // GDBus may still call once after an unsubscribe from another thread; the
  // heap reference keeps the target alive until its destroy-notify.
  id_ = g_dbus_connection_signal_subscribe(
      connection, match.sender, match.interface, match.member, match.path, match.arg0, match.flags,
      [](GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*, GVariant* parameters,
         gpointer data) {
        const auto& target = *static_cast<std::shared_ptr<Target>*>(data);
        if (target->active.load()) target->handler(parameters);
      },
      new std::shared_ptr<Target>(target_), [](gpointer data) { delete static_cast<std::shared_ptr<Target>*>(data); });
}

SignalSubscription::SignalSubscription(SignalSubscription&& other) noexcept
    : connection_(std::move(other.connection_)),
      id_(std::exchange(other.id_, 0)),
      target_(std::move(other.target_)) {}

SignalSubscription& SignalSubscription::operator=(SignalSubscription&& other) noexcept {
  if (this != &other) {
    reset();
    connection_ = std::move(other.connection_);
    id_ = std::exchange(other.id_, 0);
    target_ = std::move(other.target_);
  }
  return *this;
}

void SignalSubscription::reset() {
  if (target_) target_->active.store(false);
  if (id_ != 0) g_dbus_connection_signal_unsubscribe(connection_.get(), id_);
  id_ = 0;
  connection_.reset();
  target_.reset();
}

// -------------------------------------------------------------- connections

struct BusConnection::State : std::enable_shared_from_this<State> {
  enum class Phase { connecting, connected, failed };
  struct Waiter {
    GMainContext* context;  // a reference
    std::function<void()> work;
  };
  using Waiters = std::vector<Waiter>;

  State(std::string n, std::optional<std::string> a, std::chrono::milliseconds t)
      : name(std::move(n)),
        address(std::move(a)),
        description(name + (address ? " at " + *address : std::string())),
        timeout(t),
        deadline(BusClock::now() + t),
        home(g_main_context_ref_thread_default()),
        cancellable(g_cancellable_new()) {}
  ~State() {
    if (timer != nullptr) g_source_unref(timer);
    if (connection != nullptr) g_object_unref(connection);
    g_main_context_unref(home);
  }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  const std::string name;  // "the D-Bus session bus"
  const std::optional<std::string> address;
  const std::string description;
  const std::chrono::milliseconds timeout;
  const BusClock::time_point deadline;
  GMainContext* const home;  // where the closed handler runs
  const GObjectPtr<GCancellable> cancellable;
  GSource* timer = nullptr;  // set before the state is shared

  mutable std::mutex mutex;
  std::condition_variable settled;
  Phase phase = Phase::connecting;                        // guarded
  GDBusConnection* connection = nullptr;                  // guarded: ours while connected, until closed
  Result<void> status;                                    // guarded
  Waiters waiters;                                        // guarded
  std::function<void(const std::string&)> closedHandler;  // guarded
  bool ended = false;                                     // guarded: the owner closed it

  // With the lock held: connecting ends. Wakes those blocked on it and hands
  // over those to resume, which the caller does once unlocked.
  Waiters settleLocked(Phase next, Result<void> outcome) {
    phase = next;
    status = std::move(outcome);
    settled.notify_all();
    return std::exchange(waiters, {});
  }

  static void resume(Waiters waiters) {
    for (auto& waiter : waiters) {
      postTo(waiter.context, std::move(waiter.work));
      g_main_context_unref(waiter.context);
    }
  }

  std::string noBus() const { return "no " + name.substr(4); }  // "no D-Bus session bus"

  // On the layer's thread, unless the state was settled meanwhile.
  void begin() {
    {
      std::lock_guard lock(mutex);
      if (phase != Phase::connecting) return;
    }
    // As g_dbus_connection_new_for_address, but with exit-on-close off from
    // the start, so that no window exists in which losing the bus would
    // send this process SIGTERM.
    g_async_initable_new_async(G_TYPE_DBUS_CONNECTION, G_PRIORITY_DEFAULT, cancellable.get(), &State::made,
                               new std::shared_ptr<State>(shared_from_this()), "address", address->c_str(), "flags",
                               G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                   G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION,
                               "exit-on-close", FALSE, nullptr);
  }

  static void made(GObject* source, GAsyncResult* result, gpointer data) {
    const std::shared_ptr<State> self = std::move(*static_cast<std::shared_ptr<State>*>(data));
    delete static_cast<std::shared_ptr<State>*>(data);
    GErrorSlot error;
    GObject* object = g_async_initable_new_finish(G_ASYNC_INITABLE(source), result, error.out());
    GDBusConnection* made = object != nullptr ? G_DBUS_CONNECTION(object) : nullptr;
    if (made != nullptr) {
      // Emitted on this thread, where the connection was constructed.
      g_signal_connect_data(made, "closed", G_CALLBACK(&State::closed), new std::weak_ptr<State>(self),
                            [](gpointer weak, GClosure*) { delete static_cast<std::weak_ptr<State>*>(weak); },
                            GConnectFlags{});
    }
    bool kept = false;
    Waiters woken;
    {
      std::lock_guard lock(self->mutex);
      if (self->phase == Phase::connecting) {
        if (made != nullptr) {
          self->connection = made;
          kept = true;
          woken = self->settleLocked(Phase::connected, success());
        } else {
          woken = self->settleLocked(Phase::failed, failure(self->noBus() + ": " + error.message()));
        }
      }
    }
    g_source_destroy(self->timer);
    if (made != nullptr && !kept) {
      // Too late: given up at the deadline, or closed by its owner.
      g_dbus_connection_close(made, nullptr, nullptr, nullptr);
      g_object_unref(made);
    } else if (kept && g_dbus_connection_is_closed(made) != FALSE) {
      closedBy(self, "the bus closed the connection");  // before the handler was there
    }
    resume(std::move(woken));
  }

  static void closed(GDBusConnection*, gboolean, GError* error, gpointer data) {
    if (const auto self = static_cast<std::weak_ptr<State>*>(data)->lock()) {
      closedBy(self, error != nullptr ? error->message : "the bus closed the connection");
    }
  }

  static void closedBy(const std::shared_ptr<State>& self, const std::string& reason) {
    bool tell = false;
    {
      std::lock_guard lock(self->mutex);
      if (self->ended || self->phase != Phase::connected) return;
      self->settleLocked(Phase::failed, failure(self->name + " went away: " + reason));
      tell = static_cast<bool>(self->closedHandler);
    }
    if (!tell) return;
    postTo(self->home, [weak = std::weak_ptr<State>(self), reason] {
      const auto state = weak.lock();
      if (!state) return;
      std::function<void(const std::string&)> handler;
      {
        std::lock_guard lock(state->mutex);
        if (state->ended) return;
        handler = std::move(state->closedHandler);
      }
      if (handler) handler(reason);
    });
  }

  // At the deadline, from the layer's timer or a waiter that saw it pass.
  void giveUp() {
    Waiters woken;
    {
      std::lock_guard lock(mutex);
      if (phase != Phase::connecting) return;
      woken = settleLocked(Phase::failed, failure(description + " did not answer within " + secondsText(timeout)));
    }
    g_cancellable_cancel(cancellable.get());
    resume(std::move(woken));
  }

  void close() {
    GDBusConnection* made = nullptr;
    Waiters woken;
    {
      std::lock_guard lock(mutex);
      ended = true;
      closedHandler = nullptr;
      if (phase == Phase::connecting) woken = settleLocked(Phase::failed, failure(description + " was given up"));
      made = std::exchange(connection, nullptr);
    }
    g_cancellable_cancel(cancellable.get());
    if (timer != nullptr) g_source_destroy(timer);
    resume(std::move(woken));
    // Closing may wait for the bus; the layer's thread lets GDBus finish it.
    if (made != nullptr) {
      postTo(busContext(), [made] {
        g_dbus_connection_close(made, nullptr, nullptr, nullptr);
        g_object_unref(made);
      });
    }
  }
};

BusConnection::BusConnection(BusType type, std::optional<std::string> address, std::chrono::milliseconds timeout) {
  if (!address) address = busAddress(type);
  state_ = std::make_shared<State>(busName(type), std::move(address), timeout);
  if (!state_->address) {
    state_->phase = State::Phase::failed;
    state_->status = failure(state_->noBus() + (type == BusType::session
                                                    ? ": DBUS_SESSION_BUS_ADDRESS is not set and $XDG_RUNTIME_DIR/bus "
                                                      "is not a socket"
                                                    : std::string(": DBUS_SYSTEM_BUS_ADDRESS is not set and ") +
                                                          systemBusSocket + " is not a socket"));
    return;
  }
  state_->timer = g_timeout_source_new(static_cast<guint>(std::max<std::int64_t>(timeout.count(), 0)));
  g_source_set_callback(
      state_->timer,
      [](gpointer data) -> gboolean {
        if (const auto state = static_cast<std::weak_ptr<State>*>(data)->lock()) state->giveUp();
        return G_SOURCE_REMOVE;
      },
      new std::weak_ptr<State>(state_), [](gpointer data) { delete static_cast<std::weak_ptr<State>*>(data); });
  g_source_attach(state_->timer, busContext());
  postTo(busContext(), [state = state_] { state->begin(); });
}

BusConnection::~BusConnection() { close(); }

void BusConnection::close() { state_->close(); }

GObjectPtr<GDBusConnection> BusConnection::wait() {
  std::unique_lock lock(state_->mutex);
  if (!state_->settled.wait_until(lock, state_->deadline,
                                  [this] { return state_->phase != State::Phase::connecting; })) {
    lock.unlock();
    state_->giveUp();  // the layer's timer may be a moment late; this waiter is not
    lock.lock();
  }
  if (state_->phase != State::Phase::connected) return nullptr;
  return GObjectPtr<GDBusConnection>(G_DBUS_CONNECTION(g_object_ref(state_->connection)));
}

void BusConnection::whenSettled(std::function<void()> settled) {
  State::Waiter waiter{g_main_context_ref_thread_default(), std::move(settled)};
  {
    std::lock_guard lock(state_->mutex);
    if (state_->phase == State::Phase::connecting) {
      state_->waiters.push_back(std::move(waiter));
      return;
    }
  }
  State::Waiters now;
  now.push_back(std::move(waiter));
  State::resume(std::move(now));
}

GObjectPtr<GDBusConnection> BusConnection::get() const {
  std::lock_guard lock(state_->mutex);
  if (state_->phase != State::Phase::connected) return nullptr;
  return GObjectPtr<GDBusConnection>(G_DBUS_CONNECTION(g_object_ref(state_->connection)));
}

Result<void> BusConnection::status() const {
  std::lock_guard lock(state_->mutex);
  return state_->status;
}

void BusConnection::setClosedHandler(std::function<void(const std::string& reason)> handler) {
  std::lock_guard lock(state_->mutex);
  if (!state_->ended) state_->closedHandler = std::move(handler);
}

const std::string& BusConnection::description() const { return state_->description; }

}  // namespace Keel::detail
