// The one way the libraries reach a D-Bus message bus: where the bus is, how
// a private connection to it is made, and how long anything on it may take.
// Plumbing for the Linux files of Keel and Plinth, not public interface.
//
// Address policy: the session bus is $DBUS_SESSION_BUS_ADDRESS when it is set
// and not empty, else $XDG_RUNTIME_DIR/bus when that is a socket; the system
// bus is $DBUS_SYSTEM_BUS_ADDRESS, else /var/run/dbus/system_bus_socket when
// that is a socket. Nothing else: no bus is ever launched (GIO's own lookup
// would run dbus-launch, which starts a stray daemon in a session without
// one). Every service also takes an address of its own, for tests.
//
// Threads: connections are made, and their "closed" signal is heard, on one
// process-wide thread of this layer, which also cancels work at its deadline.
// So nothing here ever needs the caller's main context to make progress, and
// a blocking wait on any thread is bounded by its deadline alone. Replies to
// asynchronous calls and signals of subscriptions still come to the main
// context that was the caller's thread default, as GDBus delivers them.
#pragma once

#include <gio/gio.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Keel/core/result.h"

namespace Keel::detail {

using BusClock = std::chrono::steady_clock;

// ---------------------------------------------------------------- ownership

template <typename T>
struct GObjectUnref {
  void operator()(T* object) const { g_object_unref(object); }
};
// One reference to a GObject, released with the owner.
template <typename T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref<T>>;

struct VariantUnref {
  void operator()(GVariant* value) const { g_variant_unref(value); }
};
// One reference to a (non-floating) GVariant, such as a call's reply.
using VariantPtr = std::unique_ptr<GVariant, VariantUnref>;

// The GError of one GLib call, freed with the slot.
class GErrorSlot {
 public:
  GErrorSlot() = default;
  ~GErrorSlot() { clear(); }
  GErrorSlot(const GErrorSlot&) = delete;
  GErrorSlot& operator=(const GErrorSlot&) = delete;

  // For the call's GError** argument; forgets any earlier error.
  GError** out() {
    clear();
    return &error_;
  }
  [[nodiscard]] bool failed() const { return error_ != nullptr; }
  [[nodiscard]] bool is(GQuark domain, int code) const { return g_error_matches(error_, domain, code) != FALSE; }
  [[nodiscard]] std::string message(std::string_view fallback = "unknown error") const {
    return error_ != nullptr ? std::string(error_->message) : std::string(fallback);
  }

 private:
  void clear() { g_clear_error(&error_); }
  GError* error_ = nullptr;
};

// ------------------------------------------------------------ address policy

enum class BusType { session, system };

// Looks an environment variable up; nothing when it is unset.
using EnvironmentLookup = std::function<std::optional<std::string>(const char* name)>;

// The address of the `type` bus by the policy above, reading the process's
// environment or `environment`; nothing when the policy finds no bus.
[[nodiscard]] std::optional<std::string> busAddress(BusType type);
[[nodiscard]] std::optional<std::string> busAddress(BusType type, const EnvironmentLookup& environment);

// "the D-Bus session bus" or "the D-Bus system bus", for reasons.
[[nodiscard]] std::string busName(BusType type);

// --------------------------------------------------------------- deadlines

// The time left until `deadline` as GDBus wants a call's time-out: whole
// milliseconds, at least 1 (0 or less would mean GDBus's own 25 s).
[[nodiscard]] int millisecondsUntil(BusClock::time_point deadline);

// "3 s", "0.2 s": a time-out as reasons name it.
[[nodiscard]] std::string secondsText(std::chrono::milliseconds duration);

// Cancels `cancellable` at `deadline` unless destroyed first, for GIO calls
// that take a cancellable but no time-out. All share the layer's one thread.
class Watchdog {
 public:
  Watchdog(GCancellable* cancellable, BusClock::time_point deadline);
  ~Watchdog();
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

 private:
  GSource* timer_;
};

// ----------------------------------------------------------- calls, signals

struct BusCall {
  const char* destination;
  const char* path;
  const char* interface;
  const char* method;
  GVariant* parameters = nullptr;  // floating references are consumed
  const GVariantType* replyType = nullptr;
  GDBusCallFlags flags = G_DBUS_CALL_FLAGS_NONE;
};

// Calls and waits for the reply, at the latest until `deadline`; nothing and
// the reason in `error` when there is none by then (G_IO_ERROR_TIMED_OUT).
[[nodiscard]] VariantPtr callSync(GDBusConnection* connection, const BusCall& call, BusClock::time_point deadline,
                                  GErrorSlot& error);

// Calls without waiting; `done` gets the reply, or nothing and the reason, on
// the calling thread's thread-default main context, at the latest at
// `deadline` while that context is served.
using CallDone = std::function<void(VariantPtr reply, const GErrorSlot& error)>;
void call(GDBusConnection* connection, const BusCall& call, BusClock::time_point deadline, CallDone done);

// Sends without asking for a reply (nothing to wait for, nothing to serve).
void send(GDBusConnection* connection, const BusCall& call);

// Sends everything queued on `connection` (emitted signals); false when that
// did not happen by `deadline` (a bus that stopped reading).
bool flush(GDBusConnection* connection, BusClock::time_point deadline);

// A match rule for a signal, each value quoted and escaped as the D-Bus
// specification says (an apostrophe inside a value is written '\''). The bus
// refuses rules longer than maximumMatchRuleBytes: when `arg0` would make the
// rule that long it is left out, so a subscriber that gives one always
// compares arg0 itself as well.
inline constexpr std::size_t maximumMatchRuleBytes = 1024;
[[nodiscard]] std::string signalRule(std::string_view interface, std::string_view member, std::string_view path,
                                     std::optional<std::string_view> arg0 = std::nullopt);

struct SignalMatch {
  const char* sender = nullptr;  // nothing: anyone
  const char* interface = nullptr;
  const char* member = nullptr;
  const char* path = nullptr;
  const char* arg0 = nullptr;  // matched by GDBus's own rule, unescaped: only plain constants
  GDBusSignalFlags flags = G_DBUS_SIGNAL_FLAGS_NONE;
};

// A signal subscription that ends with the object. The handler runs on the
// thread-default main context of the subscribing thread, never after the
// subscription ended on that thread; ended on another thread, a call already
// under way there may still finish.
class SignalSubscription {
 public:
  using Handler = std::function<void(GVariant* parameters)>;
  SignalSubscription() = default;
  SignalSubscription(GDBusConnection* connection, const SignalMatch& match, Handler handler);
  ~SignalSubscription() { reset(); }
  SignalSubscription(SignalSubscription&& other) noexcept;
  SignalSubscription& operator=(SignalSubscription&& other) noexcept;
  SignalSubscription(const SignalSubscription&) = delete;
  SignalSubscription& operator=(const SignalSubscription&) = delete;

  // Ends the subscription now; any thread.
  void reset();

  struct Target;

 private:
  GObjectPtr<GDBusConnection> connection_;
  guint id_ = 0;
  std::shared_ptr<Target> target_;
};

// -------------------------------------------------------------- connections

// One private connection to a message bus (never GIO's shared one, which
// other code could close), with exit-on-close off: a bus that goes away
// calls the closed handler instead of ending the process.
//
// Connecting starts when the object is made and takes at most `timeout`:
// a bus that accepts and then says nothing counts as absent at the deadline.
class BusConnection {
 public:
  // Connects to `address`, or to the `type` bus of the address policy when
  // none is given. The closed handler will run on the calling thread's
  // thread-default main context.
  BusConnection(BusType type, std::optional<std::string> address, std::chrono::milliseconds timeout);
  // Closes, as close() does.
  ~BusConnection();
  BusConnection(const BusConnection&) = delete;
  BusConnection& operator=(const BusConnection&) = delete;

  // Waits until connecting has ended, at the latest until its deadline, and
  // returns the connection; nothing when there is none (see status()). Any
  // thread: connecting never needs the caller's main context.
  [[nodiscard]] GObjectPtr<GDBusConnection> wait();

  // Runs `settled` once, on the calling thread's thread-default main context
  // and never inline, when connecting has ended (at the latest at the
  // deadline, or when the object is destroyed).
  void whenSettled(std::function<void()> settled);

  // The connection, when made and not closed; never waits.
  [[nodiscard]] GObjectPtr<GDBusConnection> get() const;

  // Success while connecting or connected; otherwise why there is no
  // connection: "no D-Bus session bus: <why>" (none found, or an error),
  // "<description()> did not answer within 3 s", or "the D-Bus session bus
  // went away: <reason>" once the bus closed it.
  [[nodiscard]] Result<void> status() const;

  // Called once, on the main context named above, when the bus closes a
  // connection that was made, with GDBus's reason. Replaces any earlier one.
  void setClosedHandler(std::function<void(const std::string& reason)> handler);

  // Closes the connection without waiting for the bus, or gives connecting
  // up: waiters then run at once and find no connection, and the closed
  // handler never runs. Any thread; later calls find no connection.
  void close();

  // The bus as reasons name it: "the D-Bus session bus at <address>".
  [[nodiscard]] const std::string& description() const;

  struct State;

 private:
  std::shared_ptr<State> state_;
};

}  // namespace Keel::detail
