// Trees whose containers live in an arena: what outlives the tree, where
// copies and growth go, and releases from several threads.
#include "Keel/core/tree_arena.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "Keel/core/any_value.h"

namespace Keel {
namespace {

// [[0, 1, ..., width-1], ...] `count` times, with every array in `arena`.
AnyValue::Array arrays(TreeArena* arena, int count, int width) {
  const TreeAllocator<AnyValue> allocator(arena);
  AnyValue::Array outer(allocator);
  outer.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    auto& inner = outer.emplace_back().emplace<AnyValue::Array>(allocator);
    inner.reserve(static_cast<std::size_t>(width));
    for (int j = 0; j < width; ++j) inner.emplace_back(std::int64_t{j});
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
  EXPECT_FALSE(arena->owns(copy.as<AnyValue::Array>().data()));
  tree.reset();
  // The moved subtree still holds the arena; the copy never did.
  EXPECT_EQ(kept.as<AnyValue::Array>().size(), 10u);
  EXPECT_EQ(kept.as<AnyValue::Array>()[9], AnyValue(std::int64_t{9}));
  kept = AnyValue();
  EXPECT_EQ(TreeArena::bytesInUse(), before);
  EXPECT_EQ(copy.as<AnyValue::Array>()[9], AnyValue(std::int64_t{9}));
}

TEST(TreeArenaTest, GrowthGoesToTheHeapOnceSealedOrFull) {
  TreeArena* arena = TreeArena::create(256);  // small: from the heap, room for six values
  ASSERT_NE(arena, nullptr);
  AnyValue::Array fits = arrays(arena, 1, 0);
  fits[0].as<AnyValue::Array>().reserve(100);  // does not fit: the heap
  EXPECT_FALSE(arena->owns(fits[0].as<AnyValue::Array>().data()));
  EXPECT_TRUE(arena->owns(fits.data()));
  arena->seal();
  arena->release();
  fits.push_back(std::string(40, 'x'));  // outgrows its arena buffer after the seal
  EXPECT_FALSE(arena->owns(fits.data()));
  EXPECT_EQ(fits.size(), 2u);
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
    EXPECT_EQ(first[99].as<AnyValue::Array>().size(), 4u);
  }
}

}  // namespace
}  // namespace Keel
