// Directory observers on Linux: a watch on the object itself through the
// process's shared inotify watcher.
#include "Keel/services/directory_observer.h"

#include <sys/inotify.h>

#include <string_view>

#include "Keel/services/inotify_watcher.h"

namespace Keel::detail {
namespace {

// A folder's watch also reports writes, attribute changes and closes of the
// entries inside it (those events carry the entry's name). They are no change
// of the folder, and a handler that rewrote a file in its own folder would
// wake itself without end; only the entry set changing counts.
constexpr std::uint32_t entrySet = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
constexpr std::uint32_t selfChanges = IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF;
// A folder is never written itself: IN_MODIFY and IN_CLOSE_WRITE on it are
// always about entries, so its watch does not ask the kernel for them. No
// kind of reading is asked for either (IN_ACCESS, IN_OPEN, IN_CLOSE_NOWRITE),
// so a handler may list its own folder.
constexpr std::uint32_t folderChanges = entrySet | selfChanges | IN_ONLYDIR;
constexpr std::uint32_t fileChanges = selfChanges | IN_MODIFY | IN_CLOSE_WRITE;

}  // namespace

std::uint64_t beginWatch(const std::filesystem::path& path, const std::shared_ptr<ObserverRuns>& runs) {
  const auto listener = [runs](std::uint32_t mask, std::string_view name) {
    // The end of the watch is no change of its own: the deletion that caused
    // it was reported already, and removing the watch reports nothing.
    if (mask == IN_IGNORED) return;
    if (!name.empty() && (mask & entrySet) == 0) return;  // an entry's own change
    runs->signal();
  };
  // IN_ONLYDIR lets the kernel tell a folder from a file as the watch is
  // made. The masks only spare the queue events that would be dropped; the
  // filter above decides either way.
  auto& watcher = InotifyWatcher::shared();
  const std::uint64_t id = watcher.add(path, folderChanges, listener);
  return id != 0 ? id : watcher.add(path, fileChanges, listener);
}

void endWatch(std::uint64_t id) { InotifyWatcher::shared().remove(id); }

}  // namespace Keel::detail
