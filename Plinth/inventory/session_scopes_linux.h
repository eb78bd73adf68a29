// Scopes on Linux: a transient scope of the systemd user manager.
//   bus:          the session bus (or the address given)
//   destination:  org.freedesktop.systemd1
//   path:         /org/freedesktop/systemd1
//   call:         org.freedesktop.systemd1.Manager.StartTransientUnit
//                 ("app-<escaped identifier>-<pid>.scope", "fail",
//                  [("PIDs", <[uint32 pid]>)], [])
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "Plinth/inventory/session_scopes.h"

namespace Plinth {

// The manager answers at once when it runs; when it does not, the bus says so
// at once. Only a wedged bus or manager takes this long, and then the move is
// not worth waiting for.
inline constexpr std::chrono::milliseconds scopeResponseTimeout{1000};

// The unit name for `pid` of the application `bundleIdentifier`. Unit names
// hold only [A-Za-z0-9:_.\]; every other byte of the identifier, "-" included,
// becomes "\xNN" (lower-case hex), as systemd-escape writes it, so the last
// "-" always separates the identifier from the pid.
[[nodiscard]] std::string scopeUnitName(const std::string& bundleIdentifier, int pid);

class SystemdSessionScopes final : public SessionScopes {
 public:
  // Each move connects to the bus at `address`, or to the session bus of the
  // address policy (Keel/core/message_bus_linux.h) when none is given, on a
  // thread of its own, and is given up `responseTimeout` after it was asked
  // for, connecting included.
  explicit SystemdSessionScopes(std::optional<std::string> address = std::nullopt,
                                std::chrono::milliseconds responseTimeout = scopeResponseTimeout);
  ~SystemdSessionScopes() override;

  void moveToScope(int pid, const std::string& bundleIdentifier) override;
  void waitForPendingMoves() override;

  struct State;

 private:
  std::optional<std::string> address_;
  std::chrono::milliseconds timeout_;
  // Shared with moves under way, which may outlive us.
  std::shared_ptr<State> state_;
};

}  // namespace Plinth
