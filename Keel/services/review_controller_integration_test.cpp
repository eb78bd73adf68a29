// The default rating prompt hands the appstream:// page to whatever the
// desktop registered for that scheme: here a handler of the test's own.
#include "Keel/services/review_controller.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>

#include "testing/child_process.h"
#include "testing/file_text.h"
#include "testing/temp_dir.h"

namespace Keel {
namespace {

using Vantor::Testing::fileText;
using Vantor::Testing::writeText;

TEST(ReviewControllerPrompt, OpensTheApplicationsPageWithTheSchemesDefaultHandler) {
  Vantor::Testing::TempDir dir;
  const auto opened = dir.path() / "opened";
  writeText(dir.path() / "data" / "applications" / "software-centre.desktop",
            "[Desktop Entry]\nType=Application\nName=Software centre\nExec=/bin/sh -c 'printf %s \"$0\" > " +
                opened.string() + "' %u\nMimeType=x-scheme-handler/appstream;\n");
  writeText(dir.path() / "config" / "mimeapps.list",
            "[Default Applications]\nx-scheme-handler/appstream=software-centre.desktop\n");
  // GIO reads these folders on its first look-up, which this is.
  setenv("XDG_DATA_HOME", (dir.path() / "data").c_str(), 1);
  setenv("XDG_CONFIG_HOME", (dir.path() / "config").c_str(), 1);
  setenv("XDG_DATA_DIRS", (dir.path() / "none").c_str(), 1);

  ASSERT_TRUE(ReviewController::openRatingPage("com.brenwick.vantor"));
  EXPECT_TRUE(Vantor::Testing::waitUntil([&] { return fileText(opened) == "appstream://com.brenwick.vantor"; },
                                         std::chrono::seconds(10)))
      << fileText(opened);
}

}  // namespace
}  // namespace Keel
