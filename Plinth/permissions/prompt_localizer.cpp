// The prompt's text until Plinth's resource bundle serves it.
#include "Plinth/permissions/folder_access.h"

namespace Plinth {

std::string promptLocalizer(std::string_view key) { return std::string(key); }

}  // namespace Plinth
