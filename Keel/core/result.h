// A value or the reason there is none, for operations whose callers need to
// know why they failed: the shape of C++23's std::expected, kept small.
#pragma once

#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

namespace Keel {

// The error side of a Result, wrapped so that a result whose value and error
// have the same type (Result<std::string>) can tell one from the other.
template <class E>
struct Failure {
  E error;
};

// A failure with a reason text.
[[nodiscard]] inline Failure<std::string> failure(std::string reason) { return {std::move(reason)}; }

namespace detail {
// Stops the process: a result was read for the side it does not hold.
[[noreturn]] void badResultAccess(bool wantedValue);
}  // namespace detail

// A value of type T, or an error of type E (by default a text saying why).
// Never throws; reading the value of a failed result, or the error of a
// successful one, is a programming error that stops the process.
template <class T, class E = std::string>
class [[nodiscard]] Result {
 public:
  Result(T value) : storage_(std::in_place_index<0>, std::move(value)) {}  // NOLINT: implicit, as std::expected
  Result(Failure<E> failure)                                               // NOLINT: implicit, as std::unexpected
      : storage_(std::in_place_index<1>, std::move(failure.error)) {}
  // From the error alone, where it cannot be taken for a value.
  Result(E error) requires(!std::is_convertible_v<const E&, T>)  // NOLINT: implicit by design
      : storage_(std::in_place_index<1>, std::move(error)) {}

  [[nodiscard]] bool ok() const noexcept { return storage_.index() == 0; }
  explicit operator bool() const noexcept { return ok(); }

  [[nodiscard]] T& value() & {
    if (T* p = std::get_if<0>(&storage_)) return *p;
    detail::badResultAccess(true);
  }
  [[nodiscard]] const T& value() const& {
    if (const T* p = std::get_if<0>(&storage_)) return *p;
    detail::badResultAccess(true);
  }
  [[nodiscard]] T&& value() && { return std::move(value()); }
  [[nodiscard]] const E& error() const& {
    if (const E* p = std::get_if<1>(&storage_)) return *p;
    detail::badResultAccess(false);
  }
  [[nodiscard]] E&& error() && {
    if (E* p = std::get_if<1>(&storage_)) return std::move(*p);
    detail::badResultAccess(false);
  }
  T* operator->() { return &value(); }
  const T* operator->() const { return &value(); }
  T& operator*() & { return value(); }
  const T& operator*() const& { return value(); }
  T&& operator*() && { return std::move(value()); }

  // Holds a value equal to `value`, as std::expected compares.
  template <class U>
  requires(!std::is_same_v<U, Result> && requires(const T& t, const U& u) { t == u; }) friend bool operator==(
      const Result& result, const U& value) {
    return result.ok() && result.value() == value;
  }

 private:
  std::variant<T, E> storage_;
};

// Success with nothing to return, or why not: made empty for success and
// from a Failure otherwise.
template <class E>
class [[nodiscard]] Result<void, E> {
 public:
  Result() = default;
  Result(Failure<E> failure) : error_(std::move(failure.error)) {}  // NOLINT: implicit, as std::unexpected

  [[nodiscard]] bool ok() const noexcept { return !error_.has_value(); }
  explicit operator bool() const noexcept { return ok(); }
  [[nodiscard]] const E& error() const& {
    if (error_) return *error_;
    detail::badResultAccess(false);
  }
  // The error, or `fallback` when there is none.
  [[nodiscard]] E errorOr(E fallback) const& { return error_ ? *error_ : std::move(fallback); }

 private:
  std::optional<E> error_;
};

// The successful Result<void>, for reading at a return.
[[nodiscard]] inline Result<void> success() { return {}; }

}  // namespace Keel
