#include "Plinth/inventory/apps.h"

namespace Plinth {

bool Apps::isRunning(const std::string& bundleIdentifier) { return isRunning(bundleIdentifier, Workspace::shared()); }

bool Apps::isRunning(const std::string& bundleIdentifier, const Workspace& workspace) {
  for (const RunningApplication& app : workspace.runningApplications()) {
    if (app.bundleIdentifier == bundleIdentifier) return true;
  }
  return false;
}

}  // namespace Plinth
