// In-process notifications: a publish-subscribe hub where observers register
// for a name, optionally from one sender, and posts reach them on the posting
// thread.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Keel/core/observer_selector.h"

namespace Keel {

// What an observer is called with. The sender is only an identity: nothing
// is kept alive or dereferenced.
struct Notification {
  std::string name;
  const void* object = nullptr;
};

// Safe from any thread. Observers are called on the thread that posts, in the
// order they registered, outside the centre's lock: an observer may post,
// register or remove observers while it runs.
class NotificationCenter {
 public:
  using Selector = std::function<void(const Notification&)>;

  NotificationCenter() = default;
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;

  // The process's centre. Created on first use; lives until the process ends.
  [[nodiscard]] static NotificationCenter& defaultCenter();

  // Registers `selector` for posts of `name`: from any sender when `object`
  // is null, otherwise only from that sender. `observer` is an identity for
  // removal, never dereferenced; remove it before it is destroyed.
  void addObserver(const void* observer, Selector selector, std::string name, const void* object = nullptr);

  // Removes every registration of `observer` for `name`, whatever sender it
  // was made with. Once it returns no post made afterwards calls them; a post
  // already under way on another thread may still make its call.
  void removeObserver(const void* observer, std::string_view name);

  // Removes every registration of `observer`.
  void removeObserver(const void* observer);

  // Calls every observer of `name` registered for any sender or for `object`.
  void post(std::string name, const void* object = nullptr) const;

 private:
  struct Registration;
  mutable std::mutex mutex_;
  std::unordered_map<std::string, std::vector<std::shared_ptr<Registration>>> byName_;
};

}  // namespace Keel
