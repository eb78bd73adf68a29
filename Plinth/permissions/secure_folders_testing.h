// The test seam of SecureFolders; not installed with the public headers.
#pragma once

#include "Plinth/permissions/folder_permissions.h"

namespace Plinth {

// Makes `replacement` the set SecureFolders uses until this is called again
// with null, which brings back the standard one. The caller keeps
// `replacement` alive meanwhile.
void setSharedSecureFoldersForTesting(SecureFolderSet* replacement);

}  // namespace Plinth
