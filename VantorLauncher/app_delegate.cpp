#include "VantorLauncher/app_delegate.h"

#include <cstdio>

#include "Keel/core/bundle.h"
#include "Keel/core/fatal_error.h"
#include "Keel/core/path_components.h"
#include "Plinth/inventory/apps.h"

namespace VantorLauncher {

void writeToStandardError(const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); }

Plinth::Application& AppDelegate::application() const {
  if (env_.application == nullptr) Keel::fatalError("VantorLauncher: the shared application object is absent");
  return *env_.application;
}

std::filesystem::path AppDelegate::mainApplicationURL(const std::string& launcherBundlePath) {
  std::vector<std::string> components = Keel::pathComponents(launcherBundlePath);
  // The launcher sits at Main.app/Contents/Library/LoginItems/Launcher.app;
  // only the count matters, not the names.
  for (int i = 0; i < 4; ++i) {
    if (components.empty()) {
      Keel::fatalError("VantorLauncher: the launcher's bundle path has fewer than four components: " +
                       launcherBundlePath);
    }
    components.pop_back();
  }
  return Keel::pathWithComponents(components);
}

void AppDelegate::applicationDidFinishLaunching() {
  // The connection is made in the background while the process table is
  // read; nothing is observed before the answer is known.
  env_.notifications.prepareConnection();
  if (Plinth::Apps::isRunning(mainIdentifier, env_.workspace)) {
    application().terminate(0);
    return;
  }
  const std::optional<std::string> bundlePath = env_.bundlePath();
  if (!bundlePath) Keel::fatalError("VantorLauncher: the launcher's bundle path is absent");
  launcherBundle_ = *bundlePath;
  mainURL_ = mainApplicationURL(*bundlePath);

  env_.notifications.setConnectionLostHandler([this](const std::string& reason) {
    // Until the main application is opened, the registration's outcome
    // reports a lost bus.
    if (!opened_) return;
    env_.errorLine("VantorLauncher: lost the D-Bus session bus (" + reason +
                   "); can no longer hear \"killme\", quitting");
    quit(1);
  });
  // Opening waits for the registration, so that a "killme" the main
  // application posts as soon as it starts cannot be missed.
  env_.notifications.addObserver(this, Plinth::makeSelector(this, &AppDelegate::terminate), "killme", mainIdentifier,
                                 [this](const Keel::Result<void>& registration) { observerRegistered(registration); });
}

void AppDelegate::observerRegistered(const Keel::Result<void>& registration) {
  opened_ = true;
  const std::optional<int> pid = env_.workspace.launchApplication(mainURL_);
  if (pid && env_.scopes != nullptr) {
    // The scope is named after the bundle actually opened; a bundle without
    // an identifier of its own goes by the one the launcher expects.
    env_.scopes->moveToScope(*pid, Keel::Bundle(mainURL_).bundleIdentifier().value_or(mainIdentifier));
  }
  if (!registration) {
    // The start's own outcome is all there is to say what happened: whether
    // the main application then runs is not watched.
    const std::string opened = pid ? "opened the main application " + mainURL_.string()
                                   : "started nothing: no application could be started at \"" + mainURL_.string() +
                                         "\" (the launcher's bundle " + launcherBundle_ + " less four components)";
    env_.errorLine("VantorLauncher: " + registration.error() + "; " + opened +
                   ", and cannot hear \"killme\"; quitting");
    quit(1);
  } else if (killmeHeard_) {
    quit(0);
  }
}

void AppDelegate::quit(int status) {
  // A move still on its way would be lost with this process, and the main
  // application would then stop with the launcher's service after all.
  if (env_.scopes != nullptr) env_.scopes->waitForPendingMoves();
  application().terminate(status);
}

void AppDelegate::terminate() {
  // The bus may deliver "killme" between taking the registration and
  // confirming it; the main application is still opened first.
  if (!opened_) {
    killmeHeard_ = true;
    return;
  }
  quit(0);
}

}  // namespace VantorLauncher
