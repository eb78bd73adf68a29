// Replacing a file so that readers see either the old or the new contents,
// never a part, even if the machine stops half-way.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace Vantor::Tools {

// Writes `contents` to a temporary file beside `path` (mode 0644), flushes it
// to disk, renames it over `path` and flushes the folder. The folder must
// exist. Returns nothing on success, else the reason; the temporary file
// never remains. Never throws.
[[nodiscard]] std::optional<std::string> writeFileAtomically(const std::filesystem::path& path,
                                                             std::string_view contents);

}  // namespace Vantor::Tools
