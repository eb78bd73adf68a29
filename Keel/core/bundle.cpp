#include "Keel/core/bundle.h"

#include "Keel/core/file_contents.h"
#include "Keel/core/property_list_reader.h"

namespace Keel {

std::optional<std::filesystem::path> Bundle::bundlePathForExecutable(const std::filesystem::path& executable) {
  const std::filesystem::path macos = executable.parent_path();
  const std::filesystem::path contents = macos.parent_path();
  if (executable.filename().empty() || macos.filename() != "MacOS" || contents.filename() != "Contents") {
    return std::nullopt;
  }
  std::filesystem::path bundle = contents.parent_path();
  if (bundle.filename().empty() || bundle == contents) return std::nullopt;
  return bundle;
}

std::optional<std::string> Bundle::infoString(std::string_view key) const {
  const auto bytes = readFileBytes(infoPlistPath());
  if (!bytes) return std::nullopt;
  return PropertyList::topLevelString(*bytes, key);
}

std::filesystem::path Bundle::executablePath() const {
  const auto name = infoString("CFBundleExecutable");
  return path_ / "Contents" / "MacOS" / (name ? std::filesystem::path(*name) : path_.stem());
}

}  // namespace Keel
