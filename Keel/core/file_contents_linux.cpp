// Bounded reads of regular files: the type and size are checked before
// anything is opened for reading.
#include "Keel/core/file_contents.h"

#include <sys/stat.h>

#include <cstdint>

#include "Keel/core/descriptor_linux.h"

namespace Keel {

std::optional<std::vector<std::uint8_t>> readRegularFile(const std::filesystem::path& path, std::size_t maxBytes) {
  struct stat status {};
  const Descriptor file = openRegularFile(path.c_str(), status);
  if (!file.valid() || status.st_size < 0 || static_cast<std::uintmax_t>(status.st_size) > maxBytes) {
    return std::nullopt;
  }
  return readAll<std::vector<std::uint8_t>>(file.get(), maxBytes, static_cast<std::size_t>(status.st_size));
}

}  // namespace Keel
