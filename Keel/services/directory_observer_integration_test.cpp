// Directory observers against real inotify: what wakes them, what does not,
// and how they end.
#include "Keel/services/directory_observer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "testing/event_count.h"
#include "testing/temp_dir.h"

namespace Keel {
namespace {

using namespace std::chrono_literals;
using Vantor::Testing::TempDir;

using RunCounter = Vantor::Testing::EventCount;

void touch(const std::filesystem::path& path) { std::ofstream(path) << "x"; }

// True once `change` has run the handler at least once more.
bool runsAfter(RunCounter& runs, const std::function<void()>& change) {
  const int before = runs.count();
  change();
  return runs.waitFor(before + 1);
}

// Events reach observers in the order the kernel queued them. Once a change
// made to the checkpoint's own folder has run its handler, every earlier
// change has been handed to its observer; a run it caused would then start
// within moments, so a short wait tells "none" from "not yet".
class Checkpoint {
 public:
  Checkpoint() : observer_(dir_.path(), runs_.handler()) {}
  // True once a change made now has reached its handler.
  bool pass() {
    const int before = runs_.count();
    touch(dir_.path() / std::to_string(before));
    return runs_.waitFor(before + 1);
  }

 private:
  TempDir dir_;
  RunCounter runs_;
  DirectoryObserver observer_;
};

constexpr auto quietPeriod = 200ms;

TEST(DirectoryObserver, CreatingRenamingDeletingEntriesAndWritingAWatchedFileRunTheHandler) {
  TempDir dir;
  RunCounter runs;
  DirectoryObserver observer(dir.path(), runs.handler());
  ASSERT_TRUE(observer.isWatching());
  namespace fs = std::filesystem;
  EXPECT_TRUE(runsAfter(runs, [&] { touch(dir.path() / "a"); }));
  EXPECT_TRUE(runsAfter(runs, [&] { fs::rename(dir.path() / "a", dir.path() / "b"); }));
  EXPECT_TRUE(runsAfter(runs, [&] { fs::remove(dir.path() / "b"); }));
  EXPECT_TRUE(runsAfter(runs, [&] { fs::create_directory(dir.path() / "sub"); }));

  const auto file = dir.path() / "watched";
  touch(file);
  RunCounter fileRuns;
  DirectoryObserver fileObserver(file, fileRuns.handler());  // a file, not a folder, is fine too
  ASSERT_TRUE(fileObserver.isWatching());
  EXPECT_TRUE(runsAfter(fileRuns, [&] { std::ofstream(file, std::ios::app) << "more"; }));
}

TEST(DirectoryObserver, ListingReadingWritingOrChmodingAnEntryIsNoChangeSoAHandlerMayRewriteAFileInItsFolder) {
  TempDir dir;
  namespace fs = std::filesystem;
  const auto state = dir.path() / "state";
  touch(state);
  RunCounter runs;
  Checkpoint checkpoint;
  DirectoryObserver observer(dir.path(), [state, count = runs.handler()] {
    std::ofstream(state) << "seen";
    count();
  });
  for (const auto& entry : fs::directory_iterator(dir.path())) (void)entry;
  std::ifstream(state).get();
  ASSERT_TRUE(checkpoint.pass());
  EXPECT_FALSE(runs.waitFor(1, quietPeriod));

  touch(dir.path() / "new");
  ASSERT_TRUE(runs.waitFor(1));
  EXPECT_FALSE(runs.waitFor(5, 1s));  // each run waking the next would give hundreds
  const int settled = runs.settledCount();
  fs::permissions(state, fs::perms::owner_read);
  ASSERT_TRUE(checkpoint.pass());
  EXPECT_FALSE(runs.waitFor(settled + 1, quietPeriod));
  EXPECT_TRUE(runsAfter(runs, [&] { fs::permissions(dir.path(), fs::perms::owner_all); }));  // the folder's own
}

TEST(DirectoryObserver, PathsThatCannotBeWatchedNeverRunAndNeverFail) {
  TempDir dir;
  RunCounter runs;
  for (const std::string& path : {(dir.path() / "missing").string(), (dir.path() / std::string(10000, 'x')).string(),
                                  dir.path().string() + std::string("\0tail", 5), std::string()}) {
    EXPECT_FALSE(DirectoryObserver(path, runs.handler()).isWatching()) << path.size();
  }
  DirectoryObserver missing(dir.path() / "missing", runs.handler());
  std::filesystem::create_directory(dir.path() / "missing");  // appearing later does not start it
  touch(dir.path() / "missing" / "a");
  Checkpoint checkpoint;
  ASSERT_TRUE(checkpoint.pass());
  EXPECT_FALSE(runs.waitFor(1, quietPeriod));
}

TEST(DirectoryObserver, ARenamedFolderStaysObservedAndTheOldPathIsNotReopened) {
  TempDir dir;
  std::filesystem::create_directory(dir.path() / "old");
  RunCounter runs;
  DirectoryObserver observer(dir.path() / "old", runs.handler());
  ASSERT_TRUE(runsAfter(runs, [&] { std::filesystem::rename(dir.path() / "old", dir.path() / "new"); }));
  ASSERT_TRUE(runsAfter(runs, [&] { touch(dir.path() / "new" / "a"); }));  // still the same folder

  std::filesystem::create_directory(dir.path() / "old");  // a different folder at the old path
  Checkpoint checkpoint;
  ASSERT_TRUE(checkpoint.pass());
  const int seen = runs.settledCount();
  touch(dir.path() / "old" / "b");
  ASSERT_TRUE(checkpoint.pass());
  EXPECT_FALSE(runs.waitFor(seen + 1, quietPeriod));
}

TEST(DirectoryObserver, AThousandObserversEachSeeTheirOwnFolder) {
  TempDir dir;
  constexpr int itemCount = 1000;
  std::vector<std::unique_ptr<RunCounter>> counters;
  std::vector<std::unique_ptr<DirectoryObserver>> observers;
  for (int i = 0; i < itemCount; ++i) {
    const auto folder = dir.path() / std::to_string(i);
    std::filesystem::create_directory(folder);
    counters.push_back(std::make_unique<RunCounter>());
    observers.push_back(std::make_unique<DirectoryObserver>(folder, counters.back()->handler()));
    ASSERT_TRUE(observers.back()->isWatching());
  }
  for (int i = 0; i < itemCount; ++i) touch(dir.path() / std::to_string(i) / "a");
  for (int i = 0; i < itemCount; ++i) ASSERT_TRUE(counters[static_cast<std::size_t>(i)]->waitFor(1)) << i;
  observers.clear();
}

// The handler waits for the thread that releases its observer, as one that
// calls DispatchQueue::main().sync while the main thread releases it does.
TEST(DirectoryObserver, ReleasingDoesNotWaitForARunOnAnotherThreadNoRunStartsAfterAndOthersOfTheFolderGoOn) {
  TempDir dir;
  RunCounter other;
  DirectoryObserver kept(dir.path(), other.handler());  // shares the kernel's watch with the released one
  const RunCounter started, released, sawRelease;       // copies share their counts
  auto observer = std::make_unique<DirectoryObserver>(dir.path(), [=] {
    started.add();
    if (released.waitFor(1, 5s)) sawRelease.add();
  });
  touch(dir.path() / "a");
  ASSERT_TRUE(started.waitFor(1));
  touch(dir.path() / "b");  // would give a second run, were the observer kept
  observer.reset();
  released.add();
  ASSERT_TRUE(sawRelease.waitFor(1));
  Checkpoint checkpoint;
  ASSERT_TRUE(checkpoint.pass());
  const int otherRuns = other.settledCount();
  touch(dir.path() / "c");
  ASSERT_TRUE(other.waitFor(otherRuns + 1));
  ASSERT_TRUE(checkpoint.pass());
  EXPECT_EQ(started.count(), 1);
}

TEST(DirectoryObserver, DestroyingTheObserverFromInsideItsHandlerDoesNotDeadlock) {
  TempDir dir;
  std::mutex mutex;
  std::condition_variable done;
  std::unique_ptr<DirectoryObserver> observer;
  bool destroyed = false;
  {
    std::lock_guard lock(mutex);  // the handler cannot run before `observer` is set
    observer = std::make_unique<DirectoryObserver>(dir.path(), [&] {
      std::lock_guard inner(mutex);
      if (!observer) return;
      observer.reset();
      destroyed = true;
      done.notify_all();
    });
  }
  touch(dir.path() / "a");
  std::unique_lock lock(mutex);
  EXPECT_TRUE(done.wait_for(lock, 10s, [&] { return destroyed; }));
}

}  // namespace
}  // namespace Keel
