// The review-prompt rules on an injected store and clock.
#include "Keel/services/review_controller.h"

namespace Keel {

ReviewController::ReviewController(std::shared_ptr<UserDefaults> defaults, Clock clock, RatingPrompt ratingPrompt)
    : defaults_(std::move(defaults)), clock_(std::move(clock)), ratingPrompt_(std::move(ratingPrompt)) {}

ReviewController& ReviewController::shared() {
  static auto* const controller = new ReviewController(UserDefaults::suite(suiteName));
  return *controller;
}

bool ReviewController::shouldRequestReview(const std::string& key) {
  const std::string timeKey = std::string(initialCallKey) + "_" + key;
  if (!defaults_) return false;
  const double firstSeen = defaults_->doubleValue(timeKey);
  const double now = clock_().timeIntervalSince1970();
  if (firstSeen != 0) return firstSeen + interval <= now;
  defaults_->set(now, timeKey);
  return false;
}

void ReviewController::requestReview(const std::optional<std::string>& key) {
  if (!key) return;
  if (defaults_ && defaults_->boolValue(*key)) return;
  if (!shouldRequestReview(*key)) return;
  if (ratingPrompt_) ratingPrompt_();
  if (defaults_) defaults_->set(true, *key);
}

std::string ReviewController::ratingPageURI(std::string_view applicationIdentifier) {
  return "appstream://" + std::string(applicationIdentifier);
}

}  // namespace Keel
