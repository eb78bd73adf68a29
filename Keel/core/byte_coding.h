// Whole-buffer codecs for byte buffers: gzip/zlib decoding and raw DEFLATE
// (RFC 1951, no header or checksum) encoding and decoding.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace Keel {

// Decodes a gzip member or a zlib stream (the header is detected) and returns
// its decoded bytes. Only the first gzip member is decoded; bytes after it are
// ignored. Returns nothing for empty input, for input that is not a complete
// gzip or zlib stream (truncated, corrupt, raw DEFLATE) and for a one-byte
// input. The output is sized from the input length, never from the size a gzip
// trailer claims. Input or output of 4 GiB or more is a fatal error. Never
// throws (apart from std::bad_alloc) and never returns partial output.
[[nodiscard]] std::optional<std::vector<std::uint8_t>> gunzipped(std::span<const std::uint8_t> input);

// Encodes `input` as one raw DEFLATE stream at compression level 5. Returns
// nothing for empty input (never an empty stream) or when the encoder fails.
[[nodiscard]] std::optional<std::vector<std::uint8_t>> deflated(std::span<const std::uint8_t> input);

// Decodes one raw DEFLATE stream. Returns nothing for empty, truncated or
// corrupt input, and for gzip or zlib-wrapped data (their headers are not raw
// DEFLATE). Bytes after the stream's final block are ignored. Never returns
// partial output.
[[nodiscard]] std::optional<std::vector<std::uint8_t>> inflated(std::span<const std::uint8_t> input);

// How gunzipped() sizes its output for an input of `inputLength` bytes: the
// capacity reserved up front (twice the input) and the fixed step by which the
// output grows whenever it is full (half the input, rounded down). The growth
// starts from an empty output, so the first round always grows.
struct GunzipBufferPlan {
  std::size_t reserved;
  std::size_t growthStep;
};
[[nodiscard]] GunzipBufferPlan gunzipBufferPlan(std::size_t inputLength) noexcept;

// The scratch buffer deflated() and inflated() decode or encode into between
// copies to the result: the input length clamped to 64 ... 65536 bytes.
[[nodiscard]] std::size_t streamScratchSize(std::size_t inputLength) noexcept;

}  // namespace Keel
