// A URL kept as its absolute text, with the file-URL operations the inventory,
// the folder permissions and the icon service reason with.
#pragma once

#include <string>
#include <string_view>

namespace Keel {

// Equality is by the whole text: "file:///tmp/a" and "file:///tmp/a/" differ,
// as a folder URL and a file URL of the same path do.
struct URL {
  std::string absoluteString;
  friend bool operator==(const URL&, const URL&) = default;

  // The file URL of `path`. A relative path is taken from the current folder.
  // A directory URL ends with "/"; a path that ends with "/" is a directory
  // URL whatever `isDirectory` says. Bytes outside the path-safe set
  // (letters, digits, "-._~!$&'()*+,;=:@/") are percent-encoded, so a space
  // becomes "%20" and the text stays one line whatever the name holds.
  [[nodiscard]] static URL fileURL(std::string_view path, bool isDirectory = false);

  [[nodiscard]] bool isFileURL() const;
  // Whether the path ends with "/".
  [[nodiscard]] bool hasDirectoryPath() const;
  // The percent-decoded path, without a trailing "/" (except for the root):
  // fileURL("/a b/").path() is "/a b". The empty text when there is none.
  [[nodiscard]] std::string path() const;
  // The last component of path(): "/" for the root, "" for an empty path.
  [[nodiscard]] std::string lastPathComponent() const;
  // The text after the last "." of the last component, or "" when it has
  // none or only a leading one (".profile" has no extension).
  [[nodiscard]] std::string pathExtension() const;
  // This URL with one more component; `component` may not hold "/".
  [[nodiscard]] URL appendingPathComponent(std::string_view component, bool isDirectory = false) const;
  // This URL less its last component, as a directory URL ("/a/b" -> "/a/").
  [[nodiscard]] URL deletingLastPathComponent() const;
};

// Appends `text` to `out` with every byte that `keep` refuses written as
// "%XX" (upper-case hex): the one percent-encoder for paths and queries.
void appendPercentEncoded(std::string& out, std::string_view text, bool (*keep)(unsigned char));

}  // namespace Keel
