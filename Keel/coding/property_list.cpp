#include "Keel/coding/property_list.h"

#include <plist/plist.h>

#include <climits>
#include <cstdlib>
#include <memory>

namespace Keel::PropertyList {
namespace {

struct PlistFree {
  void operator()(plist_t node) const { plist_free(node); }
};
using PlistPtr = std::unique_ptr<void, PlistFree>;

PlistPtr parse(std::span<const std::uint8_t> bytes) {
  if (bytes.empty() || bytes.size() > UINT32_MAX) return nullptr;
  plist_t root = nullptr;
  plist_from_memory(reinterpret_cast<const char*>(bytes.data()), static_cast<uint32_t>(bytes.size()), &root);
  return PlistPtr(root);
}

}  // namespace

std::optional<std::string> topLevelString(std::span<const std::uint8_t> bytes, std::string_view key) {
  const PlistPtr root = parse(bytes);
  if (!root || plist_get_node_type(root.get()) != PLIST_DICT) return std::nullopt;
  const std::string k(key);
  plist_t item = plist_dict_get_item(root.get(), k.c_str());
  if (item == nullptr || plist_get_node_type(item) != PLIST_STRING) return std::nullopt;
  char* value = nullptr;
  plist_get_string_val(item, &value);
  if (value == nullptr) return std::nullopt;
  std::string result(value);
  std::free(value);
  return result;
}

}  // namespace Keel::PropertyList
