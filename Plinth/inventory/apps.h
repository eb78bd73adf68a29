// Questions about installed and running applications.
#pragma once

#include <string>

#include "Plinth/inventory/app.h"
#include "Plinth/inventory/workspace.h"

namespace Plinth {

class Apps {
 public:
  Apps() = delete;

  // True when some running application has exactly this bundle identifier
  // (case-sensitive, whole text). Applications without one never match.
  [[nodiscard]] static bool isRunning(const std::string& bundleIdentifier);
  [[nodiscard]] static bool isRunning(const std::string& bundleIdentifier, const Workspace& workspace);

  // The applications in the applications folder and in the plain folders
  // below it (bundles are listed, never entered; hidden entries skipped), in
  // listing order, each with its contained applications. Folders that are no
  // bundles, and (with `skipApple`) "com.apple." bundles, are passed over.
  [[nodiscard]] static AppList installedApplications(bool skipApple);
  [[nodiscard]] static AppList installedApplications(bool skipApple, const AppEnvironment& environment);
};

}  // namespace Plinth
