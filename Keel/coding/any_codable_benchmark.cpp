// Decoding JSON into untyped values and encoding it back, beside simdjson's
// parse alone, RapidJSON's and nlohmann-json's DOMs (parse into the DOM,
// write it back) and Python's json.loads, on two documents: 21 MB of varied
// records, and 21 MB of small objects with short keys and values.
//
// Every figure is CPU time of the thread doing the work, so ratios within a
// run hold when other work shares the cores. The summary rows at the end put
// each figure beside its peers.
#include "Keel/coding/any_codable.h"

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <simdjson.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

#include "Keel/coding/json.h"

namespace {

std::uint64_t xorshift(std::uint64_t& state) {
  state ^= state << 13;
  state ^= state >> 7;
  state ^= state << 17;
  return state;
}

// A deterministic document of at least `minBytes`: an array of records mixing
// objects, arrays, integers (signed and above the signed range), doubles,
// texts with escapes, booleans and null.
std::string makeRecords(std::size_t minBytes) {
  std::string out = "[";
  std::uint64_t state = 0x9E3779B97F4A7C15ULL;
  for (std::size_t i = 0; out.size() < minBytes; ++i) {
    if (i != 0) out += ',';
    const std::uint64_t r = xorshift(state);
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

// Many small objects: a few short keys each, with small integers, short
// doubles, booleans and short texts (an event log, a table of points).
std::string makeSmallObjects(std::size_t minBytes) {
  std::string out = "[";
  std::uint64_t state = 0x2545F4914F6CDD1DULL;
  for (std::size_t i = 0; out.size() < minBytes; ++i) {
    if (i != 0) out += ',';
    const std::uint64_t r = xorshift(state);
    out += "{\"id\":" + std::to_string(i % 100000) + ",\"x\":" + std::to_string(r % 1000) + "." +
           std::to_string(r % 10) + ",\"y\":-" + std::to_string(r % 300) + ".25,\"on\":" + (r % 3 ? "true" : "false") +
           ",\"tag\":\"t" + std::to_string(r % 1000) + "\"}";
  }
  out += ']';
  return out;
}

enum DocumentKind { records = 0, smallObjects = 1 };

const std::string& document(std::int64_t kind) {
  static const std::string recordsDocument = makeRecords(20u << 20);
  static const std::string smallDocument = makeSmallObjects(20u << 20);
  return kind == records ? recordsDocument : smallDocument;
}

const char* documentName(std::int64_t kind) { return kind == records ? "records" : "small objects"; }

// Figures gathered for the summary rows, per document.
struct Figures {
  double keelDecode = 0, simdjson = 0, rapidjsonDecode = 0, nlohmannDecode = 0, python = 0;
  double keelEncode = 0, rapidjsonEncode = 0, nlohmannEncode = 0;
  double keelTree = 0, rapidjsonTree = 0, nlohmannTree = 0;  // bytes held per document byte
};
Figures figures[2];

double threadSeconds() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

// Bytes in use: glibc's small-block and mmap-ed totals, and what tree arenas
// hold outside the heap.
std::size_t heapInUse() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd + Keel::TreeArena::bytesInUse();
}

// Runs `make` once per iteration and times only the making, in CPU time of
// this thread: freeing the result is not timed (simdjson reuses its tape;
// Python frees after its timer stops). Returns MB/s of document and sets
// `held` to the bytes the result holds per byte of document.
template <class Make>
double timeDecoding(benchmark::State& state, const std::string& doc, Make make, double* held = nullptr) {
  double total = 0;
  for (auto _ : state) {
    const std::size_t before = heapInUse();
    const double start = threadSeconds();
    auto result = make();
    const double seconds = threadSeconds() - start;
    if (held != nullptr) *held = static_cast<double>(heapInUse() - before) / static_cast<double>(doc.size());
    benchmark::DoNotOptimize(result);
    total += seconds;
    state.SetIterationTime(seconds);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(doc.size()) * state.iterations());
  state.SetLabel(documentName(state.range(0)));
  return static_cast<double>(doc.size()) * static_cast<double>(state.iterations()) / total / 1e6;
}

// Times whole iterations of `write` (building the text and freeing it) in CPU
// time of this thread; returns MB/s of text written.
template <class Write>
double timeEncoding(benchmark::State& state, Write write) {
  double total = 0;
  std::size_t bytes = 0;
  for (auto _ : state) {
    const double start = threadSeconds();
    bytes += write();
    const double seconds = threadSeconds() - start;
    total += seconds;
    state.SetIterationTime(seconds);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
  state.SetLabel(documentName(state.range(0)));
  return static_cast<double>(bytes) / total / 1e6;
}

void BM_DecodeAnyDecodable(benchmark::State& state) {
  const std::string& doc = document(state.range(0));
  Figures& f = figures[state.range(0)];
  f.keelDecode = timeDecoding(
      state, doc,
      [&] {
        auto decoded = Keel::JSONDecoder().decode<Keel::AnyDecodable>(doc);
        if (!decoded.ok()) std::abort();
        return decoded;
      },
      &f.keelTree);
  state.counters["tree_per_doc_byte"] = f.keelTree;
}

void BM_SimdjsonParseOnly(benchmark::State& state) {
  const std::string& doc = document(state.range(0));
  simdjson::dom::parser parser;
  figures[state.range(0)].simdjson = timeDecoding(state, doc, [&] {
    simdjson::dom::element root;
    if (parser.parse(doc.data(), doc.size()).get(root) != simdjson::SUCCESS) std::abort();
    return root;
  });
}

// RapidJSON's DOM with its default flags (its fastest number parsing) in a
// fresh document each time, as a reader of one document would use it.
void BM_RapidJsonDomParse(benchmark::State& state) {
  const std::string& doc = document(state.range(0));
  Figures& f = figures[state.range(0)];
  f.rapidjsonDecode = timeDecoding(
      state, doc,
      [&] {
        auto dom = std::make_unique<rapidjson::Document>();
        if (dom->Parse(doc.data(), doc.size()).HasParseError()) std::abort();
        return dom;
      },
      &f.rapidjsonTree);
  state.counters["tree_per_doc_byte"] = f.rapidjsonTree;
}

void BM_NlohmannJsonParse(benchmark::State& state) {
  const std::string& doc = document(state.range(0));
  Figures& f = figures[state.range(0)];
  f.nlohmannDecode = timeDecoding(
      state, doc, [&] { return std::make_unique<nlohmann::json>(nlohmann::json::parse(doc)); }, &f.nlohmannTree);
  state.counters["tree_per_doc_byte"] = f.nlohmannTree;
}

// Runs Debian's python on the same bytes; json.loads is timed inside python
// in CPU time of the process (best of three), so process start and file
// reading do not count.
void BM_PythonJsonLoads(benchmark::State& state) {
  const std::string& doc = document(state.range(0));
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
                                  "t=min((lambda s:(json.loads(b),time.process_time()-s)[1])(time.process_time()) "
                                  "for _ in range(3))\n"
                                  "print(len(b)/t/1e6)' ") +
                              path;
  double value = 0;
  for (auto _ : state) {
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr || std::fscanf(pipe, "%lf", &value) != 1) state.SkipWithError("python failed");
    if (pipe != nullptr) pclose(pipe);
  }
  std::filesystem::remove(path);
  figures[state.range(0)].python = value;
  state.counters["python_MBps"] = value;
}

void BM_EncodeAnyEncodable(benchmark::State& state) {
  auto decoded = Keel::JSONDecoder().decode<Keel::AnyDecodable>(document(state.range(0)));
  const Keel::AnyEncodable value(std::move(decoded->value));
  figures[state.range(0)].keelEncode = timeEncoding(state, [&] {
    auto encoded = Keel::JSONEncoder().encode(value);
    if (!encoded.ok()) std::abort();
    return encoded->size();
  });
}

void BM_RapidJsonWriter(benchmark::State& state) {
  rapidjson::Document dom;
  const std::string& doc = document(state.range(0));
  dom.Parse(doc.data(), doc.size());
  figures[state.range(0)].rapidjsonEncode = timeEncoding(state, [&] {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    if (!dom.Accept(writer)) std::abort();
    return buffer.GetSize();
  });
}

void BM_NlohmannJsonDump(benchmark::State& state) {
  const nlohmann::json dom = nlohmann::json::parse(document(state.range(0)));
  figures[state.range(0)].nlohmannEncode = timeEncoding(state, [&] { return dom.dump().size(); });
}

// One row per document: every figure beside its peers, and the ratios the
// goals name.
void BM_Summary(benchmark::State& state) {
  const Figures& f = figures[state.range(0)];
  for (auto _ : state) benchmark::DoNotOptimize(f);
  state.SetLabel(documentName(state.range(0)));
  auto ratio = [](double a, double b) { return b > 0 ? a / b : 0; };
  state.counters["dec_keel_MBps"] = f.keelDecode;
  state.counters["dec_simdjson"] = f.simdjson;
  state.counters["dec_rapidjson"] = f.rapidjsonDecode;
  state.counters["dec_nlohmann"] = f.nlohmannDecode;
  state.counters["dec_keel/simdjson"] = ratio(f.keelDecode, f.simdjson);          // goal >= 0.7
  state.counters["dec_keel/rapidjson"] = ratio(f.keelDecode, f.rapidjsonDecode);  // goal > 1
  state.counters["enc_keel_MBps"] = f.keelEncode;
  state.counters["enc_rapidjson"] = f.rapidjsonEncode;
  state.counters["enc_nlohmann"] = f.nlohmannEncode;
  state.counters["enc_keel/rapidjson"] = ratio(f.keelEncode, f.rapidjsonEncode);  // goal >= 2
  state.counters["tree_keel_B/B"] = f.keelTree;
  state.counters["tree_rapidjson_B/B"] = f.rapidjsonTree;
  if (f.python > 0) state.counters["dec_keel/python"] = ratio(f.keelDecode, f.python);
}

void documents(benchmark::internal::Benchmark* b) { b->Arg(records)->Arg(smallObjects); }

BENCHMARK(BM_DecodeAnyDecodable)->Apply(documents)->Unit(benchmark::kMillisecond)->MinTime(1.0)->UseManualTime();
BENCHMARK(BM_SimdjsonParseOnly)->Apply(documents)->Unit(benchmark::kMillisecond)->MinTime(1.0)->UseManualTime();
BENCHMARK(BM_RapidJsonDomParse)->Apply(documents)->Unit(benchmark::kMillisecond)->MinTime(1.0)->UseManualTime();
BENCHMARK(BM_NlohmannJsonParse)->Apply(documents)->Unit(benchmark::kMillisecond)->MinTime(1.0)->UseManualTime();
BENCHMARK(BM_PythonJsonLoads)->Arg(records)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();
BENCHMARK(BM_EncodeAnyEncodable)->Apply(documents)->Unit(benchmark::kMillisecond)->MinTime(1.0)->UseManualTime();
BENCHMARK(BM_RapidJsonWriter)->Apply(documents)->Unit(benchmark::kMillisecond)->MinTime(1.0)->UseManualTime();
BENCHMARK(BM_NlohmannJsonDump)->Apply(documents)->Unit(benchmark::kMillisecond)->MinTime(1.0)->UseManualTime();
BENCHMARK(BM_Summary)->Apply(documents)->Iterations(1);

}  // namespace
