// XML property-list date texts. A date is a double; its text is a calendar
// instant plus a decimal fraction. Going through binary floating point for the
// fraction (x - floor(x)) loses bits for small negative values, so both
// directions work on the decimal digits instead: the writer takes the shortest
// decimal that reads back as the double and the reader hands the decimal back
// to a correctly rounding parser, so the two meet exactly.
#include "Keel/core/property_list_date.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>

namespace Keel::PropertyList {
namespace {

constexpr std::int64_t secondsPerDay = 86400;
constexpr std::int64_t referenceSince1970 = 978307200;

// Days since 1970-01-01 of a proleptic Gregorian date (Howard Hinnant's
// algorithm).
constexpr std::int64_t daysFromCivil(std::int64_t y, unsigned m, unsigned d) {
  y -= m <= 2 ? 1 : 0;
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const auto yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

void civilFromDays(std::int64_t z, std::int64_t& y, unsigned& m, unsigned& d) {
  z += 719468;
  const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const auto doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  y = static_cast<std::int64_t>(yoe) + era * 400;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  d = doy - (153 * mp + 2) / 5 + 1;
  m = mp < 10 ? mp + 3 : mp - 9;
  if (m <= 2) ++y;
}

// Seconds since 2001 of the first instant of year 1 and of year 10000.
constexpr std::int64_t earliestSeconds = daysFromCivil(1, 1, 1) * secondsPerDay - referenceSince1970;
constexpr std::int64_t endSeconds = daysFromCivil(10000, 1, 1) * secondsPerDay - referenceSince1970;

bool leapYear(std::int64_t y) { return y % 4 == 0 && (y % 100 != 0 || y % 400 == 0); }

unsigned daysInMonth(std::int64_t y, unsigned m) {
  static constexpr unsigned days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return m == 2 && leapYear(y) ? 29 : days[m - 1];
}

// The value of the `n` decimal digits at `p`, or -1 when one is not a digit.
int digits(std::string_view text, std::size_t p, std::size_t n) {
  int v = 0;
  for (std::size_t i = p; i < p + n; ++i) {
    if (text[i] < '0' || text[i] > '9') return -1;
    v = v * 10 + (text[i] - '0');
  }
  return v;
}

// 10^k - f for the k-digit fraction f (not all zeros): the fraction that adds
// to f to make one. Turns "whole + .f" into "(whole + 1) - .(complement)" for
// negative values, whose decimal form counts down from zero.
std::string complement(std::string_view fraction) {
  std::string out(fraction);
  std::size_t last = out.find_last_not_of('0');
  out[last] = static_cast<char>('0' + 10 - (out[last] - '0'));
  for (std::size_t i = 0; i < last; ++i) out[i] = static_cast<char>('0' + 9 - (out[i] - '0'));
  return out;
}

}  // namespace

std::optional<double> parseDateText(std::string_view text) {
  // YYYY-MM-DDTHH:MM:SS is 19 characters, then an optional fraction, then Z.
  if (text.size() < 20 || text.back() != 'Z' || text[4] != '-' || text[7] != '-' || text[10] != 'T' ||
      text[13] != ':' || text[16] != ':') {
    return std::nullopt;
  }
  const int year = digits(text, 0, 4);
  const int month = digits(text, 5, 2);
  const int day = digits(text, 8, 2);
  const int hour = digits(text, 11, 2);
  const int minute = digits(text, 14, 2);
  const int second = digits(text, 17, 2);
  if (year < 1 || month < 1 || month > 12 || day < 1 || hour < 0 || hour > 23 || minute < 0 || minute > 59 ||
      second < 0 || second > 59) {
    return std::nullopt;
  }
  if (static_cast<unsigned>(day) > daysInMonth(year, static_cast<unsigned>(month))) return std::nullopt;

  std::string_view fraction = text.substr(19, text.size() - 20);
  if (!fraction.empty()) {
    if (fraction.size() < 2 || fraction[0] != '.') return std::nullopt;
    fraction.remove_prefix(1);
    if (fraction.find_first_not_of("0123456789") != std::string_view::npos) return std::nullopt;
  }
  const std::int64_t whole =
      daysFromCivil(year, static_cast<unsigned>(month), static_cast<unsigned>(day)) * secondsPerDay +
      std::int64_t{hour} * 3600 + std::int64_t{minute} * 60 + second - referenceSince1970;
  if (fraction.find_first_not_of('0') == std::string_view::npos) return static_cast<double>(whole);  // exact

  std::string decimal;
  decimal.reserve(fraction.size() + 24);
  if (whole >= 0) {
    decimal = std::to_string(whole);
    decimal += '.';
    decimal += fraction;
  } else {
    decimal = '-' + std::to_string(-whole - 1);
    decimal += '.';
    decimal += complement(fraction);
  }
  double value = 0;
  const auto r = std::from_chars(decimal.data(), decimal.data() + decimal.size(), value);
  if (r.ec != std::errc() || r.ptr != decimal.data() + decimal.size()) return std::nullopt;
  return value;
}

std::optional<std::string> dateText(double seconds) {
  if (!std::isfinite(seconds) || seconds < static_cast<double>(earliestSeconds) ||
      seconds >= static_cast<double>(endSeconds)) {
    return std::nullopt;
  }
  // The shortest fixed-point decimal that reads back as `seconds`: at most a
  // sign, 12 integer digits, a point, and 17 significant digits after up to
  // 324 zeros.
  char buffer[400];
  const auto r = std::to_chars(buffer, buffer + sizeof buffer, seconds, std::chars_format::fixed);
  if (r.ec != std::errc()) return std::nullopt;
  std::string_view decimal(buffer, static_cast<std::size_t>(r.ptr - buffer));
  const bool negative = decimal.front() == '-';
  if (negative) decimal.remove_prefix(1);
  const std::size_t point = decimal.find('.');
  const std::string_view integral = decimal.substr(0, point);
  std::string fraction(point == std::string_view::npos ? std::string_view() : decimal.substr(point + 1));
  if (fraction.find_first_not_of('0') == std::string::npos) fraction.clear();
  std::int64_t whole = 0;
  std::from_chars(integral.data(), integral.data() + integral.size(), whole);
  if (negative) {
    whole = -whole;
    if (!fraction.empty()) {
      whole -= 1;
      fraction = complement(fraction);
    }
  }

  const std::int64_t since1970 = whole + referenceSince1970;
  std::int64_t days = since1970 / secondsPerDay;
  std::int64_t rest = since1970 % secondsPerDay;
  if (rest < 0) {
    rest += secondsPerDay;
    --days;
  }
  std::int64_t year = 0;
  unsigned month = 0;
  unsigned day = 0;
  civilFromDays(days, year, month, day);
  char head[32];
  const int n =
      std::snprintf(head, sizeof head, "%04d-%02u-%02uT%02d:%02d:%02d", static_cast<int>(year), month, day,
                    static_cast<int>(rest / 3600), static_cast<int>(rest / 60 % 60), static_cast<int>(rest % 60));
  std::string out(head, static_cast<std::size_t>(n));
  if (!fraction.empty()) {
    out += '.';
    out += fraction;
  }
  out += 'Z';
  return out;
}

}  // namespace Keel::PropertyList
