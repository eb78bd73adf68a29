// The notification centre on D-Bus. Wire contract (also in the README):
//   bus:        the session bus (or the address given)
//   path:       /com/brenwick/DistributedNotifications
//   interface:  com.brenwick.DistributedNotifications
//   member:     Notification, a broadcast signal (no destination)
//   arguments:  (sbs) name, hasObject, object; object is "" when hasObject is false
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "Plinth/inventory/distributed_notifications.h"

namespace Plinth {

inline constexpr const char* notificationBusPath = "/com/brenwick/DistributedNotifications";
inline constexpr const char* notificationBusInterface = "com.brenwick.DistributedNotifications";
inline constexpr const char* notificationBusMember = "Notification";

// How long the bus may take to answer before it counts as absent. A bus
// answers within milliseconds; one that accepts connections and then says
// nothing (a stopped or wedged daemon) must not hold anything up for long.
inline constexpr std::chrono::milliseconds busResponseTimeout{3000};

class BusNotificationCenter final : public DistributedNotificationCenter {
 public:
  // Connects, on first use, to the bus at `address`, or to the session bus
  // of the address policy (Keel/core/message_bus_linux.h) when none is given.
  // A connection not made within `responseTimeout` of the first use is given
  // up: the centre is then unavailable, the reason naming the bus that did
  // not answer. No call waits longer than `responseTimeout` from its start.
  explicit BusNotificationCenter(std::optional<std::string> address = std::nullopt,
                                 std::chrono::milliseconds responseTimeout = busResponseTimeout);
  ~BusNotificationCenter() override;

  // Returns once the bus has confirmed the registration, or after the
  // response time-out. Every valid UTF-8 name can be observed: names that
  // the bus's match rules cannot carry are filtered on receipt.
  void addObserver(const void* observer, Selector selector, const std::string& name,
                   const std::optional<std::string>& object) override;
  // The whole registration, connecting included, has `responseTimeout` from
  // the call.
  void addObserver(const void* observer, Selector selector, const std::string& name,
                   const std::optional<std::string>& object, Registered registered) override;
  // Starts connecting, bounded like any first use; the calling thread's run
  // loop is then the one the connection-lost handler runs on.
  void prepareConnection() override;
  void removeObserver(const void* observer, const std::string& name) override;
  void post(const std::string& name, const std::optional<std::string>& object) override;
  Keel::Result<void> availability() override;
  void setConnectionLostHandler(std::function<void(const std::string& reason)> handler) override;

  struct Impl;

 private:
  // Shared with the callbacks of work still under way, which may outlive us.
  std::shared_ptr<Impl> impl_;
};

}  // namespace Plinth
