// logind's sleep signal over GDBus, served by the main run loop.
#include "Plinth/desktop/sleep_wake_observer_linux.h"

#include <gio/gio.h>

#include <atomic>
#include <mutex>
#include <utility>

#include "Keel/core/run_loop.h"

namespace Plinth {
namespace {

constexpr const char* kLogindName = "org.freedesktop.login1";
constexpr const char* kLogindPath = "/org/freedesktop/login1";
constexpr const char* kLogindInterface = "org.freedesktop.login1.Manager";
constexpr const char* kSleepSignal = "PrepareForSleep";
constexpr int kConfirmTimeoutMs = 3000;
constexpr auto kConnectionFlags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                                    G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);

}  // namespace

struct LogindSleepEvents::State {
  std::optional<std::string> busAddress;
  std::function<void(bool)> onListening;
  Handler handler;  // set once by start(), before any callback can run
  GCancellable* cancellable = g_cancellable_new();
  std::atomic<bool> stopped{false};

  std::mutex mutex;  // guards the two below
  GDBusConnection* connection = nullptr;
  guint subscription = 0;

  ~State() { g_object_unref(cancellable); }

  void listening(bool confirmed) const {
    if (onListening && !stopped) onListening(confirmed);
  }

  // GDBus callbacks carry a heap copy of the shared state, so that it lives
  // as long as any callback may still come, whatever thread ends the source.
  using Holder = std::shared_ptr<State>;
  static gpointer hold(const Holder& state) { return new Holder(state); }
  static Holder& held(gpointer data) { return *static_cast<Holder*>(data); }
  static void release(gpointer data) { delete static_cast<Holder*>(data); }

  static void connect(const Holder& state) {
    std::string address;
    if (state->busAddress) {
      address = *state->busAddress;
    } else {
      gchar* found = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
      if (found == nullptr) return state->listening(false);
      address = found;
      g_free(found);
    }
    g_dbus_connection_new_for_address(address.c_str(), kConnectionFlags, nullptr, state->cancellable, &State::connected,
                                      hold(state));
  }

  static void connected(GObject*, GAsyncResult* result, gpointer data) {
    Holder state = std::move(held(data));
    release(data);
    GDBusConnection* made = g_dbus_connection_new_for_address_finish(result, nullptr);
    if (made == nullptr) return state->listening(false);
    // The default would send this process SIGTERM when the bus goes away.
    g_dbus_connection_set_exit_on_close(made, FALSE);
    bool kept = false;
    {
      std::lock_guard lock(state->mutex);
      if (!state->stopped) {
        kept = true;
        state->connection = made;
        // Signals are served by this thread's context, the main run loop's.
        state->subscription = g_dbus_connection_signal_subscribe(made, kLogindName, kLogindInterface, kSleepSignal,
                                                                 kLogindPath, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
                                                                 &State::signalled, hold(state), &State::release);
        // Ours for the call below, even if the source ends on another thread.
        g_object_ref(made);
      }
    }
    if (!kept) {
      g_dbus_connection_close(made, nullptr, nullptr, nullptr);
      g_object_unref(made);
      return;
    }
    // The bus handles our messages in order: once it answers this, it has
    // installed the match rule the subscription sent before.
    g_dbus_connection_call(made, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId",
                           nullptr, G_VARIANT_TYPE("(s)"), G_DBUS_CALL_FLAGS_NONE, kConfirmTimeoutMs,
                           state->cancellable, &State::confirmed, hold(state));
    g_object_unref(made);
  }

  static void confirmed(GObject* connection, GAsyncResult* result, gpointer data) {
    Holder state = std::move(held(data));
    release(data);
    GError* error = nullptr;
    GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, &error);
    if (reply != nullptr) g_variant_unref(reply);
    if (error != nullptr) g_error_free(error);
    state->listening(reply != nullptr);
  }

  static void signalled(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*, GVariant* parameters,
                        gpointer data) {
    const Holder& state = held(data);
    // Anything but one boolean is not the signal we know.
    if (state->stopped || !g_variant_is_of_type(parameters, G_VARIANT_TYPE("(b)"))) return;
    gboolean goingToSleep = FALSE;
    g_variant_get(parameters, "(b)", &goingToSleep);
    state->handler(goingToSleep != FALSE);
  }
};

LogindSleepEvents::LogindSleepEvents() : LogindSleepEvents(Options{}) {}

LogindSleepEvents::LogindSleepEvents(Options options) : state_(std::make_shared<State>()) {
  state_->busAddress = std::move(options.busAddress);
  state_->onListening = std::move(options.onListening);
}

LogindSleepEvents::~LogindSleepEvents() {
  state_->stopped = true;
  g_cancellable_cancel(state_->cancellable);
  GDBusConnection* connection = nullptr;
  guint subscription = 0;
  {
    std::lock_guard lock(state_->mutex);
    std::swap(connection, state_->connection);
    std::swap(subscription, state_->subscription);
  }
  if (connection == nullptr) return;
  g_dbus_connection_signal_unsubscribe(connection, subscription);
  g_dbus_connection_close(connection, nullptr, nullptr, nullptr);
  g_object_unref(connection);
}

void LogindSleepEvents::start(Handler handler) {
  state_->handler = std::move(handler);
  Keel::RunLoop::main().perform([state = state_] {
    if (!state->stopped) State::connect(state);
  });
}

std::unique_ptr<SleepEventSource> SleepEventSource::system() { return std::make_unique<LogindSleepEvents>(); }

}  // namespace Plinth
