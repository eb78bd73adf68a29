// The domain a user-defaults file holds, read independently of the store
// that wrote it. Header only, like file_text.h.
#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

#include "Keel/core/property_list_reader.h"
#include "testing/file_text.h"

namespace Vantor::Testing {

// The dictionary at the top of the property list in `path`, or nothing when
// the file is missing, does not parse or holds something else.
inline std::optional<Keel::TextDictionary> fileDomain(const std::filesystem::path& path) {
  auto read = Keel::PropertyList::read(std::string_view(fileText(path)));
  if (!read) return std::nullopt;
  if (const auto* domain = read->getIf<Keel::TextDictionary>()) return *domain;
  return std::nullopt;
}

}  // namespace Vantor::Testing
