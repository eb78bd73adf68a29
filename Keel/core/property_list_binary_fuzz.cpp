// Reads arbitrary bytes as a binary property list ("bplist00" is put in front
// of inputs that lack the magic, so that every input reaches the binary
// reader): no input may crash, hang or exhaust memory, and every tree read
// must be one the formats allow (see property_list_tree_check.h).
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "Keel/core/property_list_tree_check.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size >= 6 && std::memcmp(data, "bplist", 6) == 0) {
    Keel::PropertyListFuzzing::checkResult(Keel::PropertyList::read(std::span(data, size)));
    return 0;
  }
  std::vector<std::uint8_t> bytes = {'b', 'p', 'l', 'i', 's', 't', '0', '0'};
  bytes.insert(bytes.end(), data, data + size);
  Keel::PropertyListFuzzing::checkResult(Keel::PropertyList::read(bytes));
  return 0;
}
