// Codec throughput on 64 MiB of text-like data, each beside zlib and
// libdeflate used directly into a preallocated buffer (the best each engine
// can do). Rates are decoded bytes over CPU time of the thread, so ratios
// within a run hold when other work shares the cores; the summary row at the
// end puts each figure beside its peers.
#include "Keel/core/byte_coding.h"

#include <benchmark/benchmark.h>
#include <libdeflate.h>
#include <zlib.h>

#include <cstdint>
#include <ctime>
#include <map>
#include <random>
#include <span>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;
constexpr std::size_t textSize = 64u << 20;

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
    out.reserve(textSize + 64);
    std::size_t wordsInLine = 0;
    while (out.size() < textSize) {
      const std::string& word = vocabulary[pick(engine) % vocabulary.size()];
      out.insert(out.end(), word.begin(), word.end());
      const bool lineEnd = ++wordsInLine == 12;
      out.push_back(lineEnd ? '\n' : engine() % 10 == 0 ? ',' : ' ');
      if (lineEnd) wordsInLine = 0;
    }
    out.resize(textSize);
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

double threadSeconds() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

// MiB of text per CPU second, by benchmark, for the summary row.
std::map<std::string, double> rates;
std::map<std::string, double> outputs;  // MiB written by the encoders

// Runs the benchmark loop around `work` and records its rate. One untimed
// call first: the preallocated peers allocate and touch their buffers
// outside the loop, and a codec's first call in a process maps fresh pages
// that later calls reuse (byte_coding_memory.h).
template <class Work>
void run(benchmark::State& state, const char* name, std::size_t inputSize, Work work) {
  work();
  const double start = threadSeconds();
  for (auto _ : state) work();
  const double seconds = threadSeconds() - start;
  rates[name] = static_cast<double>(textSize) * static_cast<double>(state.iterations()) / (1 << 20) / seconds;
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(textSize));
  state.counters["input_MiB"] = static_cast<double>(inputSize) / (1 << 20);
}

void BM_Gunzipped(benchmark::State& state) {
  const Bytes& packed = gzipText();
  run(state, "gunzipped", packed.size(), [&] {
    auto out = Keel::gunzipped(packed);
    if (!out || out->size() != textSize) std::abort();
    benchmark::DoNotOptimize(out);
  });
}

void BM_ZlibInflateGzipPreallocated(benchmark::State& state) {
  const Bytes& packed = gzipText();
  Bytes out(textSize);
  run(state, "zlib gzip", packed.size(), [&] {
    zlibInflateInto(packed, 16 + 15, out);
    benchmark::DoNotOptimize(out.data());
  });
}

// The same into a new exactly-sized vector each time: the cost of handing
// out fresh memory, which every whole-buffer decoder pays and the
// preallocated peer does not.
void BM_ZlibInflateGzipFreshVector(benchmark::State& state) {
  const Bytes& packed = gzipText();
  run(state, "zlib gzip fresh", packed.size(), [&] {
    Bytes out(textSize);
    zlibInflateInto(packed, 16 + 15, out);
    benchmark::DoNotOptimize(out.data());
  });
}

void BM_Inflated(benchmark::State& state) {
  const Bytes& packed = rawText();
  run(state, "inflated", packed.size(), [&] {
    auto out = Keel::inflated(packed);
    if (!out || out->size() != textSize) std::abort();
    benchmark::DoNotOptimize(out);
  });
}

void BM_ZlibInflateRawPreallocated(benchmark::State& state) {
  const Bytes& packed = rawText();
  Bytes out(textSize);
  run(state, "zlib inflate", packed.size(), [&] {
    zlibInflateInto(packed, -15, out);
    benchmark::DoNotOptimize(out.data());
  });
}

void BM_LibdeflateDecompressRawPreallocated(benchmark::State& state) {
  const Bytes& packed = rawText();
  Bytes out(textSize);
  libdeflate_decompressor* decompressor = libdeflate_alloc_decompressor();
  run(state, "libdeflate inflate", packed.size(), [&] {
    if (libdeflate_deflate_decompress(decompressor, packed.data(), packed.size(), out.data(), out.size(), nullptr) !=
        LIBDEFLATE_SUCCESS) {
      std::abort();
    }
    benchmark::DoNotOptimize(out.data());
  });
  libdeflate_free_decompressor(decompressor);
}

void BM_Deflated(benchmark::State& state) {
  const Bytes& input = text();
  std::size_t packedSize = 0;
  run(state, "deflated", input.size(), [&] {
    auto out = Keel::deflated(input);
    if (!out) std::abort();
    packedSize = out->size();
    benchmark::DoNotOptimize(out);
  });
  outputs["deflated"] = static_cast<double>(packedSize) / (1 << 20);
  state.counters["output_MiB"] = outputs["deflated"];
}

// zlib at `level` (5, the engine deflated() used before; 6, zlib's default).
void BM_ZlibDeflateRawPreallocated(benchmark::State& state) {
  const int level = static_cast<int>(state.range(0));
  const std::string name = "zlib deflate " + std::to_string(level);
  const Bytes& input = text();
  z_stream probe{};
  deflateInit2(&probe, level, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY);
  Bytes out(deflateBound(&probe, input.size()));
  deflateEnd(&probe);
  std::size_t packedSize = 0;
  run(state, name.c_str(), input.size(), [&] {
    z_stream s{};
    deflateInit2(&s, level, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY);
    s.next_in = const_cast<Bytef*>(input.data());
    s.avail_in = static_cast<uInt>(input.size());
    s.next_out = out.data();
    s.avail_out = static_cast<uInt>(out.size());
    if (deflate(&s, Z_FINISH) != Z_STREAM_END) std::abort();
    packedSize = s.total_out;
    deflateEnd(&s);
    benchmark::DoNotOptimize(out.data());
  });
  outputs[name] = static_cast<double>(packedSize) / (1 << 20);
  state.counters["output_MiB"] = outputs[name];
}

void BM_LibdeflateCompressRawPreallocated(benchmark::State& state) {
  const int level = static_cast<int>(state.range(0));
  const std::string name = "libdeflate deflate " + std::to_string(level);
  const Bytes& input = text();
  libdeflate_compressor* compressor = libdeflate_alloc_compressor(level);
  Bytes out(libdeflate_deflate_compress_bound(compressor, input.size()));
  std::size_t packedSize = 0;
  run(state, name.c_str(), input.size(), [&] {
    packedSize = libdeflate_deflate_compress(compressor, input.data(), input.size(), out.data(), out.size());
    if (packedSize == 0) std::abort();
    benchmark::DoNotOptimize(out.data());
  });
  libdeflate_free_compressor(compressor);
  outputs[name] = static_cast<double>(packedSize) / (1 << 20);
  state.counters["output_MiB"] = outputs[name];
}

// Every figure beside its peers (MiB/s of text, CPU time) and the ratios the
// goals name.
void BM_Summary(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(rates);
  auto ratio = [](const char* a, const char* b) { return rates[b] > 0 ? rates[a] / rates[b] : 0; };
  state.counters["gunzipped"] = rates["gunzipped"];
  state.counters["zlib_gzip"] = rates["zlib gzip"];
  state.counters["gunzipped/zlib"] = ratio("gunzipped", "zlib gzip");  // goal >= 0.95
  state.counters["inflated"] = rates["inflated"];
  state.counters["zlib_inflate"] = rates["zlib inflate"];
  state.counters["libdeflate_inflate"] = rates["libdeflate inflate"];
  state.counters["inflated/zlib"] = ratio("inflated", "zlib inflate");  // goal >= 1.5
  state.counters["deflated"] = rates["deflated"];
  state.counters["zlib_deflate5"] = rates["zlib deflate 5"];
  state.counters["libdeflate_deflate4"] = rates["libdeflate deflate 4"];   // the level deflated() uses
  state.counters["deflated/zlib5"] = ratio("deflated", "zlib deflate 5");  // goal >= 1.5
  state.counters["deflated_MiB"] = outputs["deflated"];
  state.counters["zlib5_MiB"] = outputs["zlib deflate 5"];
}

// Few iterations: every one moves 64 MiB.
BENCHMARK(BM_Gunzipped)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_ZlibInflateGzipPreallocated)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_ZlibInflateGzipFreshVector)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_Inflated)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_ZlibInflateRawPreallocated)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_LibdeflateDecompressRawPreallocated)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_Deflated)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_ZlibDeflateRawPreallocated)->Arg(5)->Arg(6)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_LibdeflateCompressRawPreallocated)->Arg(4)->Arg(5)->Arg(6)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_Summary)->Iterations(1);

}  // namespace
