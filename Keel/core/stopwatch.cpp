// Named stopwatches over a ThreadedDictionary of start instants.
#include "Keel/core/stopwatch.h"

#include <charconv>
#include <cstdio>
#include <utility>

namespace Keel {

Stopwatch::Stopwatch(Clock clock, Output output)
    : clock_(std::move(clock)), output_(std::move(output)), starts_({}, ThreadingType::concurrent) {}

Stopwatch& Stopwatch::shared() {
  // Never destroyed, so that a stop() during static destruction still works.
  static auto* const stopwatch = new Stopwatch();
  return *stopwatch;
}

void Stopwatch::start(const std::string& name) { starts_.set(name, clock_().timeIntervalSince1970()); }

void Stopwatch::stop(const std::string& name) {
  const std::optional<double> startedAt = starts_.get(name);
  if (!startedAt) return;
  output_(line(name, clock_().timeIntervalSince1970() - *startedAt));
  starts_.set(name, std::nullopt);
}

std::string Stopwatch::line(std::string_view name, double elapsedSeconds) {
  // to_chars formats as printf's "%.3f" would, without the C locale's decimal
  // separator; 400 characters hold the widest finite double.
  char number[400];
  const auto end = std::to_chars(number, number + sizeof number, elapsedSeconds, std::chars_format::fixed, 3).ptr;
  std::string result(name);
  result += ": ";
  result.append(number, end);
  result += " ms\n";
  return result;
}

Stopwatch::Output Stopwatch::standardOutput() {
  return [](std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
  };
}

}  // namespace Keel
