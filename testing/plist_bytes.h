// The bytes libplist writes for a tree, so that tests read documents made by
// another writer than the code under test. Header only, like temp_dir.h.
#pragma once

#include <plist/plist.h>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace Vantor::Testing {

// Serializes `root` in the binary or the XML format and frees it.
inline std::string plistBytes(plist_t root, bool binary) {
  char* out = nullptr;
  std::uint32_t length = 0;
  if (binary) {
    plist_to_bin(root, &out, &length);
  } else {
    plist_to_xml(root, &out, &length);
  }
  plist_free(root);
  std::string bytes(out, length);
  std::free(out);
  return bytes;
}

}  // namespace Vantor::Testing
