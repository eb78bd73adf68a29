// Replacing a file so that readers see either the old or the new contents,
// never a part, even if the machine stops half-way.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string_view>

#include "Keel/core/descriptor_linux.h"

namespace Keel {

// Writes `bytes` to a new file named `temporaryPrefix` plus six random
// characters (in the folder of `path`, so that the rename cannot cross file
// systems), with permissions `mode`; flushes it to disk, renames it over
// `path` and flushes the folder, whose entry makes the rename durable. The
// folder must exist. Returns the new file, open for reading and writing, so
// that a caller may keep its inode from being reused; an invalid descriptor
// with errno set when the file could not be replaced, in which case `path` is
// untouched and the temporary file is gone.
[[nodiscard]] Descriptor replaceFileAtomically(const std::filesystem::path& path, std::string_view temporaryPrefix,
                                               mode_t mode, std::string_view bytes);

}  // namespace Keel
