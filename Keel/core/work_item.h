// The unit of work a dispatch queue runs, and the memory async items live in.
// Part of DispatchQueue's inline paths, not an interface of its own.
#pragma once

#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>

namespace Keel::detail {

// One unit of queued work. Async items live on the heap and free themselves
// in `perform`; sync waiters live on the waiting caller's stack.
struct WorkItem {
  void (*perform)(WorkItem*) = nullptr;  // runs the work, then frees the item
  WorkItem* next = nullptr;
  bool exclusive = false;  // runs alone (serial queue, or a barrier)
  bool isTicket = false;   // a sync caller waiting for its turn; no perform
};

// Memory for async items. Small items come from recycled blocks: items are
// usually freed on a worker and allocated on a submitting thread, a pattern
// that general-purpose allocators handle slowly.
inline constexpr std::size_t smallItemSize = 64;
[[nodiscard]] void* allocateItem(std::size_t size);
void deallocateItem(void* memory, std::size_t size) noexcept;

template <typename F>
struct FunctionItem final : WorkItem {
  static_assert(alignof(F) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__, "over-aligned work is not supported");
  explicit FunctionItem(F&& f) : function(std::move(f)) { perform = &FunctionItem::run; }
  explicit FunctionItem(const F& f) : function(f) { perform = &FunctionItem::run; }

  template <typename G>
  static FunctionItem* make(G&& body) {
    void* memory = allocateItem(sizeof(FunctionItem));
    try {
      return new (memory) FunctionItem(std::forward<G>(body));
    } catch (...) {
      deallocateItem(memory, sizeof(FunctionItem));
      throw;
    }
  }
  static void run(WorkItem* item) {
    auto* self = static_cast<FunctionItem*>(item);
    struct Release {
      FunctionItem* item;
      ~Release() {
        item->~FunctionItem();
        deallocateItem(item, sizeof(FunctionItem));
      }
    } release{self};
    self->function();
  }
  F function;
};

// A non-owning view of a callable that outlives the call that uses it.
class FunctionRef {
 public:
  template <typename F>
  requires(!std::is_same_v<std::remove_cv_t<F>, FunctionRef>) explicit FunctionRef(F& f) noexcept
      : object_(&f), call_([](void* object) { (*static_cast<F*>(object))(); }) {}
  void operator()() const { call_(object_); }

 private:
  void* object_;
  void (*call_)(void*);
};

}  // namespace Keel::detail
