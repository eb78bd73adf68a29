// Transient scopes through the systemd user manager, asked on a thread of the
// move's own so that neither the caller nor its run loop ever waits.
#include "Plinth/inventory/session_scopes_linux.h"

#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <thread>

#include "Keel/core/message_bus_linux.h"

namespace Plinth {

struct SystemdSessionScopes::State {
  std::mutex mutex;
  std::condition_variable idle;
  int pending = 0;
};

namespace {

namespace bus = Keel::detail;

bool allowedInUnitName(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == ':' || c == '_' || c == '.';
}

// One move, from connecting to the manager's answer, until `deadline`.
void move(const std::optional<std::string>& address, const std::string& unit, guint32 pid,
          bus::BusClock::time_point deadline) {
  bus::BusConnection connection(bus::BusType::session, address,
                                std::chrono::milliseconds(bus::millisecondsUntil(deadline)));
  const auto made = connection.wait();
  if (!made) return;
  GVariantBuilder properties;
  g_variant_builder_init(&properties, G_VARIANT_TYPE("a(sv)"));
  g_variant_builder_add(&properties, "(sv)", "PIDs",
                        g_variant_new_fixed_array(G_VARIANT_TYPE_UINT32, &pid, 1, sizeof(guint32)));
  GVariantBuilder aux;
  g_variant_builder_init(&aux, G_VARIANT_TYPE("a(sa(sv))"));
  // A manager that is not there is answered for by the bus at once
  // (ServiceUnknown) rather than started: the move is not worth a start.
  // Whatever the answer, there is no one to tell: the application runs
  // either way, only with the starter's lifetime when the move failed.
  bus::GErrorSlot error;
  (void)bus::callSync(made.get(),
                      {"org.freedesktop.systemd1", "/org/freedesktop/systemd1", "org.freedesktop.systemd1.Manager",
                       "StartTransientUnit",
                       g_variant_new("(ssa(sv)a(sa(sv)))", unit.c_str(), "fail", &properties, &aux),
                       G_VARIANT_TYPE("(o)"), G_DBUS_CALL_FLAGS_NO_AUTO_START},
                      deadline, error);
}

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
               deadline = bus::BusClock::now() + timeout_] {
    move(address, unit, static_cast<guint32>(pid), deadline);
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
