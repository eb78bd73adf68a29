#include "tools/command_line.h"

#include <gtest/gtest.h>

#include <vector>

namespace Vantor::Tools {
namespace {

Keel::Result<ParsedArguments> parse(std::vector<const char*> arguments) {
  return parseArguments(arguments, {{"--to", true}, {"--json", false}});
}

TEST(ParseArgumentsTest, SeparatesOptionsValuesAndOperands) {
  auto parsed = parse({"--to", "json", "-", "--json", "file", "--to=plist"});
  ASSERT_TRUE(parsed) << parsed.error();
  EXPECT_EQ(parsed.value().positional, (std::vector<std::string>{"-", "file"}));
  EXPECT_EQ(parsed.value().values.at("--to"), "plist");  // the last one given
  EXPECT_TRUE(parsed.value().flags.contains("--json"));
  EXPECT_FALSE(parsed.value().help);
}

TEST(ParseArgumentsTest, DoubleDashMakesTheRestOperands) {
  auto parsed = parse({"--", "--json", "-h"});
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed.value().positional, (std::vector<std::string>{"--json", "-h"}));
  EXPECT_FALSE(parsed.value().help);
  EXPECT_TRUE(parse({"x", "-h"}).value().help);
}

TEST(ParseArgumentsTest, RefusesWhatItCannotUnderstand) {
  EXPECT_EQ(parse({"--frobnicate"}).error(), "unknown option '--frobnicate'");
  EXPECT_EQ(parse({"-x"}).error(), "unknown option '-x'");
  EXPECT_EQ(parse({"--to"}).error(), "--to needs a value");
  EXPECT_EQ(parse({"--json=yes"}).error(), "--json takes no value");
}

}  // namespace
}  // namespace Vantor::Tools
