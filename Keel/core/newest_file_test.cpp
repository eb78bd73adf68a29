// Newest-file choice with faked times and with real files.
#include "Keel/core/newest_file.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <map>
#include <string>

#include "testing/temp_dir.h"

namespace Keel {
namespace {

namespace fs = std::filesystem;
using Time = fs::file_time_type;
using namespace std::chrono_literals;

// Times for the named files; every other file is unreadable.
ModificationTimeReader fakeTimes(std::map<fs::path, Time> times) {
  return [times = std::move(times)](const fs::path& path) -> std::optional<Time> {
    const auto it = times.find(path);
    if (it == times.end()) return std::nullopt;
    return it->second;
  };
}

TEST(NewestFile, AnEmptyListGivesNothingAndUnreadableFilesRankLastButStillCount) {
  EXPECT_FALSE(newestFile({}, fakeTimes({})));
  EXPECT_FALSE(newestFile({}));
  const Time t{};
  EXPECT_EQ(newestFile({"missing"}, fakeTimes({})), fs::path("missing"));
  EXPECT_EQ(newestFile({"a", "b", "c"}, fakeTimes({})), fs::path("a"));
  EXPECT_EQ(newestFile({"gone", "old"}, fakeTimes({{"old", t - 1000h}})), fs::path("old"));
}

TEST(NewestFile, LatestWinsAndTiesGoToTheEarlierEntry) {
  const Time t{};
  const auto times = fakeTimes({{"a", t}, {"b", t + 1ns}, {"c", t + 1ns}, {"d", t - 1s}});
  EXPECT_EQ(newestFile({"a", "b", "c", "d"}, times), fs::path("b"));
  EXPECT_EQ(newestFile({"d", "c", "b", "a"}, times), fs::path("c"));
}

TEST(NewestFile, ReadsRealModificationTimesToTheNanosecond) {
  const Vantor::Testing::TempDir dir;
  const auto file = [&](const std::string& name, Time modified) {
    const fs::path path = dir.path() / name;
    std::ofstream(path) << name;
    fs::last_write_time(path, modified);
    return path;
  };
  const Time base = fs::file_time_type::clock::now() - 24h;
  const fs::path older = file("older", base);
  const fs::path newer = file("newer", base + 1ns);
  const fs::path twin = file("twin", base + 1ns);
  const fs::path missing = dir.path() / "missing";
  EXPECT_EQ(contentModificationTime(newer), base + 1ns);
  EXPECT_FALSE(contentModificationTime(missing));
  EXPECT_EQ(newestFile({missing, older, newer, twin}), newer);
  EXPECT_EQ(newestFile({twin, newer}), twin);
  EXPECT_EQ(newestFile({missing}), missing);
}

}  // namespace
}  // namespace Keel
