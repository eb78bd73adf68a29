// XDG autostart: whether a desktop session starts a program at login, decided
// from the user's and the system's entries of one file name.
//
// The user's entry ($XDG_CONFIG_HOME/autostart/NAME) replaces a system entry
// of the same name ($XDG_CONFIG_DIRS/autostart/NAME, the first folder that
// has one); the entry in effect is then started unless it is hidden, not
// meant for the current desktop, or names a program that is not installed.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "VantorLauncher/login_item/desktop_entry.h"

namespace Vantor {

// What a session is like, for the rules that depend on it.
struct AutostartSession {
  // $XDG_CURRENT_DESKTOP's names, such as {"ubuntu", "GNOME"}; empty when unset.
  std::vector<std::string> currentDesktops;
  // Whether a TryExec program (a path, or a name looked up in PATH) is installed.
  std::function<bool(const std::string& program)> programExists;
};

// Why the session would not start `entry`, or nothing when it would: a Type
// other than Application, Hidden=true, X-GNOME-Autostart-enabled=false, an
// OnlyShowIn that names none of the current desktops (none when
// $XDG_CURRENT_DESKTOP is unset), a NotShowIn that names one of them, no
// Exec, or a TryExec program that is not installed.
[[nodiscard]] std::optional<std::string> whyNotStarted(const DesktopEntry& entry, const AutostartSession& session);

// An autostart file as found on disk.
struct AutostartFile {
  std::filesystem::path path;
  std::string text;
};

struct AutostartState {
  bool enabled = false;
  // The file in effect, and whether it is the user's; nothing when neither
  // exists.
  std::optional<std::filesystem::path> entryInEffect;
  bool userEntryInEffect = false;
  // The system file the user's replaces, when both exist.
  std::optional<std::filesystem::path> overriddenSystemEntry;
  // The program the entry in effect starts (Exec's first argument), when it
  // has one.
  std::optional<std::string> program;
  // One line for people, such as "disabled by the user entry P (Hidden=true),
  // which overrides the system entry S".
  std::string explanation;
};

// The state that `user` and `system` (either may be absent) give in `session`.
// A user file that is not a valid desktop entry still replaces the system
// file, and starts nothing.
[[nodiscard]] AutostartState autostartState(const std::optional<AutostartFile>& user,
                                            const std::optional<AutostartFile>& system,
                                            const AutostartSession& session);

}  // namespace Vantor
