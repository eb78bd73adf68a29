#include "Plinth/desktop/resource_bundle.h"

#include <gtest/gtest.h>

namespace Plinth {
namespace {

TEST(PlinthResourceBundle, ShipsTheButtonTitlesInEnglishAndGerman) {
  const auto& bundle = resourceBundle();
  EXPECT_EQ(bundle.bundlePath().filename(), "Plinth_Plinth.bundle");
  EXPECT_EQ(bundle.localizedString("NO", {"en_GB"}), "No");
  EXPECT_EQ(bundle.localizedString("YES", {"en"}), "Yes");
  EXPECT_EQ(bundle.localizedString("ALLOW", {"en"}), "Allow");
  EXPECT_EQ(bundle.localizedString("NO", {"de_DE"}), "Nein");
  EXPECT_EQ(bundle.localizedString("YES", {"de"}), "Ja");
  EXPECT_EQ(bundle.localizedString("ALLOW", {"de_CH"}), "Erlauben");
  EXPECT_EQ(localizedString("NOT_A_KEY"), "NOT_A_KEY");
}

}  // namespace
}  // namespace Plinth
