// Reads arbitrary bytes as an XML property list (inputs with the binary magic
// are skipped): no input may crash, hang or exhaust memory, and every tree
// read must be one the formats allow (see property_list_tree_check.h).
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "Keel/core/property_list_tree_check.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size >= 6 && std::memcmp(data, "bplist", 6) == 0) return 0;
  Keel::PropertyListFuzzing::checkResult(Keel::PropertyList::read(std::span(data, size)));
  return 0;
}
