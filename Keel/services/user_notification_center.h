// User-visible notifications shown by the desktop: the permission state, and
// requests to show one notification at once.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace Keel {

enum class AuthorizationStatus {
  notDetermined = 0,  // nobody has said yet (on Linux: no notification server answers)
  denied = 1,         // the user turned notifications off for the application
  authorized = 2,     // notifications are shown
  provisional = 3,    // shown quietly
};

// What requestAuthorization asks for; badge, sound and alert together are 7.
enum AuthorizationOption : unsigned { badge = 1, sound = 2, alert = 4 };

struct NotificationSettings {
  AuthorizationStatus authorizationStatus = AuthorizationStatus::notDetermined;
};

struct NotificationError {
  std::string description;
};

struct NotificationContent {
  std::string title;
  std::string body;
  bool defaultSound = false;  // play the desktop's default notification sound
};

// A request to show `content` at once. Requests with different identifiers
// never replace one another.
struct NotificationRequest {
  std::string identifier;
  NotificationContent content;
};

// The platform's notification service. Completions run on a background queue
// of the centre's, never on the caller's thread.
class UserNotificationCenter {
 public:
  using AuthorizationCompletion = std::function<void(bool granted, std::optional<NotificationError> error)>;
  using SettingsCompletion = std::function<void(NotificationSettings settings)>;
  using AddCompletion = std::function<void(std::optional<NotificationError> error)>;

  virtual ~UserNotificationCenter() = default;

  // The process's centre on the user's session. Created on first use; lives
  // until the process ends.
  [[nodiscard]] static UserNotificationCenter& current();

  virtual void requestAuthorization(unsigned options, AuthorizationCompletion completion) = 0;
  virtual void getNotificationSettings(SettingsCompletion completion) = 0;
  // Shows the request. `completion` may be empty.
  virtual void add(NotificationRequest request, AddCompletion completion) = 0;
};

}  // namespace Keel
