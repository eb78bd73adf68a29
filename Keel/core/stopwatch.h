// Named stopwatches that print their elapsed time; the process-wide one backs
// TimeUtilities::start and stop.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "Keel/core/date.h"
#include "Keel/core/threaded_dictionary.h"

namespace Keel {

// A table from names to start instants, shared by all threads.
class Stopwatch {
 public:
  // Receives each finished line, newline included.
  using Output = std::function<void(std::string_view line)>;

  // An empty table reading `clock` and writing to `output` (standard output,
  // flushed after each line, by default).
  explicit Stopwatch(Clock clock = Date::systemClock(), Output output = standardOutput());

  // The process-wide stopwatch: created on first use, never destroyed.
  [[nodiscard]] static Stopwatch& shared();

  // Records now under `name`, replacing an earlier start of that name.
  void start(const std::string& name);

  // Writes "<name>: <seconds> ms\n" with the seconds since start(name) to
  // three decimals (the value is in seconds although the text says ms), then
  // forgets `name`. Writes nothing when `name` has no start.
  void stop(const std::string& name);

  // The line stop() writes for `elapsedSeconds`; independent of the C locale.
  [[nodiscard]] static std::string line(std::string_view name, double elapsedSeconds);

  // Writes to the process's standard output and flushes.
  [[nodiscard]] static Output standardOutput();

 private:
  Clock clock_;
  Output output_;
  ThreadedDictionary<std::string, double> starts_;
};

}  // namespace Keel
