// The one-word storage of tree nodes: texts in each of their three forms,
// and the array's growth, removal and compaction.
#include "Keel/core/tree_storage.h"

#include <gtest/gtest.h>

#include <string>

#include "Keel/core/any_value.h"

namespace Keel {
namespace {

TEST(TreeStorageTest, TextsReadBackTheSameInEveryFormAndLength) {
  TreeArena* arena = TreeArena::create(1 << 16);
  ASSERT_NE(arena, nullptr);
  // The lengths around the short form's limit and each copy width.
  for (std::size_t n : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 15U, 16U, 17U, 31U, 32U, 33U, 63U, 64U, 65U, 200U}) {
    std::string s;
    for (std::size_t i = 0; i < n; ++i) s += static_cast<char>('a' + i % 26);
    if (n > 2) s[1] = '\0';  // bytes, not C strings
    const Text heap(s);
    const Text inArena(s, arena);
    const Text copied(inArena);
    EXPECT_EQ(heap.view(), s);
    EXPECT_EQ(inArena.view(), s);
    EXPECT_EQ(copied.view(), s);
    EXPECT_EQ(inArena.inArena(), n > 6) << n;  // the short form needs no block
    EXPECT_FALSE(copied.inArena());
    EXPECT_EQ(heap.c_str()[n], '\0');
    EXPECT_TRUE(heap.sameAs(inArena) && inArena.sameAs(copied));
    EXPECT_EQ(heap.hashWord(), inArena.hashWord());
    EXPECT_FALSE(heap.sameAs(Text(s + "x")));
    EXPECT_EQ(heap.sameAs(Text()), n == 0);  // built empty or by default: one form
  }
  arena->seal();
  arena->release();
}

TEST(TreeStorageTest, ArraysGrowRemoveAndCompactInPlace) {
  AnyValue::Array array;
  array.push_back("a text long enough for a block");
  // An element of the array itself, appended while the array grows.
  for (int i = 0; i < 20; ++i) array.push_back(array[0]);
  ASSERT_EQ(array.size(), 21U);
  EXPECT_EQ(array[20], array[0]);

  for (std::size_t i = 0; i < array.size(); ++i) array[i] = AnyValue(static_cast<std::int64_t>(i));
  array.erase(array.begin() + 3);
  array.keepOnly([](std::size_t i) { return i % 2 == 0; });
  ASSERT_EQ(array.size(), 10U);
  EXPECT_EQ(array[1], AnyValue(std::int64_t{2}));
  EXPECT_EQ(array[2], AnyValue(std::int64_t{5}));  // 3 was erased before
  array.truncate(1);
  EXPECT_EQ(array, AnyValue::Array{AnyValue(std::int64_t{0})});
}

TEST(TreeStorageTest, RepeatedKeysKeepTheLastValueAtTheFirstPlace) {
  // Below and above the size where the check changes method, with short and
  // long keys in an arena.
  for (int count : {3, 40}) {
    TreeArena* arena = TreeArena::create(1 << 16);
    ASSERT_NE(arena, nullptr);
    TextDictionary built(arena, static_cast<std::size_t>(count) + 2);
    for (int i = 0; i < count; ++i) built.appendUnchecked("key number " + std::to_string(i)) = std::int64_t{i};
    built.appendUnchecked("key number 1").emplace<Text>("the last one, in the arena too", arena);
    built.appendUnchecked("k") = false;
    built.keepLastOfRepeatedKeys();
    arena->seal();
    arena->release();
    ASSERT_EQ(built.size(), static_cast<std::size_t>(count) + 1);
    EXPECT_EQ(built.begin()[1].first, "key number 1");
    EXPECT_EQ(built.begin()[1].second, AnyValue("the last one, in the arena too"));
    EXPECT_EQ(*built.find("k"), AnyValue(false));
    EXPECT_TRUE(built.erase("k"));
    EXPECT_EQ(built.find("k"), nullptr);
  }
}

}  // namespace
}  // namespace Keel
