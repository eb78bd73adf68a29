// An image as the encoded bytes of one file (PNG, SVG, ICNS, ...). The
// services that find images (icons, resources) stay free of any toolkit;
// a toolkit decodes the bytes when it draws them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Plinth {

class Image {
 public:
  // The contents of the regular file at `path`, or absent when it cannot be
  // read, is empty or is larger than maxFileSize.
  [[nodiscard]] static std::optional<Image> fromFile(std::string_view path);
  // Bytes made in memory; `sourcePath` names where they came from, if anywhere.
  [[nodiscard]] static Image fromData(std::vector<std::uint8_t> bytes, std::string sourcePath = {});

  static constexpr std::size_t maxFileSize = std::size_t{64} * 1024 * 1024;

  // Copies share the bytes.
  [[nodiscard]] const std::vector<std::uint8_t>& data() const { return *data_; }
  [[nodiscard]] const std::string& sourcePath() const { return sourcePath_; }

  // Same bytes (wherever they came from).
  friend bool operator==(const Image& a, const Image& b) { return a.data_ == b.data_ || *a.data_ == *b.data_; }

 private:
  Image(std::shared_ptr<const std::vector<std::uint8_t>> data, std::string sourcePath)
      : data_(std::move(data)), sourcePath_(std::move(sourcePath)) {}
  std::shared_ptr<const std::vector<std::uint8_t>> data_;
  std::string sourcePath_;
};

}  // namespace Plinth
