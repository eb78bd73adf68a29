// The prompt's text: the key's text in the user's language from Plinth's
// resource bundle.
#include "Plinth/desktop/resource_bundle.h"
#include "Plinth/permissions/folder_access.h"

namespace Plinth {

std::string promptLocalizer(std::string_view key) { return localizedString(key); }

}  // namespace Plinth
