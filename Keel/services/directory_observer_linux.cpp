// Directory observers on Linux: a watch on the object itself through the
// process's shared inotify watcher.
#include "Keel/services/directory_observer.h"

#include <sys/inotify.h>

#include <string_view>

#include "Keel/services/inotify_watcher.h"

namespace Keel::detail {
namespace {

// Every kind of change, and no kind of reading: IN_ACCESS, IN_OPEN and
// IN_CLOSE_NOWRITE would wake a handler that lists its own folder, forever.
constexpr std::uint32_t kChanges = IN_MODIFY | IN_ATTRIB | IN_CLOSE_WRITE | IN_MOVED_FROM | IN_MOVED_TO | IN_CREATE |
                                   IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF;

}  // namespace

std::uint64_t beginWatch(const std::filesystem::path& path, const std::shared_ptr<ObserverRuns>& runs) {
  return InotifyWatcher::shared().add(path, kChanges, [runs](std::uint32_t mask, std::string_view) {
    // The end of the watch is no change of its own: the deletion that caused
    // it was reported already, and removing the watch reports nothing.
    if (mask != IN_IGNORED) runs->signal();
  });
}

void endWatch(std::uint64_t id) { InotifyWatcher::shared().remove(id); }

}  // namespace Keel::detail
