// Property-list reading (XML and binary, written by libplist here) and XML
// writing: integer signedness, dates, data, the top-level text lookup.
#include "Keel/coding/property_list.h"

#include <gtest/gtest.h>
#include <plist/plist.h>

#include <cstdlib>

#include "Keel/coding/any_codable.h"

namespace Keel {
namespace {

enum class Format { xml, binary };

// The bytes libplist writes for `root` (which it takes over).
std::string serialize(plist_t root, Format format) {
  char* bytes = nullptr;
  std::uint32_t length = 0;
  if (format == Format::xml) {
    plist_to_xml(root, &bytes, &length);
  } else {
    plist_to_bin(root, &bytes, &length);
  }
  std::string out(bytes, length);
  std::free(bytes);
  plist_free(root);
  return out;
}

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

TEST(PropertyListTest, ReadsBothFormatsWithSignedIntegers) {
  const AnyValue expected = TextDictionary{
      {"negative", std::int64_t{-5}},
      {"min", INT64_MIN},
      {"max", INT64_MAX},
      {"real", 0.1},
      {"when", Date::withTimeIntervalSinceReferenceDate(86400)},
      {"blob", Data{1, 2, 3}},
      {"list", AnyValue::Array{true, "t\xc3\xa9xt & <more>"}},
  };
  for (const Format format : {Format::xml, Format::binary}) {
    auto tree = PropertyList::parse(serialize(sample(), format));
    ASSERT_TRUE(tree.ok()) << tree.error().text();
    EXPECT_EQ(tree.value(), expected) << (format == Format::xml ? "xml" : "binary");
  }
}

TEST(PropertyListTest, WrittenXMLReadsBackAsTheSameTree) {
  const AnyValue tree = TextDictionary{
      {"i8", std::int8_t{-3}},
      {"u64", std::uint64_t{INT64_MAX}},
      {"reals", AnyValue::Array{1.0 / 3.0, 1e300, -0.0, 2.0}},
      {"text", "a&b<c>\"d\"\ttab\nline \xf0\x9f\x98\x80"},
      {"when", Date::withTimeIntervalSinceReferenceDate(-86400.0 * 365)},
      {"empty", AnyValue::Array{}},
      {"blobs", AnyValue::Array{Data{}, Data{0xff}, Data{1, 2}, Data{1, 2, 3, 4}}},
      {"dict", TextDictionary{}},
  };
  auto xml = PropertyList::writeXML(tree);
  ASSERT_TRUE(xml.ok()) << xml.error().text();
  auto back = PropertyList::parse(xml.value());
  ASSERT_TRUE(back.ok()) << xml.value();
  // Integers of every width come back as signed 64-bit ones.
  AnyValue expected = tree;
  expected.getIf<TextDictionary>()->insertOrAssign("i8", std::int64_t{-3});
  expected.getIf<TextDictionary>()->insertOrAssign("u64", INT64_MAX);
  EXPECT_EQ(back.value(), expected) << xml.value();
}

TEST(PropertyListTest, WritingRefusesWhatPropertyListsCannotHold) {
  struct Case {
    AnyValue value;
    const char* path;
  };
  const Case cases[] = {
      {AnyValue::Array{nullptr}, "[0]"},
      {TextDictionary{{"u", UINT64_MAX}}, "u"},
      {TextDictionary{{"bell", "\x07"}}, "bell"},
      {HashedDictionary{{1, 2}}, ""},
  };
  for (const auto& c : cases) {
    auto xml = PropertyList::writeXML(c.value);
    ASSERT_FALSE(xml.ok()) << c.path;
    EXPECT_EQ(xml.error().kind, CodingError::Kind::invalidValue);
    EXPECT_EQ(codingPathText(xml.error().codingPath), c.path);
  }
}

TEST(PropertyListTest, UnreadableBytesGiveADecodingError) {
  for (const std::string& bytes : {std::string(), std::string("not a plist"), std::string("bplist00garbage"),
                                  std::string("<plist><dict><key>a</key></plist>")}) {
    auto tree = PropertyList::parse(bytes);
    ASSERT_FALSE(tree.ok()) << bytes;
    EXPECT_EQ(tree.error().kind, CodingError::Kind::dataCorrupted);
  }
  // A binary list whose text holds a NUL character (libplist would abort on it).
  const std::string nul(
      "\x62\x70\x6c\x69\x73\x74\x30\x30\xd1\x01\x02\x51\x6b\x53\x61\x00\x62\x08\x0b\x0d\x00\x00\x00\x00\x00\x00"
      "\x01\x01\x00\x00\x00\x00\x00\x00\x00\x03\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x11",
      52);
  EXPECT_FALSE(PropertyList::parse(nul).ok());
  std::string safe = nul;
  safe[15] = 'z';  // the same list without the NUL reads
  EXPECT_EQ(PropertyList::parse(safe).value(), AnyValue(TextDictionary{{"k", "azb"}}));

  std::string deep = "<plist>";
  for (int i = 0; i < 600; ++i) deep += "<array>";
  for (int i = 0; i < 600; ++i) deep += "</array>";
  deep += "</plist>";
  EXPECT_FALSE(PropertyList::parse(deep).ok());
}

TEST(PropertyListTest, DatesAndDataAreNotUntypedValues) {
  auto decoded = PropertyListDecoder().decode<AnyDecodable>(serialize(sample(), Format::binary));
  ASSERT_FALSE(decoded.ok());
  EXPECT_EQ(decoded.error().description, "AnyDecodable value cannot be decoded");
  // Typed decoding reads them.
  auto tree = PropertyList::parse(serialize(sample(), Format::xml));
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
  for (const Format format : {Format::xml, Format::binary}) {
    const std::string bytes = serialize(plist_copy(dict), format);
    const std::span data(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    EXPECT_EQ(PropertyList::topLevelString(data, "CFBundleIdentifier"), "com.example.app");
    EXPECT_EQ(PropertyList::topLevelString(data, "Count"), std::nullopt);
    EXPECT_EQ(PropertyList::topLevelString(data, "Missing"), std::nullopt);
  }
  plist_free(dict);
  const std::string array = serialize(plist_new_array(), Format::xml);
  EXPECT_EQ(PropertyList::topLevelString(
                std::span(reinterpret_cast<const std::uint8_t*>(array.data()), array.size()), "a"),
            std::nullopt);
}

}  // namespace
}  // namespace Keel
