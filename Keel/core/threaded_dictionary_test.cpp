// Thread-confined containers: labels, write visibility, removal, lifetime,
// iteration and overlap of reads, for both threading types.
#include "Keel/core/threaded_dictionary.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace Keel {
namespace {

constexpr auto testTimeout = std::chrono::seconds(20);
constexpr std::string_view labelPrefix = "com.threading.dispatchqueue_";

using Dictionary = ThreadedDictionary<int, int>;

std::uint64_t labelNumber(const std::string& label) {
  EXPECT_EQ(label.substr(0, labelPrefix.size()), labelPrefix);
  return std::stoull(label.substr(labelPrefix.size()));
}

TEST(LabelDispatchTest, ContainersAreNumberedInCreationOrderInDecimalWithoutPadding) {
  const ThreadedObject<int> first(0, ThreadingType::serial);
  const Dictionary second({}, ThreadingType::concurrent);
  const ThreadedDictionary<std::string, double> third({}, ThreadingType::concurrent);
  const std::uint64_t n = labelNumber(first.label());
  EXPECT_EQ(second.label(), std::string(labelPrefix) + std::to_string(n + 1));
  EXPECT_EQ(third.label(), std::string(labelPrefix) + std::to_string(n + 2));

  EXPECT_EQ(LabelDispatch().nextLabel(), "com.threading.dispatchqueue_0");
  LabelDispatch later(9);
  EXPECT_EQ(later.nextLabel(), "com.threading.dispatchqueue_9");
  EXPECT_EQ(later.nextLabel(), "com.threading.dispatchqueue_10");
}

TEST(LabelDispatchDeathTest, CounterOverflowIsFatal) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  LabelDispatch labels(std::numeric_limits<std::uint64_t>::max());
  EXPECT_DEATH((void)labels.nextLabel(), "overflow");
}

class ThreadedDictionaryTest : public testing::TestWithParam<ThreadingType> {};

TEST_P(ThreadedDictionaryTest, SettingNilRemovesSettingAgainAddsBackAndReadsSeeEarlierWrites) {
  Dictionary dictionary({{1, 10}}, GetParam());
  EXPECT_EQ(dictionary.threadingType(), GetParam());
  EXPECT_EQ(dictionary.get(1), 10);
  dictionary.set(1, std::nullopt);
  EXPECT_EQ(dictionary.get(1), std::nullopt);
  EXPECT_TRUE(dictionary.isEmpty());
  dictionary.set(1, 11);
  EXPECT_EQ(dictionary.get(1), 11);
  dictionary.set(2, std::nullopt);  // removing an absent key changes nothing
  EXPECT_EQ(dictionary.count(), 1U);
  // Reads from the writing thread see every earlier write.
  for (int i = 0; i < 2000; ++i) {
    dictionary.set(i % 7, i);
    ASSERT_EQ(dictionary.get(i % 7), i);
  }
  EXPECT_EQ(dictionary.count(), 7U);
}

TEST_P(ThreadedDictionaryTest, RemoveAllReturnsOnceEmpty) {
  Dictionary dictionary({}, GetParam());
  for (int i = 0; i < 1000; ++i) dictionary.set(i, i);
  dictionary.removeAll();
  // Read from another thread: only the wait in removeAll orders it after the writes.
  std::thread other([&] {
    EXPECT_TRUE(dictionary.isEmpty());
    EXPECT_EQ(dictionary.get(999), std::nullopt);
  });
  other.join();
}

TEST_P(ThreadedDictionaryTest, WritesFromSeveralThreadsAllLand) {
  Dictionary dictionary({}, GetParam());
  constexpr int threadCount = 4;
  constexpr int perThread = 500;
  std::vector<std::thread> threads;
  for (int t = 0; t < threadCount; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < perThread; ++i) {
        const int key = t * perThread + i;
        dictionary.set(key, key * 2);
        const auto seen = dictionary.get(key - 1);  // another key: present or not, never torn
        if (seen) {
          EXPECT_EQ(*seen, (key - 1) * 2);
        }
      }
    });
  }
  for (auto& thread : threads) thread.join();
  const auto values = dictionary.syncWrite([](Dictionary::Map& map) { return map.size(); });
  EXPECT_EQ(values, static_cast<std::size_t>(threadCount * perThread));
  std::vector<int> all = dictionary.values();
  std::sort(all.begin(), all.end());
  for (int i = 0; i < threadCount * perThread; ++i) ASSERT_EQ(all[static_cast<std::size_t>(i)], i * 2);
}

TEST_P(ThreadedDictionaryTest, ModifyUpdatesCreatesAndRemoves) {
  Dictionary dictionary({{1, 1}}, GetParam());
  dictionary.modify(1, [](std::optional<int>& value) { *value += 41; });
  dictionary.modify(2, [](std::optional<int>& value) { value = value.value_or(0) + 5; });
  dictionary.modify(3, [](std::optional<int>&) {});
  EXPECT_EQ(dictionary.get(1), 42);
  EXPECT_EQ(dictionary.get(2), 5);
  EXPECT_EQ(dictionary.get(3), std::nullopt);
  dictionary.modify(1, [](std::optional<int>& value) { value.reset(); });
  EXPECT_EQ(dictionary.snapshot(), (Dictionary::Map{{2, 5}}));
}

TEST_P(ThreadedDictionaryTest, IterationVisitsEveryEntryOnceAndStaysSafeWhileAnotherThreadWrites) {
  const Dictionary empty({}, GetParam());
  EXPECT_TRUE(empty.begin() == empty.end());
  Dictionary::Map map;
  for (int i = 0; i < 200; ++i) map.emplace(i, i * 3);
  Dictionary dictionary(map, GetParam());
  Dictionary::Map seen;
  for (const auto& [key, value] : dictionary) EXPECT_TRUE(seen.emplace(key, value).second);
  EXPECT_EQ(seen, map);

  std::atomic<bool> stop{false};
  std::thread writer([&] {
    for (int i = 0; !stop; ++i) {
      const int key = i % 400;  // adds, removes and rehashes under the walks
      dictionary.set(key, (i / 400) % 2 == 0 ? std::optional<int>(key * 3) : std::nullopt);
      (void)dictionary.get(key);  // keeps the writer from running ahead of the queue
    }
  });
  for (int round = 0; round < 50; ++round) {
    for (const auto& element : dictionary) ASSERT_EQ(element.value, element.key * 3);
  }
  stop = true;
  writer.join();
}

TEST_P(ThreadedDictionaryTest, DestroyingWithPendingWritesLosesNone) {
  using Value = std::shared_ptr<int>;
  auto writes = std::make_shared<std::atomic<int>>(0);
  auto gate = std::make_shared<std::atomic<bool>>(false);
  auto value = std::make_shared<int>(0);
  const std::weak_ptr<int> alive = value;
  {
    ThreadedObject<Value> object(std::move(value), GetParam());
    object.write([gate](Value&) {
      while (!*gate) std::this_thread::yield();  // held back until the object is gone
    });
    for (int i = 0; i < 100; ++i) object.write([writes](Value&) { writes->fetch_add(1); });
  }
  EXPECT_FALSE(alive.expired());
  *gate = true;
  const auto deadline = std::chrono::steady_clock::now() + testTimeout;
  while (!alive.expired() && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
  EXPECT_TRUE(alive.expired());
  EXPECT_EQ(*writes, 100);
}

TEST_P(ThreadedDictionaryTest, ReadsOverlapOnlyOnConcurrentObjects) {
  const ThreadedObject<int> object(0, GetParam());
  std::atomic<int> inside{0};
  std::atomic<int> mostInside{0};
  auto reader = [&] {
    for (int i = 0; i < 300; ++i) {
      (void)object.read([&](const int&) {
        const int now = inside.fetch_add(1) + 1;
        int most = mostInside.load();
        while (now > most && !mostInside.compare_exchange_weak(most, now)) {
        }
        // Give the other reader a chance to come in while this one is inside.
        if (GetParam() == ThreadingType::concurrent) {
          const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(50);
          while (mostInside.load() < 2 && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
        } else {
          std::this_thread::yield();
        }
        inside.fetch_sub(1);
        return 0;
      });
    }
  };
  std::thread other(reader);
  reader();
  other.join();
  if (GetParam() == ThreadingType::concurrent) {
    EXPECT_EQ(mostInside, 2);
  } else {
    EXPECT_EQ(mostInside, 1);
  }
}

INSTANTIATE_TEST_SUITE_P(BothTypes, ThreadedDictionaryTest,
                         testing::Values(ThreadingType::concurrent, ThreadingType::serial),
                         [](const testing::TestParamInfo<ThreadingType>& type) {
                           return type.param == ThreadingType::concurrent ? std::string("Concurrent")
                                                                          : std::string("Serial");
                         });

}  // namespace
}  // namespace Keel
