// A value or the one-line reason there is none: how the login item's and the
// tools' building blocks report failures that end up as a command's error line.
#pragma once

#include <optional>
#include <string>
#include <utility>

namespace Vantor {

template <class T>
class [[nodiscard]] Outcome {
 public:
  Outcome(T value) : value_(std::move(value)) {}  // NOLINT: implicit, like a returned value
  [[nodiscard]] static Outcome failure(std::string reason) { return Outcome(std::nullopt, std::move(reason)); }

  [[nodiscard]] bool ok() const { return value_.has_value(); }
  explicit operator bool() const { return ok(); }
  // The value; only meaningful when ok().
  [[nodiscard]] T& value() { return *value_; }
  [[nodiscard]] const T& value() const { return *value_; }
  // The reason; empty when ok().
  [[nodiscard]] const std::string& error() const { return error_; }

 private:
  Outcome(std::nullopt_t, std::string reason) : error_(std::move(reason)) {}
  std::optional<T> value_;
  std::string error_;
};

}  // namespace Vantor
