// The login item's file writer on Linux.
#include "VantorLauncher/login_item/login_item.h"

#include <cerrno>
#include <cstring>

#include "Keel/core/atomic_file_linux.h"

namespace Vantor {

Keel::Result<void> writeFileAtomically(const std::filesystem::path& path, std::string_view contents) {
  const std::filesystem::path folder = path.parent_path().empty() ? "." : path.parent_path();
  const std::string temporaryPrefix = (folder / ("." + path.filename().string() + ".")).string();
  if (!Keel::replaceFileAtomically(path, temporaryPrefix, 0644, contents).valid()) {
    return Keel::failure("cannot write " + path.string() + ": " + std::strerror(errno));
  }
  return Keel::success();
}

}  // namespace Vantor
