// Polyline simplification on a million points: points per second and the
// memory simplify() allocates beyond its input, counted by a replaced
// operator new/delete.
#include "Keel/core/ramer_douglas_peucker.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <new>
#include <random>
#include <vector>

namespace {

std::atomic<std::size_t> liveBytes{0};
std::atomic<std::size_t> peakBytes{0};

// Each block carries its size in a header so that unsized deletes can count.
constexpr std::size_t headerBytes = alignof(std::max_align_t);

void* countedAllocate(std::size_t size) {
  auto* base = static_cast<unsigned char*>(std::malloc(size + headerBytes));
  if (base == nullptr) throw std::bad_alloc();
  *reinterpret_cast<std::size_t*>(base) = size;
  const std::size_t live = liveBytes.fetch_add(size, std::memory_order_relaxed) + size;
  std::size_t peak = peakBytes.load(std::memory_order_relaxed);
  while (live > peak && !peakBytes.compare_exchange_weak(peak, live, std::memory_order_relaxed)) {
  }
  return base + headerBytes;
}

void countedFree(void* pointer) noexcept {
  if (pointer == nullptr) return;
  auto* base = static_cast<unsigned char*>(pointer) - headerBytes;
  liveBytes.fetch_sub(*reinterpret_cast<std::size_t*>(base), std::memory_order_relaxed);
  std::free(base);
}

}  // namespace

void* operator new(std::size_t size) { return countedAllocate(size); }
void* operator new[](std::size_t size) { return countedAllocate(size); }
void operator delete(void* pointer) noexcept { countedFree(pointer); }
void operator delete[](void* pointer) noexcept { countedFree(pointer); }
void operator delete(void* pointer, std::size_t) noexcept { countedFree(pointer); }
void operator delete[](void* pointer, std::size_t) noexcept { countedFree(pointer); }

namespace {

using Keel::Point;
constexpr std::size_t pointCount = 1'000'000;

const std::vector<Point>& randomWalk() {
  static const std::vector<Point> points = [] {
    std::mt19937_64 engine(1);
    std::normal_distribution<double> step(0, 1);
    std::vector<Point> p;
    p.reserve(pointCount);
    double x = 0, y = 0;
    for (std::size_t i = 0; i < pointCount; ++i) {
      p.push_back({x, y});
      x += step(engine);
      y += step(engine);
    }
    return p;
  }();
  return points;
}

const std::vector<Point>& noisySine() {
  static const std::vector<Point> points = [] {
    std::mt19937_64 engine(2);
    std::normal_distribution<double> noise(0, 0.05);
    std::vector<Point> p;
    p.reserve(pointCount);
    for (std::size_t i = 0; i < pointCount; ++i) {
      const double x = static_cast<double>(i) * 0.001;
      p.push_back({x, std::sin(x) + noise(engine)});
    }
    return p;
  }();
  return points;
}

void simplifyBenchmark(benchmark::State& state, const std::vector<Point>& points, double epsilon) {
  std::size_t kept = 0;
  std::size_t peakExtra = 0;
  for (auto _ : state) {
    const std::size_t before = liveBytes.load(std::memory_order_relaxed);
    peakBytes.store(before, std::memory_order_relaxed);
    const auto result = Keel::RamerDouglasPeucker::simplify(points, epsilon);
    peakExtra = std::max(peakExtra, peakBytes.load(std::memory_order_relaxed) - before);
    kept = result.size();
    benchmark::DoNotOptimize(result.data());
  }
  const double inputBytes = static_cast<double>(points.size() * sizeof(Point));
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(points.size()));
  state.counters["epsilon"] = epsilon;
  state.counters["kept_pct"] = 100.0 * static_cast<double>(kept) / static_cast<double>(points.size());
  state.counters["input_bytes"] = inputBytes;
  state.counters["peak_extra_bytes"] = static_cast<double>(peakExtra);
  state.counters["peak_over_input"] = static_cast<double>(peakExtra) / inputBytes;
}

// Tolerances found by bisection to keep about 1 % and 10 % of the points.
void BM_SimplifyRandomWalk1Pct(benchmark::State& s) { simplifyBenchmark(s, randomWalk(), 10.3); }
void BM_SimplifyRandomWalk10Pct(benchmark::State& s) { simplifyBenchmark(s, randomWalk(), 2.7); }
void BM_SimplifyNoisySine1Pct(benchmark::State& s) { simplifyBenchmark(s, noisySine(), 0.156); }
void BM_SimplifyNoisySine10Pct(benchmark::State& s) { simplifyBenchmark(s, noisySine(), 0.0203); }

// The worst split order: a growing zigzag splits off one point per level, so
// the pending-range stack reaches the number of points (and the work is
// quadratic, hence the smaller input).
void BM_SimplifyDeepZigzag(benchmark::State& state) {
  static const std::vector<Point> zigzag = [] {
    std::vector<Point> p;
    for (int i = 0; i < 20000; ++i) p.push_back({static_cast<double>(i), static_cast<double>(i % 2 ? i : -i)});
    return p;
  }();
  simplifyBenchmark(state, zigzag, 0);
}

BENCHMARK(BM_SimplifyRandomWalk1Pct)->Unit(benchmark::kMillisecond)->MinTime(0.5);
BENCHMARK(BM_SimplifyRandomWalk10Pct)->Unit(benchmark::kMillisecond)->MinTime(0.5);
BENCHMARK(BM_SimplifyNoisySine1Pct)->Unit(benchmark::kMillisecond)->MinTime(0.5);
BENCHMARK(BM_SimplifyNoisySine10Pct)->Unit(benchmark::kMillisecond)->MinTime(0.5);
BENCHMARK(BM_SimplifyDeepZigzag)->Unit(benchmark::kMillisecond)->Iterations(2);

}  // namespace
