// Byte-buffer codecs against independent producers and consumers: the gzip
// tool and Python's zlib module, run as child processes.
#include "Keel/core/byte_coding.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "Keel/core/file_contents.h"
#include "testing/temp_dir.h"

namespace Keel {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

constexpr const char* pythonPath = "/usr/bin/python3";

// Compresses argv[1] into argv[2] with the window bits of argv[3].
constexpr const char* compressScript =
    "import sys, zlib\n"
    "data = open(sys.argv[1], 'rb').read()\n"
    "c = zlib.compressobj(6, zlib.DEFLATED, int(sys.argv[3]))\n"
    "open(sys.argv[2], 'wb').write(c.compress(data) + c.flush())\n";

// Decompresses argv[1] into argv[2]; fails unless the stream is complete and
// nothing follows it.
constexpr const char* decompressScript =
    "import sys, zlib\n"
    "d = zlib.decompressobj(int(sys.argv[3]))\n"
    "out = d.decompress(open(sys.argv[1], 'rb').read())\n"
    "open(sys.argv[2], 'wb').write(out)\n"
    "sys.exit(0 if d.eof and not d.unused_data else 1)\n";

class ByteCodingInterop : public ::testing::Test {
 protected:
  void SetUp() override {
    write(folder_ / "compress.py", compressScript);
    write(folder_ / "decompress.py", decompressScript);
  }

  static void write(const fs::path& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }
  static void write(const fs::path& path, std::span<const std::uint8_t> bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  }
  static bool run(const std::string& command) { return std::system(command.c_str()) == 0; }
  static std::string quoted(const fs::path& path) { return "'" + path.string() + "'"; }

  // `data` compressed by Python's zlib with the given window bits.
  Bytes pythonCompressed(const Bytes& data, int windowBits) {
    write(folder_ / "plain", data);
    EXPECT_TRUE(run(std::string(pythonPath) + " " + quoted(folder_ / "compress.py") + " " + quoted(folder_ / "plain") +
                    " " + quoted(folder_ / "packed") + " " + std::to_string(windowBits)));
    return readFileBytes(folder_ / "packed").value_or(Bytes{});
  }

  // `packed` decompressed by Python's zlib, or nothing if it refused.
  std::optional<Bytes> pythonDecompressed(std::span<const std::uint8_t> packed, int windowBits) {
    write(folder_ / "packed", packed);
    if (!run(std::string(pythonPath) + " " + quoted(folder_ / "decompress.py") + " " + quoted(folder_ / "packed") +
             " " + quoted(folder_ / "plain") + " " + std::to_string(windowBits))) {
      return std::nullopt;
    }
    return readFileBytes(folder_ / "plain");
  }

  Vantor::Testing::TempDir dir_;
  const fs::path& folder_ = dir_.path();
};

std::vector<Bytes> samples() {
  std::mt19937 engine(2024);
  Bytes noise(512 << 10);
  for (auto& b : noise) b = static_cast<std::uint8_t>(engine());
  const std::string words[] = {"alpha ", "beta ", "gamma ", "delta\n", "epsilon ", "zeta, "};
  Bytes text;
  while (text.size() < (2u << 20)) {
    const std::string& w = words[engine() % std::size(words)];
    text.insert(text.end(), w.begin(), w.end());
  }
  return {Bytes{'x'}, Bytes(64, 'a'), Bytes(65537, 0), noise, text};
}

TEST_F(ByteCodingInterop, PythonStreamsDecodeAndDeflatedOutputDecodesInPython) {
  for (const Bytes& data : samples()) {
    const Bytes raw = pythonCompressed(data, -15);
    const Bytes gzip = pythonCompressed(data, 31);
    EXPECT_EQ(gunzipped(gzip), data) << data.size();
    EXPECT_EQ(gunzipped(pythonCompressed(data, 15)), data) << data.size();
    EXPECT_FALSE(gunzipped(raw)) << data.size();
    EXPECT_EQ(inflated(raw), data) << data.size();
    EXPECT_FALSE(inflated(gzip)) << data.size();
    const auto packed = deflated(data);
    ASSERT_TRUE(packed);
    EXPECT_EQ(pythonDecompressed(*packed, -15), data) << data.size();
  }
}

TEST_F(ByteCodingInterop, GzipToolRoundTrips) {
  for (const Bytes& data : samples()) {
    write(folder_ / "plain", data);
    ASSERT_TRUE(run("gzip -c -9 " + quoted(folder_ / "plain") + " > " + quoted(folder_ / "plain.gz")));
    EXPECT_EQ(gunzipped(readFileBytes(folder_ / "plain.gz").value_or(Bytes{})), data) << data.size();
  }
  // A file compressed by the tool in two pieces holds two members; only the
  // first is decoded, while the tool itself concatenates them.
  write(folder_ / "one", std::string("first|"));
  write(folder_ / "two", std::string("second"));
  ASSERT_TRUE(run("gzip -c " + quoted(folder_ / "one") + " > " + quoted(folder_ / "both.gz") + " && gzip -c " +
                  quoted(folder_ / "two") + " >> " + quoted(folder_ / "both.gz")));
  const Bytes both = readFileBytes(folder_ / "both.gz").value_or(Bytes{});
  EXPECT_EQ(gunzipped(both), (Bytes{'f', 'i', 'r', 's', 't', '|'}));
  ASSERT_TRUE(run("gzip -dc " + quoted(folder_ / "both.gz") + " > " + quoted(folder_ / "joined")));
  EXPECT_EQ(readFileText(folder_ / "joined"), "first|second");
}

}  // namespace
}  // namespace Keel
