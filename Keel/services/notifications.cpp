// The delivery rule of user notifications, on any UserNotificationCenter.
#include "Keel/services/notifications.h"

#include <cstdint>
#include <mutex>
#include <random>

namespace Keel {

std::string randomUUIDString() {
  static std::mutex mutex;
  static std::mt19937_64 engine{[] {
    std::random_device device;
    return (std::uint64_t{device()} << 32) ^ device();
  }()};
  std::uint64_t high = 0;
  std::uint64_t low = 0;
  {
    std::lock_guard lock(mutex);
    high = engine();
    low = engine();
  }
  high = (high & ~std::uint64_t{0xF000}) | 0x4000;                         // version 4
  low = (low & ~(std::uint64_t{0xC} << 60)) | (std::uint64_t{0x8} << 60);  // RFC 4122 variant
  static constexpr char hexDigits[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(36);
  for (int i = 0; i < 32; ++i) {
    if (i == 8 || i == 12 || i == 16 || i == 20) text += '-';
    const std::uint64_t word = i < 16 ? high : low;
    text += hexDigits[(word >> (60 - 4 * (i % 16))) & 0xF];
  }
  return text;
}

void Notifications::requestAuthorization(UserNotificationCenter::AuthorizationCompletion completion) {
  requestAuthorization(UserNotificationCenter::current(), std::move(completion));
}

void Notifications::requestAuthorization(UserNotificationCenter& center,
                                         UserNotificationCenter::AuthorizationCompletion completion) {
  center.requestAuthorization(AuthorizationOption::badge | AuthorizationOption::sound | AuthorizationOption::alert,
                              std::move(completion));
}

void Notifications::getSettings(UserNotificationCenter::SettingsCompletion completion) {
  getSettings(UserNotificationCenter::current(), std::move(completion));
}

void Notifications::getSettings(UserNotificationCenter& center, UserNotificationCenter::SettingsCompletion completion) {
  center.getNotificationSettings(std::move(completion));
}

void Notifications::deliver(const std::string& title, const std::string& body,
                            UserNotificationCenter::AddCompletion completion) {
  deliver(UserNotificationCenter::current(), title, body, std::move(completion));
}

void Notifications::deliver(UserNotificationCenter& center, const std::string& title, const std::string& body,
                            UserNotificationCenter::AddCompletion completion) {
  center.getNotificationSettings(
      [&center, title, body, completion = std::move(completion)](NotificationSettings settings) mutable {
        // Not allowed: nothing is shown, and on purpose the caller hears nothing.
        if (settings.authorizationStatus != AuthorizationStatus::authorized &&
            settings.authorizationStatus != AuthorizationStatus::provisional) {
          return;
        }
        NotificationRequest request{randomUUIDString(), NotificationContent{title, body, true}};
        center.add(std::move(request), std::move(completion));
      });
}

}  // namespace Keel
