#include "Keel/core/url.h"

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

namespace Keel {
namespace {

constexpr std::string_view fileScheme = "file://";

bool isPathSafe(unsigned char c) {
  if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) return true;
  return std::string_view("-._~!$&'()*+,;=:@/").find(static_cast<char>(c)) != std::string_view::npos;
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// A "%" not followed by two hex digits is kept as it stands.
std::string decoded(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size()) {
      const int high = hexValue(text[i + 1]);
      const int low = hexValue(text[i + 2]);
      if (high >= 0 && low >= 0) {
        out.push_back(static_cast<char>((high << 4) | low));
        i += 2;
        continue;
      }
    }
    out.push_back(text[i]);
  }
  return out;
}

// The encoded path part: after the scheme and authority, before any query
// or fragment.
std::string_view encodedPath(std::string_view text) {
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos) return text.substr(0, text.find_first_of("?#"));
  std::string_view rest = text.substr(colon + 1);
  if (rest.starts_with("//")) {
    rest.remove_prefix(2);
    const std::size_t slash = rest.find_first_of("/?#");
    rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash);
  }
  return rest.substr(0, rest.find_first_of("?#"));
}

}  // namespace

void appendPercentEncoded(std::string& out, std::string_view text, bool (*keep)(unsigned char)) {
  static constexpr char hex[] = "0123456789ABCDEF";
  for (const char ch : text) {
    const auto c = static_cast<unsigned char>(ch);
    if (keep(c)) {
      out.push_back(ch);
    } else {
      out.push_back('%');
      out.push_back(hex[c >> 4U]);
      out.push_back(hex[c & 0xFU]);
    }
  }
}

URL URL::fileURL(std::string_view path, bool isDirectory) {
  std::string absolute;
  if (!path.starts_with('/')) {
    std::error_code error;
    absolute = std::filesystem::current_path(error).string();
    if (!absolute.ends_with('/')) absolute.push_back('/');
  }
  absolute.append(path);
  if (isDirectory && !absolute.ends_with('/')) absolute.push_back('/');
  URL url;
  url.absoluteString.reserve(fileScheme.size() + absolute.size());
  url.absoluteString.append(fileScheme);
  appendPercentEncoded(url.absoluteString, absolute, isPathSafe);
  return url;
}

bool URL::isFileURL() const {
  if (absoluteString.size() < 5) return false;
  for (std::size_t i = 0; i < 4; ++i) {
    if ((absoluteString[i] | 0x20) != "file"[i]) return false;
  }
  return absoluteString[4] == ':';
}

bool URL::hasDirectoryPath() const { return encodedPath(absoluteString).ends_with('/'); }

std::string URL::path() const {
  std::string_view encoded = encodedPath(absoluteString);
  while (encoded.size() > 1 && encoded.ends_with('/')) encoded.remove_suffix(1);
  return decoded(encoded);
}

std::string URL::lastPathComponent() const {
  const std::string whole = path();
  if (whole == "/") return whole;
  const std::size_t slash = whole.rfind('/');
  return slash == std::string::npos ? whole : whole.substr(slash + 1);
}

std::string URL::pathExtension() const {
  const std::string last = lastPathComponent();
  const std::size_t dot = last.rfind('.');
  if (dot == std::string::npos || dot == 0 || dot + 1 == last.size()) return {};
  return last.substr(dot + 1);
}

URL URL::appendingPathComponent(std::string_view component, bool isDirectory) const {
  const std::string_view text = absoluteString;
  const std::string_view pathPart = encodedPath(text);
  const std::size_t pathEnd = static_cast<std::size_t>(pathPart.data() - text.data()) + pathPart.size();
  URL url;
  url.absoluteString.assign(text.substr(0, pathEnd));
  if (!url.absoluteString.ends_with('/')) url.absoluteString.push_back('/');
  appendPercentEncoded(url.absoluteString, component, isPathSafe);
  if (isDirectory && !url.absoluteString.ends_with('/')) url.absoluteString.push_back('/');
  url.absoluteString.append(text.substr(pathEnd));
  return url;
}

URL URL::deletingLastPathComponent() const {
  const std::string_view text = absoluteString;
  const std::string_view pathPart = encodedPath(text);
  const auto pathStart = static_cast<std::size_t>(pathPart.data() - text.data());
  std::string_view trimmed = pathPart;
  while (trimmed.size() > 1 && trimmed.ends_with('/')) trimmed.remove_suffix(1);
  const std::size_t slash = trimmed.rfind('/');
  const std::string_view parent = slash == std::string_view::npos ? std::string_view() : trimmed.substr(0, slash + 1);
  URL url;
  url.absoluteString.assign(text.substr(0, pathStart));
  url.absoluteString.append(parent);
  url.absoluteString.append(text.substr(pathStart + pathPart.size()));
  return url;
}

}  // namespace Keel
