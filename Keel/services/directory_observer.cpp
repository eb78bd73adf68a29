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
  }
}

void ObserverRuns::drain(const std::shared_ptr<ObserverRuns>& /*keeps this alive*/) {
  std::unique_lock lock(mutex_);
  while (pending_ && !stopped_) {
    pending_ = false;
    lock.unlock();
    handler_();  // stop() leaves the handler alone while a drain is queued or running
    lock.lock();
  }
  queued_ = false;
  std::function<void()> released;
  if (stopped_) released = std::move(handler_);
  lock.unlock();
  // `released` (the handler's captures) is destroyed here, outside the lock.
}

void ObserverRuns::stop() {
  std::function<void()> released;
  std::lock_guard lock(mutex_);
  stopped_ = true;
  // A queued drain sees `stopped_` before it would run the handler; a
  // running one finishes its run and releases the handler itself. Waiting
  // for it instead would deadlock a handler that waits for this thread.
  if (!queued_) released = std::move(handler_);
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
