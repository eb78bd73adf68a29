#include "Keel/core/date_utilities.h"

#include <cstdio>

namespace Keel {

std::string DateUtilities::durationString(std::int64_t seconds) {
  const std::int64_t days = seconds / 86400;
  const std::int64_t hours = seconds / 3600;
  const std::int64_t minutes = (seconds % 3600) / 60;
  const std::int64_t secs = seconds % 60;
  char text[96];
  if (seconds >= 86400 || seconds <= -86400) {
    std::snprintf(text, sizeof text, "%2lld:%2lld:%02lld:%02lld", static_cast<long long>(days),
                  static_cast<long long>(hours), static_cast<long long>(minutes), static_cast<long long>(secs));
  } else if (seconds >= 3600 || seconds <= -3600) {
    std::snprintf(text, sizeof text, "00:%2lld:%2lld:%02lld", static_cast<long long>(hours),
                  static_cast<long long>(minutes), static_cast<long long>(secs));
  } else if (seconds >= 60 || seconds <= -60) {
    std::snprintf(text, sizeof text, "00:00:%2lld:%02lld", static_cast<long long>(minutes),
                  static_cast<long long>(secs));
  } else if (seconds == 0) {
    return "00:00:00:00";
  } else {
    std::snprintf(text, sizeof text, "00:00:00:%02lld", static_cast<long long>(secs));
  }
  return text;
}

}  // namespace Keel
