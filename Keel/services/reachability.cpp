// The platform-independent half of reachability: from routing state to flag
// word, and from flag word to answer.
#include "Keel/services/reachability.h"

namespace Keel {

bool Reachability::isConnected(std::optional<std::uint32_t> flags) noexcept {
  if (!flags) return false;
  // A connection that must be brought up first (even one that traffic alone
  // would bring up) does not count: the question is about a path that exists now.
  return (*flags & ReachabilityFlag::reachable) != 0 && (*flags & ReachabilityFlag::connectionRequired) == 0;
}

std::uint32_t Reachability::flagsFor(const DefaultRouteState& state) noexcept {
  if (!state.routeExists || !state.interfaceUp) return 0;
  std::uint32_t flags = ReachabilityFlag::reachable;
  if (state.connectivityLimited) flags |= ReachabilityFlag::connectionRequired;
  return flags;
}

std::optional<std::uint32_t> Reachability::currentFlags() noexcept {
  const std::optional<DefaultRouteState> state = detail::queryDefaultRoute();
  if (!state) return std::nullopt;
  return flagsFor(*state);
}

bool Reachability::isConnectedToNetwork() noexcept { return isConnected(currentFlags()); }

}  // namespace Keel
