// main() of the Qt test binaries: one QApplication for the whole run, on the
// offscreen platform unless the environment names another (the display tests
// run under xvfb-run with xcb), with a private 0700 runtime folder when the
// environment has none, as Qt wants one.
#include <gtest/gtest.h>

#include <QApplication>
#include <cstdlib>
#include <filesystem>
#include <string>

// Qt's libraries are not built with the sanitizers: ThreadSanitizer cannot see
// their atomics (shared strings copied between Qt's own threads, such as the
// file dialog's information gatherer), and Qt's D-Bus module keeps its
// connection and exported objects to the end of the process. Only these
// libraries' own frames are excused; the sanitizers pick the lists up by name.
extern "C" const char*
__tsan_default_suppressions() {  // NOLINT(bugprone-reserved-identifier,readability-identifier-naming)
  return "race:libQt6Core.so\nrace:libQt6Gui.so\nrace:libQt6Widgets.so\n";
}
extern "C" const char*
__lsan_default_suppressions() {  // NOLINT(bugprone-reserved-identifier,readability-identifier-naming)
  return "leak:libQt6DBus.so\n";
}

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
