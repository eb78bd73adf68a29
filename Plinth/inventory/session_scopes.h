// Giving a started application a place of its own in the user's service
// manager, so that it does not share the fate of whoever started it.
#pragma once

#include <string>

namespace Plinth {

class SessionScopes {
 public:
  virtual ~SessionScopes() = default;

  // The scopes of this session. Created on first use; lives until exit.
  [[nodiscard]] static SessionScopes& shared();

  // Asks the session's service manager to move process `pid` into a unit of
  // its own named after `bundleIdentifier` and the pid. Returns at once; the
  // outcome is neither awaited nor reported, and a session without such a
  // manager is left as it is.
  virtual void moveToScope(int pid, const std::string& bundleIdentifier) = 0;

  // Waits until the moves asked for so far have been answered or given up,
  // which each is within a short bound. For a process about to exit: a move
  // still on its way when the asker exits may be lost with it.
  virtual void waitForPendingMoves() = 0;
};

}  // namespace Plinth
