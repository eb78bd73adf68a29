// The workspace: the running applications and the opening of applications.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Plinth {

struct RunningApplication {
  int processIdentifier = 0;
  // The CFBundleIdentifier of the bundle the executable lies in; nothing for
  // processes outside bundles.
  std::optional<std::string> bundleIdentifier;
  std::optional<std::filesystem::path> bundlePath;
};

// Both operations may be called from any thread at once: the workspace keeps
// no state between calls (each list is read afresh), and an opened
// application is reaped by a detached thread of its own, so no call waits for
// another or for a started application.
class Workspace {
 public:
  virtual ~Workspace() = default;

  // The workspace of this machine. Created on first use; lives until exit.
  [[nodiscard]] static Workspace& shared();

  // The processes running now, in the platform's order. Processes that vanish
  // or cannot be read while the list is made are left out.
  [[nodiscard]] virtual std::vector<RunningApplication> runningApplications() const = 0;

  // Starts the application whose bundle is at `url`, detached from this
  // process so that it outlives it. The outcome is neither awaited nor
  // reported: a missing bundle or a failed start changes nothing here.
  virtual void openApplication(const std::filesystem::path& url) = 0;

  // What openApplication does, with the pid of the started process when the
  // platform knows it; nothing when it does not or the start failed.
  virtual std::optional<int> launchApplication(const std::filesystem::path& url) {
    openApplication(url);
    return std::nullopt;
  }
};

}  // namespace Plinth
