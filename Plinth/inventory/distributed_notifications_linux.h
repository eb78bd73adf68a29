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

inline constexpr const char* kNotificationBusPath = "/com/brenwick/DistributedNotifications";
inline constexpr const char* kNotificationBusInterface = "com.brenwick.DistributedNotifications";
inline constexpr const char* kNotificationBusMember = "Notification";

// How long the bus may take to answer before it counts as absent. A bus
// answers within milliseconds; one that accepts connections and then says
// nothing (a stopped or wedged daemon) must not hold anything up for long.
inline constexpr std::chrono::milliseconds kBusResponseTimeout{3000};

class BusNotificationCenter final : public DistributedNotificationCenter {
 public:
  // Connects, on first use, to the bus at `address`, or to the session bus
  // named by the environment when none is given. A connection not made within
  // `responseTimeout` of the first use is given up: the centre is then
  // unavailable, the reason naming the bus that did not answer. Synchronous
  // calls never wait longer than that for the connection, except when a bus
  // stops between authenticating and answering its first call, which GDBus
  // itself bounds at 25 s; the asynchronous addObserver always reports within
  // `responseTimeout`.
  explicit BusNotificationCenter(std::optional<std::string> address = std::nullopt,
                                 std::chrono::milliseconds responseTimeout = kBusResponseTimeout);
  ~BusNotificationCenter() override;

  // Returns once the bus has confirmed the registration, or after the
  // response time-out.
  void addObserver(const void* observer, Selector selector, const std::string& name,
                   const std::optional<std::string>& object) override;
  // The whole registration, connecting included, has `responseTimeout` from
  // the call.
  void addObserver(const void* observer, Selector selector, const std::string& name,
                   const std::optional<std::string>& object, Registered registered) override;
  // Starts connecting on the calling thread's context (whose run loop then
  // serves the connection's "closed" signal), bounded like the first use.
  void prepareConnection() override;
  void removeObserver(const void* observer, const std::string& name) override;
  void post(const std::string& name, const std::optional<std::string>& object) override;
  std::optional<std::string> unavailableReason() override;
  void setConnectionLostHandler(std::function<void(const std::string& reason)> handler) override;

  struct Impl;

 private:
  // Shared with the callbacks of work still under way, which may outlive us.
  std::shared_ptr<Impl> impl_;
};

}  // namespace Plinth
