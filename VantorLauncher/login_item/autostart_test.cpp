#include "VantorLauncher/login_item/autostart.h"

#include <gtest/gtest.h>

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

constexpr const char* starts = "Type=Application\nExec=/bin/x\n";

TEST(WhyNotStartedTest, AnOrdinaryEntryStarts) {
  EXPECT_EQ(why(starts), std::nullopt);
  EXPECT_EQ(
      why(std::string(starts) + "Hidden=false\nOnlyShowIn=KDE;GNOME;\nNotShowIn=XFCE;\nTryExec=/bin/installed\n"),
      std::nullopt);
}

TEST(WhyNotStartedTest, EachRuleCanStopAnEntry) {
  const std::string base = starts;
  EXPECT_EQ(why("Type=Link\nExec=/bin/x\n"), "Type is Link, not Application");
  EXPECT_EQ(why("Exec=/bin/x\n"), "no Type");
  EXPECT_EQ(why(base + "Hidden=true\n"), "Hidden=true");
  EXPECT_EQ(why(base + "X-GNOME-Autostart-enabled=false\n"), "X-GNOME-Autostart-enabled=false");
  EXPECT_EQ(why(base + "OnlyShowIn=KDE;XFCE;\n"), "OnlyShowIn=KDE, XFCE, and the current desktop is ubuntu, GNOME");
  EXPECT_EQ(why(base + "NotShowIn=GNOME;\n"), "NotShowIn=GNOME, and the current desktop is ubuntu, GNOME");
  EXPECT_EQ(why("Type=Application\nExec=  \n"), "no Exec");
  EXPECT_EQ(why(base + "TryExec=/bin/missing\n"), "its TryExec program /bin/missing is not installed");
}

TEST(WhyNotStartedTest, WithoutACurrentDesktopOnlyShowInNeverMatches) {
  const AutostartSession unknown{{}, nullptr};
  EXPECT_EQ(why(std::string(starts) + "OnlyShowIn=GNOME;\n", unknown),
            "OnlyShowIn=GNOME, and XDG_CURRENT_DESKTOP is not set");
  EXPECT_EQ(why(std::string(starts) + "NotShowIn=GNOME;\n", unknown), std::nullopt);
  // Names compare exactly: "gnome" is not "GNOME".
  EXPECT_TRUE(why(std::string(starts) + "OnlyShowIn=gnome;\n"));
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
