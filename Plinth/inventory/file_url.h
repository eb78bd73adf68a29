// A file or folder with its size and a selection flag, as a list of removable
// items shows it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "Keel/core/url.h"
#include "Plinth/inventory/io_utilities.h"

namespace Plinth {

// Entries are shared by reference: lists and records hold
// std::shared_ptr<FileURL>, so a selection made through one holder is seen by
// every other.
class FileURL {
 public:
  // Measures the item now: 0 when nothing is there, the file's size, or the
  // folder's total (IOUtilities::folderSize).
  explicit FileURL(Keel::URL url, const SizeWalk& walk = {});
  // An entry whose size is already known.
  FileURL(Keel::URL url, std::uint64_t size);

  [[nodiscard]] static std::shared_ptr<FileURL> make(Keel::URL url, const SizeWalk& walk = {}) {
    return std::make_shared<FileURL>(std::move(url), walk);
  }

  Keel::URL url;
  std::uint64_t size = 0;
  std::string name;  // the URL's last path component
  bool isSelected = false;
};

using FileURLs = std::vector<std::shared_ptr<FileURL>>;

}  // namespace Plinth
