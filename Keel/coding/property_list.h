// Reading property lists (XML or binary) for the values the libraries need
// from bundles' Info.plist files.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace Keel::PropertyList {

// The text stored under `key` at the top level of a property list whose root
// is a dictionary. Nothing when the bytes are not a property list, the root is
// not a dictionary, the key is missing or its value is not text.
[[nodiscard]] std::optional<std::string> topLevelString(std::span<const std::uint8_t> bytes,
                                                        std::string_view key);

}  // namespace Keel::PropertyList
