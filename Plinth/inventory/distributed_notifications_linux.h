// The notification centre on D-Bus. Wire contract (also in the README):
//   bus:        the session bus (or the address given)
//   path:       /com/brenwick/DistributedNotifications
//   interface:  com.brenwick.DistributedNotifications
//   member:     Notification, a broadcast signal (no destination)
//   arguments:  (sbs) name, hasObject, object; object is "" when hasObject is false
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "Plinth/inventory/distributed_notifications.h"

namespace Plinth {

inline constexpr const char* kNotificationBusPath = "/com/brenwick/DistributedNotifications";
inline constexpr const char* kNotificationBusInterface = "com.brenwick.DistributedNotifications";
inline constexpr const char* kNotificationBusMember = "Notification";

class BusNotificationCenter final : public DistributedNotificationCenter {
 public:
  // Connects, on first use, to the bus at `address`, or to the session bus
  // named by the environment when none is given.
  explicit BusNotificationCenter(std::optional<std::string> address = std::nullopt);
  ~BusNotificationCenter() override;

  void addObserver(const void* observer, Selector selector, const std::string& name,
                   const std::optional<std::string>& object) override;
  void removeObserver(const void* observer, const std::string& name) override;
  void post(const std::string& name, const std::optional<std::string>& object) override;
  std::optional<std::string> unavailableReason() override;
  void setConnectionLostHandler(std::function<void(const std::string& reason)> handler) override;

  struct Impl;

 private:
  std::unique_ptr<Impl> impl_;
};

}  // namespace Plinth
