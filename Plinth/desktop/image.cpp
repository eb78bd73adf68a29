#include "Plinth/desktop/image.h"

#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Keel/core/file_contents.h"

namespace Plinth {

std::optional<Image> Image::fromFile(std::string_view path) {
  auto bytes = Keel::readRegularFile(std::filesystem::path(path), maxFileSize);
  if (!bytes || bytes->empty()) return std::nullopt;
  return Image(std::make_shared<const std::vector<std::uint8_t>>(std::move(*bytes)), std::string(path));
}

Image Image::fromData(std::vector<std::uint8_t> bytes, std::string sourcePath) {
  return {std::make_shared<const std::vector<std::uint8_t>>(std::move(bytes)), std::move(sourcePath)};
}

}  // namespace Plinth
