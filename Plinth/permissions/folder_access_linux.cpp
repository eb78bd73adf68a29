// The Linux pieces of folder permissions and the platform defaults.
#include "Plinth/permissions/folder_access_linux.h"

#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <mutex>
#include <utility>

#include "Plinth/inventory/directory.h"
#include "Plinth/permissions/bookmark.h"
#include "Plinth/permissions/portal_folder_picker_linux.h"

namespace Plinth {
namespace {

std::string inQuotes(std::string_view path) { return "\u201C" + std::string(path) + "\u201D"; }

// A folder's identity, or the error that names its path.
Keel::Result<BookmarkRecord> identify(const std::string& path) {
  struct stat info {};
  if (path.find('\0') != std::string::npos) return Keel::failure("The path " + inQuotes(path) + " is not valid.");
  if (stat(path.c_str(), &info) != 0) {
    const int error = errno;
    if (error == ENOENT || error == ENOTDIR) {
      return Keel::failure("The folder " + inQuotes(path) + " doesn\u2019t exist.");
    }
    return Keel::failure("The folder " + inQuotes(path) + " can\u2019t be examined: " + std::strerror(error) + ".");
  }
  if (!S_ISDIR(info.st_mode)) return Keel::failure("The item at " + inQuotes(path) + " is not a folder.");
  return BookmarkRecord{static_cast<std::uint64_t>(info.st_dev), static_cast<std::uint64_t>(info.st_ino), path};
}

}  // namespace

MadeBookmark LinuxBookmarks::bookmarkData(const Keel::URL& url, BookmarkCreationOptions /*options*/) {
  if (!url.isFileURL()) return {std::nullopt, {"Only folders given by file URLs can be bookmarked."}};
  auto identity = identify(url.path());
  if (!identity) return {std::nullopt, {std::move(identity).error()}};
  auto data = encodeBookmark(*identity);
  if (!data) return {std::nullopt, {"The path " + inQuotes(identity->path) + " is too long to keep."}};
  return {std::move(data), {}};
}

ResolvedBookmark LinuxBookmarks::resolve(const Keel::Data& data, BookmarkResolutionOptions /*options*/) {
  auto decoded = decodeBookmark(data);
  if (!decoded) return {std::nullopt, false, {"The data is not a folder bookmark: " + decoded.error() + "."}};
  auto identity = identify(decoded->path);
  if (!identity) return {std::nullopt, false, {std::move(identity).error()}};
  const bool same = identity->device == decoded->device && identity->inode == decoded->inode;
  return {Keel::URL::fileURL(decoded->path, true), !same, {}};
}

Keel::Result<void> LinuxFolderAccess::checkAccess(const Keel::URL& url) const {
  std::error_code error;
  if (std::filesystem::exists(flatpakInfo_, error)) {
    return Keel::failure(
        "Inside a Flatpak sandbox folders are reached through the document portal, which is not supported yet.");
  }
  if (!url.isFileURL()) return Keel::failure("Only folders given by file URLs can be accessed.");
  const auto path = url.path();
  struct stat info {};
  if (path.find('\0') != std::string::npos || stat(path.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
    return Keel::failure("There is no folder at " + inQuotes(path) + ".");
  }
  if (access(path.c_str(), R_OK | X_OK) != 0) {
    return Keel::failure("The folder " + inQuotes(path) + " can\u2019t be read and entered: " + std::strerror(errno) +
                         ".");
  }
  return Keel::success();
}

void writeToSystemLog(std::string_view message) {
  // Without openlog, syslog names the program itself; "%s" keeps a "%" in the
  // message from being read as a conversion.
  syslog(LOG_USER | LOG_WARNING, "%.*s", static_cast<int>(message.size()), message.data());
}

namespace {

std::mutex defaultPickerLock;
std::shared_ptr<FolderPicker>& installedPicker() {
  static auto* picker = new std::shared_ptr<FolderPicker>();  // outlives static destructors
  return *picker;
}

}  // namespace

void setDefaultFolderPicker(std::shared_ptr<FolderPicker> picker) {
  const std::lock_guard lock(defaultPickerLock);
  installedPicker() = std::move(picker);
}

FolderAccessServices withPlatformDefaults(FolderAccessServices services) {
  if (!services.maker || !services.resolver) {
    auto bookmarks = std::make_shared<LinuxBookmarks>();
    if (!services.maker) services.maker = bookmarks;
    if (!services.resolver) services.resolver = bookmarks;
  }
  if (!services.access) services.access = std::make_shared<LinuxFolderAccess>();
  if (!services.picker) {
    const std::lock_guard lock(defaultPickerLock);
    services.picker = installedPicker() ? installedPicker() : std::make_shared<PortalFolderPicker>();
  }
  if (!services.log) services.log = writeToSystemLog;
  if (!services.localizer) services.localizer = promptLocalizer;
  if (!services.homeFolder) services.homeFolder = [] { return Directory(Directory::user).url(); };
  return services;
}

}  // namespace Plinth
