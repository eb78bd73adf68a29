// The platform pieces folder permissions stand on: making bookmarks of
// folders, resolving them again, starting and stopping access to a folder,
// the folder picker, the system log and the prompt's text. Each is injected so
// that the permission logic runs against fakes; the platform's own pieces are
// the defaults.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Keel/core/any_value.h"
#include "Keel/core/url.h"
#include "Plinth/permissions/folder_picker.h"

namespace Plinth {

// Option sets with the platform's raw values. Linux bookmarks need no scope
// and ignore them; they are kept and passed on so that a platform that has
// scopes gets what the caller asked for.
enum class BookmarkCreationOptions : std::uint64_t { none = 0, withSecurityScope = 2048 };
enum class BookmarkResolutionOptions : std::uint64_t { none = 0, withSecurityScope = 1024 };

struct BookmarkError {
  std::string localizedDescription;
};

// Bookmark data, or the error that kept it from being made.
struct MadeBookmark {
  std::optional<Keel::Data> data;
  BookmarkError error;
};

// A resolved bookmark: the folder's URL and whether the bookmark is stale (the
// path now holds another folder), or the error that kept it from resolving.
struct ResolvedBookmark {
  std::optional<Keel::URL> url;
  bool isStale = false;
  BookmarkError error;
};

class BookmarkMaker {
 public:
  virtual ~BookmarkMaker() = default;
  [[nodiscard]] virtual MadeBookmark bookmarkData(const Keel::URL& url, BookmarkCreationOptions options) = 0;
};

class BookmarkResolver {
 public:
  virtual ~BookmarkResolver() = default;
  [[nodiscard]] virtual ResolvedBookmark resolve(const Keel::Data& data, BookmarkResolutionOptions options) = 0;
};

// Starting and ending this process's access to a folder.
class FolderAccess {
 public:
  virtual ~FolderAccess() = default;
  // True when access started: the process may now use the folder.
  [[nodiscard]] virtual bool startAccessing(const Keel::URL& url) = 0;
  virtual void stopAccessing(const Keel::URL& url) = 0;
};

// Everything folder permissions take from the platform. A piece left empty is
// filled with the platform's own (see withPlatformDefaults).
struct FolderAccessServices {
  std::shared_ptr<BookmarkMaker> maker;
  std::shared_ptr<BookmarkResolver> resolver;
  std::shared_ptr<FolderAccess> access;
  std::shared_ptr<FolderPicker> picker;
  // Receives the one message folder permissions ever write: why a stored
  // bookmark could not be resolved.
  std::function<void(std::string_view message)> log;
  // The text of a key in Plinth's resources, such as the prompt "ALLOW".
  std::function<std::string(std::string_view key)> localizer;
  // The folder a request starts in when the caller names none.
  std::function<Keel::URL()> homeFolder;
};

// `services` with every empty piece replaced by the platform's own. On Linux:
// the bookmark format of bookmark.h made and resolved against the file system,
// access as described at LinuxFolderAccess, the desktop portal's file chooser
// (PortalFolderPicker, or the one setDefaultFolderPicker installed), the system log through syslog(3) with LOG_USER and
// LOG_WARNING (the journal receives it where journald runs), the prompt
// localizer promptLocalizer, and the user folder of Directory.
[[nodiscard]] FolderAccessServices withPlatformDefaults(FolderAccessServices services);

// Makes `picker` the one withPlatformDefaults gives from now on; nullptr
// restores the portal's. A toolkit installs its own this way (the Qt user
// interface: the portal, with Qt's directory dialog when no portal answers).
void setDefaultFolderPicker(std::shared_ptr<FolderPicker> picker);

// The default localizer of the prompt: the key itself, until Plinth's
// resource bundle is at hand.
[[nodiscard]] std::string promptLocalizer(std::string_view key);

}  // namespace Plinth
