// Short type-level operations over the two kinds of notification: in-process
// ones through the default NotificationCenter, and user-visible ones through
// the current UserNotificationCenter.
#pragma once

#include <optional>
#include <string>

#include "Keel/core/observer_selector.h"
#include "Keel/services/notification_center.h"
#include "Keel/services/user_notification_center.h"

namespace Keel {

class Notifications {
 public:
  Notifications() = delete;

  // In-process notifications. `selector` is a member function of T taking
  // nothing or the Notification; `object`, when not null, restricts the
  // registration to posts from that sender.
  template <typename T, typename Method>
  static void addObserver(T* observer, Method selector, std::string name, const void* object = nullptr) {
    NotificationCenter::defaultCenter().addObserver(observer, makeObserverSelector<Notification>(observer, selector),
                                                    std::move(name), object);
  }
  template <typename T, typename Method>
  static void addObserver(T* observer, Method selector, const NotificationName& name) {
    addObserver(observer, selector, name.rawValue);
  }
  static void removeObserver(const void* observer, std::string_view name) {
    NotificationCenter::defaultCenter().removeObserver(observer, name);
  }
  static void removeObserver(const void* observer, const NotificationName& name) {
    removeObserver(observer, name.rawValue);
  }
  static void post(std::string name, const void* object = nullptr) {
    NotificationCenter::defaultCenter().post(std::move(name), object);
  }

  // User notifications, on the current centre or on the one given.
  // Asks for badge, sound and alert (7). The completion runs on a background
  // queue.
  static void requestAuthorization(UserNotificationCenter::AuthorizationCompletion completion);
  static void requestAuthorization(UserNotificationCenter& center,
                                   UserNotificationCenter::AuthorizationCompletion completion);

  static void getSettings(UserNotificationCenter::SettingsCompletion completion);
  static void getSettings(UserNotificationCenter& center, UserNotificationCenter::SettingsCompletion completion);

  // Shows a notification with `title`, `body` and the default sound at once,
  // under a new random UUID, when the settings say authorised or
  // provisional; `completion` (optional) then gets the centre's answer. While
  // not allowed nothing is shown and `completion` is never called. `center`
  // must outlive the delivery.
  static void deliver(const std::string& title, const std::string& body,
                      UserNotificationCenter::AddCompletion completion = {});
  static void deliver(UserNotificationCenter& center, const std::string& title, const std::string& body,
                      UserNotificationCenter::AddCompletion completion = {});
};

// A random (version 4) UUID in its standard upper-case text form, such as
// "E621E1F8-C36C-495A-93FC-0C247A3E6E5F".
[[nodiscard]] std::string randomUUIDString();

}  // namespace Keel
