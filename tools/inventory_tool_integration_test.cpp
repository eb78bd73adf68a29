// vantor-inventory run as a user would: on the sample tree, for sizes, and
// interrupted.
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

#include "Keel/coding/json.h"
#include "testing/child_process.h"
#include "testing/file_text.h"
#include "testing/temp_dir.h"

namespace Vantor::Tools {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

using Testing::fileText;

class InventoryToolTest : public ::testing::Test {
 protected:
  struct Run {
    int status = -1;
    std::string out;
    std::string err;
  };
  Run run(std::vector<std::string> argv) {
    Testing::ChildProcess child({std::move(argv), {}, temp.path() / "out", temp.path() / "err"});
    const int status = child.waitForExit(60s).value_or(-1);
    return {status, fileText(temp.path() / "out"), fileText(temp.path() / "err")};
  }
  Testing::TempDir temp;
};

TEST_F(InventoryToolTest, ListsTheSampleTreeAsATableAndAsJSON) {
  const fs::path sample = temp.path() / "Applications";
  ASSERT_EQ(run({VANTOR_SAMPLE_TREE_SCRIPT, sample}).status, 0);
  const Run table = run({VANTOR_INVENTORY_BINARY, "--root", sample});
  EXPECT_EQ(table.status, 0) << table.err;
  EXPECT_EQ(table.err, "");  // no progress when stderr is no terminal
  EXPECT_EQ(table.out,
            "NAME        IDENTIFIER              VERSION  SIZE      CONTAINED\n"
            "Calculator  com.apple.calculator    11.0     800.5 KB  -\n"
            "Disk Gauge  org.example.diskgauge   -        640.4 KB  -\n"
            "Ledger      com.example.ledger      1.0      5.2 MB    -\n"
            "Puzzle      com.example.puzzle      0.9      1.5 MB    -\n"
            "Sketchbook  com.example.sketchbook  3.2.1    3.1 MB    Sketchbook Helper, Shareex\n");

  const Run json = run({VANTOR_INVENTORY_BINARY, "--root", sample, "--skip-apple", "--json"});
  ASSERT_EQ(json.status, 0) << json.err;
  const auto tree = Keel::JSON::parse(json.out);
  ASSERT_TRUE(tree) << json.out;
  const auto& apps = tree.value().template as<Keel::AnyValue::Array>();
  ASSERT_EQ(apps.size(), 4U);
  const auto& sketchbook = apps[3].as<Keel::TextDictionary>();
  EXPECT_EQ(sketchbook.find("identifier")->as<Keel::Text>(), "com.example.sketchbook");
  EXPECT_EQ(sketchbook.find("containedApps")->as<Keel::AnyValue::Array>().size(), 2U);
  const auto& icon = sketchbook.find("icon")->as<Keel::TextDictionary>();
  EXPECT_EQ(icon.find("source")->as<Keel::Text>(),
            (sample / "Sketchbook.app/Contents/Resources/Sketchbook.icns").string());

  const Run sizes = run({VANTOR_INVENTORY_BINARY, "--size", (sample / "Ledger.app").string()});
  EXPECT_EQ(sizes.status, 0) << sizes.err;
  EXPECT_EQ(sizes.out, "5.2 MB  5200463 bytes  " + (sample / "Ledger.app").string() + "\n");
  EXPECT_EQ(run({VANTOR_INVENTORY_BINARY, "--size"}).status, 2);
  EXPECT_EQ(run({VANTOR_INVENTORY_BINARY, "extra"}).status, 2);
}

// Missing or unreadable entries are never reported as empty: one line on
// stderr, exit 1, and what could be measured still printed.
TEST_F(InventoryToolTest, WhatCannotBeReadIsAnErrorNamedOnOneLine) {
  const fs::path folder = temp.path() / "folder";
  Testing::writeText(folder / "open/f", "123");
  Testing::writeText(folder / "locked/f", "12345");
  fs::permissions(temp.path(), fs::perms::all);  // others may enter, to reach the locked folder
  fs::permissions(folder / "locked", fs::perms::none);

  const Run missing = run({VANTOR_INVENTORY_BINARY, "--size", "/nonexistent"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.out, "");
  EXPECT_EQ(missing.err, "vantor-inventory: could not read /nonexistent (No such file or directory)\n");

  // Root reads every folder; another user cannot enter the locked one.
  std::vector<std::string> command = {VANTOR_INVENTORY_BINARY, "--size", folder.string(), "/nonexistent"};
  if (::geteuid() == 0)
    command.insert(command.begin(), {"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"});
  const Run partial = run(command);
  EXPECT_EQ(partial.status, 1);
  EXPECT_EQ(partial.out, "3 bytes  3 bytes  " + folder.string() + "\n");
  EXPECT_EQ(partial.err, "vantor-inventory: could not read 2 entries: " + (folder / "locked").string() +
                             " (Permission denied), /nonexistent (No such file or directory)\n");

  const Run noRoot = run({VANTOR_INVENTORY_BINARY, "--root", "/nonexistent"});
  EXPECT_EQ(noRoot.status, 1);
  EXPECT_EQ(noRoot.out, "");
  EXPECT_EQ(noRoot.err, "vantor-inventory: cannot read the folder '/nonexistent': No such file or directory\n");
}

bool catchesInterrupt(int pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("SigCgt:", 0) == 0) return (std::stoull(line.substr(7), nullptr, 16) & (1ULL << (SIGINT - 1))) != 0;
  }
  return false;
}

TEST_F(InventoryToolTest, CtrlCStopsTheMeasurementAndPrintsNothingMore) {
  // The sample folder measured many times over takes far longer than the
  // signal takes to come.
  const fs::path sample = temp.path() / "Applications";
  ASSERT_EQ(run({VANTOR_SAMPLE_TREE_SCRIPT, sample}).status, 0);
  std::vector<std::string> argv = {VANTOR_INVENTORY_BINARY, "--size"};
  argv.insert(argv.end(), 20000, sample.string());
  Testing::ChildProcess child({argv, {}, temp.path() / "out", temp.path() / "err"});
  ASSERT_TRUE(Testing::waitUntil([&] { return catchesInterrupt(child.pid()); }, 10s));
  child.kill(SIGINT);
  EXPECT_EQ(child.waitForExit(30s), 130);
  EXPECT_EQ(fileText(temp.path() / "out"), "");
  EXPECT_EQ(fileText(temp.path() / "err"), "vantor-inventory: interrupted\n");
}

}  // namespace
}  // namespace Vantor::Tools
