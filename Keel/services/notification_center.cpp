// The in-process hub: registrations by name, delivery from a snapshot taken
// under the lock so that observers can change registrations while called.
#include "Keel/services/notification_center.h"

#include <atomic>

namespace Keel {

struct NotificationCenter::Registration {
  const void* observer;
  const void* object;
  Selector selector;
  std::atomic<bool> active{true};  // cleared on removal, so a snapshot skips it
};

NotificationCenter& NotificationCenter::defaultCenter() {
  static auto* const center = new NotificationCenter();
  return *center;
}

void NotificationCenter::addObserver(const void* observer, Selector selector, std::string name, const void* object) {
  auto registration = std::make_shared<Registration>();
  registration->observer = observer;
  registration->object = object;
  registration->selector = std::move(selector);
  std::lock_guard lock(mutex_);
  byName_[std::move(name)].push_back(std::move(registration));
}

void NotificationCenter::removeObserver(const void* observer, std::string_view name) {
  std::lock_guard lock(mutex_);
  auto found = byName_.find(std::string(name));
  if (found == byName_.end()) return;
  std::erase_if(found->second, [observer](const std::shared_ptr<Registration>& r) {
    if (r->observer != observer) return false;
    r->active.store(false);
    return true;
  });
  if (found->second.empty()) byName_.erase(found);
}

void NotificationCenter::removeObserver(const void* observer) {
  std::lock_guard lock(mutex_);
  for (auto it = byName_.begin(); it != byName_.end();) {
    std::erase_if(it->second, [observer](const std::shared_ptr<Registration>& r) {
      if (r->observer != observer) return false;
      r->active.store(false);
      return true;
    });
    it = it->second.empty() ? byName_.erase(it) : std::next(it);
  }
}

void NotificationCenter::post(std::string name, const void* object) const {
  std::vector<std::shared_ptr<Registration>> snapshot;
  {
    std::lock_guard lock(mutex_);
    auto found = byName_.find(name);
    if (found == byName_.end()) return;
    for (const auto& r : found->second) {
      if (r->object == nullptr || r->object == object) snapshot.push_back(r);
    }
  }
  const Notification notification{std::move(name), object};
  for (const auto& r : snapshot) {
    // An observer removed by an earlier one during this post is not called.
    if (r->active.load()) r->selector(notification);
  }
}

}  // namespace Keel
