#include "VantorLauncher/login_item/autostart.h"

#include <gtest/gtest.h>

#include <tuple>
#include <vector>

namespace Vantor {
namespace {

AutostartSession gnome() {
  return {{"ubuntu", "GNOME"}, [](const std::string& program) { return program == "/bin/installed"; }};
}

std::optional<std::string> why(const std::string& keys, const AutostartSession& session = gnome()) {
  auto entry = parseDesktopEntry("[Desktop Entry]\n" + keys);
  EXPECT_TRUE(entry) << entry.error();
  return whyNotStarted(entry.value(), session);
}

TEST(WhyNotStartedTest, AnOrdinaryEntryStartsAndEachRuleCanStopOne) {
  const std::string base = "Type=Application\nExec=/bin/x\n";
  const AutostartSession unknown{{}, nullptr};
  const std::vector<std::tuple<std::string, std::optional<std::string>, AutostartSession>> cases = {
      {base, std::nullopt, gnome()},
      {base + "Hidden=false\nOnlyShowIn=KDE;GNOME;\nNotShowIn=XFCE;\nTryExec=/bin/installed\n", std::nullopt, gnome()},
      {"Type=Link\nExec=/bin/x\n", "Type is Link, not Application", gnome()},
      {"Exec=/bin/x\n", "no Type", gnome()},
      {base + "Hidden=true\n", "Hidden=true", gnome()},
      {base + "X-GNOME-Autostart-enabled=false\n", "X-GNOME-Autostart-enabled=false", gnome()},
      {base + "OnlyShowIn=KDE;XFCE;\n", "OnlyShowIn=KDE, XFCE, and the current desktop is ubuntu, GNOME", gnome()},
      {base + "OnlyShowIn=gnome;\n", "OnlyShowIn=gnome, and the current desktop is ubuntu, GNOME", gnome()},
      {base + "NotShowIn=GNOME;\n", "NotShowIn=GNOME, and the current desktop is ubuntu, GNOME", gnome()},
      {"Type=Application\nExec=  \n", "no Exec", gnome()},
      {base + "TryExec=/bin/missing\n", "its TryExec program /bin/missing is not installed", gnome()},
      // Without a current desktop OnlyShowIn never matches and NotShowIn never stops.
      {base + "OnlyShowIn=GNOME;\n", "OnlyShowIn=GNOME, and XDG_CURRENT_DESKTOP is not set", unknown},
      {base + "NotShowIn=GNOME;\n", std::nullopt, unknown},
  };
  for (const auto& [keys, reason, session] : cases) EXPECT_EQ(why(keys, session), reason) << keys;
}

const AutostartFile userFile{"/home/u/.config/autostart/x.desktop",
                             "[Desktop Entry]\nType=Application\nExec=/u/launcher\n"};
const AutostartFile systemFile{"/etc/xdg/autostart/x.desktop",
                               "[Desktop Entry]\nType=Application\nExec=\"/s/my launcher\" -x\n"};

// The explanations of each state are checked, on real folders, in
// tools_integration_test.cpp; here, what they cannot show.
TEST(AutostartStateTest, TheEntryInEffectDecidesTheProgramAndABrokenUserEntryDisables) {
  const auto both = autostartState(userFile, systemFile, gnome());
  EXPECT_TRUE(both.userEntryInEffect);
  EXPECT_EQ(both.program, "/u/launcher");
  const auto systemOnly = autostartState(std::nullopt, systemFile, gnome());
  EXPECT_FALSE(systemOnly.userEntryInEffect);
  EXPECT_EQ(systemOnly.program, "/s/my launcher");
  EXPECT_FALSE(autostartState(std::nullopt, std::nullopt, gnome()).entryInEffect);

  AutostartFile broken = userFile;
  broken.text = "not an entry";
  const auto brokenState = autostartState(broken, systemFile, gnome());
  EXPECT_FALSE(brokenState.enabled);
  EXPECT_EQ(brokenState.entryInEffect, broken.path);
  EXPECT_NE(brokenState.explanation.find("(not a valid desktop entry: line 1: "), std::string::npos);
}

}  // namespace
}  // namespace Vantor
