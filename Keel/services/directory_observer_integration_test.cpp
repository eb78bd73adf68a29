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

TEST(DirectoryObserver, ListingOrReadingTheObjectIsNoChange) {
  TempDir dir;
  touch(dir.path() / "entry");
  RunCounter runs;
  Checkpoint checkpoint;
  DirectoryObserver observer(dir.path(), runs.handler());
  for (const auto& entry : std::filesystem::directory_iterator(dir.path())) (void)entry;
  std::ifstream(dir.path() / "entry").get();
  ASSERT_TRUE(checkpoint.pass());
  EXPECT_FALSE(runs.waitFor(1, quietPeriod));
}

TEST(DirectoryObserver, WritingOrChmodingAnEntryIsNoChangeSoAHandlerMayRewriteAFileInItsFolder) {
  TempDir dir;
  namespace fs = std::filesystem;
  const auto state = dir.path() / "state";
  touch(state);
  RunCounter runs;
  DirectoryObserver observer(dir.path(), [state, count = runs.handler()] {
    std::ofstream(state) << "seen";
    count();
  });
  touch(dir.path() / "new");
  ASSERT_TRUE(runs.waitFor(1));
  EXPECT_FALSE(runs.waitFor(5, 1s));  // each run waking the next would give hundreds
  const int settled = runs.settledCount();
  Checkpoint checkpoint;
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

TEST(DirectoryObserver, ReleasingStopsAllRunsAndLeavesASecondObserverOfTheSameFolderWorking) {
  TempDir dir;
  RunCounter first;
  RunCounter second;
  auto released = std::make_unique<DirectoryObserver>(dir.path(), first.handler());
  DirectoryObserver kept(dir.path(), second.handler());
  touch(dir.path() / "a");
  ASSERT_TRUE(first.waitFor(1));
  ASSERT_TRUE(second.waitFor(1));
  released.reset();
  const int afterRelease = first.count();
  const int secondBefore = second.count();
  touch(dir.path() / "b");
  ASSERT_TRUE(second.waitFor(secondBefore + 1));  // the shared kernel watch outlives one of its users
  Checkpoint checkpoint;
  ASSERT_TRUE(checkpoint.pass());
  EXPECT_EQ(first.count(), afterRelease);
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
TEST(DirectoryObserver, ReleasingDoesNotWaitForARunOnAnotherThreadAndNoRunStartsAfter) {
  TempDir dir;
  struct Shared {
    std::mutex mutex;
    std::condition_variable changed;
    int started = 0;
    bool released = false;
    bool sawRelease = false;
    bool finished = false;
  };
  auto shared = std::make_shared<Shared>();
  auto observer = std::make_unique<DirectoryObserver>(dir.path(), [shared] {
    std::unique_lock lock(shared->mutex);
    ++shared->started;
    shared->changed.notify_all();
    shared->sawRelease = shared->changed.wait_for(lock, 5s, [&] { return shared->released; });
    shared->finished = true;
    shared->changed.notify_all();
  });
  touch(dir.path() / "a");
  std::unique_lock lock(shared->mutex);
  ASSERT_TRUE(shared->changed.wait_for(lock, 10s, [&] { return shared->started == 1; }));
  lock.unlock();
  touch(dir.path() / "b");  // would give a second run, were the observer kept
  observer.reset();
  lock.lock();
  shared->released = true;
  shared->changed.notify_all();
  ASSERT_TRUE(shared->changed.wait_for(lock, 10s, [&] { return shared->finished; }));
  EXPECT_TRUE(shared->sawRelease);
  lock.unlock();
  Checkpoint checkpoint;
  ASSERT_TRUE(checkpoint.pass());
  touch(dir.path() / "c");
  ASSERT_TRUE(checkpoint.pass());
  lock.lock();
  EXPECT_EQ(shared->started, 1);
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
