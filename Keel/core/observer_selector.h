// Notification names and target-and-selector observers: a member function of the observer, taking
// nothing or the notification, wrapped as the callable a notification centre
// keeps.
#pragma once

#include <functional>
#include <string>
#include <type_traits>
#include <utility>

namespace Keel {

// A notification's name as a value of its own type, for names declared once
// and shared (the text is what travels).
struct NotificationName {
  std::string rawValue;
  explicit NotificationName(std::string raw) : rawValue(std::move(raw)) {}
  friend bool operator==(const NotificationName&, const NotificationName&) = default;
};

// A callable that invokes `selector` on `observer` with the notification, or
// with nothing when the selector takes nothing. The observer is not kept
// alive: remove it from the centre before it is destroyed.
template <typename Notification, typename T, typename Method>
std::function<void(const Notification&)> makeObserverSelector(T* observer, Method selector) {
  if constexpr (std::is_invocable_v<Method, T*, const Notification&>) {
    return [observer, selector](const Notification& n) { (observer->*selector)(n); };
  } else {
    static_assert(std::is_invocable_v<Method, T*>, "a selector takes nothing or the notification");
    return [observer, selector](const Notification&) { (observer->*selector)(); };
  }
}

}  // namespace Keel
