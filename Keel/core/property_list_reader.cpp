// Property-list reading on libplist, with the guards libplist needs.
#include "Keel/core/property_list_reader.h"

#include <plist/plist.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace Keel::PropertyList {
namespace {

struct PlistFree {
  void operator()(plist_t node) const { plist_free(node); }
};
using PlistPtr = std::unique_ptr<void, PlistFree>;

ReadResult ok(AnyValue value) { return {std::move(value), {}}; }

struct FreeText {
  void operator()(void* p) const { std::free(p); }
};
using OwnedText = std::unique_ptr<char, FreeText>;

ReadResult corrupted(std::string reason) { return {std::nullopt, std::move(reason)}; }

// Converts libplist's tree; `depth` counts enclosing containers.
ReadResult build(plist_t node, std::size_t depth) {
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
      std::uint8_t b = 0;
      plist_get_bool_val(node, &b);
      return ok(AnyValue(b != 0));
    }
    case PLIST_UINT: {
      std::uint64_t u = 0;
      plist_get_uint_val(node, &u);
      // Two's complement: the reader's unsigned 64-bit value is the stored
      // signed one.
      return ok(AnyValue(static_cast<std::int64_t>(u)));
    }
    case PLIST_UID: {
      std::uint64_t u = 0;
      plist_get_uid_val(node, &u);
      return ok(AnyValue(static_cast<std::int64_t>(u)));
    }
    case PLIST_REAL: {
      double d = 0;
      plist_get_real_val(node, &d);
      return ok(AnyValue(d));
    }
    case PLIST_STRING:
    case PLIST_KEY: {
      char* raw = nullptr;
      if (plist_get_node_type(node) == PLIST_STRING) {
        plist_get_string_val(node, &raw);
      } else {
        plist_get_key_val(node, &raw);
      }
      const OwnedText text(raw);
      return ok(AnyValue(std::string(raw != nullptr ? raw : "")));
    }
    case PLIST_DATE: {
      std::int32_t seconds = 0;
      std::int32_t microseconds = 0;
      plist_get_date_val(node, &seconds, &microseconds);
      return ok(AnyValue(Date::withTimeIntervalSinceReferenceDate(static_cast<double>(seconds) + static_cast<double>(microseconds) / 1e6)));
    }
    case PLIST_DATA: {
      char* raw = nullptr;
      std::uint64_t length = 0;
      plist_get_data_val(node, &raw, &length);
      const OwnedText bytes(raw);
      const auto* begin = reinterpret_cast<const std::uint8_t*>(raw);
      return ok(AnyValue(raw != nullptr ? Data(begin, begin + length) : Data()));
    }
    case PLIST_ARRAY: {
      if (depth >= maxValueDepth) return corrupted("nested deeper than " + std::to_string(maxValueDepth) + " levels");
      const std::uint32_t n = plist_array_get_size(node);
      AnyValue::Array out;
      out.reserve(n);
      for (std::uint32_t i = 0; i < n; ++i) {
        auto child = build(plist_array_get_item(node, i), depth + 1);
        if (!child) return child;
        out.push_back(std::move(*child.value));
      }
      return ok(AnyValue(std::move(out)));
    }
    case PLIST_DICT: {
      if (depth >= maxValueDepth) return corrupted("nested deeper than " + std::to_string(maxValueDepth) + " levels");
      std::vector<TextDictionary::Entry> entries;
      entries.reserve(plist_dict_get_size(node));
      plist_dict_iter it = nullptr;
      plist_dict_new_iter(node, &it);
      const std::unique_ptr<void, FreeText> iterator(it);
      for (;;) {
        char* rawKey = nullptr;
        plist_t child = nullptr;
        plist_dict_next_item(node, it, &rawKey, &child);
        const OwnedText key(rawKey);
        if (child == nullptr) break;
        auto value = build(child, depth + 1);
        if (!value) return value;
        entries.emplace_back(std::string(rawKey != nullptr ? rawKey : ""), std::move(*value.value));
      }
      return ok(AnyValue(TextDictionary::fromEntries(std::move(entries))));
    }
    default: return corrupted("unsupported node");
  }
}

std::uint64_t bigEndian(const std::uint8_t* p, std::size_t n) {
  std::uint64_t v = 0;
  for (std::size_t i = 0; i < n; ++i) v = (v << 8) | p[i];
  return v;
}

// libplist 2.2 aborts (a failed assertion in its text getter) on a binary
// property-list string holding a NUL character. Such lists are refused before
// libplist sees them: every object the offset table names is checked, which
// is linear in the size of the input (a well-formed list's strings do not
// overlap, so more string bytes than the input holds means a malformed list,
// refused as well). True when the input may be passed on.
bool binaryStringsAreSafe(std::span<const std::uint8_t> bytes) {
  constexpr std::string_view magic = "bplist00";
  const std::size_t size = bytes.size();
  if (size < magic.size() + 32 || std::memcmp(bytes.data(), magic.data(), magic.size()) != 0) return true;
  const std::uint8_t* trailer = bytes.data() + size - 32;
  const std::size_t offsetSize = trailer[6];
  const std::uint64_t count = bigEndian(trailer + 8, 8);
  const std::uint64_t table = bigEndian(trailer + 24, 8);
  if (offsetSize == 0 || offsetSize > 8 || table >= size) return true;  // libplist refuses these itself
  const std::uint64_t entries = std::min<std::uint64_t>(count, (size - table) / offsetSize);
  std::uint64_t scanned = 0;
  for (std::uint64_t i = 0; i < entries; ++i) {
    const std::uint64_t offset = bigEndian(bytes.data() + table + i * offsetSize, offsetSize);
    if (offset >= size) continue;
    const std::uint8_t marker = bytes[offset];
    const unsigned type = marker >> 4;
    if (type != 0x5 && type != 0x6) continue;
    std::uint64_t length = marker & 0xF;
    std::uint64_t start = offset + 1;
    if (length == 0xF) {
      if (start >= size || (bytes[start] >> 4) != 0x1) continue;
      const std::size_t lengthBytes = std::size_t{1} << (bytes[start] & 0x3);
      if (start + 1 + lengthBytes > size) continue;
      length = bigEndian(bytes.data() + start + 1, lengthBytes);
      start += 1 + lengthBytes;
    }
    const std::uint64_t unit = type == 0x6 ? 2 : 1;
    const std::uint64_t end = length > (size - std::min<std::uint64_t>(start, size)) / unit ? size : start + length * unit;
    if (end > start) scanned += end - start;
    if (scanned > size) return false;
    for (std::uint64_t at = start; at + unit <= end; at += unit) {
      if (bytes[at] == 0 && (unit == 1 || bytes[at + 1] == 0)) return false;
    }
  }
  return true;
}

// The same defect through XML: a raw NUL byte or a character reference to
// NUL ("&#0;", "&#x00;") in a text. A text-format list has no business
// holding either anywhere, so the whole input is refused.
bool xmlTextIsSafe(std::span<const std::uint8_t> bytes) {
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (text.starts_with("bplist")) return true;
  if (text.find('\0') != std::string_view::npos) return false;
  for (std::size_t at = text.find("&#"); at != std::string_view::npos; at = text.find("&#", at + 2)) {
    std::size_t i = at + 2;
    const bool hex = i < text.size() && (text[i] == 'x' || text[i] == 'X');
    if (hex) ++i;
    const std::size_t digits = i;
    while (i < text.size() && text[i] == '0') ++i;
    if (i > digits && (i == text.size() || text[i] == ';' || !(hex ? std::isxdigit(static_cast<unsigned char>(text[i]))
                                                                   : std::isdigit(static_cast<unsigned char>(text[i]))))) {
      return false;
    }
  }
  return true;
}

}  // namespace

ReadResult read(std::span<const std::uint8_t> bytes) {
  if (bytes.empty() || bytes.size() >= UINT32_MAX) return corrupted("empty or too large");
  if (!binaryStringsAreSafe(bytes) || !xmlTextIsSafe(bytes)) return corrupted("text holds a NUL character");
  plist_t root = nullptr;
  plist_from_memory(reinterpret_cast<const char*>(bytes.data()), static_cast<std::uint32_t>(bytes.size()), &root);
  const PlistPtr owned(root);
  if (root == nullptr) return corrupted("unreadable");
  return build(root, 0);
}

ReadResult read(std::string_view bytes) {
  return read(std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
}

std::optional<std::string> topLevelString(std::span<const std::uint8_t> bytes, std::string_view key) {
  ReadResult tree = read(bytes);
  if (!tree) return std::nullopt;
  auto* dictionary = tree.value->getIf<TextDictionary>();
  if (dictionary == nullptr) return std::nullopt;
  AnyValue* value = dictionary->find(key);
  if (value == nullptr) return std::nullopt;
  if (auto* text = value->getIf<std::string>()) return std::move(*text);
  return std::nullopt;
}

}  // namespace Keel::PropertyList
