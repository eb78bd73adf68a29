// Questions about installed and running applications.
#pragma once

#include <string>

#include "Plinth/inventory/workspace.h"

namespace Plinth {

class Apps {
 public:
  Apps() = delete;

  // True when some running application has exactly this bundle identifier
  // (case-sensitive, whole text). Applications without one never match.
  [[nodiscard]] static bool isRunning(const std::string& bundleIdentifier);
  [[nodiscard]] static bool isRunning(const std::string& bundleIdentifier, const Workspace& workspace);
};

}  // namespace Plinth
