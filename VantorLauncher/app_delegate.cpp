#include "VantorLauncher/app_delegate.h"

#include <cstdio>

#include "Keel/core/fatal_error.h"
#include "Keel/core/path_components.h"
#include "Plinth/inventory/apps.h"

namespace VantorLauncher {

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
  if (Plinth::Apps::isRunning(mainIdentifier, env_.workspace)) {
    application().terminate(0);
    return;
  }

  env_.notifications.setConnectionLostHandler([this](const std::string& reason) {
    std::fprintf(stderr, "VantorLauncher: lost the D-Bus session bus (%s); can no longer hear \"killme\", quitting\n",
                 reason.c_str());
    application().terminate(1);
  });
  Plinth::DistributedNotifications::addObserver(env_.notifications, this, &AppDelegate::terminate, "killme",
                                                mainIdentifier);

  const std::optional<std::string> bundlePath = env_.bundlePath();
  if (!bundlePath) Keel::fatalError("VantorLauncher: the launcher's bundle path is absent");
  env_.workspace.openApplication(mainApplicationURL(*bundlePath));

  if (const auto reason = env_.notifications.unavailableReason()) {
    std::fprintf(stderr, "VantorLauncher: %s; opened the main application but cannot hear \"killme\", quitting\n",
                 reason->c_str());
    application().terminate(1);
  }
}

void AppDelegate::terminate() { application().terminate(0); }

}  // namespace VantorLauncher
