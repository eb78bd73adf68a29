// Queues as handles on a shared core, and the process-wide global and main
// queues.
#include "Keel/core/dispatch_queue.h"

namespace Keel {

DispatchQueue::DispatchQueue(std::string label, Attributes attributes)
    : DispatchQueue(std::move(label), attributes == Attributes::concurrent, false, false) {}

DispatchQueue::DispatchQueue(std::string label, bool concurrent, bool threadBound, bool ignoresBarriers)
    : core_(std::make_shared<detail::QueueCore>(std::move(label), concurrent, threadBound, ignoresBarriers)) {}

DispatchQueue& DispatchQueue::global() {
  static auto* const queue = new DispatchQueue("com.keel.global.default", true, false, true);
  return *queue;
}

DispatchQueue& DispatchQueue::main() {
  static auto* const queue = new DispatchQueue("com.keel.main-thread", false, true, false);
  return *queue;
}

}  // namespace Keel
