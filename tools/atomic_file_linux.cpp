// Atomic replacement with POSIX calls: mkstemp, fsync, rename.
#include "tools/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace Vantor::Tools {
namespace {

std::string failed(const std::filesystem::path& path, int error) {
  return "cannot write " + path.string() + ": " + std::strerror(error);
}

bool writeAll(int fd, std::string_view contents) {
  while (!contents.empty()) {
    const ssize_t n = ::write(fd, contents.data(), contents.size());
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    contents.remove_prefix(static_cast<std::size_t>(n));
  }
  return true;
}

}  // namespace

std::optional<std::string> writeFileAtomically(const std::filesystem::path& path, std::string_view contents) {
  const std::filesystem::path folder = path.parent_path().empty() ? "." : path.parent_path();
  // Hidden, so that a reader listing the folder never takes it for an entry.
  std::string temp = (folder / ("." + path.filename().string() + ".XXXXXX")).string();
  const int fd = ::mkostemp(temp.data(), O_CLOEXEC);
  if (fd < 0) return failed(path, errno);
  int error = 0;
  if (::fchmod(fd, 0644) != 0 || !writeAll(fd, contents) || ::fsync(fd) != 0) error = errno;
  if (::close(fd) != 0 && error == 0) error = errno;
  if (error == 0 && ::rename(temp.c_str(), path.c_str()) != 0) error = errno;
  if (error != 0) {
    ::unlink(temp.c_str());
    return failed(path, error);
  }
  // The rename itself is durable only once the folder is.
  const int folderFd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folderFd >= 0) {
    ::fsync(folderFd);
    ::close(folderFd);
  }
  return std::nullopt;
}

}  // namespace Vantor::Tools
