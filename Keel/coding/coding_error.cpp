// Texts of coding errors and paths.
#include "Keel/coding/coding_error.h"

#include "Keel/core/fatal_error.h"

namespace Keel {

std::string codingPathText(const CodingPath& path) {
  std::string text;
  for (const auto& element : path) {
    if (element.isIndex) {
      text += '[' + std::to_string(element.index) + ']';
    } else {
      if (!text.empty()) text += '.';
      text += element.key;
    }
  }
  return text;
}

const char* codingErrorKindName(CodingError::Kind kind) {
  switch (kind) {
    case CodingError::Kind::dataCorrupted:
      return "dataCorrupted";
    case CodingError::Kind::invalidValue:
      return "invalidValue";
    case CodingError::Kind::typeMismatch:
      return "typeMismatch";
    case CodingError::Kind::keyNotFound:
      return "keyNotFound";
  }
  return "unknown";
}

std::string CodingError::text() const {
  const std::string path = codingPathText(codingPath);
  return std::string(codingErrorKindName(kind)) + " at " + (path.empty() ? "<root>" : path) + ": " + description;
}

const CodingError& CodingStatus::error() const {
  if (!error_) detail::badResultAccess(false);
  return *error_;
}

}  // namespace Keel
