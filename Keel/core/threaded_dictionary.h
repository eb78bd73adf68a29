// A hash map shared between threads through a ThreadedObject, with
// dictionary-shaped operations and a walk whose every step is its own read.
#pragma once

#include <cstddef>
#include <iterator>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Keel/core/threaded_object.h"

namespace Keel {

template <typename Key, typename Value, typename Hash = std::hash<Key>, typename Eq = std::equal_to<Key>>
class ThreadedDictionary : public ThreadedObject<std::unordered_map<Key, Value, Hash, Eq>> {
 public:
  using Map = std::unordered_map<Key, Value, Hash, Eq>;

  // One entry, copied out of the map.
  struct Element {
    Key key;
    Value value;
  };

  ThreadedDictionary(Map dictionary, ThreadingType threadingType)
      : ThreadedObject<Map>(std::move(dictionary), threadingType) {}

  // The value stored under `key`, or nullopt. One read.
  [[nodiscard]] std::optional<Value> get(const Key& key) const {
    return this->read([&](const Map& map) -> std::optional<Value> {
      const auto found = map.find(key);
      if (found == map.end()) return std::nullopt;
      return found->second;
    });
  }

  // Stores `value` under `key`, or removes `key` when `value` is nullopt.
  // Asynchronous (a barrier on concurrent objects): returns before the change
  // is made; a later read from this thread sees it, other threads see it once
  // it has run.
  void set(const Key& key, std::optional<Value> value) {
    this->write([key, value = std::move(value)](Map& map) mutable {
      if (value) {
        map.insert_or_assign(std::move(key), std::move(*value));
      } else {
        map.erase(key);
      }
    });
  }

  // Lets `body` change the value under `key` (nullopt when absent; leaving or
  // making it nullopt removes the key). Two queue operations, a get and then a
  // set: a write from another thread can fall between them and be overwritten.
  // Use syncWrite for an atomic update.
  template <typename Body>
  void modify(const Key& key, Body&& body) {
    std::optional<Value> value = get(key);
    std::forward<Body>(body)(value);
    set(key, std::move(value));
  }

  // Empties the map and frees its storage; returns once it is empty.
  void removeAll() {
    this->syncWrite([](Map& map) { Map().swap(map); });
  }

  // Every stored value, in the map's order. One read.
  [[nodiscard]] std::vector<Value> values() const {
    return this->read([](const Map& map) {
      std::vector<Value> result;
      result.reserve(map.size());
      for (const auto& entry : map) result.push_back(entry.second);
      return result;
    });
  }

  // The number of entries. One read.
  [[nodiscard]] std::size_t count() const {
    return this->read([](const Map& map) { return map.size(); });
  }

  // Whether the map has no entries. One read.
  [[nodiscard]] bool isEmpty() const {
    return this->read([](const Map& map) { return map.empty(); });
  }

  // A copy of the whole map taken in one read: the way to look at a
  // consistent state of it.
  [[nodiscard]] Map snapshot() const {
    return this->read([](const Map& map) { return map; });
  }

  // A walk over the entries in which every step is a separate read. The
  // iterator holds a copy of the current entry and finds its successor by
  // looking the current key up again, so it never holds on to the live map
  // and stays safe whatever other threads do. It is not a consistent view:
  // writes between steps may make the walk miss or repeat entries (a rehash
  // reorders the map), and the walk ends early when the current key is
  // removed before the next step. Without concurrent writers it visits every
  // entry once. The dictionary must outlive the walk.
  class Iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = Element;
    using difference_type = std::ptrdiff_t;
    using reference = const Element&;
    using pointer = const Element*;

    Iterator() = default;

    [[nodiscard]] reference operator*() const { return *current_; }
    [[nodiscard]] pointer operator->() const { return &*current_; }

    Iterator& operator++() {
      current_ = owner_->read([&](const Map& map) -> std::optional<Element> {
        auto found = map.find(current_->key);
        if (found == map.end() || ++found == map.end()) return std::nullopt;
        return Element{found->first, found->second};
      });
      return *this;
    }
    void operator++(int) { ++*this; }

    [[nodiscard]] friend bool operator==(const Iterator& iterator, std::default_sentinel_t) {
      return !iterator.current_.has_value();
    }

   private:
    friend class ThreadedDictionary;
    Iterator(const ThreadedDictionary* owner, std::optional<Element> current)
        : owner_(owner), current_(std::move(current)) {}

    const ThreadedDictionary* owner_ = nullptr;
    std::optional<Element> current_;
  };

  // The first entry (one read), or the end when empty.
  [[nodiscard]] Iterator begin() const {
    return Iterator(this, this->read([](const Map& map) -> std::optional<Element> {
      if (map.empty()) return std::nullopt;
      return Element{map.begin()->first, map.begin()->second};
    }));
  }
  [[nodiscard]] std::default_sentinel_t end() const noexcept { return std::default_sentinel; }
};

}  // namespace Keel
