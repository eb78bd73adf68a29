// Short display texts for byte counts and transfer rates, and locale-formatted
// decimal numbers.
#pragma once

#include <cstdint>
#include <string>
#include <type_traits>
#include <variant>

namespace Keel {

// Stateless texts. Rates in bits use decimal multiples (1000) and a lower-case
// b; rates in bytes binary multiples (1024) and an upper-case B; numbers are
// plain printf-style conversions with a point as decimal separator whatever
// the locale.
class DiskUtilities {
 public:
  DiskUtilities() = delete;

  // "-" for a negative count; otherwise the desktop's size text in decimal
  // multiples (GLib's: "1 byte", "999 bytes", "1.0 kB", "1.5 MB", with a
  // no-break space before a multiple's unit).
  [[nodiscard]] static std::string fileSizeText(std::int64_t bytes);
  // As fileSizeText in binary multiples ("1023 bytes", "1.0 KiB", "1.0 TiB").
  [[nodiscard]] static std::string memorySizeText(std::int64_t bytes);

  // The precise text of a rate: "999 b/s", "1 Kb/s", "1.50 Mb/s", "2.00 Gb/s",
  // and "0 b/s" from a terabit per second on (that cap is deliberate); in
  // bytes "1023 B/s", "1 KB/s", "1.00 MB/s", "1.00 GB/s" with no cap. A bit
  // rate of 2^61 bytes per second or more overflows: a fatal error.
  [[nodiscard]] static std::string speedText(std::uint64_t bytesPerSecond, bool bits);
  // "-" when `seconds` is 0 or less; otherwise the precise text of
  // bytes / seconds (see rate()).
  [[nodiscard]] static std::string speedText(std::uint64_t bytes, double seconds, bool bits);

  // The compact text of a rate: whole numbers ("12 Mb/s", "3 Gb/s", no cap
  // for bits) except gigabytes ("1.50 GB/s"). Fatal errors as speedText.
  [[nodiscard]] static std::string compactSpeedText(std::uint64_t bytesPerSecond, bool bits);
  // The compact text of bytes / seconds, with no guard: seconds of 0 is a
  // fatal error (see rate()).
  [[nodiscard]] static std::string compactSpeedText(std::uint64_t bytes, double seconds, bool bits);

  // (1 / seconds) × bytes, truncated to an integer. A result that is not
  // finite, is -1 or less, or is 2^64 or more is a fatal error.
  [[nodiscard]] static std::uint64_t rate(std::uint64_t bytes, double seconds);
};

// Numbers as text in the current locale with at most a given number of
// fraction digits, rounding half to even, without grouping.
class DecimalFormatter {
 public:
  DecimalFormatter() = delete;

  // `number` with at most `maximumFractionDigits` (clamped to 0...999)
  // fraction digits: 2.345 with 2 gives "2.34" in en_US and "2,34" in de_DE;
  // 7 with 2 gives "7". Stops the process when ICU gives no text.
  template <typename T>
  requires(std::is_arithmetic_v<T> && !std::is_same_v<T, bool>) [[nodiscard]] static std::string
      text(T number, int maximumFractionDigits) {
    if constexpr (std::is_floating_point_v<T>) {
      return format(static_cast<double>(number), maximumFractionDigits);
    } else if constexpr (std::is_signed_v<T>) {
      return format(static_cast<std::int64_t>(number), maximumFractionDigits);
    } else {
      return format(static_cast<std::uint64_t>(number), maximumFractionDigits);
    }
  }

 private:
  [[nodiscard]] static std::string format(std::variant<std::int64_t, std::uint64_t, double> number,
                                          int maximumFractionDigits);
};

namespace detail {
enum class ByteCountStyle { file, memory };
// The platform's text for a non-negative byte count.
[[nodiscard]] std::string byteCountText(std::int64_t bytes, ByteCountStyle style);
}  // namespace detail

}  // namespace Keel
