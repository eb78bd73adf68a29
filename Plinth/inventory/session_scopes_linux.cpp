// Transient scopes through the systemd user manager, asked on a thread of the
// move's own so that neither the caller nor its run loop ever waits.
#include "Plinth/inventory/session_scopes_linux.h"

#include <gio/gio.h>

#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <thread>

namespace Plinth {

struct SystemdSessionScopes::State {
  std::mutex mutex;
  std::condition_variable idle;
  int pending = 0;
};

namespace {

constexpr auto kConnectionFlags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                                    G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);

bool allowedInUnitName(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == ':' || c == '_' || c == '.';
}

// One move, from connecting to the manager's answer, served on a context of
// its own so that the time-out bounds every step.
struct Move {
  GMainContext* context = g_main_context_new();
  GCancellable* cancellable = g_cancellable_new();
  GDBusConnection* connection = nullptr;
  std::string unit;
  guint32 pid;
  gint timeoutMs;
  bool done = false;

  Move(std::string u, int p, gint t) : unit(std::move(u)), pid(static_cast<guint32>(p)), timeoutMs(t) {}
  ~Move() {
    if (connection != nullptr) g_object_unref(connection);
    g_object_unref(cancellable);
    g_main_context_unref(context);
  }
  Move(const Move&) = delete;
  Move& operator=(const Move&) = delete;

  void run(const std::optional<std::string>& address) {
    g_main_context_push_thread_default(context);
    GSource* timer = g_timeout_source_new(static_cast<guint>(timeoutMs));
    g_source_set_callback(
        timer,
        [](gpointer data) -> gboolean {
          g_cancellable_cancel(static_cast<GCancellable*>(data));
          return G_SOURCE_REMOVE;
        },
        cancellable, nullptr);
    g_source_attach(timer, context);

    // The address usually comes from the environment. Should finding it take
    // longer (an autolaunched bus), only this thread waits: the asker's wait
    // is bounded on its own.
    gchar* found = address ? g_strdup(address->c_str())
                           : g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, cancellable, nullptr);
    if (found == nullptr) {
      done = true;
    } else {
      g_dbus_connection_new_for_address(found, kConnectionFlags, nullptr, cancellable, &Move::connected, this);
      g_free(found);
    }
    while (!done) g_main_context_iteration(context, TRUE);

    g_source_destroy(timer);
    g_source_unref(timer);
    g_main_context_pop_thread_default(context);
  }

  static void connected(GObject*, GAsyncResult* result, gpointer data) {
    auto* self = static_cast<Move*>(data);
    self->connection = g_dbus_connection_new_for_address_finish(result, nullptr);
    if (self->connection == nullptr) {
      self->done = true;
      return;
    }
    GVariantBuilder properties;
    g_variant_builder_init(&properties, G_VARIANT_TYPE("a(sv)"));
    g_variant_builder_add(&properties, "(sv)", "PIDs",
                          g_variant_new_fixed_array(G_VARIANT_TYPE_UINT32, &self->pid, 1, sizeof(guint32)));
    GVariantBuilder aux;
    g_variant_builder_init(&aux, G_VARIANT_TYPE("a(sa(sv))"));
    // A manager that is not there is answered for by the bus at once
    // (ServiceUnknown) rather than started: the move is not worth a start.
    g_dbus_connection_call(self->connection, "org.freedesktop.systemd1", "/org/freedesktop/systemd1",
                           "org.freedesktop.systemd1.Manager", "StartTransientUnit",
                           g_variant_new("(ssa(sv)a(sa(sv)))", self->unit.c_str(), "fail", &properties, &aux),
                           G_VARIANT_TYPE("(o)"), G_DBUS_CALL_FLAGS_NO_AUTO_START, self->timeoutMs, self->cancellable,
                           &Move::replied, self);
  }

  static void replied(GObject* source, GAsyncResult* result, gpointer data) {
    auto* self = static_cast<Move*>(data);
    // Whatever the answer, there is no one to tell: the application runs
    // either way, only with the starter's lifetime when the move failed.
    if (GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, nullptr)) {
      g_variant_unref(reply);
    }
    self->done = true;
  }
};

}  // namespace

std::string scopeUnitName(const std::string& bundleIdentifier, int pid) {
  std::string name = "app-";
  for (const char c : bundleIdentifier) {
    if (allowedInUnitName(c)) {
      name += c;
    } else {
      char escaped[5];
      std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned char>(c));
      name += escaped;
    }
  }
  return name + "-" + std::to_string(pid) + ".scope";
}

SystemdSessionScopes::SystemdSessionScopes(std::optional<std::string> address,
                                           std::chrono::milliseconds responseTimeout)
    : address_(std::move(address)), timeout_(responseTimeout), state_(std::make_shared<State>()) {}

SystemdSessionScopes::~SystemdSessionScopes() { waitForPendingMoves(); }

void SystemdSessionScopes::moveToScope(int pid, const std::string& bundleIdentifier) {
  if (pid <= 0) return;
  {
    std::lock_guard lock(state_->mutex);
    ++state_->pending;
  }
  std::thread([state = state_, address = address_, unit = scopeUnitName(bundleIdentifier, pid), pid,
               timeoutMs = static_cast<gint>(timeout_.count())] {
    Move(unit, pid, timeoutMs).run(address);
    std::lock_guard lock(state->mutex);
    --state->pending;
    state->idle.notify_all();
  }).detach();
}

void SystemdSessionScopes::waitForPendingMoves() {
  std::unique_lock lock(state_->mutex);
  // Each move ends within its time-out; the margin covers the thread's own
  // start and clean-up, and a move that outlasts it is still not waited for.
  state_->idle.wait_for(lock, timeout_ + std::chrono::milliseconds(500), [this] { return state_->pending == 0; });
}

SessionScopes& SessionScopes::shared() {
  static auto* const scopes = new SystemdSessionScopes();
  return *scopes;
}

}  // namespace Plinth
