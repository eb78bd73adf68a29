// The name the user knows the running application by, for window titles, a
// status item's title and tooltip: never the executable's file name, which
// is an implementation detail (VantorLauncher, vantor-ui-demo).
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "Keel/core/bundle.h"

namespace Plinth {

// The first that is set and not blank: the bundle's CFBundleDisplayName,
// its CFBundleName, then the Name of the desktop entry at `desktopEntry`
// (localised by the environment's language). Nothing otherwise.
[[nodiscard]] std::optional<std::string> applicationDisplayName(const std::optional<Keel::Bundle>& bundle,
                                                                const std::optional<std::filesystem::path>& desktopEntry);

// The same for this process: its main bundle, and the desktop entry it was
// launched from (GIO_LAUNCHED_DESKTOP_FILE, set by GLib-based launchers) or
// else the one named after its bundle identifier in the data folders.
[[nodiscard]] std::optional<std::string> applicationDisplayName();

}  // namespace Plinth
