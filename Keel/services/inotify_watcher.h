// The process's one inotify instance and its reader thread, shared by every
// part of the library that watches files: the per-user limit on inotify
// instances is small, and one thread can serve any number of watches.
// Internal to the Linux implementations; nothing here includes Linux headers.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <string_view>
#include <thread>
#include <vector>

namespace Keel::detail {

class InotifyWatcher {
 public:
  // Called on the reader thread with the event's mask and, for an event about
  // an entry of a watched folder, the entry's name (else empty). A listener
  // must be quick and must not add or remove listeners.
  using Listener = std::function<void(std::uint32_t mask, std::string_view name)>;

  // The process-wide watcher, created on first use and never destroyed.
  static InotifyWatcher& shared();

  // A watcher of its own, with its own inotify instance (for tests and
  // measurements). Its thread starts with the first listener.
  InotifyWatcher();
  ~InotifyWatcher();
  InotifyWatcher(const InotifyWatcher&) = delete;
  InotifyWatcher& operator=(const InotifyWatcher&) = delete;

  // Delivers the events in `mask` about the object at `path` to `listener`,
  // plus queue overflows and the end of the watch (IN_IGNORED). Listeners of
  // the same object share the kernel's watch, which ends with the last of
  // them. Returns an id for remove(), or 0 when the object cannot be watched
  // (it does not exist, the path is invalid, the limits are reached).
  [[nodiscard]] std::uint64_t add(const std::filesystem::path& path, std::uint32_t mask, Listener listener);

  // After this returns the listener is not running and never runs again.
  // Unknown ids and 0 are ignored.
  void remove(std::uint64_t id);

 private:
  struct Entry {
    int descriptor;
    std::uint32_t mask;
    Listener listener;
  };

  void run();
  void dispatch(const char* buffer, std::size_t length);

  std::mutex mutex_;  // held while listeners run, so that remove() can wait for them
  const int fd_;
  const int wakeFd_;  // written on destruction to end the reader thread
  std::thread thread_;
  std::uint64_t nextId_ = 1;
  std::map<std::uint64_t, Entry> entries_;
  std::map<int, std::vector<std::uint64_t>> byDescriptor_;
};

}  // namespace Keel::detail
