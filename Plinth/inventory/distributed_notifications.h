// System-wide notifications between processes: one application tells another
// by a named notification that may carry a text object.
//
// Delivery rules: an observer registered with an object gets only posts of its
// name with an equal object; one registered without an object gets every post
// of its name; a post without an object reaches only observers registered
// without one. Observers are called on the run loop of the thread that
// registered them. Posts are delivered immediately, also to observers in the
// posting process.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "Keel/core/observer_selector.h"
#include "Keel/core/result.h"

namespace Plinth {

// A notification name as a value of its own type (as opposed to plain text).
using NotificationName = Keel::NotificationName;

// What an observer is called with.
struct DistributedNotification {
  std::string name;
  std::optional<std::string> object;
};

// The notification centre: the platform service behind DistributedNotifications.
class DistributedNotificationCenter {
 public:
  // The operation invoked on an observer.
  using Selector = std::function<void(const DistributedNotification&)>;
  // What the asynchronous addObserver reports: success once the observer is
  // sure to hear every later post, otherwise the reason it may not.
  using Registered = std::function<void(const Keel::Result<void>& registration)>;

  virtual ~DistributedNotificationCenter() = default;

  // The process's centre on the user's session. Created on first use; lives
  // until the process ends.
  [[nodiscard]] static DistributedNotificationCenter& defaultCenter();

  // Registers `selector` for posts of `name` (and `object`, when given).
  // `observer` is only an identity for removal: the centre never dereferences
  // it and does not keep it alive, so remove it before it is destroyed.
  virtual void addObserver(const void* observer, Selector selector, const std::string& name,
                           const std::optional<std::string>& object) = 0;

  // The same registration, without ever waiting for other processes: the work
  // it needs (connecting on first use, confirming the registration) goes on
  // while the calling thread's run loop serves its other sources, so the
  // caller must be on a thread serving its run loop. `registered` is then
  // called once on that loop, never inline: with success when a post made
  // from then on is sure to reach the observer, or with the reason it may not (the
  // centre is unavailable, or did not get the registration confirmed within
  // its time-out).
  virtual void addObserver(const void* observer, Selector selector, const std::string& name,
                           const std::optional<std::string>& object, Registered registered) = 0;

  // Starts reaching other processes, without waiting and without registering
  // anything, so that a registration made soon after is confirmed sooner. The
  // calling thread must be about to serve its run loop. Doing nothing is a
  // valid implementation, and the default.
  virtual void prepareConnection() {}

  // Removes every registration of `observer` for `name`, whatever object it
  // was made with. A call already under way may still finish.
  virtual void removeObserver(const void* observer, const std::string& name) = 0;

  // Posts `name` with `object` to every process on the session, this one
  // included, without waiting for observers.
  virtual void post(const std::string& name, const std::optional<std::string>& object) = 0;

  // Success while the centre reaches other processes; otherwise the reason it
  // cannot (for example, no session bus). Registrations and posts made while
  // unavailable have no effect.
  [[nodiscard]] virtual Keel::Result<void> availability() = 0;

  // Called, on the run loop of the thread that first used the centre, when it loses
  // its link to other processes after having had one. Later calls replace the
  // handler.
  virtual void setConnectionLostHandler(std::function<void(const std::string& reason)> handler) = 0;
};

// Target and selector observers: `selector` is a member function of T taking
// nothing or the notification.
template <typename T, typename Method>
DistributedNotificationCenter::Selector makeSelector(T* observer, Method selector) {
  return Keel::makeObserverSelector<DistributedNotification>(observer, selector);
}

// Static front of the centre. Every operation also exists with the centre as
// first argument, for callers that are handed one.
class DistributedNotifications {
 public:
  DistributedNotifications() = delete;

  template <typename T, typename Method>
  static void addObserver(DistributedNotificationCenter& center, T* observer, Method selector, const std::string& name,
                          const std::optional<std::string>& object = std::nullopt) {
    center.addObserver(observer, makeSelector(observer, selector), name, object);
  }
  template <typename T, typename Method>
  static void addObserver(DistributedNotificationCenter& center, T* observer, Method selector, const std::string& name,
                          const std::optional<std::string>& object,
                          DistributedNotificationCenter::Registered registered) {
    center.addObserver(observer, makeSelector(observer, selector), name, object, std::move(registered));
  }
  template <typename T, typename Method>
  static void addObserver(T* observer, Method selector, const std::string& name,
                          const std::optional<std::string>& object = std::nullopt) {
    addObserver(DistributedNotificationCenter::defaultCenter(), observer, selector, name, object);
  }
  template <typename T, typename Method>
  static void addObserver(T* observer, Method selector, const NotificationName& name) {
    addObserver(observer, selector, name.rawValue);
  }

  static void removeObserver(DistributedNotificationCenter& center, const void* observer, const std::string& name) {
    center.removeObserver(observer, name);
  }
  static void removeObserver(const void* observer, const std::string& name) {
    removeObserver(DistributedNotificationCenter::defaultCenter(), observer, name);
  }
  static void removeObserver(const void* observer, const NotificationName& name) {
    removeObserver(observer, name.rawValue);
  }

  static void post(DistributedNotificationCenter& center, const std::string& name,
                   const std::optional<std::string>& object) {
    center.post(name, object);
  }
  static void post(const std::string& name, const std::optional<std::string>& object) {
    post(DistributedNotificationCenter::defaultCenter(), name, object);
  }
};

}  // namespace Plinth
