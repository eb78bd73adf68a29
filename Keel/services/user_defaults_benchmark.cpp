// Cost of the file-backed user defaults: a set followed by synchronize (one
// merged, durable file replacement) beside GLib writing the same bytes
// durably, and reading a key beside the memory-only store.
#include "Keel/services/user_defaults.h"

#include <benchmark/benchmark.h>
#include <glib.h>

#include <string>

#include "Keel/coding/property_list.h"
#include "Keel/services/persistent_user_defaults.h"
#include "testing/temp_dir.h"

namespace {

constexpr int keyCount = 100;  // a settings domain of typical size

template <typename Store>
void fill(Store& store) {
  for (int i = 0; i < keyCount; ++i) store.set("value " + std::to_string(i), "key" + std::to_string(i));
}

void SetAndSynchronize(benchmark::State& state) {
  Vantor::Testing::TempDir dir;
  Keel::PersistentUserDefaults defaults(dir.path() / "com.example.bench.plist");
  fill(defaults);
  defaults.synchronize();
  std::int64_t i = 0;
  for (auto _ : state) {
    defaults.set(++i, "counter");
    benchmark::DoNotOptimize(defaults.synchronize());
  }
}
BENCHMARK(SetAndSynchronize)->Unit(benchmark::kMicrosecond);

// The durable atomic write alone, for the same bytes.
void GLibDurableWriteOfTheSameFile(benchmark::State& state) {
  Vantor::Testing::TempDir dir;
  Keel::MemoryUserDefaults memory;
  fill(memory);
  memory.set(1, "counter");
  const std::string bytes = Keel::PropertyList::writeXML(Keel::AnyValue(memory.dictionaryRepresentation())).value();
  const std::string path = (dir.path() / "glib.plist").string();
  for (auto _ : state) {
    benchmark::DoNotOptimize(g_file_set_contents_full(
        path.c_str(), bytes.data(), static_cast<gssize>(bytes.size()),
        static_cast<GFileSetContentsFlags>(G_FILE_SET_CONTENTS_CONSISTENT | G_FILE_SET_CONTENTS_DURABLE), 0600,
        nullptr));
  }
}
BENCHMARK(GLibDurableWriteOfTheSameFile)->Unit(benchmark::kMicrosecond);

void ReadAKey(benchmark::State& state) {
  Vantor::Testing::TempDir dir;
  Keel::PersistentUserDefaults defaults(dir.path() / "com.example.bench.plist");
  fill(defaults);
  defaults.synchronize();
  for (auto _ : state) benchmark::DoNotOptimize(defaults.string("key42"));
}
BENCHMARK(ReadAKey);

void ReadAKeyFromMemoryOnlyStore(benchmark::State& state) {
  Keel::MemoryUserDefaults defaults;
  fill(defaults);
  for (auto _ : state) benchmark::DoNotOptimize(defaults.string("key42"));
}
BENCHMARK(ReadAKeyFromMemoryOnlyStore);

}  // namespace
