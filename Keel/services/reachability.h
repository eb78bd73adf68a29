// Whether the machine has a network path to the internet at large right now,
// without first having to bring a connection up. Stateless: ask again for a
// fresh answer.
#pragma once

#include <cstdint>
#include <optional>

namespace Keel {

// Bits of the reachability flag word. Only `reachable` and
// `connectionRequired` decide the answer; the rest are carried for callers
// that log the word.
namespace ReachabilityFlag {
inline constexpr std::uint32_t transientConnection = 1u << 0;
inline constexpr std::uint32_t reachable = 1u << 1;
inline constexpr std::uint32_t connectionRequired = 1u << 2;
inline constexpr std::uint32_t connectionOnTraffic = 1u << 3;
inline constexpr std::uint32_t interventionRequired = 1u << 4;
inline constexpr std::uint32_t connectionOnDemand = 1u << 5;
inline constexpr std::uint32_t isLocalAddress = 1u << 16;
inline constexpr std::uint32_t isDirect = 1u << 17;
inline constexpr std::uint32_t isWWAN = 1u << 18;
}  // namespace ReachabilityFlag

// What the system's routing state says about the IPv4 default route, the
// route that traffic to the any-address 0.0.0.0 would take.
struct DefaultRouteState {
  bool routeExists = false;          // a unicast default route is installed
  bool interfaceUp = false;          // one of the interfaces it leaves through is up and running
  bool connectivityLimited = false;  // the system knows it leads only to a portal or the local network
};

class Reachability {
 public:
  // True when the default route is usable now. Blocks for as long as the
  // system's routing query takes (a few system calls). Any thread; never throws.
  [[nodiscard]] static bool isConnectedToNetwork() noexcept;

  // The decision on a flag word: true exactly when `reachable` is set and
  // `connectionRequired` is clear. No word (the query failed) is false.
  [[nodiscard]] static bool isConnected(std::optional<std::uint32_t> flags) noexcept;

  // The flag word for a routing state:
  //   no route, or no interface of it up     -> 0
  //   route through an interface that is up  -> reachable
  //   ... but limited to a portal or the LAN -> reachable | connectionRequired
  [[nodiscard]] static std::uint32_t flagsFor(const DefaultRouteState& state) noexcept;

  // The flag word now, or nothing when the system cannot be asked.
  [[nodiscard]] static std::optional<std::uint32_t> currentFlags() noexcept;
};

namespace detail {
// Provided by the platform: the routing state now, or nothing when it cannot
// be read.
[[nodiscard]] std::optional<DefaultRouteState> queryDefaultRoute() noexcept;
}  // namespace detail

}  // namespace Keel
