// The default rating prompt on Linux: the software centre's page of the
// application, through GIO's default handler of appstream:// URIs.
#include "Keel/services/review_controller.h"

#include <gio/gio.h>

#include "Keel/core/bundle.h"

namespace Keel {

ReviewController::RatingPrompt ReviewController::defaultRatingPrompt() {
  return [] {
    const auto bundle = Bundle::main();
    const auto identifier = bundle ? bundle->bundleIdentifier() : std::nullopt;
    // No handler (no software centre installed) is an ordinary outcome.
    if (identifier) openRatingPage(*identifier);
  };
}

bool ReviewController::openRatingPage(std::string_view applicationIdentifier) {
  return g_app_info_launch_default_for_uri(ratingPageURI(applicationIdentifier).c_str(), nullptr, nullptr) != FALSE;
}

}  // namespace Keel
