// Latency from creating a file in an observed folder to the start of the
// handler's run, beside a bare inotify read loop on the same kind of event
// measured in the same run. Each iteration creates one file (opened
// read-only, so the only change event is its creation); p50 and p99 are
// reported as counters in microseconds.
#include "Keel/services/directory_observer.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "testing/temp_dir.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr int eventCount = 2000;

void createFile(const std::filesystem::path& path) {
  const int fd = ::open(path.c_str(), O_CREAT | O_RDONLY | O_CLOEXEC, 0600);
  if (fd >= 0) ::close(fd);
}

void reportPercentiles(benchmark::State& state, std::vector<double>& micros) {
  if (micros.empty()) return;
  std::sort(micros.begin(), micros.end());
  const auto at = [&](double q) {
    return micros[static_cast<std::size_t>(q * static_cast<double>(micros.size() - 1))];
  };
  state.counters["p50_us"] = at(0.50);
  state.counters["p99_us"] = at(0.99);
}

void ObserverCreateToHandler(benchmark::State& state) {
  Vantor::Testing::TempDir dir;
  // Shared with the handler: releasing the observer does not wait for a run.
  struct Runs {
    std::mutex mutex;
    std::condition_variable ran;
    Clock::time_point handlerStart;
    int count = 0;
  };
  auto runs = std::make_shared<Runs>();
  Keel::DirectoryObserver observer(dir.path(), [runs] {
    const auto now = Clock::now();  // the run's start is the figure; waking the bench thread is not
    std::lock_guard lock(runs->mutex);
    runs->handlerStart = now;
    ++runs->count;
    runs->ran.notify_all();
  });
  std::vector<double> micros;
  micros.reserve(eventCount);
  int i = 0;
  for (auto _ : state) {
    std::unique_lock lock(runs->mutex);
    const int before = runs->count;
    lock.unlock();
    const auto start = Clock::now();
    createFile(dir.path() / std::to_string(i++));
    lock.lock();
    if (!runs->ran.wait_for(lock, std::chrono::seconds(10), [&] { return runs->count > before; })) {
      state.SkipWithError("the handler did not run");
      break;
    }
    micros.push_back(std::chrono::duration<double, std::micro>(runs->handlerStart - start).count());
  }
  reportPercentiles(state, micros);
}
BENCHMARK(ObserverCreateToHandler)->Iterations(eventCount)->UseRealTime()->Unit(benchmark::kMicrosecond);

// The floor: one inotify instance read by the measuring thread itself.
void RawInotifyReadLoop(benchmark::State& state) {
  Vantor::Testing::TempDir dir;
  const int fd = inotify_init1(IN_CLOEXEC);
  if (fd < 0 || inotify_add_watch(fd, dir.path().c_str(), IN_CREATE | IN_MODIFY | IN_ATTRIB | IN_CLOSE_WRITE) < 0) {
    state.SkipWithError("no inotify");
    return;
  }
  alignas(inotify_event) char buffer[4096];
  std::vector<double> micros;
  micros.reserve(eventCount);
  int i = 0;
  for (auto _ : state) {
    const auto start = Clock::now();
    createFile(dir.path() / std::to_string(i++));
    if (::read(fd, buffer, sizeof buffer) <= 0) {
      state.SkipWithError("read failed");
      break;
    }
    micros.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
  }
  ::close(fd);
  reportPercentiles(state, micros);
}
BENCHMARK(RawInotifyReadLoop)->Iterations(eventCount)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace
