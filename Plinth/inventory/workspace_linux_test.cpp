// The process-table walk over a fake /proc.
#include "Plinth/inventory/workspace_linux.h"

#include <gtest/gtest.h>

#include <fstream>

#include "Plinth/inventory/apps.h"
#include "testing/bundle_builder.h"
#include "testing/temp_dir.h"

namespace Plinth {
namespace {

namespace fs = std::filesystem;

class FakeProcTest : public ::testing::Test {
 protected:
  Vantor::Testing::TempDir dir;
  fs::path proc = dir.path() / "proc";

  void SetUp() override { fs::create_directories(proc); }

  void process(int pid, const std::string& exeTarget) {
    fs::create_directories(proc / std::to_string(pid));
    fs::create_symlink(exeTarget, proc / std::to_string(pid) / "exe");
  }
  fs::path bundle(const std::string& name, const std::string& identifier, bool binary = false) {
    const fs::path path = dir.path() / "Apps" / (name + ".app");
    fs::create_directories(path / "Contents" / "MacOS");
    std::ofstream(path / "Contents" / "Info.plist", std::ios::binary)
        << Vantor::Testing::infoPlist({{"CFBundleIdentifier", identifier}}, binary);
    return path / "Contents" / "MacOS" / name;
  }
};

TEST_F(FakeProcTest, ProcessesInWellFormedBundlesCarryTheirIdentifier) {
  process(300, bundle("Vantor", "com.brenwick.vantor").string());
  process(20, bundle("Binary", "org.example.binary", true).string());
  process(7, "/usr/bin/sleep");
  fs::create_directories(proc / "2");  // a kernel thread: no exe link
  fs::create_directories(proc / "self");
  std::ofstream(proc / "uptime") << "1 1";
  const fs::path broken = dir.path() / "Broken.app" / "Contents" / "MacOS" / "Broken";
  fs::create_directories(broken.parent_path());
  std::ofstream(broken.parent_path().parent_path() / "Info.plist") << "<plist><dict><key>CFBund";
  process(1, broken.string());
  process(3, "/Contents/MacOS/x");
  process(4, "relative");
  process(5, (dir.path() / "NoPlist.app" / "Contents" / "MacOS" / "x").string());

  const auto apps = LinuxWorkspace(proc).runningApplications();
  ASSERT_EQ(apps.size(), 7u);
  for (std::size_t i = 0; i < 5; ++i) EXPECT_FALSE(apps[i].bundleIdentifier.has_value()) << apps[i].processIdentifier;
  EXPECT_EQ(apps[4].processIdentifier, 7);
  EXPECT_EQ(apps[5].bundleIdentifier, "org.example.binary");
  EXPECT_EQ(apps[6].bundleIdentifier, "com.brenwick.vantor");
  EXPECT_EQ(apps[6].bundlePath, dir.path() / "Apps" / "Vantor.app");
}

TEST_F(FakeProcTest, InterpretersCountForTheBundledScriptTheyRun) {
  // Arguments as the kernel lists them: each ends with a NUL, unless cut off.
  const auto withArguments = [&](int pid, const std::vector<std::string>& arguments, bool cutOff = false) {
    process(pid, "/usr/bin/python3.11");
    std::string line;
    for (const auto& a : arguments) line += a + '\0';
    if (cutOff) line.pop_back();
    std::ofstream(proc / std::to_string(pid) / "cmdline", std::ios::binary) << line;
    fs::create_symlink(dir.path(), proc / std::to_string(pid) / "cwd");
  };
  const std::string script = bundle("Script", "org.example.script").string();
  withArguments(10, {"python3", "-u", script, "--flag"});
  withArguments(11, {"sh", "./Apps/Script.app/Contents/MacOS/run"});  // relative to its current folder
  withArguments(12, {"sleep", "600"});
  withArguments(13, {script});  // the program name is not a script argument
  withArguments(14, {"sh", script}, true);

  const auto apps = LinuxWorkspace(proc).runningApplications();
  ASSERT_EQ(apps.size(), 5u);
  EXPECT_EQ(apps[0].bundleIdentifier, "org.example.script");
  EXPECT_EQ(apps[0].bundlePath, dir.path() / "Apps" / "Script.app");
  EXPECT_EQ(apps[1].bundleIdentifier, "org.example.script");
  for (std::size_t i = 2; i < apps.size(); ++i)
    EXPECT_FALSE(apps[i].bundlePath.has_value()) << apps[i].processIdentifier;
}

TEST_F(FakeProcTest, ReplacedExecutablesStillCountAndAMissingTableMeansNothingRuns) {
  process(5, bundle("Vantor", "com.brenwick.vantor").string() + " (deleted)");
  EXPECT_TRUE(Apps::isRunning("com.brenwick.vantor", LinuxWorkspace(proc)));
  EXPECT_FALSE(Apps::isRunning("com.brenwick.vantor", LinuxWorkspace(dir.path() / "absent")));
}

}  // namespace
}  // namespace Plinth
