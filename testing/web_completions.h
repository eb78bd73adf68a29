// Collects the completions of web requests by index, with the thread each ran
// on, for tests that wait for them with a time-out. Header only.
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

#include "Keel/services/web_request.h"
#include "testing/event_count.h"

namespace Vantor::Testing {

struct WebOutcome {
  std::optional<Keel::WebData> data;
  std::optional<Keel::WebResponse> response;
  std::optional<Keel::WebError> error;
  std::thread::id thread;
  int calls = 0;
};

// Must outlive every request it was handed to: wait for them all.
class WebCompletions {
 public:
  Keel::WebDataCompletion data(std::size_t index = 0) {
    return [this, index](std::optional<Keel::WebData> data, std::optional<Keel::WebError> error) {
      put(index, {std::move(data), std::nullopt, std::move(error), {}, 0});
    };
  }
  Keel::WebFullCompletion full(std::size_t index = 0) {
    return [this, index](std::optional<Keel::WebData> data, std::optional<Keel::WebResponse> response,
                         std::optional<Keel::WebError> error) {
      put(index, {std::move(data), std::move(response), std::move(error), {}, 0});
    };
  }
  [[nodiscard]] bool waitFor(int total, std::chrono::milliseconds limit = std::chrono::seconds(20)) const {
    return count_.waitFor(total, limit);
  }
  WebOutcome at(std::size_t index) {
    std::lock_guard lock(mutex_);
    return outcomes_[index];
  }

 private:
  void put(std::size_t index, WebOutcome outcome) {
    {
      std::lock_guard lock(mutex_);
      outcome.thread = std::this_thread::get_id();
      outcome.calls = outcomes_[index].calls + 1;
      outcomes_[index] = std::move(outcome);
    }
    count_.add();
  }
  std::mutex mutex_;
  std::map<std::size_t, WebOutcome> outcomes_;
  EventCount count_;
};

}  // namespace Vantor::Testing
