// Folder sizes of a wide tree of 202,000 entries (2,000 folders of 100
// files), beside `du -sb` on the same tree in the same run, both with a warm
// cache; and of a chain 20,000 folders deep. Peak resident memory after each
// walk is a counter: a walk holds only its pending folders, so the deep chain
// must not raise it beyond the wide tree's.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "Plinth/inventory/io_utilities.h"
#include "testing/temp_dir.h"

namespace {

constexpr int topFolders = 40;
constexpr int subFolders = 50;
constexpr int filesPerFolder = 99;
constexpr int folderDepth = 20000;

void check(bool ok) {
  if (!ok) std::abort();
}

const Vantor::Testing::TempDir& wideTree() {
  static const Vantor::Testing::TempDir* temp = [] {
    auto* dir = new Vantor::Testing::TempDir();
    const std::string payload(100, 'x');
    for (int top = 0; top < topFolders; ++top) {
      const std::string topPath = dir->path().string() + "/t" + std::to_string(top);
      check(::mkdir(topPath.c_str(), 0755) == 0);
      for (int sub = 0; sub < subFolders; ++sub) {
        const std::string subPath = topPath + "/s" + std::to_string(sub);
        check(::mkdir(subPath.c_str(), 0755) == 0);
        const int folder = ::open(subPath.c_str(), O_RDONLY | O_DIRECTORY);
        for (int file = 0; file < filesPerFolder; ++file) {
          const int fd = ::openat(folder, ("f" + std::to_string(file)).c_str(), O_WRONLY | O_CREAT, 0644);
          check(fd >= 0 && ::write(fd, payload.data(), static_cast<std::size_t>(file)) == file);
          ::close(fd);
        }
        ::close(folder);
      }
    }
    return dir;
  }();
  return *temp;
}

std::int64_t wideEntries() { return topFolders + topFolders * subFolders * (1 + filesPerFolder); }

const Vantor::Testing::TempDir& deepTree() {
  static const Vantor::Testing::TempDir* temp = [] {
    auto* dir = new Vantor::Testing::TempDir();
    int fd = ::open(dir->path().c_str(), O_RDONLY | O_DIRECTORY);
    for (int i = 0; i < folderDepth; ++i) {
      check(::mkdirat(fd, "d", 0755) == 0);
      const int next = ::openat(fd, "d", O_RDONLY | O_DIRECTORY);
      ::close(fd);
      fd = next;
    }
    ::close(fd);
    return dir;
  }();
  return *temp;
}

double peakResidentKilobytes() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("VmHWM:", 0) == 0) return std::stod(line.substr(6));
  }
  return 0;
}

void setRate(benchmark::State& state, std::int64_t entries) {
  state.SetItemsProcessed(state.iterations() * entries);
  state.counters["peak_rss_kb"] = peakResidentKilobytes();
}

void FolderSizeWide(benchmark::State& state) {
  const Keel::URL root = Keel::URL::fileURL(wideTree().path().string(), true);
  benchmark::DoNotOptimize(Plinth::IOUtilities::folderSize(root));  // warm the cache
  for (auto _ : state) benchmark::DoNotOptimize(Plinth::IOUtilities::folderSize(root));
  setRate(state, wideEntries());
}

void DuWide(benchmark::State& state) {
  const std::string command = "du -sb '" + wideTree().path().string() + "' > /dev/null";
  check(std::system(command.c_str()) == 0);
  for (auto _ : state) check(std::system(command.c_str()) == 0);
  setRate(state, wideEntries());
}

void FolderSizeDeep(benchmark::State& state) {
  const Keel::URL root = Keel::URL::fileURL(deepTree().path().string(), true);
  benchmark::DoNotOptimize(Plinth::IOUtilities::folderSize(root));
  for (auto _ : state) benchmark::DoNotOptimize(Plinth::IOUtilities::folderSize(root));
  setRate(state, folderDepth);
}

BENCHMARK(FolderSizeWide)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(DuWide)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(FolderSizeDeep)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

}  // namespace
