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

#include <atomic>
#include <cstddef>
#include <utility>

#include "Keel/core/tree_text.h"
#include "Keel/core/tree_vector.h"

namespace Keel {

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
