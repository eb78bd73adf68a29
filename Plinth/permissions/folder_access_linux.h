// The Linux pieces of folder permissions: bookmarks in the format of
// bookmark.h checked against the file system, access decided by the folder's
// permissions, and the system log.
#pragma once

#include <filesystem>
#include <string_view>

#include "Keel/core/result.h"
#include "Plinth/permissions/folder_access.h"

namespace Plinth {

// Makes and resolves bookmarks by stat(2) of the folder's path (symbolic links
// followed). Making needs an existing folder. Resolving gives the folder's
// directory URL: not stale when the path holds the same folder (device and
// inode), stale when it holds another folder; an error naming the path when
// nothing, or no folder, is there; an error when the data is no bookmark.
// The options are ignored: Linux has no security scopes.
class LinuxBookmarks final : public BookmarkMaker, public BookmarkResolver {
 public:
  [[nodiscard]] MadeBookmark bookmarkData(const Keel::URL& url, BookmarkCreationOptions options) override;
  [[nodiscard]] ResolvedBookmark resolve(const Keel::Data& data, BookmarkResolutionOptions options) override;
};

// Outside a Flatpak sandbox a process may use a folder when its permissions
// let it read and enter it, so access starts exactly then (a directory that
// passes access(2) with R_OK|X_OK) and nothing has to be held or released.
//
// Inside a sandbox (the file `flatpakInfo`, "/.flatpak-info" by default,
// exists) folders outside it are reached through the document portal, which
// this build does not use yet, so access is refused there with a reason (see
// checkAccess) rather than pretended.
class LinuxFolderAccess final : public FolderAccess {
 public:
  explicit LinuxFolderAccess(std::filesystem::path flatpakInfo = "/.flatpak-info")
      : flatpakInfo_(std::move(flatpakInfo)) {}
  [[nodiscard]] bool startAccessing(const Keel::URL& url) override { return checkAccess(url).ok(); }
  void stopAccessing(const Keel::URL& /*url*/) override {}
  // Success when access to `url` would start; otherwise why it would not.
  [[nodiscard]] Keel::Result<void> checkAccess(const Keel::URL& url) const;

 private:
  std::filesystem::path flatpakInfo_;
};

// Writes `message` to the system log with syslog(3), facility LOG_USER,
// priority LOG_WARNING, under the program's name.
void writeToSystemLog(std::string_view message);

}  // namespace Plinth
