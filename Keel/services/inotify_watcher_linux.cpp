// The shared inotify reader: one instance, one thread, reference-counted
// kernel watches.
#include "Keel/services/inotify_watcher.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "Keel/core/descriptor_linux.h"

namespace Keel::detail {

InotifyWatcher& InotifyWatcher::shared() {
  // Never destroyed: listeners may be removed by static destructors of other
  // translation units, after this one's would have run.
  static auto* const watcher = new InotifyWatcher();
  return *watcher;
}

InotifyWatcher::InotifyWatcher()
    : fd_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)), wakeFd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

InotifyWatcher::~InotifyWatcher() {
  const Descriptor inotify(fd_);  // closed once the thread has ended
  const Descriptor wake(wakeFd_);
  if (thread_.joinable()) {
    const std::uint64_t one = 1;
    (void)writeAll(wakeFd_, &one, sizeof one);
    thread_.join();
  }
}

std::uint64_t InotifyWatcher::add(const std::filesystem::path& path, std::uint32_t mask, Listener listener) {
  const std::string& text = path.native();
  // A path with a NUL in it would silently name a shorter one.
  if (text.empty() || text.find('\0') != std::string::npos) return 0;
  std::lock_guard lock(mutex_);
  if (fd_ < 0 || wakeFd_ < 0) return 0;
  // IN_MASK_ADD: another listener of the same object keeps the events it asked for.
  const int wd = inotify_add_watch(fd_, text.c_str(), mask | IN_MASK_ADD);
  if (wd < 0) return 0;
  if (!thread_.joinable()) {
    try {
      thread_ = std::thread([this] { run(); });
    } catch (...) {
      if (byDescriptor_.find(wd) == byDescriptor_.end()) inotify_rm_watch(fd_, wd);
      return 0;
    }
  }
  const std::uint64_t id = nextId_++;
  entries_.emplace(id, Entry{wd, mask, std::move(listener)});
  byDescriptor_[wd].push_back(id);
  return id;
}

void InotifyWatcher::remove(std::uint64_t id) {
  std::lock_guard lock(mutex_);
  const auto entry = entries_.find(id);
  if (entry == entries_.end()) return;
  const int wd = entry->second.descriptor;
  entries_.erase(entry);
  const auto ids = byDescriptor_.find(wd);
  if (ids == byDescriptor_.end()) return;  // the kernel already ended this watch
  std::erase(ids->second, id);
  if (ids->second.empty()) {
    byDescriptor_.erase(ids);
    inotify_rm_watch(fd_, wd);
  }
}

void InotifyWatcher::run() {
  alignas(inotify_event) char buffer[16384];
  pollfd polled[2] = {{fd_, POLLIN, 0}, {wakeFd_, POLLIN, 0}};
  for (;;) {
    if (retryOnInterrupt([&] { return poll(polled, 2, -1); }) < 0) continue;
    if ((polled[1].revents & POLLIN) != 0) return;
    const ssize_t n = ::read(fd_, buffer, sizeof buffer);
    if (n > 0) dispatch(buffer, static_cast<std::size_t>(n));
  }
}

void InotifyWatcher::dispatch(const char* buffer, std::size_t length) {
  std::lock_guard lock(mutex_);
  for (std::size_t offset = 0; offset + sizeof(inotify_event) <= length;) {
    const auto* event = reinterpret_cast<const inotify_event*>(buffer + offset);
    offset += sizeof(inotify_event) + event->len;
    // The name is padded with NULs to an aligned length.
    const std::string_view name = event->len > 0 ? std::string_view(event->name) : std::string_view();
    if ((event->mask & IN_Q_OVERFLOW) != 0) {
      // Events were lost: every listener may have missed something.
      for (auto& [id, entry] : entries_) entry.listener(event->mask, {});
      continue;
    }
    const auto ids = byDescriptor_.find(event->wd);
    if (ids == byDescriptor_.end()) continue;
    for (const std::uint64_t id : ids->second) {
      Entry& entry = entries_.at(id);
      if ((event->mask & (entry.mask | IN_IGNORED | IN_UNMOUNT)) != 0) entry.listener(event->mask, name);
    }
    if ((event->mask & IN_IGNORED) != 0) {
      // The kernel ended the watch and may hand the descriptor out again.
      for (const std::uint64_t id : ids->second) entries_.at(id).descriptor = -1;
      byDescriptor_.erase(ids);
    }
  }
}

}  // namespace Keel::detail
