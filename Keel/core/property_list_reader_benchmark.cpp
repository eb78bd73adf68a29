// Property-list reading: about 20 MB of binary and of XML list, read by our
// reader and by libplist 2.2 (parse and free) from the same bytes, and the
// time to refuse a list nested a million levels deep in each format.
#include "Keel/core/property_list_reader.h"

#include <benchmark/benchmark.h>
#include <plist/plist.h>

#include <cstdlib>
#include <string>

namespace {

// An array of `count` records like those of an inventory or settings file.
plist_t records(std::size_t count) {
  plist_t array = plist_new_array();
  for (std::size_t i = 0; i < count; ++i) {
    plist_t dict = plist_new_dict();
    const std::string id = std::to_string(i);
    plist_dict_set_item(dict, "CFBundleIdentifier", plist_new_string(("org.example.application-" + id).c_str()));
    plist_dict_set_item(dict, "CFBundleName", plist_new_string(("Application \xC3\xA9 " + id).c_str()));
    plist_dict_set_item(dict, "Index", plist_new_uint(i * 7919));
    plist_dict_set_item(dict, "Ratio", plist_new_real(static_cast<double>(i) / 3.0));
    plist_dict_set_item(dict, "Enabled", plist_new_bool(i % 2));
    plist_dict_set_item(dict, "Modified", plist_new_date(static_cast<std::int32_t>(i * 60), 0));
    plist_t tags = plist_new_array();
    for (const char* tag : {"utility", "network", "system"}) plist_array_append_item(tags, plist_new_string(tag));
    plist_dict_set_item(dict, "Tags", tags);
    const std::string blob(24, static_cast<char>('a' + i % 26));
    plist_dict_set_item(dict, "Signature", plist_new_data(blob.data(), blob.size()));
    plist_array_append_item(array, dict);
  }
  return array;
}

// The list of about 20 MB in one format, made once.
const std::string& list(bool binary) {
  static const auto make = [](bool bin) {
    constexpr std::size_t target = 20'000'000;
    std::string out;
    for (std::size_t count = 1000;; count = count * target / out.size() + 1) {
      plist_t root = records(count);
      char* bytes = nullptr;
      std::uint32_t length = 0;
      if (bin) {
        plist_to_bin(root, &bytes, &length);
      } else {
        plist_to_xml(root, &bytes, &length);
      }
      out.assign(bytes, length);
      std::free(bytes);
      plist_free(root);
      if (out.size() >= target) return out;
    }
  };
  static const std::string binaryList = make(true);
  static const std::string xmlList = make(false);
  return binary ? binaryList : xmlList;
}

void readOurs(benchmark::State& state, bool binary) {
  const std::string& bytes = list(binary);
  for (auto _ : state) {
    auto tree = Keel::PropertyList::read(bytes);
    if (!tree) state.SkipWithError(tree.error().c_str());
    benchmark::DoNotOptimize(tree);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}

void readLibplist(benchmark::State& state, bool binary) {
  const std::string& bytes = list(binary);
  for (auto _ : state) {
    plist_t root = nullptr;
    if (binary) {
      plist_from_bin(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &root);
    } else {
      plist_from_xml(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &root);
    }
    if (root == nullptr) state.SkipWithError("libplist could not read the list");
    plist_free(root);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}

void BM_Binary20MB_Keel(benchmark::State& state) { readOurs(state, true); }
void BM_Binary20MB_Libplist(benchmark::State& state) { readLibplist(state, true); }
void BM_XML20MB_Keel(benchmark::State& state) { readOurs(state, false); }
void BM_XML20MB_Libplist(benchmark::State& state) { readLibplist(state, false); }
BENCHMARK(BM_Binary20MB_Keel)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Binary20MB_Libplist)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_XML20MB_Keel)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_XML20MB_Libplist)->Unit(benchmark::kMillisecond);

constexpr std::size_t oneMillion = 1'000'000;

// A million arrays, each the only element of the one before (4-byte
// references and offsets; about 9 MB).
std::string millionLevelsBinary() {
  const auto bigEndian = [](std::string& out, std::uint64_t v, int n) {
    for (int i = n - 1; i >= 0; --i) out += static_cast<char>((v >> (8 * i)) & 0xFF);
  };
  std::string out = "bplist00";
  for (std::size_t i = 0; i < oneMillion; ++i) {
    out += i + 1 < oneMillion ? '\xA1' : '\xA0';
    if (i + 1 < oneMillion) bigEndian(out, i + 1, 4);
  }
  const std::uint64_t table = out.size();
  for (std::size_t i = 0; i < oneMillion; ++i) bigEndian(out, 8 + 5 * i, 4);
  out += std::string(6, '\0') + "\x04\x04";
  bigEndian(out, oneMillion, 8);
  bigEndian(out, 0, 8);
  bigEndian(out, table, 8);
  return out;
}

std::string millionLevelsXML() {
  std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">";
  for (std::size_t i = 0; i < oneMillion; ++i) out += "<array>";
  for (std::size_t i = 0; i < oneMillion; ++i) out += "</array>";
  return out + "</plist>";
}

void refuse(benchmark::State& state, const std::string& bytes) {
  for (auto _ : state) {
    auto tree = Keel::PropertyList::read(bytes);
    if (tree) state.SkipWithError("a million levels were read");
    benchmark::DoNotOptimize(tree);
  }
  state.SetLabel(std::to_string(bytes.size()) + " bytes");
}

void BM_RefuseMillionLevels_Binary(benchmark::State& state) {
  static const std::string bytes = millionLevelsBinary();
  refuse(state, bytes);
}
void BM_RefuseMillionLevels_XML(benchmark::State& state) {
  static const std::string bytes = millionLevelsXML();
  refuse(state, bytes);
}
BENCHMARK(BM_RefuseMillionLevels_Binary)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RefuseMillionLevels_XML)->Unit(benchmark::kMicrosecond);

}  // namespace
