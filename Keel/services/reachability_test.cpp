// The answer as a function of the flag word, and the flag word as a function
// of the routing state.
#include "Keel/services/reachability.h"

#include <gtest/gtest.h>

namespace Keel {
namespace {

namespace Flag = ReachabilityFlag;

TEST(Reachability, OnlyAnUpRouteIsReachableAndOnlyReachableWithoutConnectionRequiredIsConnected) {
  EXPECT_TRUE(Reachability::isConnected(Flag::reachable));
  EXPECT_TRUE(Reachability::isConnected(Flag::reachable | Flag::isDirect | Flag::isLocalAddress |
                                        Flag::transientConnection | Flag::isWWAN));
  EXPECT_FALSE(Reachability::isConnected(Flag::reachable | Flag::connectionRequired));
  // Traffic (or demand) would bring the connection up, but it is not up yet.
  EXPECT_FALSE(Reachability::isConnected(Flag::reachable | Flag::connectionRequired | Flag::connectionOnTraffic));
  EXPECT_FALSE(Reachability::isConnected(Flag::reachable | Flag::connectionRequired | Flag::connectionOnDemand |
                                         Flag::interventionRequired));
  EXPECT_FALSE(Reachability::isConnected(0u));
  EXPECT_FALSE(Reachability::isConnected(~(Flag::reachable)));
  EXPECT_FALSE(Reachability::isConnected(std::nullopt));  // the query failed

  // Only a route through an interface that is up is reachable.
  EXPECT_EQ(Reachability::flagsFor({}), 0u);
  EXPECT_EQ(Reachability::flagsFor({.routeExists = true, .interfaceUp = false}), 0u);
  EXPECT_EQ(Reachability::flagsFor({.routeExists = false, .interfaceUp = true}), 0u);
  EXPECT_EQ(Reachability::flagsFor({.routeExists = true, .interfaceUp = true}), Flag::reachable);
  const std::uint32_t limited =
      Reachability::flagsFor({.routeExists = true, .interfaceUp = true, .connectivityLimited = true});
  EXPECT_EQ(limited, Flag::reachable | Flag::connectionRequired);
  EXPECT_FALSE(Reachability::isConnected(limited));
}

}  // namespace
}  // namespace Keel
