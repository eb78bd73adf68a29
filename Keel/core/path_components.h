// Splitting and joining file paths by component, as the launcher and the
// inventory reason about bundle paths.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Keel {

// The components of `path`: a leading "/" is a component of its own, then
// each name between separators. Repeated and trailing separators add nothing:
// "/a/b/c" gives "/", "a", "b", "c"; "a//b/" gives "a", "b"; "" gives none.
[[nodiscard]] std::vector<std::string> pathComponents(std::string_view path);

// The inverse: components joined by "/", a leading "/" component kept as the
// root. No components give the empty path.
[[nodiscard]] std::string pathWithComponents(const std::vector<std::string>& components);

}  // namespace Keel
