// A folder of its own for one test, removed with everything in it. Header
// only, so that tests of the lowest layers can use it without linking the
// rest of the testing library.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace Vantor::Testing {

class TempDir {
 public:
  // A new, empty, uniquely named folder under the system's temp folder.
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vantor-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace Vantor::Testing
