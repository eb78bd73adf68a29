// One walk over a folder tree, shared by the listings and the size sums.
// The walk keeps an explicit list of pending entries instead of recursing, so
// its stack never grows with the tree, and it never follows a symbolic link,
// so a link loop is just one more entry.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace Plinth {

// Counters another thread may read while a walk runs (progress displays).
struct WalkProgress {
  std::atomic<std::uint64_t> foldersDone{0};
  std::atomic<std::uint64_t> entriesSeen{0};
};

struct WalkOptions {
  bool skipHidden = false;                    // names starting with "." are neither yielded nor entered
  bool skipPackageContents = false;           // packages are yielded but not entered
  bool wantSizes = false;                     // fill WalkEntry::size (one lstat per non-folder)
  const std::atomic<bool>* cancel = nullptr;  // when it turns true the walk stops soon after
  WalkProgress* progress = nullptr;
};

struct WalkEntry {
  const std::string& path;  // the root's path, "/", the names below it; may exceed PATH_MAX
  std::string_view name;
  bool isDirectory;    // a real folder (a link to one is not)
  std::uint64_t size;  // st_size when asked for, else 0; 0 for folders
};

enum class WalkStep : std::uint8_t { proceed, skipDescendants, stop };

// Why an entry could not be read: its path and the errno value. The walk goes
// on after an unreadable folder unless the handler returns WalkStep::stop.
using WalkErrorHandler = std::function<WalkStep(const std::string& path, int error)>;

// Visits everything below `root` (not the root itself) depth first: a
// folder's files, in the order the file system lists them, then each of its
// folders in that order, each followed by everything below it. A folder that
// cannot be opened is reported to `onError` (when given) and skipped; an entry
// that vanishes before it can be examined likewise. Paths longer than PATH_MAX
// are opened piecewise, relative to an ancestor. The root itself may be a link
// to a folder. Returns false when the root cannot be opened as a folder, or
// the walk was cancelled or stopped.
bool walkFolder(const std::string& root, const WalkOptions& options,
                const std::function<WalkStep(const WalkEntry&)>& visit, const WalkErrorHandler& onError = {});

// The sum of st_size over every non-folder below `root` (hidden entries and
// packages included, links not followed), as a walk with `wantSizes` would
// add it up, but in no particular order and on two threads once there are
// folders enough to share: the second thread starts when sixteen folders are
// pending. Only `cancel` and `progress` of the options are used. Folders that
// cannot be opened and entries that vanish add nothing; overflow stops the
// process. 0 when the root cannot be opened. `onError` (when given) hears of
// each folder that cannot be read, the root included, but not of one that
// vanished; it is called from either thread, one call at a time, and its
// answer is ignored.
[[nodiscard]] std::uint64_t sumSizesBelow(const std::string& root, const WalkOptions& options,
                                          const WalkErrorHandler& onError = {});

// Whether a folder of this name is a package: a bundle that listings show as
// one item and never enter.
[[nodiscard]] bool isPackageName(std::string_view name);

}  // namespace Plinth
