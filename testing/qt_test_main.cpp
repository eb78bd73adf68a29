// main() of the Qt test binaries: one QApplication for the whole run, on the
// offscreen platform unless the environment names another (the display tests
// run under xvfb-run with xcb), with a private 0700 runtime folder when the
// environment has none, as Qt wants one.
#include <gtest/gtest.h>

#include <QApplication>
#include <cstdlib>
#include <filesystem>
#include <string>

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  setenv("QT_QPA_PLATFORM", "offscreen", 0);
  std::string runtime;
  if (std::getenv("XDG_RUNTIME_DIR") == nullptr) {  // NOLINT(concurrency-mt-unsafe): before any thread
    std::string pattern = (std::filesystem::temp_directory_path() / "vantor-qt-XXXXXX").string();
    if (mkdtemp(pattern.data()) != nullptr) {  // mkdtemp makes it 0700
      runtime = pattern;
      setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
    }
  }
  int status = 0;
  {
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    status = RUN_ALL_TESTS();
  }
  if (!runtime.empty()) {
    std::error_code error;
    std::filesystem::remove_all(runtime, error);
  }
  return status;
}
