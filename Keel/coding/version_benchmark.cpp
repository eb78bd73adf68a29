// Cost of ordering version texts, beside plain text ordering and glibc's
// strverscmp on the same million pairs.
#include "Keel/coding/version.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t pairCount = 1'000'000;

std::string dotted(std::mt19937& random, int parts, int maxPart) {
  std::uniform_int_distribution<int> part(0, maxPart);
  std::string text = std::to_string(part(random));
  for (int i = 1; i < parts; ++i) text += "." + std::to_string(part(random));
  return text;
}

// A fixed, realistic mix: neighbouring releases that differ in the last
// component (1.2.3 against 1.2.10), equal texts, long build texts that share a
// long prefix, and pre-release suffixes.
const std::vector<std::pair<Keel::Version, Keel::Version>>& pairs() {
  static const auto* made = [] {
    auto* out = new std::vector<std::pair<Keel::Version, Keel::Version>>();
    out->reserve(pairCount);
    std::mt19937 random(20261122);
    std::uniform_int_distribution<int> kind(0, 99);
    static const char* const suffixes[] = {"", "b2", "b10", "-beta.4", "-rc.1", " beta", "a"};
    std::uniform_int_distribution<int> suffix(0, 6);
    for (std::size_t i = 0; i < pairCount; ++i) {
      const int k = kind(random);
      std::string left;
      std::string right;
      if (k < 35) {  // neighbouring releases
        const std::string stem = dotted(random, 2, 20);
        left = stem + "." + std::to_string(random() % 12);
        right = stem + "." + std::to_string(random() % 12);
      } else if (k < 55) {  // equal texts
        left = right = dotted(random, 3, 30);
      } else if (k < 75) {  // long build texts
        const std::string stem = "2026.11." + dotted(random, 2, 99) + ".build.";
        left = stem + std::to_string(100000 + random() % 900000) + "-release.linux.x86_64";
        right = stem + std::to_string(100000 + random() % 900000) + "-release.linux.x86_64";
      } else if (k < 90) {  // suffixes
        const std::string stem = dotted(random, 2, 9);
        left = stem + suffixes[suffix(random)];
        right = stem + suffixes[suffix(random)];
      } else {  // different majors
        left = dotted(random, 3, 15);
        right = dotted(random, 3, 15);
      }
      out->emplace_back(Keel::Version(std::move(left)), Keel::Version(std::move(right)));
    }
    return out;
  }();
  return *made;
}

void reportPerComparison(benchmark::State& state) {
  // Seconds per comparison, printed with an SI prefix (n for nanoseconds).
  state.counters["per_comparison"] = benchmark::Counter(
      static_cast<double>(pairCount), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_VersionLess(benchmark::State& state) {
  const auto& all = pairs();
  for (auto _ : state) {
    std::size_t less = 0;
    for (const auto& [l, r] : all) less += l < r ? 1U : 0U;
    benchmark::DoNotOptimize(less);
  }
  reportPerComparison(state);
}

void BM_StringLess(benchmark::State& state) {
  const auto& all = pairs();
  for (auto _ : state) {
    std::size_t less = 0;
    for (const auto& [l, r] : all) less += l.string() < r.string() ? 1U : 0U;
    benchmark::DoNotOptimize(less);
  }
  reportPerComparison(state);
}

void BM_Strverscmp(benchmark::State& state) {
  const auto& all = pairs();
  for (auto _ : state) {
    std::size_t less = 0;
    for (const auto& [l, r] : all) less += strverscmp(l.string().c_str(), r.string().c_str()) < 0 ? 1U : 0U;
    benchmark::DoNotOptimize(less);
  }
  reportPerComparison(state);
}

BENCHMARK(BM_VersionLess)->Unit(benchmark::kMillisecond)->MinTime(0.5);
BENCHMARK(BM_StringLess)->Unit(benchmark::kMillisecond)->MinTime(0.5);
BENCHMARK(BM_Strverscmp)->Unit(benchmark::kMillisecond)->MinTime(0.5);

}  // namespace
