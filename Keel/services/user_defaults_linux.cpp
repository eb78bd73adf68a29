// The standard domain's name on Linux: the main bundle's identifier, or the
// name of the executable that /proc/self/exe names.
#include "Keel/services/user_defaults.h"

#include <system_error>

#include "Keel/core/bundle.h"

namespace Keel {

std::string standardDomainName() {
  if (auto bundle = Bundle::main()) {
    if (auto identifier = bundle->bundleIdentifier(); identifier && isValidDomainName(*identifier)) {
      return *identifier;
    }
  }
  std::error_code error;
  const std::string name = std::filesystem::read_symlink("/proc/self/exe", error).filename().string();
  if (!error && isValidDomainName(name)) return name;
  return "Keel";
}

}  // namespace Keel
