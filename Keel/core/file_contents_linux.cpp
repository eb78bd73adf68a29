// Bounded reads of regular files: the type and size are checked on a
// path-only descriptor before anything is opened for reading.
#include "Keel/core/file_contents.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "Keel/core/descriptor_linux.h"

namespace Keel {

std::optional<std::vector<std::uint8_t>> readRegularFile(const std::filesystem::path& path, std::size_t maxBytes) {
  // O_PATH resolves the path (links included) without opening the file
  // itself, so nothing a FIFO or a device does on open can happen yet.
  const Descriptor located(::open(path.c_str(), O_PATH | O_CLOEXEC));
  if (located.get() < 0) return std::nullopt;
  struct stat status {};
  if (::fstat(located.get(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size < 0 ||
      static_cast<std::uintmax_t>(status.st_size) > maxBytes) {
    return std::nullopt;
  }
  // Reopen the very inode just checked, not the path, which may have been
  // replaced meanwhile. O_NONBLOCK still matters for the few regular files of
  // pseudo file systems that would wait for data.
  char reopen[64];
  std::snprintf(reopen, sizeof reopen, "/proc/self/fd/%d", located.get());
  const Descriptor file(::open(reopen, O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
  if (file.get() < 0) return std::nullopt;

  return readAll<std::vector<std::uint8_t>>(file.get(), maxBytes, static_cast<std::size_t>(status.st_size));
}

}  // namespace Keel
