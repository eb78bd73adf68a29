// Calendar and duration helpers.
#pragma once

#include <cstdint>
#include <string>

namespace Keel {

class DateUtilities {
 public:
  DateUtilities() = delete;

  // Seconds as "days:hours:minutes:seconds" with printf paddings. The hours
  // field counts all hours (not reduced modulo 24), and fields below the
  // largest unit keep their sign: 3725 gives "00: 1: 1:05", 90061 gives
  // " 1:25:01:01", -75 gives "00:00:-1:-15".
  [[nodiscard]] static std::string durationString(std::int64_t seconds);
};

}  // namespace Keel
