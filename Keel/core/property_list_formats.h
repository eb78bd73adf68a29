// The two property-list formats' readers behind PropertyList::read.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <utility>

#include "Keel/core/property_list_reader.h"

namespace Keel::PropertyList::detail {

// A list starting with "bplist". Only the "bplist00" layout is read.
[[nodiscard]] ReadResult readBinary(std::span<const std::uint8_t> bytes);
// Anything else, as an XML document.
[[nodiscard]] ReadResult readXML(std::span<const std::uint8_t> bytes);

inline ReadResult corrupted(std::string reason) { return failure(std::move(reason)); }

}  // namespace Keel::PropertyList::detail
