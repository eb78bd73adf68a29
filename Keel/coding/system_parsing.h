// Pure parsers and formatters behind the machine facts: each takes the text of
// one kernel or distribution file (or a raw field) and never touches the disk,
// so every rule is testable from strings.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Keel::SystemParsing {

// A firmware-provided name (DMI product name, device-tree model) with
// surrounding blanks and terminating zero bytes removed; nothing when what
// remains is empty or a vendor placeholder such as "To Be Filled By O.E.M.",
// "Default string" or a run of zeros (compared without regard to case).
[[nodiscard]] std::optional<std::string> firmwareText(std::string_view raw);

// The processor's brand from /proc/cpuinfo. Architectures name it under
// different keys, so the first present, non-empty one of these wins, in this
// order: "model name" (x86, some ARM), "Processor" (32-bit ARM), "cpu model"
// (MIPS), "uarch" (RISC-V), "cpu" (POWER), "Hardware" (the SoC, ARM). Empty
// when none is present (modern arm64 kernels list only numeric part codes).
[[nodiscard]] std::string processorName(std::string_view cpuinfo);

// MemTotal of /proc/meminfo in bytes; nothing when the line is missing,
// malformed, not in kB, or would overflow.
[[nodiscard]] std::optional<std::uint64_t> memTotalBytes(std::string_view meminfo);

// The first field of /proc/uptime (seconds since boot, such as "652.64");
// nothing unless it is plain decimal digits with an optional fraction.
[[nodiscard]] std::optional<double> uptimeSeconds(std::string_view procUptime);

// The uptime truncated toward zero to whole seconds, as the library's
// duration text. Stops the process through fatalError when `seconds` is not
// finite or does not fit a signed 64-bit integer.
[[nodiscard]] std::string uptimeText(double seconds);

// The assignments of an os-release file: KEY=value lines, values unquoted or
// in single or double quotes (backslash escapes \" \\ \$ \` inside double
// quotes). Comments, blank lines and malformed lines are skipped; a later
// assignment replaces an earlier one.
[[nodiscard]] std::map<std::string, std::string> osRelease(std::string_view text);

// "Version <distribution> (Build <kernel>)", for example
// "Version 12 (Build 6.1.0-18-amd64)". A missing part is left out with its
// separator ("Version 12", "Version (Build 6.1.0)"); empty when both are.
[[nodiscard]] std::string operatingSystemVersionText(std::string_view distributionVersion,
                                                     std::string_view kernelRelease);

// `text` with every occurrence of `from` replaced by `to`, literally and
// case-sensitively; nothing else changes (no trimming).
[[nodiscard]] std::string replacingAll(std::string_view text, std::string_view from, std::string_view to);

// A fixed-size uname field: trailing zero bytes dropped, the rest decoded as
// ISO 8859-1 into UTF-8 (always succeeds; a field filled to its end without a
// terminator is taken whole).
[[nodiscard]] std::string decodeUnameField(std::span<const unsigned char> field);

// The processor numbers of a kernel CPU list such as "0-3,8,10-11" (the
// format of /sys/devices/system/cpu/online), ascending. Blank text is the
// empty list. Nothing when malformed or when it names more than 65536
// processors (no real machine has more; it bounds the work on bad input).
[[nodiscard]] std::optional<std::vector<unsigned>> cpuList(std::string_view text);

// A signed decimal integer with optional surrounding blanks, as sysfs writes
// temperatures and ids; nothing otherwise.
[[nodiscard]] std::optional<std::int64_t> sysfsInteger(std::string_view text);

// One trip point of a thermal zone: its kind ("active", "passive", "hot",
// "critical") and the temperature at which it is reached.
struct ThermalTrip {
  std::string type;
  std::int64_t milliCelsius = 0;
};

// One thermal zone as sysfs describes it.
struct ThermalZone {
  bool enabled = true;                       // "mode" is not "disabled"
  std::optional<std::int64_t> milliCelsius;  // current "temp"; nothing when unreadable
  std::vector<ThermalTrip> trips;
};

// The machine's thermal state, 0 nominal, 1 fair, 2 serious, 3 critical: the
// highest level among the trip points that enabled zones have reached (current
// temperature at or above the trip). Levels follow what each trip means to the
// kernel: "active" (fans step up) is fair, "passive" (the processor is
// throttled) is serious, "hot" and "critical" (shutdown is near) are critical.
// Trips at or below 0 °C are disabled placeholders and ignored, as are
// unknown kinds and zones without a reading. 0 when no zone says otherwise.
[[nodiscard]] int thermalState(std::span<const ThermalZone> zones);

}  // namespace Keel::SystemParsing
