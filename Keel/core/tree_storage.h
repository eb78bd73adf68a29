// The storage of the value tree's nodes: texts, growable arrays and boxes,
// each one pointer wide so that a tree node fits in 16 bytes.
//
// A large document is mostly small nodes, so reading one is bound by the
// bytes its tree writes. With every kind one word wide, a node is a word and
// a tag, a dictionary entry a key word and a node, and a reader can put the
// arrays, dictionaries and texts of a tree into one TreeArena.
//
// Lifetimes: a container built in an arena holds one reference on it for its
// whole life, and the texts and containers inside it live at least as long.
// A text in an arena holds none, so it must not leave its container by
// plain move: moving such a text copies it to the heap. Containers move
// their own elements with the SameTree constructors, which keep arena texts
// where they are. Copies always go to the heap, so copying never pins an
// arena or writes to a sealed one.
#pragma once

#include <algorithm>
#include <atomic>
#include <bit>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <iosfwd>
#include <iterator>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
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

// Moves *from into the raw memory at `to` and ends *from; the SameTree
// constructor where the type has one.
template <class T>
void relocateElement(T* to, T& from) noexcept {
  if constexpr (std::is_constructible_v<T, T&&, SameTree>) {
    new (to) T(std::move(from), SameTree{});
  } else {
    static_assert(std::is_nothrow_move_constructible_v<T>);
    new (to) T(std::move(from));
  }
  from.~T();  // NOLINT(bugprone-use-after-move): relocation ends the moved-from element
}

// A growable array of T, one pointer wide. Built for an arena it takes its
// buffers there while the arena is open and from the heap after; it keeps
// its reference on the arena for life, since its elements may live there.
template <class T>
class TreeVector {
 public:
  // The names generic code looks for.
  // NOLINTBEGIN(readability-identifier-naming)
  using value_type = T;
  using size_type = std::size_t;
  using reference = T&;
  using const_reference = const T&;
  using iterator = T*;
  using const_iterator = const T*;
  // NOLINTEND(readability-identifier-naming)

  TreeVector() noexcept = default;
  // Empty, with room for `capacity` elements, in `arena` when not null.
  TreeVector(TreeArena* arena, std::size_t capacity) {
    if (capacity == 0) return;  // nothing will live in the arena
    if (arena != nullptr) arena->retain();
    moveTo(allocate(arena, capacity));
  }
  TreeVector(std::initializer_list<T> elements) : TreeVector(elements.begin(), elements.end()) {}
  template <class It>
  TreeVector(It first, It last) {
    reserve(static_cast<std::size_t>(std::distance(first, last)));
    for (; first != last; ++first) emplace_back(*first);
  }
  TreeVector(const TreeVector& other) : TreeVector(other.begin(), other.end()) {}
  TreeVector(TreeVector&& other) noexcept : header_(std::exchange(other.header_, nullptr)) {}
  TreeVector(TreeVector&& other, SameTree /*unused*/) noexcept : TreeVector(std::move(other)) {}
  TreeVector& operator=(const TreeVector& other) {
    if (this != &other) *this = TreeVector(other);
    return *this;
  }
  TreeVector& operator=(TreeVector&& other) noexcept {
    if (this != &other) {
      destroy();
      header_ = std::exchange(other.header_, nullptr);
    }
    return *this;
  }
  ~TreeVector() { destroy(); }

  [[nodiscard]] std::size_t size() const noexcept { return header_ == nullptr ? 0 : header_->size; }
  [[nodiscard]] std::size_t capacity() const noexcept { return header_ == nullptr ? 0 : header_->capacity; }
  [[nodiscard]] bool empty() const noexcept { return size() == 0; }
  [[nodiscard]] T* data() noexcept { return header_ == nullptr ? nullptr : elements(header_); }
  [[nodiscard]] const T* data() const noexcept { return header_ == nullptr ? nullptr : elements(header_); }
  [[nodiscard]] iterator begin() noexcept { return data(); }
  [[nodiscard]] iterator end() noexcept { return data() + size(); }
  [[nodiscard]] const_iterator begin() const noexcept { return data(); }
  [[nodiscard]] const_iterator end() const noexcept { return data() + size(); }
  [[nodiscard]] T& operator[](std::size_t i) noexcept { return data()[i]; }
  [[nodiscard]] const T& operator[](std::size_t i) const noexcept { return data()[i]; }
  [[nodiscard]] T& front() noexcept { return data()[0]; }
  [[nodiscard]] const T& front() const noexcept { return data()[0]; }
  [[nodiscard]] T& back() noexcept { return data()[size() - 1]; }
  [[nodiscard]] const T& back() const noexcept { return data()[size() - 1]; }

  // The arena this vector holds a reference on, or null.
  [[nodiscard]] TreeArena* arena() const noexcept { return header_ == nullptr ? nullptr : header_->arena; }

  void reserve(std::size_t n) {
    if (n > capacity()) moveTo(allocate(arena(), n));
  }
  template <class... Args>
  T& emplace_back(Args&&... args) {  // NOLINT(readability-identifier-naming): the standard's name
    if (size() < capacity()) {
      T* slot = new (elements(header_) + header_->size) T(std::forward<Args>(args)...);
      ++header_->size;
      return *slot;
    }
    // The new element is built before the old ones move: args may be one.
    Header* fresh = allocate(arena(), std::max<std::size_t>(4, 2 * capacity()));
    T* slot = nullptr;
    try {
      slot = new (elements(fresh) + size()) T(std::forward<Args>(args)...);
    } catch (...) {
      freeBlock(fresh);
      throw;
    }
    moveTo(fresh);
    ++header_->size;
    return *slot;
  }
  void push_back(const T& v) { emplace_back(v); }        // NOLINT(readability-identifier-naming)
  void push_back(T&& v) { emplace_back(std::move(v)); }  // NOLINT(readability-identifier-naming)
  void pop_back() noexcept {                             // NOLINT(readability-identifier-naming)
    --header_->size;
    elements(header_)[header_->size].~T();
  }
  void clear() noexcept {
    while (!empty()) pop_back();
  }
  // Removes the element at `at`, moving the later ones down within the tree.
  iterator erase(const_iterator at) noexcept {
    T* first = data();
    const auto i = static_cast<std::size_t>(at - first);
    first[i].~T();
    for (std::size_t j = i + 1; j < header_->size; ++j) relocateElement(first + j - 1, first[j]);
    --header_->size;
    return first + i;
  }
  // Keeps the elements whose index `keep` accepts, in order.
  template <class Keep>
  void keepOnly(Keep keep) noexcept {
    T* e = data();
    std::size_t kept = 0;
    for (std::size_t i = 0; i < size(); ++i) {
      if (keep(i)) {
        if (kept != i) relocateElement(e + kept, e[i]);
        ++kept;
      } else {
        e[i].~T();
      }
    }
    if (header_ != nullptr) header_->size = kept;
  }
  // Keeps the first `n` elements (n no more than size()).
  void truncate(std::size_t n) noexcept {
    while (size() > n) pop_back();
  }

  friend bool operator==(const TreeVector& a, const TreeVector& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin());
  }

 private:
  struct Header {
    TreeArena* arena;  // holds a reference when not null
    std::size_t size;
    std::size_t capacity;
  };
  static T* elements(Header* h) noexcept { return reinterpret_cast<T*>(h + 1); }  // NOLINT: elements follow
  static const T* elements(const Header* h) noexcept {
    return reinterpret_cast<const T*>(h + 1);  // NOLINT: elements follow
  }

  static Header* allocate(TreeArena* arena, std::size_t capacity) {
    static_assert(alignof(T) <= alignof(Header));
    if (capacity > (static_cast<std::size_t>(-1) - sizeof(Header)) / sizeof(T)) throw std::bad_alloc();
    const std::size_t bytes = sizeof(Header) + capacity * sizeof(T);
    void* memory = arena != nullptr ? arena->allocate(bytes, alignof(Header)) : nullptr;
    if (memory == nullptr) memory = ::operator new(bytes);
    return new (memory) Header{arena, 0, capacity};
  }
  // Relocates the elements into `fresh` and frees the old buffer.
  void moveTo(Header* fresh) noexcept {
    if (header_ != nullptr) {
      for (std::size_t i = 0; i < header_->size; ++i) relocateElement(elements(fresh) + i, elements(header_)[i]);
      fresh->size = header_->size;
      freeBlock(header_);
    }
    header_ = fresh;
  }
  static void freeBlock(Header* h) noexcept {
    if (h->arena == nullptr || !h->arena->owns(h)) ::operator delete(h);
  }
  void destroy() noexcept {
    if (header_ == nullptr) return;
    T* e = elements(header_);
    for (std::size_t i = header_->size; i > 0; --i) e[i - 1].~T();
    TreeArena* arena = header_->arena;
    freeBlock(header_);
    header_ = nullptr;
    if (arena != nullptr) arena->release();
  }

  Header* header_ = nullptr;
};

// An immutable value shared between copies, one pointer wide.
template <class T>
class Shared {
 public:
  explicit Shared(T value) : box_(new Box{{1}, std::move(value)}) {}
  Shared(const Shared& other) noexcept : box_(other.box_) { box_->references.fetch_add(1, std::memory_order_relaxed); }
  Shared(Shared&& other) noexcept : box_(std::exchange(other.box_, nullptr)) {}
  Shared& operator=(Shared other) noexcept {
    std::swap(box_, other.box_);
    return *this;
  }
  ~Shared() {
    if (box_ != nullptr && box_->references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete box_;
  }
  // Null only after the value was moved away.
  [[nodiscard]] const T* get() const noexcept { return box_ == nullptr ? nullptr : &box_->value; }
  friend bool operator==(const Shared& a, const Shared& b) {
    return a.box_ == b.box_ || (a.box_ != nullptr && b.box_ != nullptr && a.box_->value == b.box_->value);
  }

 private:
  struct Box {
    std::atomic<std::size_t> references;
    T value;
  };
  Box* box_;
};

// A value of its own on the heap, one pointer wide; copies copy the value.
template <class T>
class Boxed {
 public:
  explicit Boxed(T value) : value_(new T(std::move(value))) {}
  Boxed(const Boxed& other) : value_(new T(*other)) {}
  Boxed(Boxed&& other) noexcept : value_(std::exchange(other.value_, nullptr)) {}
  Boxed& operator=(Boxed other) noexcept {
    std::swap(value_, other.value_);
    return *this;
  }
  ~Boxed() { delete value_; }
  // A moved-from box reads as an empty value.
  [[nodiscard]] T& operator*() {
    if (value_ == nullptr) value_ = new T();
    return *value_;
  }
  [[nodiscard]] const T& operator*() const {
    static const T empty{};
    return value_ == nullptr ? empty : *value_;
  }
  friend bool operator==(const Boxed& a, const Boxed& b) { return *a == *b; }

 private:
  T* value_;
};

}  // namespace Keel
