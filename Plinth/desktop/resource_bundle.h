// Plinth's own resource bundle, "Plinth_Plinth": the localized texts of its
// user interface (button titles and the like).
#pragma once

#include <string>
#include <string_view>

#include "Keel/core/resource_bundle.h"

namespace Plinth {

// The bundle, found on first use beside the program or the library and kept;
// a missing bundle stops the process with "unable to find bundle named
// Plinth_Plinth".
[[nodiscard]] const Keel::ResourceBundle& resourceBundle();

// The text of `key` in the user's language ("NO", "YES", "ALLOW", ...); the
// key itself when the bundle has no translation for it. Safe from any thread.
[[nodiscard]] std::string localizedString(std::string_view key);

}  // namespace Plinth
