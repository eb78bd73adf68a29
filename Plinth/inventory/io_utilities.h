// The inventory's view of the file system: kinds and sizes of paths, dates,
// listings, icons, revealing and deleting. Static operations that keep no
// state; the platform pieces they need (icons, the file viewer) come through
// the seams in workspace_icons.h and file_revealer.h.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Keel/core/date.h"
#include "Keel/core/url.h"
#include "Plinth/desktop/image.h"
#include "Plinth/inventory/file_walk.h"
#include "Plinth/inventory/path_type.h"

namespace Plinth {

class WorkspaceIcons;
class FileRevealer;

// Adds two byte counts; a sum past 64 bits stops the process ("Size sum
// overflows 64 bits."), since no caller could show or act on a wrapped total.
[[nodiscard]] std::uint64_t addSizes(std::uint64_t a, std::uint64_t b) noexcept;

// Where a listing writes the one-line description of an error. Standard output
// unless a caller gives another.
using ErrorLine = std::function<void(std::string_view)>;
void writeLineToStandardOutput(std::string_view line);

// How a folder measurement may be watched and stopped from another thread.
struct SizeWalk {
  const std::atomic<bool>* cancel = nullptr;
  WalkProgress* progress = nullptr;
  // Hears of each folder that cannot be read (see sumSizesBelow), so that a
  // caller can tell a partial sum from a whole one.
  WalkErrorHandler unreadable;
};

class IOUtilities {
 public:
  IOUtilities() = delete;

  // One exists-and-is-directory test that follows symbolic links: a dangling
  // link is `invalid`, a link to a folder a `directory`. (Walks below a
  // folder still never follow a link, so a link loop costs nothing.)
  [[nodiscard]] static PathType pathType(const std::string& path);

  // The item's logical size (st_size of the item itself; a link counts its own
  // size, not its target's); 0 when it cannot be examined.
  [[nodiscard]] static std::uint64_t fileSize(const Keel::URL& url);

  // The sum of the sizes of everything below the folder: hidden entries and
  // package contents included, folders themselves adding 0, links not
  // followed. Folders that cannot be read and entries that vanish meanwhile
  // add nothing. Overflow stops the process (addSizes). A cancelled walk
  // returns what it had summed.
  [[nodiscard]] static std::uint64_t folderSize(const Keel::URL& url, const SizeWalk& walk = {});

  // "NSFileCreationDate": the birth time of the item, where the file system
  // records one (statx); "NSFileModificationDate": its modification time. Of
  // the item itself, a link not followed. Absent otherwise, and for every
  // other key.
  [[nodiscard]] static std::optional<Keel::Date> dateAttribute(const std::string& path, std::string_view key);

  // Dates of a search-metadata store. Linux desktops keep no store with the
  // keys callers ask for, so this is always absent.
  [[nodiscard]] static std::optional<Keel::Date> metadataDate(const std::string& path, std::string_view key);

  // The desktop's icon for the content type of the URL's path extension.
  [[nodiscard]] static std::optional<Image> icon(const Keel::URL& url);
  [[nodiscard]] static std::optional<Image> icon(const Keel::URL& url, const WorkspaceIcons& icons);

  // Shows the item selected in its parent folder in the file viewer. Reports
  // nothing; FileRevealer tells callers that need to know whether it worked.
  static void reveal(const Keel::URL& url);
  static void reveal(const Keel::URL& url, const FileRevealer& revealer);

  // Removes the item, with everything inside when it is a folder, never
  // following links. True when nothing exists at the path afterwards (below a
  // plain file nothing ever can).
  static bool deleteItem(const Keel::URL& url);

  // The folder's direct contents whose folder-ness equals `directories`
  // (hidden entries included). Unreadable: one error line, empty list.
  [[nodiscard]] static std::vector<Keel::URL> contentsOfDirectory(
      const Keel::URL& url, bool directories, bool skipUserLibrary = false,
      const ErrorLine& errorLine = writeLineToStandardOutput);

  // Every folder below, packages included but not entered, hidden entries
  // skipped. When an entry cannot be examined the error's line is written and
  // the folders found so far are returned.
  [[nodiscard]] static std::vector<Keel::URL> foldersBelow(const Keel::URL& url, bool skipUserLibrary = false,
                                                           const ErrorLine& errorLine = writeLineToStandardOutput);
  // Every non-folder below, with the same rules (no error line).
  [[nodiscard]] static std::vector<Keel::URL> filesBelow(const Keel::URL& url);
  // Every folder below whose name ends with `suffix` (case-sensitive).
  [[nodiscard]] static std::vector<Keel::URL> foldersBelowWithSuffix(const Keel::URL& url, std::string_view suffix);

  // The user-library rule of the listings: a path of more than three
  // components whose fourth (counting the root "/" as the first) is "Library",
  // such as /Users/anna/Library/...
  [[nodiscard]] static bool isInUserLibrary(std::string_view path);
};

}  // namespace Plinth
