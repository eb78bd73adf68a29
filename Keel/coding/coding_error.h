// Errors of the coding framework (what failed, where in the document, why) and
// the CodingResult type that carries them instead of exceptions.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "Keel/core/any_value.h"
#include "Keel/core/result.h"

namespace Keel {

// One step of a coding path: a dictionary key or an array index.
struct CodingPathElement {
  std::string key;        // the key, or empty for an index
  std::size_t index = 0;  // the index when `isIndex`
  bool isIndex = false;

  static CodingPathElement ofKey(std::string k) { return {std::move(k), 0, false}; }
  static CodingPathElement ofIndex(std::size_t i) { return {{}, i, true}; }
  friend bool operator==(const CodingPathElement&, const CodingPathElement&) = default;
};

// The path from the document's root to a value, outermost first.
using CodingPath = std::vector<CodingPathElement>;

// The path as text: keys joined by ".", indices as "[n]" (for example
// "items[2].name"); the root is the empty text.
[[nodiscard]] std::string codingPathText(const CodingPath& path);

struct CodingError {
  enum class Kind {
    dataCorrupted,  // decoding: the bytes or the value do not form what was asked
    invalidValue,   // encoding: the value has no form in the target
    typeMismatch,   // decoding: a value of another kind is at the path
    keyNotFound,    // decoding: a required key is missing
  };
  CodingError() = default;
  CodingError(Kind k, CodingPath path, std::string text, std::optional<AnyValue> v = std::nullopt)
      : kind(k), codingPath(std::move(path)), description(std::move(text)), value(std::move(v)) {}

  Kind kind = Kind::dataCorrupted;
  CodingPath codingPath;
  std::string description;
  // The value that could not be encoded (invalidValue errors), when known.
  std::optional<AnyValue> value;

  // "<kind> at <path>: <description>" (the root path prints as "<root>").
  [[nodiscard]] std::string text() const;
};

[[nodiscard]] const char* codingErrorKindName(CodingError::Kind kind);

// A value or the coding error that prevented it. Never throws; reading the
// value of a failed result (or the error of a successful one) is a programming
// error that stops the process.
template <class T>
using CodingResult = Result<T, CodingError>;

// Success or the coding error: the result of operations that produce nothing.
// Success is one null pointer, so returning it from every encoded node costs a
// word; only a failure allocates.
class [[nodiscard]] CodingStatus {
 public:
  CodingStatus() = default;
  CodingStatus(CodingError error)  // NOLINT: implicit by design
      : error_(std::make_unique<CodingError>(std::move(error))) {}
  CodingStatus(const CodingStatus& other)
      : error_(other.error_ ? std::make_unique<CodingError>(*other.error_) : nullptr) {}
  CodingStatus(CodingStatus&&) noexcept = default;
  CodingStatus& operator=(CodingStatus other) noexcept {
    error_ = std::move(other.error_);
    return *this;
  }
  ~CodingStatus() = default;

  [[nodiscard]] bool ok() const { return error_ == nullptr; }
  explicit operator bool() const { return ok(); }
  // The error; a programming error (fatal) when the status is success.
  [[nodiscard]] const CodingError& error() const;

 private:
  std::unique_ptr<CodingError> error_;
};

static_assert(sizeof(CodingStatus) == sizeof(void*));

}  // namespace Keel
