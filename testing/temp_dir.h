// A folder of its own for one test, removed with everything in it.
#pragma once

#include <filesystem>

namespace Vantor::Testing {

class TempDir {
 public:
  TempDir();  // a new, empty, uniquely named folder under the system's temp folder
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace Vantor::Testing
