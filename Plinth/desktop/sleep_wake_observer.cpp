// The observer's delegate handling; the events come from the platform's source.
#include "Plinth/desktop/sleep_wake_observer.h"

#include <mutex>
#include <utility>

namespace Plinth {

struct SleepWakeObserver::State {
  mutable std::mutex mutex;
  std::weak_ptr<SleepWakeObserverDelegate> delegate;

  // The delegate is called outside the lock, so that it may replace itself.
  void deliver(bool goingToSleep) const {
    std::shared_ptr<SleepWakeObserverDelegate> current;
    {
      std::lock_guard lock(mutex);
      current = delegate.lock();
    }
    if (!current) return;
    if (goingToSleep) {
      current->systemWillSleep();
    } else {
      current->systemDidWake();
    }
  }
};

SleepWakeObserver& SleepWakeObserver::shared() {
  // Lives until the process ends: the source may call it at any moment.
  static auto* observer = new SleepWakeObserver(SleepEventSource::system());
  return *observer;
}

SleepWakeObserver::SleepWakeObserver(std::unique_ptr<SleepEventSource> source)
    : state_(std::make_shared<State>()), source_(std::move(source)) {
  if (!source_) return;
  // The handler holds the state, not the observer: a source may call it once
  // more while the observer is being destroyed on another thread.
  source_->start([state = state_](bool goingToSleep) { state->deliver(goingToSleep); });
}

SleepWakeObserver::~SleepWakeObserver() { source_.reset(); }

std::weak_ptr<SleepWakeObserverDelegate> SleepWakeObserver::delegate() const {
  std::lock_guard lock(state_->mutex);
  return state_->delegate;
}

void SleepWakeObserver::setDelegate(std::weak_ptr<SleepWakeObserverDelegate> delegate) {
  std::lock_guard lock(state_->mutex);
  state_->delegate = std::move(delegate);
}

void SleepWakeObserver::willSleep() { state_->deliver(true); }

void SleepWakeObserver::didWake() { state_->deliver(false); }

}  // namespace Plinth
