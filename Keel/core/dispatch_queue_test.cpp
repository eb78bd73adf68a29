#include "Keel/core/dispatch_queue.h"

#include <gtest/gtest.h>

namespace Keel {
namespace {
TEST(DispatchQueueTest, Smoke) {
  DispatchQueue q("x");
  int n = 0;
  for (int i = 0; i < 100; ++i) q.async([&n] { ++n; });
  EXPECT_EQ(q.sync([&] { return n; }), 100);
}
}  // namespace
}  // namespace Keel
