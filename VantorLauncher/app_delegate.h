// The launcher's start-up decision: open the main application unless it
// already runs, then wait for it to post "killme".
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "Plinth/desktop/application.h"
#include "Plinth/inventory/distributed_notifications.h"
#include "Plinth/inventory/session_scopes.h"
#include "Plinth/inventory/workspace.h"

namespace VantorLauncher {

// Writes `line` and a newline to standard error.
void writeToStandardError(const std::string& line);

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
    // Where the launcher's one-line reports go.
    std::function<void(const std::string& line)> errorLine = writeToStandardError;
    // Where the opened main application is moved out of the launcher's own
    // service, so that stopping the launcher does not stop it; none to leave
    // it where it starts.
    Plinth::SessionScopes* scopes = nullptr;
  };

  explicit AppDelegate(Environment environment) : env_(std::move(environment)) {}

  // Bundle identifier of the main application.
  std::string mainIdentifier = "com.brenwick.vantor";

  // If the main application runs, terminates at once. Otherwise observes
  // "killme" with `mainIdentifier` as object and, once the centre has
  // confirmed the registration, opens the main application four path
  // components above the launcher's bundle, without waiting for it. The run
  // loop keeps serving meanwhile, so a request to end is honoured at any
  // moment. When the centre cannot confirm the registration (no session bus,
  // or a bus that does not answer in time) it still opens the main
  // application, then reports why on one line, with what the start gave (the
  // application opened, or nothing that could be started at that path), and
  // terminates with status 1.
  // The opened application is moved into a scope of its own, named after the
  // main bundle's identifier; the launcher waits for that move (briefly
  // bounded) only when it is about to quit.
  void applicationDidFinishLaunching() override;

  // Quits the launcher with status 0 (what "killme" invokes). Before the main
  // application has been opened, it is opened first.
  void terminate();

  // The main application's bundle: `launcherBundlePath` less its last four
  // components. Stops the process when it has fewer than four.
  [[nodiscard]] static std::filesystem::path mainApplicationURL(const std::string& launcherBundlePath);

 private:
  void observerRegistered(const Keel::Result<void>& registration);
  // Terminates with `status` once the main application's move, if any, is
  // settled.
  void quit(int status);
  Plinth::Application& application() const;

  Environment env_;
  std::string launcherBundle_;
  std::filesystem::path mainURL_;
  bool opened_ = false;
  bool killmeHeard_ = false;
};

}  // namespace VantorLauncher
