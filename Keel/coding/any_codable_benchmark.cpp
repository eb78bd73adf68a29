// Decoding a large JSON document into untyped values, against simdjson alone
// on the same bytes and against Python's json.loads; encoding it back.
#include "Keel/coding/any_codable.h"

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <simdjson.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "Keel/coding/json.h"

namespace {

// A deterministic document of at least `minBytes`: an array of records mixing
// objects, arrays, integers (signed and above the signed range), doubles,
// texts with escapes, booleans and null.
std::string makeDocument(std::size_t minBytes) {
  std::string out = "[";
  std::uint64_t state = 0x9E3779B97F4A7C15ULL;
  auto next = [&] {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    return state;
  };
  for (std::size_t i = 0; out.size() < minBytes; ++i) {
    if (i != 0) out += ',';
    const std::uint64_t r = next();
    out += "{\"id\":" + std::to_string(i) + ",\"name\":\"user_" + std::to_string(r % 100000) +
           (r % 7 == 0 ? "\\n\\\"quoted\\\" \\u00e9" : "") +
           "\",\"score\":" + std::to_string(static_cast<double>(r % 1000000) / 1e3) + ",\"delta\":-" +
           std::to_string(r % 5000) + ",\"active\":" + (r % 2 ? "true" : "false") + ",\"tags\":[\"alpha\",\"beta\",\"" +
           std::string(r % 24, 'x') + "\"],\"big\":" + std::to_string(9223372036854775808ULL + r % 1000) +
           ",\"nested\":{\"ratio\":" + std::to_string(static_cast<double>(r % 977) / 7.0) +
           ",\"points\":[1,2,3,4.5,-6],\"note\":null,\"label\":\"a rather longer text value that needs the heap\"}}";
  }
  out += ']';
  return out;
}

const std::string& document() {
  static const std::string doc = makeDocument(20u << 20);
  return doc;
}

double keelMBps = 0;
double simdjsonMBps = 0;
double pythonMBps = 0;

// Bytes in use: glibc's small-block and mmap-ed totals, and what tree arenas
// hold outside the heap.
std::size_t heapInUse() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd + Keel::TreeArena::bytesInUse();
}

double mbps(benchmark::State& state) {
  return static_cast<double>(document().size()) * static_cast<double>(state.iterations()) / 1e6;
}

// Times producing the tree; freeing it is timed apart (the peers' figures do
// not include freeing either: simdjson reuses its tape, Python frees after
// its timer stops).
void BM_DecodeAnyDecodable(benchmark::State& state) {
  const std::string& doc = document();
  double total = 0;
  double freeing = 0;
  double treeBytes = 0;
  for (auto _ : state) {
    const std::size_t heapBefore = heapInUse();
    const auto start = std::chrono::steady_clock::now();
    auto decoded = Keel::JSONDecoder().decode<Keel::AnyDecodable>(doc);
    const auto stop = std::chrono::steady_clock::now();
    // Bytes the tree holds (the parser's reused buffers were grown by an
    // earlier run).
    treeBytes = static_cast<double>(heapInUse() - heapBefore);
    if (!decoded.ok()) state.SkipWithError("decoding failed");
    benchmark::DoNotOptimize(decoded);
    { [[maybe_unused]] auto gone = std::move(decoded); }
    freeing += std::chrono::duration<double>(std::chrono::steady_clock::now() - stop).count();
    const double seconds = std::chrono::duration<double>(stop - start).count();
    total += seconds;
    state.SetIterationTime(seconds);
  }
  keelMBps = mbps(state) / total;
  state.SetBytesProcessed(static_cast<std::int64_t>(doc.size()) * state.iterations());
  state.counters["doc_MB"] = static_cast<double>(doc.size()) / 1e6;
  state.counters["free_ms"] = 1e3 * freeing / static_cast<double>(state.iterations());
  state.counters["tree_MB"] = treeBytes / 1e6;
  state.counters["tree_per_doc_byte"] = treeBytes / static_cast<double>(doc.size());
}
BENCHMARK(BM_DecodeAnyDecodable)->Unit(benchmark::kMillisecond)->MinTime(1.0)->UseManualTime();

void BM_SimdjsonParseOnly(benchmark::State& state) {
  const std::string& doc = document();
  simdjson::dom::parser parser;
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    simdjson::dom::element root;
    if (parser.parse(doc.data(), doc.size()).get(root) != simdjson::SUCCESS) state.SkipWithError("parse failed");
    benchmark::DoNotOptimize(root);
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  simdjsonMBps = mbps(state) / seconds;
  state.SetBytesProcessed(static_cast<std::int64_t>(doc.size()) * state.iterations());
}
BENCHMARK(BM_SimdjsonParseOnly)->Unit(benchmark::kMillisecond)->MinTime(1.0)->UseRealTime();

// Runs Debian's python on the same bytes; json.loads is timed inside python
// (best of three), so process start and file reading do not count.
void BM_PythonJsonLoads(benchmark::State& state) {
  const std::string& doc = document();
  char path[] = "/tmp/keel-bench-XXXXXX";
  const int fd = mkstemp(path);
  if (fd < 0) {
    state.SkipWithError("no temp file");
    return;
  }
  close(fd);
  std::ofstream(path, std::ios::binary) << doc;
  const std::string command = std::string(
                                  "/usr/bin/python3 -c 'import json,sys,time\n"
                                  "b=open(sys.argv[1],\"rb\").read()\n"
                                  "t=min((lambda s:(json.loads(b),time.perf_counter()-s)[1])(time.perf_counter()) "
                                  "for _ in range(3))\n"
                                  "print(len(b)/t/1e6)' ") +
                              path;
  for (auto _ : state) {
    FILE* pipe = popen(command.c_str(), "r");
    double value = 0;
    if (pipe == nullptr || std::fscanf(pipe, "%lf", &value) != 1) state.SkipWithError("python failed");
    if (pipe != nullptr) pclose(pipe);
    pythonMBps = value;
  }
  std::filesystem::remove(path);
  state.counters["python_MBps"] = pythonMBps;
}
BENCHMARK(BM_PythonJsonLoads)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();

void BM_EncodeAnyEncodable(benchmark::State& state) {
  auto decoded = Keel::JSONDecoder().decode<Keel::AnyDecodable>(document());
  const Keel::AnyEncodable value(std::move(decoded->value));
  std::size_t bytes = 0;
  for (auto _ : state) {
    auto encoded = Keel::JSONEncoder().encode(value);
    if (!encoded.ok()) state.SkipWithError("encoding failed");
    bytes += encoded->size();
    benchmark::DoNotOptimize(encoded);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}
BENCHMARK(BM_EncodeAnyEncodable)->Unit(benchmark::kMillisecond)->MinTime(1.0)->UseRealTime();

void BM_Summary(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(keelMBps);
  state.counters["keel_MBps"] = keelMBps;
  state.counters["simdjson_MBps"] = simdjsonMBps;
  state.counters["python_MBps"] = pythonMBps;
  state.counters["keel_over_simdjson"] = simdjsonMBps > 0 ? keelMBps / simdjsonMBps : 0;  // goal >= 0.5
  state.counters["keel_over_python"] = pythonMBps > 0 ? keelMBps / pythonMBps : 0;        // goal >= 2
}
BENCHMARK(BM_Summary)->Iterations(1);

}  // namespace
