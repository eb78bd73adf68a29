// The value tree's text: immutable bytes, one word wide, short texts inline
// and long ones on the heap or in the tree's arena.
#pragma once

#include <bit>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iosfwd>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "Keel/core/tree_arena.h"

namespace Keel {

// Selects the constructors with which a container moves its own elements:
// texts in the container's arena stay there instead of being copied out.
struct SameTree {};

// Immutable UTF-8 (or any byte) text, one word wide. Up to six bytes live in
// the word itself (most keys and many values are that short); longer texts
// point to a block on the heap or in an arena. As with a std::string's short
// form, a view of a short text moves with the Text.
class Text {
 public:
  Text() noexcept = default;
  Text(std::string_view s) : Text(s, nullptr) {}                      // NOLINT: texts convert implicitly
  Text(const char* s) : Text(std::string_view(s), nullptr) {}         // NOLINT
  Text(const std::string& s) : Text(std::string_view(s), nullptr) {}  // NOLINT
  // A long text goes in `arena` while it is open and has room, else on the
  // heap.
  Text(std::string_view s, TreeArena* arena) {
    if (s.empty()) return;  // the zero word, as built by default or left by a move
    if (s.size() <= maxInline) {
      word_ = (s.size() << 1) | inlineBit;
      copyShort(inlineChars(), s);
      return;
    }
    const std::size_t bytes = sizeof(Block) + s.size() + 1;
    void* memory = arena != nullptr ? arena->allocate(bytes, alignof(Block)) : nullptr;
    const bool inArena = memory != nullptr;
    if (!inArena) memory = ::operator new(bytes);
    auto* block = new (memory) Block{(s.size() << 1) | (inArena ? 1U : 0U)};
    char* chars = reinterpret_cast<char*>(block + 1);  // NOLINT: the text follows its header
    copyBytes(chars, s);
    chars[s.size()] = '\0';
    word_ = reinterpret_cast<std::uintptr_t>(block);  // NOLINT: a block pointer is the word
  }
  // Tells the constructor below that the 8 bytes from the view's start may
  // be read even when the view is shorter (a parser's padded buffer).
  struct ReadableAfter {};
  static constexpr ReadableAfter readableAfter{};
  // As Text(s, arena), building a short text with one 8-byte load and a mask
  // instead of a copy of each size.
  [[gnu::always_inline]] Text(std::string_view s, TreeArena* arena, ReadableAfter /*unused*/) {
    if (s.size() - 1 < maxInline) {  // 1 to 6 bytes; an empty view wraps around
      std::uint64_t bytes = 0;
      std::memcpy(&bytes, s.data(), sizeof bytes);
      const std::uint64_t kept = (std::uint64_t{1} << (8 * (s.size() + 1))) - 1;  // the tag byte and the text
      word_ = ((bytes << 8) & kept) | (s.size() << 1) | inlineBit;
      return;
    }
    word_ = longWord(s, arena);
  }
  Text(const Text& other) : Text(other.view(), nullptr) {}
  Text(Text&& other) noexcept : word_(other.inArena() ? heapCopy(other) : other.release()) {}
  Text(Text&& other, SameTree /*unused*/) noexcept : word_(other.release()) {}
  Text& operator=(const Text& other) {
    if (this != &other) *this = Text(other);
    return *this;
  }
  Text& operator=(Text&& other) noexcept {
    if (this != &other) {
      reset();
      word_ = other.inArena() ? heapCopy(other) : other.release();
    }
    return *this;
  }
  ~Text() { reset(); }

  [[nodiscard]] std::string_view view() const noexcept {
    if ((word_ & inlineBit) != 0) return {inlineChars(), (word_ & 0xFF) >> 1};
    if (word_ == 0) return {};
    return {blockChars(), block()->sizeAndPlace >> 1};
  }
  operator std::string_view() const noexcept { return view(); }  // NOLINT: reads as a string_view
  [[nodiscard]] std::string str() const { return std::string(view()); }
  explicit operator std::string() const { return str(); }
  // NUL-terminated, for C interfaces.
  [[nodiscard]] const char* c_str() const noexcept {  // NOLINT(readability-identifier-naming): the std name
    if ((word_ & inlineBit) != 0) return inlineChars();
    return word_ == 0 ? "" : blockChars();
  }
  [[nodiscard]] const char* data() const noexcept { return c_str(); }
  [[nodiscard]] std::size_t size() const noexcept { return view().size(); }
  [[nodiscard]] bool empty() const noexcept { return word_ == 0; }  // the one empty form
  [[nodiscard]] bool inArena() const noexcept {
    return (word_ & inlineBit) == 0 && word_ != 0 && (block()->sizeAndPlace & 1) != 0;
  }

  // Equal contents; quicker than comparing views when either is short.
  [[nodiscard]] bool sameAs(const Text& other) const noexcept {
    if (word_ == other.word_) return true;  // the short form is canonical
    if (((word_ | other.word_) & inlineBit) != 0) return false;
    return view() == other.view();
  }
  // A word that equal texts share: the text itself when short, else a quick
  // hash of the length and the first and last eight bytes (a long text has at
  // least seven bytes and its NUL, so both loads stay inside it).
  [[nodiscard]] std::uint64_t hashWord() const noexcept {
    if ((word_ & inlineBit) != 0 || word_ == 0) return word_;
    const std::size_t n = block()->sizeAndPlace >> 1;
    const char* chars = blockChars();
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    std::memcpy(&first, chars, sizeof first);
    std::memcpy(&last, chars + (n >= sizeof last ? n - sizeof last : 0), sizeof last);
    return (first * 0x9E3779B97F4A7C15ULL) ^ (last * 0xC2B2AE3D27D4EB4FULL) ^ n;
  }
  // Against texts, strings and literals alike (each converts to a view).
  friend bool operator==(const Text& a, std::string_view b) noexcept { return a.view() == b; }
  friend std::strong_ordering operator<=>(const Text& a, std::string_view b) noexcept { return a.view() <=> b; }
  friend std::ostream& operator<<(std::ostream& out, const Text& text);

 private:
  static_assert(std::endian::native == std::endian::little, "the inline form keeps its tag in the low byte");
  static constexpr std::uintptr_t inlineBit = 1;                        // blocks are aligned, so a pointer has it clear
  static constexpr std::size_t maxInline = sizeof(std::uintptr_t) - 2;  // a tag byte and a NUL

  struct Block {
    std::size_t sizeAndPlace;  // size << 1, low bit set when in an arena
  };
  [[nodiscard]] const Block* block() const noexcept {
    return reinterpret_cast<const Block*>(word_);  // NOLINT: the word is a block pointer
  }
  [[nodiscard]] const char* blockChars() const noexcept {
    return reinterpret_cast<const char*>(block() + 1);  // NOLINT: the text follows its header
  }
  [[nodiscard]] char* inlineChars() noexcept { return reinterpret_cast<char*>(&word_) + 1; }  // NOLINT
  [[nodiscard]] const char* inlineChars() const noexcept {
    return reinterpret_cast<const char*>(&word_) + 1;  // NOLINT: the bytes after the tag
  }
  // Copies with fixed-size moves up to 64 bytes, two that overlap as needed:
  // most texts in documents are that short, and a call to memcpy for them
  // costs more than the copy.
  static void copyBytes(char* to, std::string_view s) noexcept {
    const std::size_t n = s.size();
    const char* from = s.data();
    if (n > 64) {
      std::memcpy(to, from, n);
    } else if (n > 32) {
      std::memcpy(to, from, 32);
      std::memcpy(to + n - 32, from + n - 32, 32);
    } else if (n > 16) {
      std::memcpy(to, from, 16);
      std::memcpy(to + n - 16, from + n - 16, 16);
    } else if (n >= 8) {
      std::memcpy(to, from, 8);
      std::memcpy(to + n - 8, from + n - 8, 8);
    } else {
      copyShort(to, s);
    }
  }
  // Copies up to maxInline bytes with fixed-size moves.
  static void copyShort(char* to, std::string_view s) noexcept {
    const std::size_t n = s.size();
    if (n >= 4) {
      std::memcpy(to, s.data(), 4);
      std::memcpy(to + n - 4, s.data() + n - 4, 4);
    } else if (n >= 2) {
      std::memcpy(to, s.data(), 2);
      std::memcpy(to + n - 2, s.data() + n - 2, 2);
    } else if (n == 1) {
      to[0] = s[0];
    }
  }
  [[gnu::noinline]] static std::uintptr_t longWord(std::string_view s, TreeArena* arena) {
    return Text(s, arena).release();
  }
  std::uintptr_t release() noexcept { return std::exchange(word_, 0); }
  // A text leaving its tree's arena is copied to the heap. Kept out of line:
  // moves are hot and this path is rare, and inlined into a move from a
  // just-built short text it leads GCC to warn of bounds the branch never
  // reaches.
  [[gnu::noinline]] static std::uintptr_t heapCopy(const Text& other) { return Text(other.view(), nullptr).release(); }
  void reset() noexcept {
    if ((word_ & inlineBit) == 0 && word_ != 0 && (block()->sizeAndPlace & 1) == 0) {
      ::operator delete(reinterpret_cast<void*>(word_));  // NOLINT: the word is a heap block
    }
    word_ = 0;
  }

  std::uintptr_t word_ = 0;
};

}  // namespace Keel
