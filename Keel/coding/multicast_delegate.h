// A set of listeners that are told about events without being kept alive: a
// listener destroyed elsewhere simply drops out, nobody has to unregister it.
#pragma once

#include <concepts>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace Keel {

// Weakly held listeners of type T, each held at most once. Membership is by
// identity (the listener object's address while it lives), never by any
// equality T may define.
//
// Order: listeners are kept in the order they were first added, and invoke()
// calls them from the last added to the first (A, B, C added: C, B, A
// called).
//
// Not thread-safe: use one MulticastDelegate from one thread at a time
// (typically the main thread). Listeners themselves may die on any thread,
// since only their weak references are consulted.
template <typename T>
class MulticastDelegate {
 public:
  MulticastDelegate() = default;

  // Registers `listener` without keeping it alive. A listener already
  // registered keeps its one entry and its place; a null pointer is ignored.
  void add(const std::shared_ptr<T>& listener) {
    if (!listener) return;
    pruneDead();
    for (const Entry& entry : entries_) {
      if (entry.address == listener.get() && !entry.ref.expired()) return;
    }
    entries_.push_back({listener, listener.get()});
  }

  // Unregisters the very object `listener` refers to; nothing happens when it
  // was never added (or is null). Safe to call from inside invoke(), which
  // then still finishes its own walk.
  void remove(const T& listener) {
    // Every entry that is this object goes, so the walking order of the
    // removal does not matter; dead entries go too.
    std::erase_if(entries_, [&](const Entry& entry) { return entry.address == &listener || entry.ref.expired(); });
  }
  void remove(const std::shared_ptr<T>& listener) {
    if (listener) remove(*listener);
  }

  // Calls `function(listener)` once for each listener alive now, from the last
  // added to the first. The walk works on a snapshot that also keeps those
  // listeners alive until it ends: listeners added or removed by `function`
  // do not change it, so one removed during the walk is still called if it
  // comes later. Does nothing when there are no live listeners.
  template <typename Function>
  requires std::invocable<Function&, T&>
  void invoke(Function&& function) {
    std::vector<std::shared_ptr<T>> snapshot;
    snapshot.reserve(entries_.size());
    for (const Entry& entry : entries_) {
      if (auto alive = entry.ref.lock()) snapshot.push_back(std::move(alive));
    }
    if (snapshot.size() != entries_.size()) pruneDead();
    for (auto it = snapshot.rbegin(); it != snapshot.rend(); ++it) function(**it);
  }

  // How many registered listeners are alive now.
  [[nodiscard]] std::size_t count() const {
    std::size_t live = 0;
    for (const Entry& entry : entries_) live += entry.ref.expired() ? 0U : 1U;
    return live;
  }

 private:
  struct Entry {
    std::weak_ptr<T> ref;
    // Compared, never dereferenced. An address only means this listener while
    // `ref` lives: a new object may reuse a dead one's address.
    const T* address;
  };

  // Drops the entries of destroyed listeners, so that a delegate whose
  // listeners come and go does not grow without bound.
  void pruneDead() {
    std::erase_if(entries_, [](const Entry& entry) { return entry.ref.expired(); });
  }

  std::vector<Entry> entries_;
};

}  // namespace Keel
