// Atomic replacement with POSIX calls: mkstemp, fsync, rename.
#include "Keel/core/atomic_file_linux.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace Keel {

Descriptor replaceFileAtomically(const std::filesystem::path& path, std::string_view temporaryPrefix, mode_t mode,
                                 std::string_view bytes) {
  std::string temporary = std::string(temporaryPrefix) + "XXXXXX";
  Descriptor fd(::mkostemp(temporary.data(), O_CLOEXEC));
  if (!fd.valid()) return fd;
  if (::fchmod(fd.get(), mode) != 0 || !writeAll(fd.get(), bytes) || ::fsync(fd.get()) != 0 ||
      ::rename(temporary.c_str(), path.c_str()) != 0) {
    const int error = errno;
    ::unlink(temporary.c_str());
    errno = error;
    return {};
  }
  const std::filesystem::path folder = path.parent_path().empty() ? "." : path.parent_path();
  const Descriptor folderFd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folderFd.valid()) ::fsync(folderFd.get());
  return fd;
}

}  // namespace Keel
