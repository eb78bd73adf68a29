#include "Plinth/inventory/file_url.h"

#include <utility>

namespace Plinth {
namespace {

std::uint64_t measure(const Keel::URL& url, const SizeWalk& walk) {
  switch (IOUtilities::pathType(url.path())) {
    case PathType::invalid:
      return 0;
    case PathType::file:
      return IOUtilities::fileSize(url);
    case PathType::directory:
      return IOUtilities::folderSize(url, walk);
  }
  return 0;
}

}  // namespace

FileURL::FileURL(Keel::URL itemUrl, const SizeWalk& walk) : FileURL(itemUrl, measure(itemUrl, walk)) {}

FileURL::FileURL(Keel::URL itemUrl, std::uint64_t itemSize)
    : url(std::move(itemUrl)), size(itemSize), name(url.lastPathComponent()) {}

}  // namespace Plinth
