#include "Keel/core/bundle.h"

#include <string>
#include <system_error>

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
  const auto bytes = readRegularFile(infoPlistPath(), maximumInfoPlistBytes);
  if (!bytes) return std::nullopt;
  return PropertyList::topLevelString(*bytes, key);
}

std::optional<std::filesystem::path> Bundle::executablePath() const {
  const auto key = infoString("CFBundleExecutable");
  const std::string name = key ? *key : path_.stem().string();
  if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos) return std::nullopt;
  const std::filesystem::path folder = path_ / "Contents" / "MacOS";
  std::error_code folderError;
  std::error_code fileError;
  const std::filesystem::path resolvedFolder = std::filesystem::weakly_canonical(folder, folderError);
  const std::filesystem::path resolved = std::filesystem::weakly_canonical(folder / name, fileError);
  if (folderError || fileError || resolved.parent_path() != resolvedFolder) return std::nullopt;
  return folder / name;
}

}  // namespace Keel
