// Codec throughput on 64 MiB of text-like data, each beside zlib used
// directly into a preallocated buffer (the best the engine can do).
#include "Keel/core/byte_coding.h"

#include <benchmark/benchmark.h>
#include <zlib.h>

#include <cstdint>
#include <random>
#include <span>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;
constexpr std::size_t kTextSize = 64u << 20;

// Words from a fixed vocabulary, picked with a skew so that some are common,
// with spaces, commas and line breaks: compresses about like prose.
const Bytes& text() {
  static const Bytes data = [] {
    std::mt19937_64 engine(12345);
    std::vector<std::string> vocabulary;
    for (int w = 0; w < 4000; ++w) {
      std::string word;
      const int length = 2 + static_cast<int>(engine() % 9);
      for (int c = 0; c < length; ++c) word += static_cast<char>('a' + engine() % 26);
      vocabulary.push_back(word);
    }
    std::geometric_distribution<std::size_t> pick(0.002);
    Bytes out;
    out.reserve(kTextSize + 64);
    std::size_t wordsInLine = 0;
    while (out.size() < kTextSize) {
      const std::string& word = vocabulary[pick(engine) % vocabulary.size()];
      out.insert(out.end(), word.begin(), word.end());
      const bool lineEnd = ++wordsInLine == 12;
      out.push_back(lineEnd ? '\n' : engine() % 10 == 0 ? ',' : ' ');
      if (lineEnd) wordsInLine = 0;
    }
    out.resize(kTextSize);
    return out;
  }();
  return data;
}

Bytes zlibCompress(const Bytes& data, int windowBits, int level) {
  z_stream s{};
  deflateInit2(&s, level, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY);
  Bytes out(deflateBound(&s, data.size()));
  s.next_in = const_cast<Bytef*>(data.data());  // zlib's API is not const-correct
  s.avail_in = static_cast<uInt>(data.size());
  s.next_out = out.data();
  s.avail_out = static_cast<uInt>(out.size());
  deflate(&s, Z_FINISH);
  out.resize(s.total_out);
  deflateEnd(&s);
  return out;
}

const Bytes& gzipText() {
  static const Bytes data = zlibCompress(text(), 16 + 15, 6);
  return data;
}

const Bytes& rawText() {
  static const Bytes data = zlibCompress(text(), -15, 5);
  return data;
}

// One-call zlib inflate into a buffer allocated (and touched) once.
void zlibInflateInto(const Bytes& packed, int windowBits, Bytes& out) {
  z_stream s{};
  inflateInit2(&s, windowBits);
  s.next_in = const_cast<Bytef*>(packed.data());
  s.avail_in = static_cast<uInt>(packed.size());
  s.next_out = out.data();
  s.avail_out = static_cast<uInt>(out.size());
  if (inflate(&s, Z_FINISH) != Z_STREAM_END) std::abort();
  inflateEnd(&s);
}

void setCounters(benchmark::State& state, std::size_t inputSize) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kTextSize));
  state.counters["input_MiB"] = static_cast<double>(inputSize) / (1 << 20);
}

void BM_Gunzipped(benchmark::State& state) {
  const Bytes& packed = gzipText();
  for (auto _ : state) {
    auto out = Keel::gunzipped(packed);
    if (!out || out->size() != kTextSize) state.SkipWithError("wrong output");
    benchmark::DoNotOptimize(out);
  }
  setCounters(state, packed.size());
}

void BM_ZlibInflateGzipPreallocated(benchmark::State& state) {
  const Bytes& packed = gzipText();
  Bytes out(kTextSize);
  for (auto _ : state) {
    zlibInflateInto(packed, 16 + 15, out);
    benchmark::DoNotOptimize(out.data());
  }
  setCounters(state, packed.size());
}

// The same into a new exactly-sized vector each time: the cost of handing
// out fresh memory, which every whole-buffer decoder pays and the
// preallocated peer does not.
void BM_ZlibInflateGzipFreshVector(benchmark::State& state) {
  const Bytes& packed = gzipText();
  for (auto _ : state) {
    Bytes out(kTextSize);
    zlibInflateInto(packed, 16 + 15, out);
    benchmark::DoNotOptimize(out.data());
  }
  setCounters(state, packed.size());
}

void BM_Inflated(benchmark::State& state) {
  const Bytes& packed = rawText();
  for (auto _ : state) {
    auto out = Keel::inflated(packed);
    if (!out || out->size() != kTextSize) state.SkipWithError("wrong output");
    benchmark::DoNotOptimize(out);
  }
  setCounters(state, packed.size());
}

void BM_ZlibInflateRawPreallocated(benchmark::State& state) {
  const Bytes& packed = rawText();
  Bytes out(kTextSize);
  for (auto _ : state) {
    zlibInflateInto(packed, -15, out);
    benchmark::DoNotOptimize(out.data());
  }
  setCounters(state, packed.size());
}

void BM_ZlibInflateRawFreshVector(benchmark::State& state) {
  const Bytes& packed = rawText();
  for (auto _ : state) {
    Bytes out(kTextSize);
    zlibInflateInto(packed, -15, out);
    benchmark::DoNotOptimize(out.data());
  }
  setCounters(state, packed.size());
}

void BM_Deflated(benchmark::State& state) {
  const Bytes& input = text();
  std::size_t packedSize = 0;
  for (auto _ : state) {
    auto out = Keel::deflated(input);
    if (!out) state.SkipWithError("no output");
    packedSize = out ? out->size() : 0;
    benchmark::DoNotOptimize(out);
  }
  setCounters(state, input.size());
  state.counters["output_MiB"] = static_cast<double>(packedSize) / (1 << 20);
}

void BM_ZlibDeflateRawPreallocated(benchmark::State& state) {
  const Bytes& input = text();
  z_stream probe{};
  deflateInit2(&probe, 5, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY);
  Bytes out(deflateBound(&probe, input.size()));
  deflateEnd(&probe);
  std::size_t packedSize = 0;
  for (auto _ : state) {
    z_stream s{};
    deflateInit2(&s, 5, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY);
    s.next_in = const_cast<Bytef*>(input.data());
    s.avail_in = static_cast<uInt>(input.size());
    s.next_out = out.data();
    s.avail_out = static_cast<uInt>(out.size());
    if (deflate(&s, Z_FINISH) != Z_STREAM_END) std::abort();
    packedSize = s.total_out;
    deflateEnd(&s);
    benchmark::DoNotOptimize(out.data());
  }
  setCounters(state, input.size());
  state.counters["output_MiB"] = static_cast<double>(packedSize) / (1 << 20);
}

// Few iterations: every one moves 64 MiB.
BENCHMARK(BM_Gunzipped)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_ZlibInflateGzipPreallocated)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_ZlibInflateGzipFreshVector)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_Inflated)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_ZlibInflateRawPreallocated)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_ZlibInflateRawFreshVector)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_Deflated)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_ZlibDeflateRawPreallocated)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace
