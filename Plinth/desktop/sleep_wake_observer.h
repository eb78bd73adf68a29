// Sleep and wake: one delegate hears when the machine is about to sleep and
// when it has woken.
#pragma once

#include <functional>
#include <memory>

namespace Plinth {

class SleepWakeObserverDelegate {
 public:
  virtual ~SleepWakeObserverDelegate() = default;
  virtual void systemWillSleep() = 0;
  virtual void systemDidWake() = 0;
};

// Where sleep and wake events come from. On Linux, LogindSleepEvents
// (sleep_wake_observer_linux.h); tests give fakes.
class SleepEventSource {
 public:
  // true: the machine is about to sleep; false: it has woken.
  using Handler = std::function<void(bool goingToSleep)>;
  virtual ~SleepEventSource() = default;
  // Starts reporting events to `handler`, on the main run loop, until the
  // source is destroyed. Called once.
  virtual void start(Handler handler) = 0;
  // The platform's source for the running machine.
  [[nodiscard]] static std::unique_ptr<SleepEventSource> system();
};

class SleepWakeObserver {
 public:
  // The process's observer of the platform's events, made on first use with
  // no delegate and never destroyed. Events reach its delegate on the main
  // run loop, and only while that loop runs. On a machine with no source of
  // such events (Linux without a system bus or logind) it never reports
  // anything, and says nothing about it.
  [[nodiscard]] static SleepWakeObserver& shared();

  // An observer of `source`'s events, which it starts at once and stops when
  // it is destroyed.
  explicit SleepWakeObserver(std::unique_ptr<SleepEventSource> source);
  ~SleepWakeObserver();
  SleepWakeObserver(const SleepWakeObserver&) = delete;
  SleepWakeObserver& operator=(const SleepWakeObserver&) = delete;

  // The delegate is held weakly: once its owners let it go, events are
  // dropped. A new one hears from the next event on. Any thread.
  [[nodiscard]] std::weak_ptr<SleepWakeObserverDelegate> delegate() const;
  void setDelegate(std::weak_ptr<SleepWakeObserverDelegate> delegate);

  // What the source's events call: systemWillSleep() and systemDidWake() on
  // the delegate, when there is one, on the calling thread.
  void willSleep();
  void didWake();

 private:
  struct State;
  std::shared_ptr<State> state_;  // shared with the source's handler
  std::unique_ptr<SleepEventSource> source_;
};

}  // namespace Plinth
