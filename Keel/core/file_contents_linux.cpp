// Bounded reads of regular files: the type and size are checked on a
// path-only descriptor before anything is opened for reading.
#include "Keel/core/file_contents.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
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

  // One byte beyond the reported size shows a file that grew past the limit.
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(status.st_size) + 1);
  std::size_t used = 0;
  for (;;) {
    if (used == bytes.size()) {
      if (used > maxBytes) return std::nullopt;
      bytes.resize(std::min(maxBytes + 1, std::max<std::size_t>(bytes.size() * 2, 4096)));
    }
    const ssize_t n = ::read(file.get(), bytes.data() + used, bytes.size() - used);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return std::nullopt;
    if (n == 0) break;
    used += static_cast<std::size_t>(n);
  }
  bytes.resize(used);
  return bytes;
}

}  // namespace Keel
