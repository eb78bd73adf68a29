// Property-list reading: the format is told by the first bytes, "bplist" for
// binary, anything else is taken for XML.
#include "Keel/core/property_list_reader.h"

#include <cstring>
#include <new>

#include "Keel/core/property_list_formats.h"

namespace Keel::PropertyList {

ReadResult read(std::span<const std::uint8_t> bytes) {
  if (bytes.empty()) return detail::corrupted("empty input");
  try {
    if (bytes.size() >= 6 && std::memcmp(bytes.data(), "bplist", 6) == 0) return detail::readBinary(bytes);
    return detail::readXML(bytes);
  } catch (const std::bad_alloc&) {
    return detail::corrupted("out of memory");
  }
}

ReadResult read(std::string_view bytes) {
  return read(std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
}

std::optional<std::string> topLevelString(std::span<const std::uint8_t> bytes, std::string_view key) {
  ReadResult tree = read(bytes);
  if (!tree) return std::nullopt;
  auto* dictionary = tree->getIf<TextDictionary>();
  if (dictionary == nullptr) return std::nullopt;
  AnyValue* value = dictionary->find(key);
  if (value == nullptr) return std::nullopt;
  if (auto* text = value->getIf<Text>()) return text->str();
  return std::nullopt;
}

}  // namespace Keel::PropertyList
