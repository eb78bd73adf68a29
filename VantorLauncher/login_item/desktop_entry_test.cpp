#include "VantorLauncher/login_item/desktop_entry.h"

#include <gtest/gtest.h>

namespace Vantor {
namespace {

TEST(ParseDesktopEntryTest, ReadsTheEntryGroupOnly) {
  auto entry = parseDesktopEntry(
      "# written by hand\r\n"
      "\n"
      "[Desktop Entry]\r\n"
      "Type = Application\n"
      "Name=Vantor\n"
      "Name[de]=Vantor auf Deutsch\n"
      "  Comment=  leading blanks go, trailing stay  \n"
      "Hidden=true\n"
      "Hidden=false\n"
      "[Desktop Action quit]\n"
      "Exec=other\n");
  ASSERT_TRUE(entry) << entry.error();
  EXPECT_EQ(entry.value().string("Type"), "Application");
  EXPECT_EQ(entry.value().string("Name"), "Vantor");
  EXPECT_EQ(entry.value().string("Comment"), "leading blanks go, trailing stay  ");
  EXPECT_EQ(entry.value().boolean("Hidden"), false);  // the last of a repeated key
  EXPECT_FALSE(entry.value().string("Exec"));         // another group's
  EXPECT_FALSE(entry.value().rawValues.contains("Name[de]"));
}

TEST(ParseDesktopEntryTest, RefusesFilesThatAreNoDesktopEntry) {
  EXPECT_EQ(parseDesktopEntry("").error(), "no [Desktop Entry] group");
  EXPECT_EQ(parseDesktopEntry("[Other]\nA=b\n").error(), "no [Desktop Entry] group");
  EXPECT_EQ(parseDesktopEntry("Type=Application\n[Desktop Entry]\n").error(), "line 1: a key before the first group");
  EXPECT_EQ(parseDesktopEntry("[Desktop Entry]\njust words\n").error(), "line 2: neither a group, a key nor a comment");
  EXPECT_EQ(parseDesktopEntry("[Desktop Entry\n").error(), "line 1: a group header without its ']'");
  EXPECT_EQ(parseDesktopEntry("[Desktop Entry]\n[Desktop Entry]\n").error(), "line 2: a second [Desktop Entry] group");
}

TEST(DesktopEntryValuesTest, BooleansAndListsFollowTheFormat) {
  auto entry = parseDesktopEntry(
      "[Desktop Entry]\nA=true\nB=1\nC=0\nD=yes\n"
      "OnlyShowIn=GNOME;KDE;\nNotShowIn=a\\;b;c\nEmpty=\n");
  ASSERT_TRUE(entry);
  const DesktopEntry& e = entry.value();
  EXPECT_EQ((std::vector{e.boolean("A"), e.boolean("B"), e.boolean("C"), e.boolean("D")}),
            (std::vector<std::optional<bool>>{true, true, false, std::nullopt}));
  EXPECT_EQ(e.list("OnlyShowIn"), (std::vector<std::string>{"GNOME", "KDE"}));
  EXPECT_EQ(e.list("NotShowIn"), (std::vector<std::string>{"a;b", "c"}));
  EXPECT_TRUE(e.list("Empty").empty());
  EXPECT_TRUE(e.list("Missing").empty());
}

TEST(DesktopEntryValuesTest, EscapesRoundTrip) {
  for (const std::string value : {"plain", " leading", "a\\b", "tab\there", "two\nlines", "cr\r", "semi;colon", ""}) {
    EXPECT_EQ(unescapeValue(escapeValue(value)), value) << value;
    EXPECT_EQ(escapeValue(value).find_first_of("\n\t\r"), std::string::npos) << value;
  }
  EXPECT_EQ(escapeValue(" a b"), "\\sa b");
  EXPECT_EQ(unescapeValue("\\q\\"), "\\q\\");  // unknown escapes stay as written
}

TEST(ExecQuotingTest, QuotesOnlyWhatNeedsItAndDoublesPercents) {
  EXPECT_EQ(quoteExecArgument("/opt/Vantor.app/x"), "/opt/Vantor.app/x");
  EXPECT_EQ(quoteExecArgument("/opt/100%/x"), "/opt/100%%/x");
  EXPECT_EQ(quoteExecArgument("/opt/My App/x"), "\"/opt/My App/x\"");
  EXPECT_EQ(quoteExecArgument(""), "\"\"");
  // In the file the value escapes come on top: each backslash doubles.
  EXPECT_EQ(escapeValue(quoteExecArgument("/opt/My \"App\"/100%/a\\b")),
            "\"/opt/My \\\\\"App\\\\\"/100%%/a\\\\\\\\b\"");
}

TEST(ExecQuotingTest, SplittingUndoesQuotingThroughTheWholeFile) {
  for (const std::string path : {"/opt/Vantor.app/x", "/opt/My App/x", "/o/100% sure/x", "/o/\"q\"/it's/x",
                                 "/o/$HOME/`x`/a\\b;c|d&e<f>g*h?i#j(k)~l", "/o/caf\xC3\xA9/x"}) {
    const std::string file =
        writeDesktopEntry({{"Type", "Application"}, {"Exec", quoteExecArgument(path) + " --flag %u"}});
    auto entry = parseDesktopEntry(file);
    ASSERT_TRUE(entry) << file;
    auto arguments = splitExec(*entry.value().string("Exec"));
    ASSERT_TRUE(arguments) << file;
    EXPECT_EQ(arguments.value(), (std::vector<std::string>{path, "--flag", "%u"})) << file;
  }
  EXPECT_EQ(splitExec("  a   \"b c\"\t d ").value(), (std::vector<std::string>{"a", "b c", "d"}));
  EXPECT_EQ(splitExec("\"unterminated").error(), "a quoted argument without its closing quote");
  EXPECT_TRUE(splitExec("").value().empty());
}

}  // namespace
}  // namespace Vantor
