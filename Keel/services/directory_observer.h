// Tells a caller that something happened to one file-system object (usually
// a folder whose contents the application shows), for as long as the
// observer lives.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>

namespace Keel {

namespace detail {

// The handler runs of one observer: every signal() leads to a run on the
// global queue; signals that arrive before a queued run starts share it, and
// a signal during a run leads to exactly one more run after it. Runs never
// overlap. Portable, so that its rules are tested without a kernel.
class ObserverRuns {
 public:
  explicit ObserverRuns(std::function<void()> handler);

  // Something happened. Callable from any thread; never blocks for a run.
  void signal();

  // No run starts after this returns, and it never waits for one: a run
  // under way (on any thread) finishes after it. The handler is released
  // here, or when that run ends.
  void stop();

 private:
  void drain(const std::shared_ptr<ObserverRuns>& self);

  std::mutex mutex_;
  std::function<void()> handler_;
  bool queued_ = false;   // a drain task is scheduled or running
  bool pending_ = false;  // a signal not yet answered by a run
  bool stopped_ = false;

  friend std::shared_ptr<ObserverRuns> makeObserverRuns(std::function<void()>);
  std::weak_ptr<ObserverRuns> self_;
};

std::shared_ptr<ObserverRuns> makeObserverRuns(std::function<void()> handler);

// Provided by the platform: watches `path` and signals `runs` on every change
// to the object. An id for endWatch, or 0 when the object cannot be watched.
std::uint64_t beginWatch(const std::filesystem::path& path, const std::shared_ptr<ObserverRuns>& runs);
// After this returns `runs` is not signalled again.
void endWatch(std::uint64_t id);

}  // namespace detail

// Observes the object at a path: the folder or file itself, not the tree
// below it. Each change to it (an entry created, deleted or renamed inside a
// folder; the object written, its attributes changed, it renamed or deleted),
// or each burst of changes close together, runs the handler once on
// DispatchQueue::global(), never on the constructing thread's stack. The
// handler learns nothing about what happened. Reading (opening, listing,
// reading bytes) is not a change, and neither is writing to an entry of a
// folder or changing the entry's attributes: a handler may list its folder,
// or rewrite a file in it, without waking itself.
//
// The observer stays bound to the object it found at construction: if that
// object is renamed or deleted, the path is not looked up again. A path that
// names nothing (or cannot be watched: too long, no permission, out of
// kernel watches) gives an observer whose handler never runs; nothing fails.
// When the system drops events because too many arrived, every observer's
// handler runs once.
//
// Runs of one observer never overlap; runs of different observers may.
// Construction and destruction may happen on any thread, including from
// inside the handler itself. Destruction never waits for a run, so a handler
// may wait for the thread that releases its observer (for instance through
// DispatchQueue::main().sync); what the handler captured lives until its last
// run has ended, and should be owned or shared by it rather than borrowed
// from the releasing code. Nothing throws.
class DirectoryObserver {
 public:
  // Observing is active when the constructor returns.
  DirectoryObserver(const std::filesystem::path& path, std::function<void()> handler);

  // Stops observing: no run starts after this returns. A run under way on
  // another thread is not waited for and may still be going.
  ~DirectoryObserver();

  DirectoryObserver(const DirectoryObserver&) = delete;
  DirectoryObserver& operator=(const DirectoryObserver&) = delete;

  // Whether the object could be watched (false: the handler never runs).
  [[nodiscard]] bool isWatching() const noexcept { return watchId_ != 0; }

 private:
  std::shared_ptr<detail::ObserverRuns> runs_;
  std::uint64_t watchId_ = 0;
};

}  // namespace Keel
