// Newest-file choice with faked times and with real files.
#include "Keel/core/newest_file.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <map>
#include <random>
#include <string>

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

TEST(NewestFile, EmptyListGivesNothing) {
  EXPECT_FALSE(newestFile({}, fakeTimes({})));
  EXPECT_FALSE(newestFile({}));
}

TEST(NewestFile, UnreadableFilesRankLastButStillCount) {
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

class TempFolder {
 public:
  TempFolder() {
    std::random_device random;
    path_ = fs::temp_directory_path() / ("keel-newest-file-" + std::to_string(random()) + std::to_string(random()));
    fs::create_directory(path_);
  }
  ~TempFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  [[nodiscard]] fs::path file(const std::string& name, Time modified) const {
    const fs::path path = path_ / name;
    std::ofstream(path) << name;
    fs::last_write_time(path, modified);
    return path;
  }

 private:
  fs::path path_;
};

TEST(NewestFile, ReadsRealModificationTimesToTheNanosecond) {
  const TempFolder folder;
  const Time base = fs::file_time_type::clock::now() - 24h;
  const fs::path older = folder.file("older", base);
  const fs::path newer = folder.file("newer", base + 1ns);
  const fs::path twin = folder.file("twin", base + 1ns);
  const fs::path missing = older.parent_path() / "missing";
  EXPECT_EQ(contentModificationTime(newer), base + 1ns);
  EXPECT_FALSE(contentModificationTime(missing));
  EXPECT_EQ(newestFile({missing, older, newer, twin}), newer);
  EXPECT_EQ(newestFile({twin, newer}), twin);
  EXPECT_EQ(newestFile({missing}), missing);
}

}  // namespace
}  // namespace Keel
