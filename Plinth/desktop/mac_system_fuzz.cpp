// Firmware serial-number files and the decoding after them, on arbitrary
// bytes: never a crash, and whatever is accepted is valid UTF-8 whose trimmed
// form trims to itself.
#include "Plinth/desktop/mac_system.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Keel/core/utf8.h"

namespace {

struct FileSource final : Plinth::SerialNumberSource {
  std::string contents;
  Plinth::SerialNumberLookup lookUp() const override {
    auto serial = Plinth::firmwareSerialNumber(contents);
    if (!serial) return {Plinth::SerialNumberLookup::Kind::unusable, {}};
    return {Plinth::SerialNumberLookup::Kind::text, *serial};
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FileSource source;
  source.contents.assign(reinterpret_cast<const char*>(data), size);
  const auto serial = Plinth::MacSystem::serialNumber(source);
  if (serial) {
    if (!Keel::isValidUtf8(*serial) || Plinth::trimmingWhitespace(*serial) != *serial) std::abort();
    (void)Plinth::MacSystem::factoryLocation(std::string_view(*serial));
  }
  (void)Plinth::MacSystem::modelName(source.contents);
  return 0;
}
