// What vantor-inventory prints: the applications as an aligned table or as a
// JSON tree, and folder sizes, built from records so that tests can make them.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "Keel/core/any_value.h"
#include "Plinth/inventory/app.h"

namespace Vantor::Tools {

// A byte count in decimal units, as file viewers show sizes: "512 bytes",
// "1 byte", "1.5 KB", "23.4 MB", "1.2 GB" (one decimal from KB up).
[[nodiscard]] std::string humanSize(std::uint64_t bytes);

// Every field of the record under its own name: name, identifier, version,
// copyright, installed and lastOpened (ISO 8601 UTC texts), selected,
// baseUrl, icon (the icon's byte count and source path), the file entries
// (url, size, name, isSelected) or null, caches, containedApps (records of
// the same shape), and the sums selectedSize and cachesSize. Absent values
// are null. Sizes are bytes.
[[nodiscard]] Keel::AnyValue appTree(const Plinth::App& app);

// One row per application: NAME, IDENTIFIER, VERSION, SIZE (the bundle's,
// in human units), CONTAINED (the contained applications' names); "-" for
// what is absent. Columns are aligned by code points.
[[nodiscard]] std::string applicationsTable(const Plinth::AppList& apps);

// Path and size, one line each: "<human size>  <bytes> bytes  <path>".
[[nodiscard]] std::string sizesTable(const std::vector<std::pair<std::string, std::uint64_t>>& sizes);

}  // namespace Vantor::Tools
