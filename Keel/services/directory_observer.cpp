// The platform-independent half of the directory observer: when handler runs
// happen, given the signals the platform's watch gives.
#include "Keel/services/directory_observer.h"

#include <utility>

#include "Keel/core/dispatch_queue.h"

namespace Keel {
namespace detail {

ObserverRuns::ObserverRuns(std::function<void()> handler) : handler_(std::move(handler)) {}

std::shared_ptr<ObserverRuns> makeObserverRuns(std::function<void()> handler) {
  auto runs = std::make_shared<ObserverRuns>(std::move(handler));
  runs->self_ = runs;
  return runs;
}

void ObserverRuns::signal() {
  std::shared_ptr<ObserverRuns> self;
  {
    std::lock_guard lock(mutex_);
    if (stopped_) return;
    pending_ = true;
    if (queued_) return;  // the queued or running drain will see it
    queued_ = true;
    self = self_.lock();
  }
  if (!self) return;
  try {
    DispatchQueue::global().async([self] { self->drain(self); });
  } catch (...) {
    // Out of memory: this change goes unreported, later ones try again.
    std::lock_guard lock(mutex_);
    queued_ = false;
    idle_.notify_all();
  }
}

void ObserverRuns::drain(const std::shared_ptr<ObserverRuns>& /*keeps this alive*/) {
  std::unique_lock lock(mutex_);
  while (pending_ && !stopped_) {
    pending_ = false;
    runner_ = std::this_thread::get_id();
    lock.unlock();
    handler_();  // stop() never touches the handler while a run is in progress
    lock.lock();
    runner_ = {};
  }
  queued_ = false;
  std::function<void()> released;
  if (stopped_) released = std::move(handler_);
  idle_.notify_all();
  lock.unlock();
  // `released` (the handler's captures) is destroyed here, outside the lock.
}

void ObserverRuns::stop() {
  std::function<void()> released;
  std::unique_lock lock(mutex_);
  stopped_ = true;
  if (runner_ == std::this_thread::get_id()) return;  // the handler stops its own observer
  // Only a run in progress is waited for: a queued drain that has not
  // started sees `stopped_` and ends without running the handler.
  idle_.wait(lock, [this] { return runner_ == std::thread::id(); });
  if (!queued_) released = std::move(handler_);
  lock.unlock();
}

}  // namespace detail

DirectoryObserver::DirectoryObserver(const std::filesystem::path& path, std::function<void()> handler) {
  try {
    runs_ = detail::makeObserverRuns(std::move(handler));
    watchId_ = detail::beginWatch(path, runs_);
  } catch (...) {
    watchId_ = 0;  // out of memory: an observer that never runs
  }
}

DirectoryObserver::~DirectoryObserver() {
  detail::endWatch(watchId_);
  if (runs_) runs_->stop();
}

}  // namespace Keel
