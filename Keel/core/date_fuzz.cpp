// Parses arbitrary bytes as a date and runs the boundary operations on the
// result: none may crash or stop the process, whatever the text.
#include "Keel/core/date.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Keel::LocaleSettings berlin{"de_DE", "Europe/Berlin", 2, 4};
  const Keel::Date fallback(0.0);
  const Keel::Date date(std::string_view(reinterpret_cast<const char*>(data), size), berlin,
                        [fallback] { return fallback; });
  (void)date.dayString(berlin);
  (void)date.startOfWeek(berlin);
  (void)date.endOfWeek(berlin);
  (void)date.startOfMonth(berlin);
  return 0;
}
