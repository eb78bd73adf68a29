// The kind of a path, which decides how an entry's size is taken.
#pragma once

#include <cstdint>

namespace Plinth {

enum class PathType : std::uint8_t { invalid, file, directory };

}  // namespace Plinth
