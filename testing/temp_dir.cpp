#include "testing/temp_dir.h"

#include <cstdlib>
#include <stdexcept>
#include <string>

namespace Vantor::Testing {

TempDir::TempDir() {
  std::string pattern = (std::filesystem::temp_directory_path() / "vantor-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  path_ = pattern;
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace Vantor::Testing
