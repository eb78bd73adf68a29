// Facts about the Mac the process runs on: its serial number, the place it
// was made (decoded from the serial number) and its model family's name.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Plinth {

// What the firmware says about the machine's serial number, in the shape of
// a registry look-up: a service that carries serial numbers was found or not,
// and its serial-number property is missing, unusable or a text.
struct SerialNumberLookup {
  enum class Kind {
    noService,   // nothing on this machine carries a serial number
    noProperty,  // the service has no serial-number property at all
    unusable,    // there is one, but not as a readable text
    text,        // `text` holds it, untrimmed
  };
  Kind kind = Kind::noService;
  std::string text;
};

// Where serial numbers come from. On Linux, FirmwareSerialNumberSource
// (mac_system_linux.h) reads the firmware's files; tests give fakes.
class SerialNumberSource {
 public:
  virtual ~SerialNumberSource() = default;
  // Asked afresh on every call; never cached.
  [[nodiscard]] virtual SerialNumberLookup lookUp() const = 0;
  // The platform's source for the running machine. Any thread.
  [[nodiscard]] static const SerialNumberSource& system();
};

class MacSystem {
 public:
  MacSystem() = delete;

  // The registry port that look-ups go through: the platform's default port,
  // which is the null port (0) on every system version. Linux has no such
  // registry; the value is there for code that passes it along.
  [[nodiscard]] static constexpr std::uint32_t mainPort() { return 0; }

  // The machine's serial number with white space and line ends trimmed from
  // both ends (which may leave it empty). Absent when the source finds no
  // service or only an unusable value. A service without the property stops
  // the process: only a source that can be sure of that (a registry, never
  // the Linux files) reports it. On Linux, see FirmwareSerialNumberSource:
  // the firmware's serial is readable only by root on most PCs, so it is
  // absent for everyone else.
  [[nodiscard]] static std::optional<std::string> serialNumber();
  [[nodiscard]] static std::optional<std::string> serialNumber(const SerialNumberSource& source);

  // Where the machine was made, from the leading characters of its serial
  // number; absent when there is no serial number or no known prefix.
  [[nodiscard]] static std::optional<std::string> factoryLocation();
  [[nodiscard]] static std::optional<std::string> factoryLocation(const SerialNumberSource& source);
  [[nodiscard]] static std::optional<std::string> factoryLocation(std::string_view serialNumber);

  // The model family's name ("MacBook Pro") for the machine's model
  // identifier (Keel::System::model(), such as "MacBookPro16,1"); empty when
  // the identifier names no known family, as on machines other than Macs.
  // The prefix test is case-sensitive.
  [[nodiscard]] static std::string modelName();
  [[nodiscard]] static std::string modelName(std::string_view modelIdentifier);
};

// `text` without Unicode white space and line ends at either end (U+0009 to
// U+000D, U+0020, U+0085, U+00A0, U+1680, U+2000 to U+200A, U+2028, U+2029,
// U+202F, U+205F, U+3000). `text` must be valid UTF-8.
[[nodiscard]] std::string trimmingWhitespace(std::string_view text);

// The serial number in the contents of a firmware file (DMI's product_serial
// or a device tree's serial-number): the text without the device tree's
// terminating NULs. Absent when it holds another NUL or is not UTF-8, and
// when it is a placeholder the firmware was shipped with: empty or blank;
// "To Be Filled By O.E.M.", "Default string", "System Serial Number",
// "Chassis Serial Number", "Not Specified", "Not Applicable", "Not Available",
// "None", "N/A", "NA", "Unknown", "Default", "OEM", "O.E.M.", "Serial",
// "123456789", "1234567890", "0123456789" (ignoring case and surrounding
// blanks); or made of one repeated character among 0, X and F (either case),
// ignoring blanks, dashes, dots and colons ("0", "00000000", "XXXX-XXXX",
// "FF:FF:FF:FF").
[[nodiscard]] std::optional<std::string> firmwareSerialNumber(std::string_view contents);

}  // namespace Plinth
