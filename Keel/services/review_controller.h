// When an application may ask the user to rate it: once per occasion, and
// only once three days have passed since the occasion was first seen.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Keel/core/date.h"
#include "Keel/services/user_defaults.h"

namespace Keel {

// For an occasion K the store holds "init_K" (when K was first seen, seconds
// since 1970) and K (true once the prompt was requested). An occasion moves
// from unseen to waiting on its first request, is due three days later, and
// is asked for good after the one prompt it gets. Meant for the main thread;
// the operations take no lock of their own.
class ReviewController {
 public:
  // Asks the platform to show its rating prompt. Whether it shows anything is
  // the platform's business and not observed.
  using RatingPrompt = std::function<void()>;

  static constexpr std::string_view suiteName = "com.brenwick.appreviews";
  static constexpr std::string_view initialCallKey = "init";
  static constexpr double interval = 259200;  // three days, in seconds

  // `defaults` may be absent: then nothing is ever recorded or prompted.
  explicit ReviewController(std::shared_ptr<UserDefaults> defaults, Clock clock = Date::systemClock(),
                            RatingPrompt ratingPrompt = defaultRatingPrompt());

  // The process's controller on the suite "com.brenwick.appreviews", with the
  // real clock and the default prompt. Created once, on first use, from any
  // thread; lives until the process ends.
  [[nodiscard]] static ReviewController& shared();

  // Prompts when `key` is present, was not prompted for before and is due;
  // then marks it as prompted.
  void requestReview(const std::optional<std::string>& key);

  // True when occasion `key` was first seen at least three days ago. Records
  // the first sighting (and answers false) when it was never seen. False when
  // there is no store.
  [[nodiscard]] bool shouldRequestReview(const std::string& key);

  // Replaces the prompt, for applications that ask in a way of their own.
  void setRatingPrompt(RatingPrompt ratingPrompt) { ratingPrompt_ = std::move(ratingPrompt); }

  [[nodiscard]] const std::shared_ptr<UserDefaults>& defaults() const { return defaults_; }

  // Opens the application's page in the desktop's software centre
  // ("appstream://" and the main bundle's identifier) with the default
  // handler of that scheme. Does nothing when there is no identifier or no
  // handler.
  [[nodiscard]] static RatingPrompt defaultRatingPrompt();

  // "appstream://" followed by `applicationIdentifier`.
  [[nodiscard]] static std::string ratingPageURI(std::string_view applicationIdentifier);

  // Opens ratingPageURI(applicationIdentifier) with the default handler of
  // its scheme. False when there is none or it cannot start.
  static bool openRatingPage(std::string_view applicationIdentifier);

 private:
  std::shared_ptr<UserDefaults> defaults_;
  Clock clock_;
  RatingPrompt ratingPrompt_;
};

}  // namespace Keel
