// Whole files as text, for tests that write inputs and read what a program
// wrote. Header only, like temp_dir.h.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace Vantor::Testing {

// The file's bytes; empty when it cannot be read.
inline std::string fileText(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Writes `text` as the whole file, making the folders above it first.
inline void writeText(const std::filesystem::path& path, const std::string& text) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

}  // namespace Vantor::Testing
