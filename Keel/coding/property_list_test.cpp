// Property lists in the coding framework: reading what another writer
// (libplist) wrote in both formats, XML writing and reading back, the
// decoding error, the top-level text lookup. The reader's own edge cases are
// in Keel/core/property_list_reader_test.cpp.
#include "Keel/coding/property_list.h"

#include <gtest/gtest.h>

#include <cmath>

#include "Keel/coding/any_codable.h"
#include "testing/plist_bytes.h"

namespace Keel {
namespace {

using Vantor::Testing::plistBytes;  // what another writer makes of a tree

plist_t sample() {
  plist_t dict = plist_new_dict();
  plist_dict_set_item(dict, "negative", plist_new_uint(static_cast<std::uint64_t>(-5)));
  plist_dict_set_item(dict, "min", plist_new_uint(static_cast<std::uint64_t>(INT64_MIN)));
  plist_dict_set_item(dict, "max", plist_new_uint(static_cast<std::uint64_t>(INT64_MAX)));
  plist_dict_set_item(dict, "real", plist_new_real(0.1));
  plist_dict_set_item(dict, "when", plist_new_date(86400, 0));
  plist_dict_set_item(dict, "blob", plist_new_data("\x01\x02\x03", 3));
  plist_t array = plist_new_array();
  plist_array_append_item(array, plist_new_bool(1));
  plist_array_append_item(array, plist_new_string("t\xc3\xa9xt & <more>"));
  plist_dict_set_item(dict, "list", array);
  return dict;
}

TEST(PropertyListTest, ReadsBothFormatsWithSignedIntegersAndUnreadableBytesAreADecodingError) {
  const AnyValue expected = TextDictionary{
      {"negative", std::int64_t{-5}},
      {"min", INT64_MIN},
      {"max", INT64_MAX},
      {"real", 0.1},
      {"when", Date::withTimeIntervalSinceReferenceDate(86400)},
      {"blob", Data{1, 2, 3}},
      {"list", AnyValue::Array{true, "t\xc3\xa9xt & <more>"}},
  };
  for (const bool binary : {false, true}) {
    auto tree = PropertyList::parse(plistBytes(sample(), binary));
    ASSERT_TRUE(tree.ok()) << tree.error().text();
    EXPECT_EQ(tree.value(), expected) << (binary ? "binary" : "xml");
  }
  for (const std::string& bytes : {std::string(), std::string("bplist00garbage"), std::string("<plist><dict>")}) {
    auto tree = PropertyList::parse(bytes);
    ASSERT_FALSE(tree.ok()) << bytes;
    EXPECT_EQ(tree.error().kind, CodingError::Kind::dataCorrupted);
  }
}

TEST(PropertyListTest, WrittenXMLReadsBackAsTheSameTree) {
  const AnyValue tree = TextDictionary{
      {"i8", std::int8_t{-3}},
      {"u64", UINT64_MAX},
      {"reals", AnyValue::Array{1.0 / 3.0, 1e300, -0.0, 2.0, std::nan(""), -HUGE_VAL, 5e-324}},
      {"text", "a&b<c>\"d\"\ttab\nline\r\nreturn \xf0\x9f\x98\x80"},
      {"when",
       AnyValue::Array{Date::withTimeIntervalSinceReferenceDate(-86400.0 * 365),
                       Date::withTimeIntervalSinceReferenceDate(-0.25), Date::withTimeIntervalSinceReferenceDate(1e-9),
                       Date::withTimeIntervalSinceReferenceDate(-6e10)}},
      {"empty", AnyValue::Array{}},
      {"blobs", AnyValue::Array{Data{}, Data{0xff}, Data{1, 2}, Data{1, 2, 3, 4}}},
      {"dict", TextDictionary{}},
  };
  auto xml = PropertyList::writeXML(tree);
  ASSERT_TRUE(xml.ok()) << xml.error().text();
  auto back = PropertyList::parse(xml.value());
  ASSERT_TRUE(back.ok()) << xml.value();
  // Signed integers of every width come back as 64-bit ones.
  AnyValue expected = tree;
  expected.getIf<TextDictionary>()->insertOrAssign("i8", std::int64_t{-3});
  EXPECT_EQ(back.value(), expected) << xml.value();
}

TEST(PropertyListTest, WritingRefusesWhatPropertyListsCannotHold) {
  struct Case {
    AnyValue value;
    const char* path;
  };
  const Case cases[] = {
      {AnyValue::Array{nullptr}, "[0]"},
      {TextDictionary{{"bell", "\x07"}}, "bell"},
      {TextDictionary{{"nul", std::string(1, '\0')}}, "nul"},
      {TextDictionary{{"notUTF8", "\xC3"}}, "notUTF8"},
      {TextDictionary{{"surrogate", "\xED\xA0\x80"}}, "surrogate"},
      {TextDictionary{{"nonCharacter", "\xEF\xBF\xBE"}}, "nonCharacter"},
      {AnyValue::Array{Date::withTimeIntervalSinceReferenceDate(std::nan(""))}, "[0]"},
      {AnyValue::Array{Date::withTimeIntervalSinceReferenceDate(3e11)}, "[0]"},  // year 11507
      {HashedDictionary{{1, 2}}, ""},
  };
  for (const auto& c : cases) {
    auto xml = PropertyList::writeXML(c.value);
    ASSERT_FALSE(xml.ok()) << c.path;
    EXPECT_EQ(xml.error().kind, CodingError::Kind::invalidValue);
    EXPECT_EQ(codingPathText(xml.error().codingPath), c.path);
  }
  // 512 levels are written and read back; a 513th is not written.
  AnyValue deep = AnyValue::Array{};
  for (std::size_t i = 1; i < maxValueDepth; ++i) {
    AnyValue::Array wrapper;  // not Array{deep}: an initializer list copies
    wrapper.push_back(std::move(deep));
    deep = std::move(wrapper);
  }
  auto written = PropertyList::writeXML(deep);
  ASSERT_TRUE(written.ok());
  EXPECT_EQ(PropertyList::parse(written.value()).value(), deep);
  EXPECT_FALSE(PropertyList::writeXML(AnyValue::Array{deep}).ok());
}

TEST(PropertyListTest, DatesAndDataAreNotUntypedValues) {
  auto decoded = PropertyListDecoder().decode<AnyDecodable>(plistBytes(sample(), true));
  ASSERT_FALSE(decoded.ok());
  EXPECT_EQ(decoded.error().description, "AnyDecodable value cannot be decoded");
  // Typed decoding reads them.
  auto tree = PropertyList::parse(plistBytes(sample(), false));
  ASSERT_TRUE(tree.ok());
  Decoder decoder(tree.value());
  auto keyed = decoder.container();
  ASSERT_TRUE(keyed.ok());
  EXPECT_EQ(keyed->decode<Date>("when").value(), Date::withTimeIntervalSinceReferenceDate(86400));
  EXPECT_EQ(keyed->decode<Data>("blob").value(), (Data{1, 2, 3}));
}

TEST(PropertyListTest, TopLevelStringReadsTextValuesOnly) {
  plist_t dict = plist_new_dict();
  plist_dict_set_item(dict, "CFBundleIdentifier", plist_new_string("com.example.app"));
  plist_dict_set_item(dict, "Count", plist_new_uint(3));
  for (const bool binary : {false, true}) {
    const std::string bytes = plistBytes(plist_copy(dict), binary);
    const std::span data(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    EXPECT_EQ(PropertyList::topLevelString(data, "CFBundleIdentifier"), "com.example.app");
    EXPECT_EQ(PropertyList::topLevelString(data, "Count"), std::nullopt);
    EXPECT_EQ(PropertyList::topLevelString(data, "Missing"), std::nullopt);
  }
  plist_free(dict);
  const std::string array = plistBytes(plist_new_array(), false);
  EXPECT_EQ(
      PropertyList::topLevelString(std::span(reinterpret_cast<const std::uint8_t*>(array.data()), array.size()), "a"),
      std::nullopt);
}

}  // namespace
}  // namespace Keel
