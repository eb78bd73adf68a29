// Stand-in until the queue-backed container lands: a mutex-guarded map with the
// ThreadedDictionary interface, so code written against it builds and tests now.
#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Keel {

// How a container's queue runs its work. The stand-in serialises everything
// behind one mutex whichever is chosen.
enum class ThreadingType { concurrent, serial };

// A dictionary shared between threads. Reads are synchronous; writes act as
// barriers (here they simply complete before returning).
template <typename Key, typename Value, typename Hash = std::hash<Key>, typename Eq = std::equal_to<Key>>
class ThreadedDictionary {
 public:
  ThreadedDictionary(std::unordered_map<Key, Value, Hash, Eq> dictionary, ThreadingType threadingType)
      : dictionary_(std::move(dictionary)), threadingType_(threadingType) {}

  // The value under `key`, or nothing when there is none.
  [[nodiscard]] std::optional<Value> get(const Key& key) const {
    std::lock_guard lock(mutex_);
    const auto found = dictionary_.find(key);
    if (found == dictionary_.end()) return std::nullopt;
    return found->second;
  }

  // Stores `value` under `key`; nullopt removes the key.
  void set(const Key& key, std::optional<Value> value) {
    std::lock_guard lock(mutex_);
    if (value) {
      dictionary_.insert_or_assign(key, std::move(*value));
    } else {
      dictionary_.erase(key);
    }
  }

  // Removes every entry.
  void removeAll() {
    std::lock_guard lock(mutex_);
    dictionary_.clear();
  }

  // A snapshot of the values, in no particular order.
  [[nodiscard]] std::vector<Value> values() const {
    std::lock_guard lock(mutex_);
    std::vector<Value> result;
    result.reserve(dictionary_.size());
    for (const auto& entry : dictionary_) result.push_back(entry.second);
    return result;
  }

 private:
  mutable std::mutex mutex_;
  std::unordered_map<Key, Value, Hash, Eq> dictionary_;
  [[maybe_unused]] ThreadingType threadingType_;
};

}  // namespace Keel
