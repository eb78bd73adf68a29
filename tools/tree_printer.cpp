#include "tools/tree_printer.h"

#include <chrono>
#include <cmath>
#include <cstdio>

namespace Vantor::Tools {
namespace {

using Kind = Keel::AnyValue::Kind;

const char* kindName(Kind kind) {
  switch (kind) {
    case Kind::null:
      return "null";
    case Kind::boolean:
      return "boolean";
    case Kind::int8:
      return "int8";
    case Kind::int16:
      return "int16";
    case Kind::int32:
      return "int32";
    case Kind::int64:
      return "int64";
    case Kind::uint8:
      return "uint8";
    case Kind::uint16:
      return "uint16";
    case Kind::uint32:
      return "uint32";
    case Kind::uint64:
      return "uint64";
    case Kind::float32:
      return "float32";
    case Kind::float64:
      return "float64";
    case Kind::text:
      return "text";
    case Kind::array:
      return "array";
    case Kind::dictionary:
    case Kind::hashedDictionary:
      return "dictionary";
    case Kind::boxedNumber:
      return "boxed number";
    case Kind::date:
      return "date";
    case Kind::url:
      return "url";
    case Kind::data:
      return "data";
  }
  return "value";
}

std::string count(std::size_t n, const char* one, const char* many) {
  return std::to_string(n) + " " + (n == 1 ? one : many);
}

std::string dataText(const Keel::Data& data) {
  constexpr std::size_t shownBytes = 32;
  static constexpr char hexDigits[] = "0123456789abcdef";
  std::string out = "(" + count(data.size(), "byte", "bytes") + ")";
  if (data.empty()) return out;
  out += ' ';
  for (std::size_t i = 0; i < data.size() && i < shownBytes; ++i) {
    out += hexDigits[data[i] >> 4];
    out += hexDigits[data[i] & 0xF];
  }
  if (data.size() > shownBytes) out += "...";
  return out;
}

// The value's own line after its label, without the line break.
std::string scalarLine(const Keel::AnyValue& value) {
  switch (value.kind()) {
    case Kind::array:
      return "array (" + count(value.as<Keel::AnyValue::Array>().size(), "element", "elements") + ")";
    case Kind::dictionary:
      return "dictionary (" + count(value.as<Keel::AnyValue::Dictionary>().size(), "entry", "entries") + ")";
    case Kind::hashedDictionary:
      return "dictionary (" + count(value.hashedDictionary()->size(), "entry", "entries") + ")";
    case Kind::null:
      return "null";
    case Kind::text:
      return "text " + quotedText(value.as<Keel::Text>());
    case Kind::url:
      return "url " + quotedText(value.url()->absoluteString);
    case Kind::date:
      return "date " + dateText(value.as<Keel::Date>());
    case Kind::data:
      return "data " + dataText(value.as<Keel::Data>());
    case Kind::boxedNumber:
      return "boxed number (" + value.boxedNumber()->typeCode + ") " + Keel::describe(value);
    default:
      return std::string(kindName(value.kind())) + " " + Keel::describe(value);
  }
}

void printValue(std::string& out, const std::string& label, const Keel::AnyValue& value, std::size_t depth) {
  out.append(2 * depth, ' ');
  if (!label.empty()) out += label + ": ";
  out += scalarLine(value);
  out += '\n';
  if (const auto* array = value.getIf<Keel::AnyValue::Array>()) {
    for (std::size_t i = 0; i < array->size(); ++i) {
      printValue(out, "[" + std::to_string(i) + "]", (*array)[i], depth + 1);
    }
  } else if (const auto* dictionary = value.getIf<Keel::AnyValue::Dictionary>()) {
    for (const auto& [key, member] : *dictionary) printValue(out, quotedText(key), member, depth + 1);
  } else if (const auto* hashed = value.hashedDictionary()) {
    // Keys of any kind: a container key shows only its kind and size.
    for (const auto& [key, member] : *hashed) printValue(out, scalarLine(key), member, depth + 1);
  }
}

}  // namespace

std::string quotedText(std::string_view text) {
  std::string out = "\"";
  for (const char c : text) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20 || c == '\x7F') {
          char escape[8];
          std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(static_cast<unsigned char>(c)));
          out += escape;
        } else {
          out += c;
        }
    }
  }
  return out + "\"";
}

std::string dateText(const Keel::Date& date) {
  using namespace std::chrono;
  const double since1970 = date.timeIntervalSince1970();
  // Years 1 to 9999, so that the text keeps its four-digit shape.
  constexpr double earliestSeconds = -62135596800.0;
  constexpr double latestSeconds = 253402300800.0;
  if (!std::isfinite(since1970) || since1970 < earliestSeconds || since1970 >= latestSeconds)
    return Keel::describe(date);
  const double wholeSeconds = std::floor(since1970);
  auto micros = static_cast<long long>(std::llround((since1970 - wholeSeconds) * 1e6));
  auto seconds = static_cast<long long>(wholeSeconds);
  if (micros == 1000000) {
    micros = 0;
    ++seconds;
  }
  const sys_seconds instant{std::chrono::seconds(seconds)};
  const auto day = floor<days>(instant);
  const year_month_day ymd{day};
  const hh_mm_ss<std::chrono::seconds> time{instant - day};
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%04d-%02u-%02uT%02lld:%02lld:%02lld", static_cast<int>(ymd.year()),
                static_cast<unsigned>(ymd.month()), static_cast<unsigned>(ymd.day()),
                static_cast<long long>(time.hours().count()), static_cast<long long>(time.minutes().count()),
                static_cast<long long>(time.seconds().count()));
  std::string out = buffer;
  if (micros != 0) {
    std::snprintf(buffer, sizeof buffer, ".%06lld", micros);
    std::string fraction = buffer;
    while (fraction.ends_with('0')) fraction.pop_back();
    out += fraction;
  }
  return out + "Z";
}

std::string printTree(const Keel::AnyValue& tree) {
  std::string out;
  printValue(out, "", tree, 0);
  return out;
}

}  // namespace Vantor::Tools
