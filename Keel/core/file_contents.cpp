#include "Keel/core/file_contents.h"

#include <cstdio>
#include <memory>

namespace Keel {
namespace {

struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};

template <typename Container>
std::optional<Container> readAll(const std::filesystem::path& path) {
  std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "rbe"));
  if (!file) return std::nullopt;
  Container out;
  char chunk[16384];
  for (;;) {
    const std::size_t n = std::fread(chunk, 1, sizeof chunk, file.get());
    out.insert(out.end(), chunk, chunk + n);
    if (n < sizeof chunk) break;
  }
  // A folder opens but fails on read; a failed read is no content at all.
  if (std::ferror(file.get())) return std::nullopt;
  return out;
}

}  // namespace

std::optional<std::vector<std::uint8_t>> readFileBytes(const std::filesystem::path& path) {
  return readAll<std::vector<std::uint8_t>>(path);
}

std::optional<std::string> readFileText(const std::filesystem::path& path) { return readAll<std::string>(path); }

}  // namespace Keel
