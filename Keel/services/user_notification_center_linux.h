// User notifications on a Linux desktop: the freedesktop notification service
// (org.freedesktop.Notifications) on the session bus.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Keel/services/user_notification_center.h"

namespace Keel {

struct DesktopNotificationOptions {
  std::optional<std::string> busAddress = {};  // nothing: the session bus (Keel/core/message_bus_linux.h)
  // Connecting and each call together take at most this long; a bus that
  // accepts and then says nothing is not asked again for as long.
  std::chrono::milliseconds responseTimeout{5000};
  std::string applicationName = "Keel";        // shown by the desktop beside each notification
  std::string applicationId = "keel";          // the desktop-entry name the desktop files settings under
  // True when the user turned the application's notifications off; nothing:
  // read GNOME's per-application switch (see gnomeNotificationPolicyPath).
  std::function<bool()> turnedOffByUser = {};
};

// Authorised while a notification server answers on the bus, not determined
// while none does, denied while the user's switch is off. Linux has no
// permission prompt: requestAuthorization grants exactly when a server
// answers. Each request becomes one Notify call with replaces_id 0, so
// deliveries never replace one another; its identifier travels as the
// "x-keel-request-identifier" hint, with "sound-name" "message-new-instant"
// for the default sound and "desktop-entry" for the application. Bus calls
// and completions run on a serial queue of the centre's.
class DesktopNotificationCenter final : public UserNotificationCenter {
 public:
  explicit DesktopNotificationCenter(DesktopNotificationOptions options);
  ~DesktopNotificationCenter() override;
  DesktopNotificationCenter(const DesktopNotificationCenter&) = delete;
  DesktopNotificationCenter& operator=(const DesktopNotificationCenter&) = delete;

  void requestAuthorization(unsigned options, AuthorizationCompletion completion) override;
  void getNotificationSettings(SettingsCompletion completion) override;
  void add(NotificationRequest request, AddCompletion completion) override;

  // The number the server gave the request with `identifier`, for the most
  // recent 1024 requests shown.
  [[nodiscard]] std::optional<std::uint32_t> serverIdentifier(const std::string& identifier) const;

  struct State;

 private:
  std::shared_ptr<State> state_;
};

// Where GNOME keeps the notification switch of the application whose desktop
// entry is `applicationId` ("com.brenwick.vantor" gives
// "/org/gnome/desktop/notifications/application/com-brenwick-vantor/").
[[nodiscard]] std::string gnomeNotificationPolicyPath(std::string_view applicationId);

}  // namespace Keel
