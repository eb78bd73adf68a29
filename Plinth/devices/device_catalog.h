// The built-in catalog of Apple phones, tablets, media players, watches,
// audio devices and TV boxes, selected by model identifier ("iPhone5,2"), as
// devices report it (lockdown's ProductType).
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Plinth {

class IconThemeFolders;

enum class DeviceKind : std::uint8_t {
  phone,        // iPhone
  tablet,       // iPad, iPad Air, iPad mini, iPad Pro
  mediaPlayer,  // iPod touch
  watch,        // Apple Watch
  audio,        // AirPods, HomePod
  tv,           // Apple TV
};

// The kind's name in code ("phone", "mediaPlayer"); also what the tools print.
[[nodiscard]] std::string_view kindName(DeviceKind kind);

// One model of the catalog. Its texts are views of the built-in table, valid
// for the whole life of the program.
struct DeviceModel {
  std::string_view identifier;  // "iPhone5,2": letters, a number, a comma, a number
  std::string_view modelName;   // the marketing name, "iPhone 5"
  std::string_view shortName;   // the product line, "iPhone", "iPad Pro", "Apple Watch"
  DeviceKind kind = DeviceKind::phone;
  // The icon's file name in the system's mobile-devices icon bundle, such as
  // "com.apple.iphone-5-black.icns"; the line's generic icon
  // ("com.apple.airpods.icns") for a model that has none of its own.
  std::string_view iconFile;
  // The model's name under the freedesktop icon naming specification: the
  // standard name of its kind ("phone", "computer", "multimedia-player",
  // "pda", "audio-headphones", "audio-speakers", "video-display"), extended
  // by the names icon themes give Apple's devices where there is one
  // ("phone-apple-iphone"). As icon themes look names up, dropping the last
  // dash-separated part gives the next, more generic, name.
  std::string_view desktopIconName;

  friend bool operator==(const DeviceModel&, const DeviceModel&) = default;
};

class DeviceCatalog {
 public:
  DeviceCatalog() = delete;

  // The model with exactly this identifier: case and every byte count, so
  // "iphone5,2", " iPhone5,2" and "iPhone5,2\n" are absent, as is anything
  // the table does not hold (empty, overlong, not UTF-8). Any thread.
  [[nodiscard]] static std::optional<DeviceModel> model(std::string_view identifier);

  // Every model, grouped by product line, each line from its first model to
  // its newest.
  [[nodiscard]] static std::span<const DeviceModel> models();

  // The names to look for in an icon theme, best first: the model's desktop
  // icon name and each shorter one the naming rule gives, each followed by
  // its "-symbolic" form ("phone-apple-iphone", "phone-apple-iphone-symbolic",
  // "phone-apple", ..., "phone-symbolic").
  [[nodiscard]] static std::vector<std::string> desktopIconNames(const DeviceModel& model);

  // The icon file of the first of desktopIconNames(model) that the theme has;
  // absent when it has none.
  [[nodiscard]] static std::optional<std::string> desktopIconFile(const DeviceModel& model,
                                                                  const IconThemeFolders& theme);
  // The same in the current user's icon theme (on Linux, the freedesktop
  // themes of the XDG data folders, read once per process).
  [[nodiscard]] static std::optional<std::string> desktopIconFile(const DeviceModel& model);
};

}  // namespace Plinth
