// Cost of ThreadedDictionary reads and writes beside a std::unordered_map
// guarded by a std::shared_mutex, on one and two threads. Rates are per CPU
// second of the whole process, so the work the dispatch queue's pool does
// for an async write counts, and the figures hold when other work shares
// the cores.
#include "Keel/core/threaded_dictionary.h"

#include <benchmark/benchmark.h>

#include <mutex>
#include <shared_mutex>
#include <unordered_map>

namespace {

constexpr int keyCount = 1024;
constexpr int flushEvery = 1024;  // async writes are waited for this often, so their cost is counted

std::unordered_map<int, int> initialMap() {
  std::unordered_map<int, int> map;
  for (int i = 0; i < keyCount; ++i) map.emplace(i, i);
  return map;
}

struct LockedMap {
  std::shared_mutex mutex;
  std::unordered_map<int, int> map = initialMap();

  std::optional<int> get(int key) {
    std::shared_lock lock(mutex);
    const auto found = map.find(key);
    if (found == map.end()) return std::nullopt;
    return found->second;
  }
  void set(int key, int value) {
    std::unique_lock lock(mutex);
    map.insert_or_assign(key, value);
  }
};

LockedMap& lockedMap() {
  static LockedMap map;
  return map;
}

Keel::ThreadedDictionary<int, int>& threadedMap() {
  static Keel::ThreadedDictionary<int, int> map(initialMap(), Keel::ThreadingType::concurrent);
  return map;
}

template <typename Map>
void reads(benchmark::State& state, Map& map) {
  int key = static_cast<int>(state.thread_index()) * 7;
  for (auto _ : state) {
    benchmark::DoNotOptimize(map.get(key));
    key = (key + 1) & (keyCount - 1);
  }
  state.SetItemsProcessed(state.iterations());
}

template <typename Map>
void writes(benchmark::State& state, Map& map) {
  int key = static_cast<int>(state.thread_index()) * 7;
  int n = 0;
  for (auto _ : state) {
    map.set(key, n);
    key = (key + 1) & (keyCount - 1);
    if (++n % flushEvery == 0) benchmark::DoNotOptimize(map.get(key));
  }
  benchmark::DoNotOptimize(map.get(key));
  state.SetItemsProcessed(state.iterations());
}

void BM_SharedMutexMapRead(benchmark::State& state) { reads(state, lockedMap()); }
void BM_ThreadedDictionaryRead(benchmark::State& state) { reads(state, threadedMap()); }
void BM_SharedMutexMapWrite(benchmark::State& state) { writes(state, lockedMap()); }
void BM_ThreadedDictionaryAsyncWrite(benchmark::State& state) { writes(state, threadedMap()); }

BENCHMARK(BM_SharedMutexMapRead)->Threads(1)->Threads(2)->MeasureProcessCPUTime()->MinTime(0.3);
BENCHMARK(BM_ThreadedDictionaryRead)->Threads(1)->Threads(2)->MeasureProcessCPUTime()->MinTime(0.3);
BENCHMARK(BM_SharedMutexMapWrite)->Threads(1)->Threads(2)->MeasureProcessCPUTime()->MinTime(0.3);
BENCHMARK(BM_ThreadedDictionaryAsyncWrite)->Threads(1)->Threads(2)->MeasureProcessCPUTime()->MinTime(0.3);

}  // namespace
