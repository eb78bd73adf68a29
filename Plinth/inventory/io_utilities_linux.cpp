#include "Plinth/inventory/io_utilities.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <string_view>
#include <vector>

#include "Keel/core/descriptor_linux.h"

namespace Plinth {

namespace {

// Whether nothing is at `path` itself (a dangling link is something).
bool nothingAt(const std::string& path) {
  struct stat status {};
  // Below a plain file (ENOTDIR) nothing can ever exist.
  return ::lstat(path.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

}  // namespace

PathType IOUtilities::pathType(const std::string& path) {
  struct stat status {};
  if (path.empty() || ::stat(path.c_str(), &status) != 0) return PathType::invalid;
  return S_ISDIR(status.st_mode) ? PathType::directory : PathType::file;
}

std::uint64_t IOUtilities::fileSize(const Keel::URL& url) {
  struct stat status {};
  const std::string path = url.path();
  if (path.empty() || ::lstat(path.c_str(), &status) != 0) return 0;
  return static_cast<std::uint64_t>(status.st_size);
}

std::optional<Keel::Date> IOUtilities::dateAttribute(const std::string& path, std::string_view key) {
  const bool creation = key == "NSFileCreationDate";
  if ((!creation && key != "NSFileModificationDate") || path.empty()) return std::nullopt;
  const unsigned int wanted = creation ? STATX_BTIME : STATX_MTIME;
  struct statx status {};
  if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, wanted, &status) != 0) return std::nullopt;
  // A file system that records no birth time leaves the bit clear; the change
  // time is no stand-in for it.
  if ((status.stx_mask & wanted) == 0) return std::nullopt;
  const statx_timestamp& time = creation ? status.stx_btime : status.stx_mtime;
  return Keel::Date(static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9);
}

namespace {

// Removes everything inside the folder open at `fd`, holding one descriptor
// at a time whatever the depth: it goes down by openat without following
// links and back up by "..", which for a folder entered that way is the
// folder it came from. Stops at the first failure.
bool emptyFolder(Keel::Descriptor fd) {
  std::vector<std::string> names;  // the folders entered, one per level
  while (true) {
    std::string folder;
    {
      const Keel::Listing listing = Keel::listingOf(fd.get());
      if (!listing) return false;
      while (const dirent* entry = ::readdir(listing.get())) {
        const std::string_view name(entry->d_name);
        if (name == "." || name == "..") continue;
        bool isFolder = entry->d_type == DT_DIR;
        if (entry->d_type == DT_UNKNOWN) {
          struct stat status {};
          isFolder = ::fstatat(fd.get(), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
        }
        if (isFolder) {
          if (folder.empty()) folder = name;
        } else if (::unlinkat(fd.get(), entry->d_name, 0) != 0 && errno != ENOENT) {
          return false;
        }
      }
    }
    if (!folder.empty()) {
      fd = Keel::Descriptor(::openat(fd.get(), folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
      if (!fd.valid()) return false;
      names.push_back(std::move(folder));
      continue;
    }
    if (names.empty()) return true;
    fd = Keel::Descriptor(::openat(fd.get(), "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!fd.valid()) return false;
    if (::unlinkat(fd.get(), names.back().c_str(), AT_REMOVEDIR) != 0 && errno != ENOENT) return false;
    names.pop_back();
  }
}

}  // namespace

bool IOUtilities::deleteItem(const Keel::URL& url) {
  const std::string path = url.path();
  if (path.empty()) return false;
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) return nothingAt(path);
  if (S_ISDIR(status.st_mode)) {
    Keel::Descriptor fd(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (fd.valid() && emptyFolder(std::move(fd))) (void)::rmdir(path.c_str());
  } else {
    (void)::unlink(path.c_str());
  }
  return nothingAt(path);
}

}  // namespace Plinth
