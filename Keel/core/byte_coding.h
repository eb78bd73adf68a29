// Whole-buffer codecs for byte buffers: gzip/zlib decoding and raw DEFLATE
// (RFC 1951, no header or checksum) encoding and decoding.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace Keel {

// An owned, contiguous run of bytes with value semantics: what the codecs
// below return. Unlike std::vector it can grow without writing the new bytes
// (a decoder is about to overwrite them, so zero-filling first would touch
// every byte twice) and grows through realloc, which for large buffers moves
// the pages instead of copying the bytes. Any contiguous bytes compare equal
// to it by content, and it converts to std::span<const std::uint8_t> like
// any contiguous range.
class ByteBuffer {
 public:
  using value_type = std::uint8_t;
  using size_type = std::size_t;
  using iterator = std::uint8_t*;
  using const_iterator = const std::uint8_t*;

  ByteBuffer() noexcept = default;
  explicit ByteBuffer(std::span<const std::uint8_t> bytes);
  ByteBuffer(const ByteBuffer& other);
  ByteBuffer(ByteBuffer&& other) noexcept;
  ByteBuffer& operator=(const ByteBuffer& other);
  ByteBuffer& operator=(ByteBuffer&& other) noexcept;
  ~ByteBuffer();

  [[nodiscard]] std::uint8_t* data() noexcept { return data_; }
  [[nodiscard]] const std::uint8_t* data() const noexcept { return data_; }
  [[nodiscard]] std::size_t size() const noexcept { return size_; }
  [[nodiscard]] std::size_t capacity() const noexcept { return capacity_; }
  [[nodiscard]] bool empty() const noexcept { return size_ == 0; }
  [[nodiscard]] iterator begin() noexcept { return data_; }
  [[nodiscard]] iterator end() noexcept { return data_ + size_; }
  [[nodiscard]] const_iterator begin() const noexcept { return data_; }
  [[nodiscard]] const_iterator end() const noexcept { return data_ + size_; }
  [[nodiscard]] std::uint8_t& operator[](std::size_t index) noexcept { return data_[index]; }
  [[nodiscard]] const std::uint8_t& operator[](std::size_t index) const noexcept { return data_[index]; }

  // The same bytes in a vector (a copy).
  [[nodiscard]] std::vector<std::uint8_t> toVector() const { return {begin(), end()}; }

  // Makes room for `count` bytes in all without changing the contents.
  void reserve(std::size_t count);
  // Sets the size to `count`. Bytes added are left unwritten, for the caller
  // to overwrite before anything reads them; the capacity at least doubles
  // whenever it grows.
  void resizeForOverwrite(std::size_t count);
  void append(std::span<const std::uint8_t> bytes);
  // Gives back the capacity beyond the size.
  void shrinkToFit();

  friend bool operator==(const ByteBuffer& a, const ByteBuffer& b) noexcept {
    return a == std::span<const std::uint8_t>(b);
  }
  friend bool operator==(const ByteBuffer& buffer, std::span<const std::uint8_t> bytes) noexcept;

 private:
  void reallocate(std::size_t capacity);

  void release() noexcept;

  // From malloc, so that growth can use realloc; from 1 MiB on, a block of
  // pages (byte_coding_memory.h) that grows without copying and is reused
  // by the next large buffer once this one is gone.
  std::uint8_t* data_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
  std::size_t mapped_ = 0;  // a prefix known to have its pages mapped already
  std::size_t block_ = 0;   // bytes of the block of pages; 0 for malloc memory
};

// Decodes a gzip member or a zlib stream (the header is detected) and returns
// its decoded bytes. Only the first gzip member is decoded; bytes after it are
// ignored. Returns nothing for empty input, for input that is not a complete
// gzip or zlib stream (truncated, corrupt, raw DEFLATE) and for a one-byte
// input. The output is sized from the input length, never from the size a gzip
// trailer claims. Input or output of 4 GiB or more is a fatal error. Never
// throws (apart from std::bad_alloc) and never returns partial output.
[[nodiscard]] std::optional<ByteBuffer> gunzipped(std::span<const std::uint8_t> input);

// Encodes `input` as one raw DEFLATE stream at the platform codec's fixed
// level (see raw_deflate.h). Returns nothing for empty input (never an empty
// stream) or when the encoder fails.
[[nodiscard]] std::optional<ByteBuffer> deflated(std::span<const std::uint8_t> input);

// Decodes one raw DEFLATE stream. Returns nothing for empty, truncated or
// corrupt input, and for gzip or zlib-wrapped data (their headers are not raw
// DEFLATE). Bytes after the stream's final block are ignored. Never returns
// partial output.
[[nodiscard]] std::optional<ByteBuffer> inflated(std::span<const std::uint8_t> input);

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
