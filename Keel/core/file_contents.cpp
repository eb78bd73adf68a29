#include "Keel/core/file_contents.h"

namespace Keel {

std::optional<std::vector<std::uint8_t>> readFileBytes(const std::filesystem::path& path) {
  return readRegularFile(path, maximumSystemFileBytes);
}

std::optional<std::string> readFileText(const std::filesystem::path& path) {
  auto bytes = readFileBytes(path);
  if (!bytes) return std::nullopt;
  return std::string(bytes->begin(), bytes->end());
}

}  // namespace Keel
