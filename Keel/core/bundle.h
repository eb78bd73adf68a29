// Application bundles on disk, in the macOS shape:
//   Name.app/Contents/Info.plist
//   Name.app/Contents/MacOS/<CFBundleExecutable>
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace Keel {

// The largest Info.plist a bundle may have: they hold kilobytes, so a
// mebibyte is generous. A larger one is unreadable, and is never read.
inline constexpr std::size_t maximumInfoPlistBytes = std::size_t{1} << 20;

// A bundle folder and the facts read from its Info.plist. Reads the disk on
// every query (nothing is cached), so a bundle that changes is seen as it is.
class Bundle {
 public:
  explicit Bundle(std::filesystem::path bundlePath) : path_(std::move(bundlePath)) {}

  // The bundle of the running process: the Name.app folder that holds this
  // process's executable, or the executable's own folder when it lies in no
  // bundle. Nothing when the executable's path cannot be read.
  [[nodiscard]] static std::optional<Bundle> main();

  // The bundle folder that holds `executable` at Contents/MacOS/<file>, or
  // nothing when the path has no such shape. Pure: looks only at the text.
  [[nodiscard]] static std::optional<std::filesystem::path> bundlePathForExecutable(
      const std::filesystem::path& executable);

  [[nodiscard]] const std::filesystem::path& bundlePath() const { return path_; }
  [[nodiscard]] std::filesystem::path infoPlistPath() const { return path_ / "Contents" / "Info.plist"; }

  // The text value under `key` in Contents/Info.plist (XML or binary), or
  // nothing when the file, the key or a text value is missing. The file is
  // read with readRegularFile's care: anything but a regular file of at most
  // maximumInfoPlistBytes counts as missing, so reading it never waits on a
  // FIFO or device and never takes more than that much memory.
  [[nodiscard]] std::optional<std::string> infoString(std::string_view key) const;

  // "CFBundleIdentifier".
  [[nodiscard]] std::optional<std::string> bundleIdentifier() const { return infoString("CFBundleIdentifier"); }

  // Contents/MacOS/<CFBundleExecutable>; when the key is missing, the bundle's
  // name without its extension, as the executable is conventionally named.
  // Nothing when the name is not a plain file name (empty, ".", "..", or
  // holding a "/"), or when the path, with links resolved, leaves the
  // (resolved) Contents/MacOS folder: a bundle runs only what it carries there.
  [[nodiscard]] std::optional<std::filesystem::path> executablePath() const;

 private:
  std::filesystem::path path_;
};

}  // namespace Keel
