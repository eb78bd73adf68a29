// Where the status bar's appearance comes from: the desktop's colour scheme.
// Main thread only.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace Plinth {

class AppearanceSource {
 public:
  virtual ~AppearanceSource() = default;
  // "dark" or "light".
  [[nodiscard]] virtual std::string appearanceName() const = 0;
  // `handler` runs on the main thread after each change of the name. One
  // handler; a later call replaces it.
  virtual void setChangeHandler(std::function<void()> handler) = 0;
};

// An appearance set by hand: tests, demos, programs with a theme switch.
class FixedAppearance final : public AppearanceSource {
 public:
  explicit FixedAppearance(std::string name = "light") : name_(std::move(name)) {}
  [[nodiscard]] std::string appearanceName() const override { return name_; }
  void setChangeHandler(std::function<void()> handler) override { handler_ = std::move(handler); }
  // Changes the name; the handler hears it when it differs.
  void setAppearanceName(std::string name);

 private:
  std::string name_;
  std::function<void()> handler_;
};

// The name of the desktop portal's colour-scheme value: 1 (prefer dark) is
// "dark"; 2 (prefer light), 0 (no preference) and anything else "light".
[[nodiscard]] std::string appearanceNameForColorScheme(std::uint32_t colorScheme);

// The desktop's colour scheme from the portal's settings
// (org.freedesktop.portal.Settings, "org.freedesktop.appearance",
// "color-scheme") on the session bus at `busAddress` (by the address policy of
// Keel/core/message_bus_linux.h when absent), followed by its SettingChanged
// signal. Nothing here blocks: the
// name is "light" until the portal's first answer arrives on the calling
// thread's main context, and stays "light" without a bus or a portal.
[[nodiscard]] std::shared_ptr<AppearanceSource> makeDesktopAppearance(
    std::optional<std::string> busAddress = std::nullopt);

}  // namespace Plinth
