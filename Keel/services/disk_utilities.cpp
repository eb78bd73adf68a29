// Rate texts with fixed thresholds and formats, and ICU decimal texts.
#include "Keel/services/disk_utilities.h"

#include <unicode/numberformatter.h>

#include <algorithm>
#include <cmath>

#include "Keel/core/fatal_error.h"
#include "Keel/core/icu_support.h"
#include "Keel/core/locale_settings.h"
#include "Keel/core/number_formatting.h"

namespace Keel {
namespace {

constexpr std::uint64_t kibi = 1024;
constexpr std::uint64_t mebi = kibi * 1024;
constexpr std::uint64_t gibi = mebi * 1024;

std::string with(std::uint64_t number, const char* unit) { return std::to_string(number) + unit; }
std::string with(double number, const char* unit) { return twoDecimals(number) + unit; }

std::uint64_t bitsOf(std::uint64_t bytesPerSecond) {
  if (bytesPerSecond >= (std::uint64_t{1} << 61)) fatalError("Arithmetic overflow: the bit rate exceeds 64 bits.");
  return bytesPerSecond * 8;
}

}  // namespace

std::string DiskUtilities::fileSizeText(std::int64_t bytes) {
  return bytes < 0 ? "-" : detail::byteCountText(bytes, detail::ByteCountStyle::file);
}

std::string DiskUtilities::memorySizeText(std::int64_t bytes) {
  return bytes < 0 ? "-" : detail::byteCountText(bytes, detail::ByteCountStyle::memory);
}

std::uint64_t DiskUtilities::rate(std::uint64_t bytes, double seconds) {
  const double value = (1 / seconds) * static_cast<double>(bytes);
  if (!std::isfinite(value)) fatalError("The rate cannot be converted to an integer: it is infinite or NaN.");
  if (value <= -1 || value >= 18446744073709551616.0) {
    fatalError("The rate cannot be converted to an unsigned 64-bit integer: it is out of range.");
  }
  return static_cast<std::uint64_t>(value);
}

std::string DiskUtilities::speedText(std::uint64_t bytesPerSecond, bool bits) {
  if (bits) {
    const std::uint64_t b = bitsOf(bytesPerSecond);
    if (b <= 999) return with(b, " b/s");
    if (b <= 999'999) return with(b / 1000, " Kb/s");
    if (b <= 999'999'999) return with(static_cast<double>(b) / 1e6, " Mb/s");
    if (b <= 999'999'999'999) return with(static_cast<double>(b) / 1e9, " Gb/s");
    return "0 b/s";
  }
  const std::uint64_t r = bytesPerSecond;
  if (r <= 1023) return with(r, " B/s");
  if (r < mebi) return with(r >> 10, " KB/s");
  if (r < gibi) return with(static_cast<double>(r) / static_cast<double>(mebi), " MB/s");
  return with(static_cast<double>(r) / static_cast<double>(gibi), " GB/s");
}

std::string DiskUtilities::speedText(std::uint64_t bytes, double seconds, bool bits) {
  if (seconds <= 0) return "-";
  return speedText(rate(bytes, seconds), bits);
}

std::string DiskUtilities::compactSpeedText(std::uint64_t bytesPerSecond, bool bits) {
  if (bits) {
    const std::uint64_t b = bitsOf(bytesPerSecond);
    if (b <= 999) return with(b, " b/s");
    if (b <= 999'999) return with(b / 1000, " Kb/s");
    if (b <= 999'999'999) return with(b / 1'000'000, " Mb/s");
    return with(b / 1'000'000'000, " Gb/s");
  }
  const std::uint64_t r = bytesPerSecond;
  if (r <= 1023) return with(r, " B/s");
  if (r < mebi) return with(r / kibi, " KB/s");
  if (r < gibi) return with(r / mebi, " MB/s");
  return with(static_cast<double>(r) / static_cast<double>(gibi), " GB/s");
}

std::string DiskUtilities::compactSpeedText(std::uint64_t bytes, double seconds, bool bits) {
  return compactSpeedText(rate(bytes, seconds), bits);
}

std::string DecimalFormatter::format(std::variant<std::int64_t, std::uint64_t, double> number,
                                     int maximumFractionDigits) {
  // A formatter per call, as the contract asks: ICU formatters are not
  // thread-safe, and the locale is the process's current one.
  const icu::Locale locale(LocaleSettings::current().localeIdentifier.c_str());
  const auto formatter = icu::number::NumberFormatter::withLocale(locale)
                             .grouping(UNUM_GROUPING_OFF)
                             .roundingMode(UNUM_ROUND_HALFEVEN)
                             .precision(icu::number::Precision::maxFraction(std::clamp(maximumFractionDigits, 0, 999)));
  UErrorCode status = U_ZERO_ERROR;
  icu::number::FormattedNumber formatted = std::visit(
      [&](auto n) {
        using N = decltype(n);
        if constexpr (std::is_same_v<N, std::uint64_t>) {
          // ICU takes unsigned 64-bit values through their decimal text.
          const std::string digits = std::to_string(n);
          return formatter.formatDecimal(icu::StringPiece(digits.c_str()), status);
        } else if constexpr (std::is_same_v<N, std::int64_t>) {
          return formatter.formatInt(n, status);
        } else {
          return formatter.formatDouble(n, status);
        }
      },
      number);
  const icu::UnicodeString text = formatted.toString(status);
  if (U_FAILURE(status) || text.isEmpty()) fatalError("The number formatter gave no text.");
  return icu_support::toUtf8(text);
}

}  // namespace Keel
