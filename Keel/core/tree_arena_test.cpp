// Trees whose containers and texts live in an arena: what outlives the tree,
// where copies, moves and growth go, and releases from several threads.
#include "Keel/core/tree_arena.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "Keel/core/any_value.h"

namespace Keel {
namespace {

// [[0, 1, ..., width-1, "long enough text i"], ...] `count` times, with every array and
// text in `arena`.
AnyValue::Array arrays(TreeArena* arena, int count, int width) {
  AnyValue::Array outer(arena, static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    auto& inner = outer.emplace_back().emplace<AnyValue::Array>(arena, static_cast<std::size_t>(width) + 1);
    for (int j = 0; j < width; ++j) inner.emplace_back(std::int64_t{j});
    inner.emplace_back().emplace<Text>("long enough text " + std::to_string(i), arena);
  }
  return outer;
}

// Large enough to be mapped from the system rather than taken from the heap.
constexpr std::size_t mappedCapacity = std::size_t{4} << 20;

TEST(TreeArenaTest, ContainersOutliveTheTreeAndCopiesDoNotNeedTheArena) {
  const std::size_t before = TreeArena::bytesInUse();
  TreeArena* arena = TreeArena::create(mappedCapacity);
  ASSERT_NE(arena, nullptr);
  auto tree = std::make_unique<AnyValue::Array>(arrays(arena, 100, 10));
  arena->seal();
  arena->release();
  EXPECT_GT(TreeArena::bytesInUse(), before);

  AnyValue kept = std::move((*tree)[3]);
  const AnyValue copy = (*tree)[4];
  // A text leaving its container by move cannot keep the arena: it is copied.
  const AnyValue loneText = std::move((*tree)[5].as<AnyValue::Array>()[10]);
  EXPECT_TRUE(kept.as<AnyValue::Array>()[10].as<Text>().inArena());
  EXPECT_FALSE(arena->owns(copy.as<AnyValue::Array>().data()));
  EXPECT_FALSE(copy.as<AnyValue::Array>()[10].as<Text>().inArena());
  EXPECT_FALSE(loneText.as<Text>().inArena());
  tree.reset();
  // The moved subtree still holds the arena; the copy never did.
  EXPECT_EQ(kept.as<AnyValue::Array>().size(), 11u);
  EXPECT_EQ(kept.as<AnyValue::Array>()[9], AnyValue(std::int64_t{9}));
  EXPECT_EQ(kept.as<AnyValue::Array>()[10], AnyValue("long enough text 3"));
  kept = AnyValue();
  EXPECT_EQ(TreeArena::bytesInUse(), before);
  EXPECT_EQ(copy.as<AnyValue::Array>()[10], AnyValue("long enough text 4"));
  EXPECT_EQ(loneText, AnyValue("long enough text 5"));
}

TEST(TreeArenaTest, GrowthGoesToTheHeapOnceSealedOrFull) {
  TreeArena* arena = TreeArena::create(256);  // small: from the heap, room for a few nodes
  ASSERT_NE(arena, nullptr);
  AnyValue::Array fits = arrays(arena, 1, 0);
  auto& inner = fits[0].as<AnyValue::Array>();
  inner.reserve(100);  // does not fit: the heap, its arena text kept where it was
  EXPECT_FALSE(arena->owns(inner.data()));
  EXPECT_TRUE(arena->owns(inner[0].as<Text>().data()));
  EXPECT_TRUE(arena->owns(fits.data()));
  arena->seal();
  arena->release();
  fits.push_back(std::string(40, 'x'));  // outgrows its arena buffer after the seal
  EXPECT_FALSE(arena->owns(fits.data()));
  ASSERT_EQ(fits.size(), 2u);
  EXPECT_EQ(fits[0].as<AnyValue::Array>()[0], AnyValue("long enough text 0"));
  EXPECT_EQ(fits[1], AnyValue(std::string(40, 'x')));
}

TEST(TreeArenaTest, SubtreesReleasedOnTwoThreadsFreeTheArenaOnce) {
  for (int round = 0; round < 20; ++round) {
    TreeArena* arena = TreeArena::create(mappedCapacity);
    ASSERT_NE(arena, nullptr);
    AnyValue::Array tree = arrays(arena, 200, 4);
    arena->seal();
    arena->release();
    AnyValue::Array first(tree.begin(), tree.begin() + 100);  // copies: the heap
    std::thread a([left = AnyValue(std::move(tree[0]))]() mutable { left = AnyValue(); });
    std::thread b([rest = std::move(tree)]() mutable { rest.clear(); });
    a.join();
    b.join();
    EXPECT_EQ(first[99].as<AnyValue::Array>().size(), 5u);
  }
}

}  // namespace
}  // namespace Keel
