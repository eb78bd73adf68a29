// The launcher's start-up decision: open the main application unless it
// already runs, then wait for it to post "killme".
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "Plinth/desktop/application.h"
#include "Plinth/inventory/distributed_notifications.h"
#include "Plinth/inventory/workspace.h"

namespace VantorLauncher {

class AppDelegate final : public Plinth::ApplicationDelegate {
 public:
  // What the delegate needs of the platform. `application` may be null only
  // to test the fatal path.
  struct Environment {
    Plinth::Application* application;
    Plinth::Workspace& workspace;
    Plinth::DistributedNotificationCenter& notifications;
    // The launcher's own bundle path; nothing when the platform has none.
    std::function<std::optional<std::string>()> bundlePath;
  };

  explicit AppDelegate(Environment environment) : env_(std::move(environment)) {}

  // Bundle identifier of the main application.
  std::string mainIdentifier = "com.brenwick.vantor";

  // If the main application runs, terminates at once. Otherwise observes
  // "killme" with `mainIdentifier` as object and opens the main application
  // four path components above the launcher's bundle, without waiting.
  // Without a session bus it still opens the main application, then reports
  // the missing bus on stderr and terminates with status 1.
  void applicationDidFinishLaunching() override;

  // Quits the launcher with status 0 (what "killme" invokes).
  void terminate();

  // The main application's bundle: `launcherBundlePath` less its last four
  // components. Stops the process when it has fewer than four.
  [[nodiscard]] static std::filesystem::path mainApplicationURL(const std::string& launcherBundlePath);

 private:
  Plinth::Application& application() const;
  Environment env_;
};

}  // namespace VantorLauncher
