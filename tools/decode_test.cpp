// Reading, sniffing, parsing and converting documents, and the printed tree.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

#include "Keel/coding/json.h"
#include "Keel/coding/property_list.h"
#include "testing/bundle_builder.h"
#include "testing/temp_dir.h"
#include "tools/document.h"
#include "tools/tree_printer.h"

namespace Vantor::Tools {
namespace {

using Keel::AnyValue;

TEST(SniffFormatTest, PropertyListsByTheirFirstBytesEverythingElseJSON) {
  EXPECT_EQ(sniffFormat("bplist00\x01\x02"), DocumentFormat::propertyList);
  EXPECT_EQ(sniffFormat("<?xml version=\"1.0\"?>"), DocumentFormat::propertyList);
  EXPECT_EQ(sniffFormat("\xEF\xBB\xBF \n\t<plist version=\"1.0\">"), DocumentFormat::propertyList);
  EXPECT_EQ(sniffFormat("{\"a\": \"<plist>\"}"), DocumentFormat::json);
  EXPECT_EQ(sniffFormat("  [1, 2]"), DocumentFormat::json);
  EXPECT_EQ(sniffFormat(""), DocumentFormat::json);
}

TEST(ParseDocumentTest, ReadsBothFormatsIntoTheSameTree) {
  const std::string json = R"({"CFBundleIdentifier": "com.brenwick.vantor", "CFBundleName": "Vantor"})";
  const std::string xml =
      Testing::infoPlist({{"CFBundleIdentifier", "com.brenwick.vantor"}, {"CFBundleName", "Vantor"}}, false);
  const std::string binary =
      Testing::infoPlist({{"CFBundleIdentifier", "com.brenwick.vantor"}, {"CFBundleName", "Vantor"}}, true);
  auto fromJSON = parseDocument(json);
  ASSERT_TRUE(fromJSON) << fromJSON.error();
  EXPECT_EQ(parseDocument(xml).value(), fromJSON.value());
  EXPECT_EQ(parseDocument(binary).value(), fromJSON.value());
  // Editors put a byte-order mark before JSON too.
  EXPECT_EQ(parseDocument("\xEF\xBB\xBF" + json).value(), fromJSON.value());
}

TEST(ParseDocumentTest, BadDocumentsGiveOneLineReasons) {
  for (const std::string& bad :
       std::vector<std::string>{"", "{", "[1, 2,]", "{\"a\": 1} trailing", "\xFF\xFE", "123456789012345678901234567890",
                                "<?xml version=\"1.0\"?><plist><dict><key>a</key>", "bplist00\x01\x02\x03",
                                std::string("<plist><string>a\0b</string></plist>", 35)}) {
    auto tree = parseDocument(bad);
    ASSERT_FALSE(tree) << "accepted: " << bad;
    EXPECT_FALSE(tree.error().empty());
    EXPECT_EQ(tree.error().find('\n'), std::string::npos) << tree.error();
  }
}

// The round trip, and a value a property list cannot hold, are
// tools_integration_test.cpp's.
TEST(ConvertTreeTest, DataHasNoFormInJSON) {
  auto json = convertTree(AnyValue::Dictionary{{"blob", Keel::Data{1, 2, 3}}}, DocumentFormat::json);
  ASSERT_FALSE(json);
  EXPECT_NE(json.error().find("JSON"), std::string::npos) << json.error();
}

TEST(ReadDocumentTest, TheSizeLimitHoldsForFilesAndStreams) {
  // Missing files, folders and devices are refused in tools_integration_test.cpp.
  Testing::TempDir dir;
  const auto file = dir.path() / "doc.json";
  std::ofstream(file) << "[1, 2, 3]";
  EXPECT_EQ(readDocumentFile(file, 9).value(), "[1, 2, 3]");
  EXPECT_EQ(readDocumentFile(file, 8).error(), "larger than 8 bytes");
  EXPECT_EQ(readDocumentFile(file, std::size_t{1} << 20).value(), "[1, 2, 3]");

  // A stream has no size to look at first: the limit stops the read.
  std::FILE* stream = std::fopen(file.c_str(), "rb");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(readDocumentStream(stream, 4).error(), "larger than 4 bytes");
  std::fclose(stream);
}

TEST(PrintTreeTest, NamesEachValuesKindOneValuePerLine) {
  const AnyValue tree = AnyValue::Dictionary{
      {"name", "Vantor \"1\"\n"},        {"sizes", AnyValue::Array{std::int64_t{1}, 2.5, true, nullptr}},
      {"empty", AnyValue::Dictionary{}}, {"when", Keel::Date::withTimeIntervalSinceReferenceDate(0.5)},
      {"blob", Keel::Data{0x0a, 0xff}},  {"one", AnyValue::Array{std::int32_t{7}}},
  };
  EXPECT_EQ(printTree(tree),
            "dictionary (6 entries)\n"
            "  \"name\": text \"Vantor \\\"1\\\"\\n\"\n"
            "  \"sizes\": array (4 elements)\n"
            "    [0]: int64 1\n"
            "    [1]: float64 2.5\n"
            "    [2]: boolean true\n"
            "    [3]: null\n"
            "  \"empty\": dictionary (0 entries)\n"
            "  \"when\": date 2001-01-01T00:00:00.5Z\n"
            "  \"blob\": data (2 bytes) 0aff\n"
            "  \"one\": array (1 element)\n"
            "    [0]: int32 7\n");
  EXPECT_EQ(printTree(AnyValue("top")), "text \"top\"\n");
}

TEST(PrintTreeTest, TextsAndDatesStayOnOneReadableLine) {
  EXPECT_EQ(quotedText(std::string("a\tb\\c\x01\x7f", 7)), "\"a\\tb\\\\c\\u0001\\u007f\"");
  EXPECT_EQ(quotedText("caf\xC3\xA9"), "\"caf\xC3\xA9\"");
  EXPECT_EQ(dateText(Keel::Date(0)), "1970-01-01T00:00:00Z");
  EXPECT_EQ(dateText(Keel::Date(-1.25)), "1969-12-31T23:59:58.75Z");
  EXPECT_EQ(dateText(Keel::Date(951782400)), "2000-02-29T00:00:00Z");
  EXPECT_EQ(dateText(Keel::Date(1e300)), Keel::describe(Keel::Date(1e300)));
  const std::string data = printTree(AnyValue(Keel::Data(40, 0x11)));
  EXPECT_EQ(data, "data (40 bytes) " + std::string(64, '1') + "...\n");
}

}  // namespace
}  // namespace Vantor::Tools
