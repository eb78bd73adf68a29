// Version texts (such as 2.10.1) ordered numerically, so that 2.10 sorts after
// 2.9, and the running application's own marketing version.
#pragma once

#include <string>
#include <string_view>

namespace Keel {

class Bundle;

// The outcome of comparing a left text against a right one.
enum class VersionOrder { ascending = -1, same = 0, descending = 1 };

// Compares two whole texts without locale, case-sensitively:
//  - walking both from the start, where both sides stand at a maximal run of
//    ASCII digits the runs compare by numeric value (runs of any length, no
//    overflow); every other character compares literally in UTF-16 code-unit
//    order, so a dot, sign or letter is never part of a number;
//  - the first difference decides; a text that runs out first, with all
//    before it equal, sorts first (so 1 < 1.0 < 1.0.0, and 1.0 < 1.0b2).
// Digit runs of equal value but different spelling are the same: 01 equals
// 1, and 1.01 equals 1.1. Equality is therefore an equivalence (same text
// after dropping leading zeros of each digit run), and the order stays a
// strict weak order. Never fails; any bytes are accepted.
[[nodiscard]] VersionOrder compareVersionTexts(std::string_view left, std::string_view right) noexcept;

// A version text kept exactly as given (never trimmed, split or checked) and
// ordered by compareVersionTexts.
//
// Value semantics: a Version is an ordinary copyable value, and the only
// equality it has is its own ==, which is the numeric comparison (so 1.01 ==
// 1.1 although the texts differ). There is deliberately no std::hash: a hash
// consistent with that equality would have to normalise the text, and the
// type stays a thin wrapper that never interprets it. Keep versions in
// ordered containers, or key hashed ones by string().
class Version {
 public:
  // There is no version without a text.
  Version() = delete;

  // Stores `string` unchanged; any text, including the empty text, is accepted.
  explicit Version(std::string string) : string_(std::move(string)) {}

  // The text exactly as given.
  [[nodiscard]] const std::string& string() const noexcept { return string_; }

  // The printable form: the text itself, with nothing added.
  [[nodiscard]] const std::string& description() const noexcept { return string_; }

  // The numeric comparison of this text against `other`'s.
  [[nodiscard]] VersionOrder compare(const Version& other) const noexcept {
    return compareVersionTexts(string_, other.string_);
  }

  friend bool operator<(const Version& left, const Version& right) noexcept {
    return left.compare(right) == VersionOrder::ascending;
  }
  friend bool operator>(const Version& left, const Version& right) noexcept {
    return left.compare(right) == VersionOrder::descending;
  }
  friend bool operator==(const Version& left, const Version& right) noexcept {
    return left.compare(right) == VersionOrder::same;
  }
  // Both derived from < alone.
  friend bool operator<=(const Version& left, const Version& right) noexcept { return !(right < left); }
  friend bool operator>=(const Version& left, const Version& right) noexcept { return !(left < right); }

 private:
  std::string string_;
};

// The text under "CFBundleShortVersionString" in `bundle`'s Info.plist, or
// "Unknown Version" when the file or the key is missing or the value is not
// text. Reads the file on every call. Wrap it in Version to compare it.
[[nodiscard]] std::string applicationVersion(const Bundle& bundle);

// The same for the running process's main bundle; "Unknown Version" when the
// process has no readable bundle.
[[nodiscard]] std::string applicationVersion();

}  // namespace Keel
