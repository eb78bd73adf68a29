#include "Plinth/inventory/io_utilities.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <filesystem>
#include <system_error>

namespace Plinth {

PathType IOUtilities::pathType(const std::string& path) {
  struct stat status {};
  if (path.empty() || ::lstat(path.c_str(), &status) != 0) return PathType::invalid;
  return S_ISDIR(status.st_mode) ? PathType::directory : PathType::file;
}

std::uint64_t IOUtilities::fileSize(const Keel::URL& url) {
  struct stat status {};
  const std::string path = url.path();
  if (path.empty() || ::lstat(path.c_str(), &status) != 0) return 0;
  return static_cast<std::uint64_t>(status.st_size);
}

std::optional<Keel::Date> IOUtilities::dateAttribute(const std::string& path, std::string_view key) {
  if (key != "NSFileCreationDate" || path.empty()) return std::nullopt;
  struct statx status {};
  if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BTIME, &status) != 0) return std::nullopt;
  // A file system that records no birth time leaves the bit clear; the change
  // time is no stand-in for it.
  if ((status.stx_mask & STATX_BTIME) == 0) return std::nullopt;
  return Keel::Date(static_cast<double>(status.stx_btime.tv_sec) + static_cast<double>(status.stx_btime.tv_nsec) / 1e9);
}

bool IOUtilities::deleteItem(const Keel::URL& url) {
  const std::string path = url.path();
  if (path.empty()) return false;
  std::error_code error;
  std::filesystem::remove_all(path, error);  // never follows links; a failure shows in the test below
  return pathType(path) == PathType::invalid;
}

}  // namespace Plinth
