// Reachability on Linux, from the kernel's routing state: a netlink dump of
// the IPv4 routes, read afresh on every call (no cached monitor that would go
// stale without a main loop), and the flags of the interfaces the default
// route leaves through. The kernel knows nothing of captive portals, so
// `connectivityLimited` is never set here: a route through an interface that
// is up counts as a path.
#include "Keel/services/reachability.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "Keel/core/descriptor_linux.h"

namespace Keel::detail {
namespace {

constexpr std::size_t align(std::size_t n) { return (n + 3) & ~std::size_t{3}; }

// The interface indexes of the unicast IPv4 default routes of the main table
// in one RTM_NEWROUTE message.
void collectDefaultRoute(const nlmsghdr& header, std::vector<int>& interfaces) {
  const std::size_t length = header.nlmsg_len;
  const std::size_t start = align(sizeof(nlmsghdr));
  if (length < start + sizeof(rtmsg)) return;
  const auto* bytes = reinterpret_cast<const unsigned char*>(&header);
  rtmsg route{};
  std::memcpy(&route, bytes + start, sizeof route);
  if (route.rtm_family != AF_INET || route.rtm_dst_len != 0 || route.rtm_type != RTN_UNICAST) return;
  std::uint32_t table = route.rtm_table;
  std::vector<int> found;
  for (std::size_t at = start + align(sizeof(rtmsg)); at + sizeof(rtattr) <= length;) {
    rtattr attribute{};
    std::memcpy(&attribute, bytes + at, sizeof attribute);
    if (attribute.rta_len < sizeof(rtattr) || at + attribute.rta_len > length) break;
    const unsigned char* payload = bytes + at + align(sizeof(rtattr));
    const std::size_t payloadLength = attribute.rta_len - align(sizeof(rtattr));
    if (attribute.rta_type == RTA_TABLE && payloadLength >= sizeof table) {
      std::memcpy(&table, payload, sizeof table);
    } else if (attribute.rta_type == RTA_OIF && payloadLength >= sizeof(int)) {
      int index = 0;
      std::memcpy(&index, payload, sizeof index);
      found.push_back(index);
    } else if (attribute.rta_type == RTA_MULTIPATH) {
      // A list of next hops, each naming its own interface.
      for (std::size_t hop = 0; hop + sizeof(rtnexthop) <= payloadLength;) {
        rtnexthop next{};
        std::memcpy(&next, payload + hop, sizeof next);
        if (next.rtnh_len < sizeof(rtnexthop)) break;
        found.push_back(next.rtnh_ifindex);
        hop += align(next.rtnh_len);
      }
    }
    at += align(attribute.rta_len);
  }
  if (table == RT_TABLE_MAIN) interfaces.insert(interfaces.end(), found.begin(), found.end());
}

// The interfaces of the IPv4 default routes, or nothing when the kernel
// cannot be asked.
std::optional<std::vector<int>> defaultRouteInterfaces() {
  const Descriptor socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
  if (socket.get() < 0) return std::nullopt;
  // The kernel answers at once; the limit only guards against a stuck reply.
  const timeval limit{2, 0};
  ::setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);

  struct {
    nlmsghdr header;
    rtmsg route;
  } request{};
  request.header.nlmsg_len = sizeof request;
  request.header.nlmsg_type = RTM_GETROUTE;
  request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  request.header.nlmsg_seq = 1;
  request.route.rtm_family = AF_INET;
  sockaddr_nl kernel{};
  kernel.nl_family = AF_NETLINK;
  if (::sendto(socket.get(), &request, sizeof request, 0, reinterpret_cast<const sockaddr*>(&kernel), sizeof kernel) <
      0) {
    return std::nullopt;
  }

  std::vector<int> interfaces;
  alignas(nlmsghdr) unsigned char buffer[32768];
  for (;;) {
    const ssize_t received = retryOnInterrupt([&] { return ::recv(socket.get(), buffer, sizeof buffer, 0); });
    if (received <= 0) return std::nullopt;
    const auto length = static_cast<std::size_t>(received);
    for (std::size_t at = 0; at + sizeof(nlmsghdr) <= length;) {
      nlmsghdr header{};
      std::memcpy(&header, buffer + at, sizeof header);
      if (header.nlmsg_len < sizeof(nlmsghdr) || at + header.nlmsg_len > length) return std::nullopt;
      if (header.nlmsg_type == NLMSG_DONE) return interfaces;
      if (header.nlmsg_type == NLMSG_ERROR) return std::nullopt;
      if (header.nlmsg_type == RTM_NEWROUTE) {
        collectDefaultRoute(*reinterpret_cast<const nlmsghdr*>(buffer + at), interfaces);
      }
      at += align(header.nlmsg_len);
    }
  }
}

// Up (configured by the administrator) and running (carrier present).
bool interfaceIsUp(int control, int index) {
  ifreq request{};
  if (index <= 0 || if_indextoname(static_cast<unsigned>(index), request.ifr_name) == nullptr) return false;
  if (::ioctl(control, SIOCGIFFLAGS, &request) < 0) return false;
  const int flags = request.ifr_flags;
  return (flags & IFF_UP) != 0 && (flags & IFF_RUNNING) != 0;
}

}  // namespace

std::optional<DefaultRouteState> queryDefaultRoute() noexcept {
  try {
    const std::optional<std::vector<int>> interfaces = defaultRouteInterfaces();
    if (!interfaces) return std::nullopt;
    DefaultRouteState state;
    state.routeExists = !interfaces->empty();
    if (state.routeExists) {
      const Descriptor control(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
      if (control.get() < 0) return std::nullopt;
      for (const int index : *interfaces) state.interfaceUp = state.interfaceUp || interfaceIsUp(control.get(), index);
    }
    return state;
  } catch (...) {
    return std::nullopt;  // out of memory
  }
}

}  // namespace Keel::detail
