// A main application's launcher as a login item: the user's XDG autostart
// entry for the launcher inside the application's bundle, written, removed
// and reported the way desktop sessions read it (see autostart.h).
//   <bundle>/Contents/Library/LoginItems/VantorLauncher.app/Contents/MacOS/VantorLauncher
//   $XDG_CONFIG_HOME/autostart/<CFBundleIdentifier>.launcher.desktop
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Keel/core/result.h"
#include "VantorLauncher/login_item/autostart.h"

namespace Vantor {

// Where autostart entries live and what the session is like.
struct LoginItemEnvironment {
  std::filesystem::path configHome;               // the user's configuration folder
  std::vector<std::filesystem::path> configDirs;  // system configuration folders, most important first
  AutostartSession session;

  // From environment variables (`variable` gives a value, or nothing when
  // unset): $XDG_CONFIG_HOME, else $HOME/.config; $XDG_CONFIG_DIRS
  // (colon-separated), else /etc/xdg; $XDG_CURRENT_DESKTOP (colon-separated);
  // TryExec programs looked up in $PATH. Relative paths are ignored, as the
  // base-directory rules require. Fails when neither $XDG_CONFIG_HOME nor
  // $HOME is an absolute path.
  [[nodiscard]] static Keel::Result<LoginItemEnvironment> fromVariables(
      const std::function<std::optional<std::string>(const std::string&)>& variable);
};

// Whether `program` is an executable file: at that path when it holds a "/",
// else in one of `searchPath`'s colon-separated folders.
[[nodiscard]] bool programInPath(const std::string& program, std::string_view searchPath);

// One main application bundle's login item.
struct LoginItem {
  std::filesystem::path bundle;    // absolute
  std::string identifier;          // the bundle's CFBundleIdentifier
  std::filesystem::path launcher;  // the launcher executable inside the bundle
  std::string name;                // "<bundle name> Launcher"

  // The item of the bundle folder at `bundle` (made absolute). Fails when it
  // is no folder or its Info.plist has no CFBundleIdentifier fit for a file
  // name. The launcher need not exist.
  [[nodiscard]] static Keel::Result<LoginItem> forBundle(const std::filesystem::path& bundle);

  // "<identifier>.launcher.desktop".
  [[nodiscard]] std::string fileName() const { return identifier + ".launcher.desktop"; }
};

// The autostart entry that starts `item`'s launcher, with Hidden=true when
// `hidden` (which disables a system entry of the same name). Fails when the
// launcher's path or the name are not UTF-8 or hold control characters,
// which desktop entries cannot carry.
[[nodiscard]] Keel::Result<std::string> loginItemEntry(const LoginItem& item, bool hidden);

// Writes a file atomically, or says why it could not.
using FileWriter = std::function<Keel::Result<void>(const std::filesystem::path&, std::string_view)>;

// The real FileWriter: replaces `path` (mode 0644) through a hidden temporary
// file beside it, so that a reader listing the folder never takes the
// temporary for an entry, and readers see the old or the new file whole
// even if the machine stops half-way. The folder must exist. Never throws.
[[nodiscard]] Keel::Result<void> writeFileAtomically(const std::filesystem::path& path, std::string_view contents);

// Each returns the lines to print on success, or the reason for failing.
// enable: writes the user's entry (the launcher must be an executable file),
// with a note when the launcher's path holds "%", which GLib-based sessions
// cannot start.
[[nodiscard]] Keel::Result<std::string> enableLoginItem(const LoginItem& item, const LoginItemEnvironment& environment,
                                                        const FileWriter& write);
// disable: when a system entry exists, writes a user entry with Hidden=true
// to override it; otherwise removes the user's entry, if any.
[[nodiscard]] Keel::Result<std::string> disableLoginItem(const LoginItem& item, const LoginItemEnvironment& environment,
                                                         const FileWriter& write);
// install: copies the launcher executable at `launcher` into the bundle at
// `item.launcher` (through a new file renamed into place, so that a launcher
// running from the old copy keeps its file), gives the launcher's own bundle
// an Info.plist when it has none, then enables the item as `enableLoginItem`
// does. Fails, leaving the entries as they were, when `launcher` is no
// executable file or the bundle cannot be written.
[[nodiscard]] Keel::Result<std::string> installLoginItem(const LoginItem& item, const std::filesystem::path& launcher,
                                                         const LoginItemEnvironment& environment,
                                                         const FileWriter& write);

// Whether the session starts the item's launcher, and why.
struct LoginItemStatus {
  AutostartState state;
  // The program the entry in effect starts when it is enabled but starts
  // another launcher than this bundle's (a moved or copied bundle's).
  std::optional<std::string> otherProgram;

  // "enabled ..." or "disabled ..." naming the entry in effect and why, and
  // a note line for `otherProgram`.
  [[nodiscard]] std::string report(const LoginItem& item) const;
  // The same as one JSON object: enabled, entry (null when none), userEntry,
  // overriddenSystemEntry (null when none), program (null when none),
  // launcher, explanation.
  [[nodiscard]] std::string json(const LoginItem& item) const;
};
[[nodiscard]] Keel::Result<LoginItemStatus> loginItemStatus(const LoginItem& item,
                                                            const LoginItemEnvironment& environment);

}  // namespace Vantor
