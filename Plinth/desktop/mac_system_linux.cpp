// The firmware's serial-number files.
#include "Plinth/desktop/mac_system_linux.h"

#include <system_error>

#include "Keel/core/file_contents.h"

namespace Plinth {

FirmwareSerialNumberSource::FirmwareSerialNumberSource() : roots_(Roots{}) {}

SerialNumberLookup FirmwareSerialNumberSource::lookUp() const {
  const std::filesystem::path candidates[] = {
      roots_.sysRoot / "class/dmi/id/product_serial",
      roots_.procRoot / "device-tree/serial-number",
      roots_.sysRoot / "firmware/devicetree/base/serial-number",
  };
  for (const auto& path : candidates) {
    std::error_code error;
    // A path that cannot even be looked at (a folder on the way not
    // searchable) may well be there: unusable rather than missing.
    if (!std::filesystem::exists(path, error) && !error) continue;
    if (error) return {SerialNumberLookup::Kind::unusable, {}};
    const auto bytes = Keel::readRegularFile(path, maxFileBytes);
    if (!bytes) return {SerialNumberLookup::Kind::unusable, {}};
    auto serial = firmwareSerialNumber(std::string_view(reinterpret_cast<const char*>(bytes->data()), bytes->size()));
    if (!serial) return {SerialNumberLookup::Kind::unusable, {}};
    return {SerialNumberLookup::Kind::text, std::move(*serial)};
  }
  return {SerialNumberLookup::Kind::noService, {}};
}

const SerialNumberSource& SerialNumberSource::system() {
  static const FirmwareSerialNumberSource source;
  return source;
}

}  // namespace Plinth
