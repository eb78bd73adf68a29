// The running process's bundle, found from /proc/self/exe.
#include "Keel/core/bundle.h"

#include <system_error>

namespace Keel {

std::optional<Bundle> Bundle::main() {
  std::error_code error;
  const std::filesystem::path executable = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error || executable.empty()) return std::nullopt;
  if (auto bundle = bundlePathForExecutable(executable)) return Bundle(std::move(*bundle));
  return Bundle(executable.parent_path());
}

}  // namespace Keel
