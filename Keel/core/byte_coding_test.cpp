// Byte-buffer codecs against streams made in-process by zlib itself.
#include "Keel/core/byte_coding.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace Keel {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr int gzipBits = 16 + 15;
constexpr int zlibBits = 15;
constexpr int rawBits = -15;

Bytes bytesOf(std::string_view text) { return Bytes(text.begin(), text.end()); }

// A stream of the given kind made by zlib directly, independent of the code
// under test.
Bytes compress(const Bytes& data, int windowBits, int level = 6) {
  z_stream s{};
  EXPECT_EQ(deflateInit2(&s, level, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY), Z_OK);
  Bytes out(deflateBound(&s, data.size()));
  s.next_in = const_cast<Bytef*>(data.data());  // zlib's API is not const-correct
  s.avail_in = static_cast<uInt>(data.size());
  s.next_out = out.data();
  s.avail_out = static_cast<uInt>(out.size());
  EXPECT_EQ(deflate(&s, Z_FINISH), Z_STREAM_END);
  out.resize(s.total_out);
  deflateEnd(&s);
  return out;
}

Bytes randomBytes(std::size_t size, std::uint32_t seed) {
  std::mt19937 engine(seed);
  Bytes out(size);
  for (auto& b : out) b = static_cast<std::uint8_t>(engine());
  return out;
}

Bytes repetitiveText(std::size_t size) {
  constexpr std::string_view pattern = "the quick brown fox jumps over the lazy dog; ";
  Bytes out(size);
  for (std::size_t i = 0; i < size; ++i) out[i] = static_cast<std::uint8_t>(pattern[i % pattern.size()]);
  return out;
}

TEST(ByteBuffer, GrowthKeepsTheBytesAlreadyThere) {
  const Bytes pattern = randomBytes(1000, 3);
  ByteBuffer buffer;
  // Many reallocations, some moving, and past 1 MiB into a block of pages.
  for (int round = 0; round < 3000; ++round) buffer.append(pattern);
  ASSERT_EQ(buffer.size(), 3'000'000u);
  EXPECT_GE(buffer.capacity(), buffer.size());
  for (std::size_t i = 0; i < buffer.size(); i += 997) ASSERT_EQ(buffer[i], pattern[i % 1000]) << i;

  buffer.resizeForOverwrite(10);
  const std::size_t capacity = buffer.capacity();
  buffer.resizeForOverwrite(capacity + 1);  // at least doubles
  EXPECT_GE(buffer.capacity(), 2 * capacity);
  EXPECT_TRUE(std::equal(buffer.begin(), buffer.begin() + 10, pattern.begin()));
  buffer.resizeForOverwrite(10);
  buffer.shrinkToFit();
  EXPECT_EQ(buffer.capacity(), 10u);
  EXPECT_EQ(buffer, std::span(pattern).first(10));
  buffer.append(std::span(buffer).subspan(2, 5));  // its own bytes, which move as it grows
  EXPECT_TRUE(std::equal(buffer.begin() + 10, buffer.end(), pattern.begin() + 2, pattern.begin() + 7));
  buffer.resizeForOverwrite(10);
  buffer.resizeForOverwrite(0);
  buffer.shrinkToFit();
  EXPECT_TRUE(buffer.empty());
  EXPECT_EQ(buffer, Bytes{});

  // A large buffer's block is kept for the next large one, which sees only
  // its own bytes.
  { ByteBuffer first(randomBytes(3 << 20, 5)); }
  const Bytes second = randomBytes(2 << 20, 6);
  ByteBuffer reused(second);
  EXPECT_EQ(reused, second);
}

TEST(ByteBuffer, CopiesAreDeepMovesEmptyTheSource) {
  ByteBuffer original(bytesOf("abc"));
  ByteBuffer copy = original;
  copy[0] = 'x';
  EXPECT_EQ(original, bytesOf("abc"));
  EXPECT_NE(copy, original);
  copy = original;
  EXPECT_EQ(copy, original);
  const ByteBuffer& self = copy;
  copy = self;
  EXPECT_EQ(copy, bytesOf("abc"));

  ByteBuffer moved = std::move(copy);
  EXPECT_EQ(moved, bytesOf("abc"));
  EXPECT_TRUE(copy.empty());  // NOLINT(bugprone-use-after-move): the moved-from state is specified
  copy = std::move(moved);
  EXPECT_EQ(copy, bytesOf("abc"));
  EXPECT_NE(copy, bytesOf("abcd"));
  EXPECT_EQ(copy.toVector(), bytesOf("abc"));
}

TEST(ByteCodingSizes, GunzipReservesTwiceGrowsByHalfAndScratchIsClampedTo64Through65536) {
  EXPECT_EQ(gunzipBufferPlan(1).reserved, 2u);
  EXPECT_EQ(gunzipBufferPlan(1).growthStep, 0u);
  EXPECT_EQ(gunzipBufferPlan(7).reserved, 14u);
  EXPECT_EQ(gunzipBufferPlan(7).growthStep, 3u);
  EXPECT_EQ(streamScratchSize(1), 64u);
  EXPECT_EQ(streamScratchSize(64), 64u);
  EXPECT_EQ(streamScratchSize(65), 65u);
  EXPECT_EQ(streamScratchSize(65536), 65536u);
  EXPECT_EQ(streamScratchSize(65537), 65536u);
}

// Decoding of well-formed gzip, zlib and raw streams from another producer is
// checked in byte_coding_integration_test.cpp.
TEST(Gunzipped, EmptyOneByteTruncatedAndCorruptInputGiveNothing) {
  EXPECT_FALSE(gunzipped({}));
  const Bytes oneByte{0x1f};
  EXPECT_FALSE(gunzipped(oneByte));
  const Bytes gz = compress(repetitiveText(3000), gzipBits);
  for (std::size_t n = 1; n < gz.size(); ++n) {
    EXPECT_FALSE(gunzipped(std::span(gz).first(n))) << "prefix of " << n << " bytes";
  }
  const Bytes text = repetitiveText(1000);
  Bytes badCrc = compress(text, gzipBits);
  badCrc[badCrc.size() - 6] ^= 0x01;  // inside the CRC-32 of the trailer
  EXPECT_FALSE(gunzipped(badCrc));
  Bytes badAdler = compress(text, zlibBits);
  badAdler.back() ^= 0x80;
  EXPECT_FALSE(gunzipped(badAdler));
  Bytes badMagic = compress(text, gzipBits);
  badMagic[1] = 0x8c;
  EXPECT_FALSE(gunzipped(badMagic));
}

TEST(Gunzipped, LargeInputsNeedManyGrowthSteps) {
  // Highly compressible: a few KiB of input grow the output thousands of times.
  const Bytes text = repetitiveText(4 << 20);
  const auto decoded = gunzipped(compress(text, gzipBits, 9));
  EXPECT_EQ(decoded, text);
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->capacity(), decoded->size());  // no reserve or growth step left over
  const Bytes noise = randomBytes(3 << 20, 7);
  EXPECT_EQ(gunzipped(compress(noise, zlibBits)), noise);
}

TEST(GunzippedDeathTest, InputOf4GiBIsFatal) {
  // The size check comes before any byte is read, so the span need not be
  // backed by real memory.
  static const std::uint8_t byte = 0;
  const std::span<const std::uint8_t> huge(&byte, std::size_t{1} << 32);
  EXPECT_DEATH((void)gunzipped(huge), "4 GiB");
}

TEST(DeflatedInflated, RoundTripAroundScratchBoundaries) {
  for (std::size_t size : {1u, 63u, 64u, 65u, 4096u, 65535u, 65536u, 65537u, 200000u}) {
    const Bytes noise = randomBytes(size, static_cast<std::uint32_t>(size));
    const auto coded = deflated(noise);
    ASSERT_TRUE(coded) << size;
    EXPECT_EQ(inflated(*coded), noise) << size;
    const Bytes text = repetitiveText(size);
    EXPECT_EQ(inflated(*deflated(text)), text) << size;
  }
}

TEST(DeflatedInflated, LargeInputsFillTheScratchManyTimes) {
  const Bytes noise = randomBytes(5 << 20, 11);
  const auto codedNoise = deflated(noise);
  ASSERT_TRUE(codedNoise);
  EXPECT_EQ(inflated(*codedNoise), noise);
  const Bytes text = repetitiveText(8 << 20);
  const auto codedText = deflated(text);
  ASSERT_TRUE(codedText);
  EXPECT_LT(codedText->size(), text.size() / 100);
  const auto decodedText = inflated(*codedText);  // tiny input, scratch of 64 KiB filled 128 times
  EXPECT_EQ(decodedText, text);
  ASSERT_TRUE(decodedText);
  EXPECT_EQ(decodedText->capacity(), decodedText->size());
}

TEST(DeflatedInflated, EmptyTruncatedWrappedOrCorruptInputGivesNothingAndBytesAfterTheFinalBlockAreIgnored) {
  EXPECT_FALSE(deflated({}));
  EXPECT_FALSE(inflated({}));
  // A final fixed-Huffman block holding only its end code.
  const Bytes emptyStream{0x03, 0x00};
  const auto decoded = inflated(emptyStream);
  ASSERT_TRUE(decoded);
  EXPECT_TRUE(decoded->empty());

  const Bytes text = repetitiveText(5000);
  EXPECT_FALSE(inflated(compress(text, gzipBits)));
  const Bytes raw = compress(text, rawBits);
  for (std::size_t n = 1; n < raw.size(); ++n) {
    EXPECT_FALSE(inflated(std::span(raw).first(n))) << "prefix of " << n << " bytes";
  }
  const Bytes reservedBlockType{0x07, 0x00, 0x00};  // final block of type 3
  EXPECT_FALSE(inflated(reservedBlockType));
  Bytes trailed = raw;
  trailed.insert(trailed.end(), {0xde, 0xad, 0xbe, 0xef});
  EXPECT_EQ(inflated(trailed), text);
}

}  // namespace
}  // namespace Keel
