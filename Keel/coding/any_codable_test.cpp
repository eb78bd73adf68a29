// Untyped coding values: the decoding order, the encoding rules with boxed
// numbers, error texts and paths, literals.
#include "Keel/coding/any_codable.h"

#include <gtest/gtest.h>

#include <cmath>

#include "Keel/coding/json.h"
#include "Keel/coding/property_list.h"

namespace Keel {
namespace {

std::string encodeJSON(const AnyEncodable& value) {
  auto encoded = JSONEncoder().encode(value);
  EXPECT_TRUE(encoded.ok()) << (encoded.ok() ? "" : encoded.error().text());
  return encoded.ok() ? encoded.value() : std::string();
}

TEST(AnyDecodableTest, BorrowedTreesStayUnchangedAndOwnedOnesDecodeAlike) {
  // Format decoders own their trees and rewrite them in place; the result
  // must be what the container-by-container order gives on a borrowed tree.
  const AnyValue tree = TextDictionary{
      {"widths", AnyValue::Array{std::int8_t{-1}, std::uint16_t{7}, std::int32_t{-70000}, std::uint64_t{1},
                                 std::uint64_t{UINT64_MAX}, 1.5f, 2.5}},
      {"more", TextDictionary{{"t", "x"}, {"n", nullptr}, {"b", false}}},
  };
  AnyValue borrowed = tree;
  Decoder borrowing(borrowed);
  auto expected = AnyDecodable::decode(borrowing);
  ASSERT_TRUE(expected.ok());
  EXPECT_EQ(borrowed, tree);
  // Integers of any width come out as the first integer kind that holds them.
  const auto& widths = expected->value.as<TextDictionary>().find("widths")->as<AnyValue::Array>();
  EXPECT_EQ(widths[0], AnyValue(std::int64_t{-1}));
  EXPECT_EQ(widths[3], AnyValue(std::int64_t{1}));
  EXPECT_EQ(widths[4], AnyValue(UINT64_MAX));
  AnyValue owned = tree;
  Decoder owning(owned, nullptr, true);
  auto decoded = AnyDecodable::decode(owning);
  ASSERT_TRUE(decoded.ok());
  EXPECT_EQ(decoded.value(), expected.value());

  AnyValue bad = AnyValue::Array{1, AnyValue::Array{Data{1}}};
  Decoder badOwner(bad, nullptr, true);
  auto failed = AnyDecodable::decode(badOwner);
  ASSERT_FALSE(failed.ok());
  EXPECT_EQ(failed.error().description, "AnyDecodable value cannot be decoded");
}

TEST(AnyDecodableTest, UndecodableValueReportsTheOuterPath) {
  // A date is none of the kinds the order tries; failing inside the nested
  // array makes the array attempt fail, and the error surfaces at the
  // dictionary entry that holds the array.
  AnyValue tree =
      TextDictionary{{"outer", AnyValue::Array{std::int64_t{1}, Date::withTimeIntervalSinceReferenceDate(5)}}};
  Decoder decoder(tree);
  auto keyed = decoder.container();
  ASSERT_TRUE(keyed.ok());
  auto decoded = keyed->decode<AnyDecodable>("outer");
  ASSERT_FALSE(decoded.ok());
  EXPECT_EQ(decoded.error().kind, CodingError::Kind::dataCorrupted);
  EXPECT_EQ(decoded.error().description, "AnyDecodable value cannot be decoded");
  EXPECT_EQ(codingPathText(decoded.error().codingPath), "outer");
  // From the root the same failure is reported at the root.
  auto whole = AnyDecodable::decode(decoder);
  ASSERT_FALSE(whole.ok());
  EXPECT_TRUE(whole.error().codingPath.empty());
  EXPECT_EQ(whole.error().text(), "dataCorrupted at <root>: AnyDecodable value cannot be decoded");
}

TEST(AnyEncodableTest, ScalarsKeepTheirWidthAndNullWritesNull) {
  EXPECT_EQ(encodeJSON(AnyEncodable()), "null");
  EXPECT_EQ(encodeJSON(nullptr), "null");
  EXPECT_EQ(encodeJSON(true), "true");
  EXPECT_EQ(encodeJSON(std::int8_t{-7}), "-7");
  EXPECT_EQ(encodeJSON(UINT64_MAX), "18446744073709551615");
  EXPECT_EQ(encodeJSON(0.1f), "0.1");
  EXPECT_EQ(encodeJSON(URL{"https://example.com/a?b=1"}), "\"https://example.com/a?b=1\"");
  EXPECT_EQ(encodeJSON(Date::withTimeIntervalSinceReferenceDate(1.5)), "1.5");

  AnyValue tree;
  Encoder encoder(tree);
  ASSERT_TRUE(AnyEncodable(std::int16_t{300}).encode(encoder).ok());
  EXPECT_EQ(tree, AnyValue(std::int16_t{300}));
}

TEST(AnyEncodableTest, BoxedNumbersEncodeThroughTheirTypeCode) {
  struct Case {
    BoxedNumber boxed;
    AnyValue written;
  };
  const Case cases[] = {
      {{"c", std::int64_t{1}}, true},
      {{"c", std::int64_t{0}}, false},
      {{"C", std::int64_t{2}}, true},
      {{"s", std::int64_t{300}}, std::int8_t{44}},
      {{"i", std::int64_t{70000}}, std::int16_t{4464}},
      {{"l", std::int64_t{4294967297}}, std::int32_t{1}},
      {{"q", std::int64_t{-5}}, std::int64_t{-5}},
      {{"S", std::int64_t{300}}, std::uint8_t{44}},
      {{"I", std::int64_t{70000}}, std::uint16_t{4464}},
      {{"L", std::int64_t{-1}}, std::uint32_t{4294967295}},
      {{"Q", std::uint64_t{UINT64_MAX}}, std::uint64_t{UINT64_MAX}},
      {{"f", 1.5}, 1.5f},
      {{"d", 0.25}, 0.25},
  };
  for (const auto& c : cases) {
    AnyValue tree;
    Encoder encoder(tree);
    ASSERT_TRUE(AnyEncodable(c.boxed).encode(encoder).ok()) << c.boxed.typeCode;
    EXPECT_EQ(tree, c.written) << c.boxed.typeCode;
  }

  auto unknown = JSONEncoder().encode(AnyEncodable(AnyValue::Array{1, BoxedNumber{"B", std::int64_t{1}}}));
  ASSERT_FALSE(unknown.ok());
  EXPECT_EQ(unknown.error().kind, CodingError::Kind::invalidValue);
  EXPECT_EQ(unknown.error().description, "NSNumber cannot be encoded because its type is not handled");
  EXPECT_EQ(codingPathText(unknown.error().codingPath), "[1]");
}

TEST(AnyEncodableTest, UnsupportedValuesFailAtTheirPath) {
  auto intKeys = JSONEncoder().encode(AnyEncodable{{"a", AnyEncodable{{1, "x"}}.value}});
  ASSERT_FALSE(intKeys.ok());
  EXPECT_EQ(intKeys.error().description, "AnyEncodable value cannot be encoded");
  EXPECT_EQ(codingPathText(intKeys.error().codingPath), "a");
  ASSERT_TRUE(intKeys.error().value.has_value());
  EXPECT_EQ(intKeys.error().value->kind(), AnyValue::Kind::hashedDictionary);

  auto data = JSONEncoder().encode(AnyEncodable(AnyValue::Array{Data{1, 2}}));
  ASSERT_FALSE(data.ok());
  EXPECT_EQ(data.error().description, "AnyEncodable value cannot be encoded");

  // Errors of the format come back unchanged.
  auto nan = JSONEncoder().encode(AnyEncodable(TextDictionary{{"x", std::nan("")}}));
  ASSERT_FALSE(nan.ok());
  EXPECT_EQ(nan.error().kind, CodingError::Kind::invalidValue);
  EXPECT_EQ(codingPathText(nan.error().codingPath), "x");
}

TEST(AnyEncodableTest, LiteralsBuildArraysAndHashedDictionaries) {
  const AnyEncodable array{1, "a", nullptr, 2.5, 'c', U'\u00e9'};
  EXPECT_EQ(encodeJSON(array), "[1,\"a\",null,2.5,\"c\",\"\xc3\xa9\"]");
  const AnyCodable dictionary{{"b", 1}, {"a", AnyValue::Array{true, false}}};
  ASSERT_EQ(dictionary.value.kind(), AnyValue::Kind::hashedDictionary);
  // Text keys encode as a dictionary, in literal order.
  EXPECT_EQ(JSONEncoder().encode(dictionary).value(), "{\"b\":1,\"a\":[true,false]}");
}

TEST(AnyEncodableDeathTest, DuplicateKeyInDictionaryLiteralStops) {
  EXPECT_DEATH(AnyEncodable({{"a", 1}, {"b", 2}, {"a", 3}}), "Duplicate values for key: 'a'");
  EXPECT_DEATH(AnyCodable({{7, 1}, {7, 2}}), "Duplicate values for key: '7'");
}

TEST(AnyCodableTest, NestedValuesRoundTripThroughJSONAndPropertyLists) {
  const AnyCodable value(TextDictionary{
      {"name", "Zoë & <co>"},
      {"count", std::int64_t{-42}},
      {"big", std::uint64_t{18446744073709551615ULL}},
      {"ratio", 0.30000000000000004},
      {"tiny", 5e-324},
      {"flags", AnyValue::Array{true, false, AnyValue::Array{}, TextDictionary{}}},
      {"nested", TextDictionary{{"deeper", AnyValue::Array{std::int64_t{1}, "two", 3.5}}}},
  });
  auto json = JSONEncoder().encode(value);
  ASSERT_TRUE(json.ok());
  auto back = JSONDecoder().decode<AnyCodable>(json.value());
  ASSERT_TRUE(back.ok());
  EXPECT_EQ(back.value(), value);

  // Property lists keep unsigned values above the signed range too.
  auto xml = PropertyListEncoder().encode(value);
  ASSERT_TRUE(xml.ok()) << xml.error().text();
  auto plistBack = PropertyListDecoder().decode<AnyCodable>(std::string_view(xml.value()));
  ASSERT_TRUE(plistBack.ok()) << plistBack.error().text();
  EXPECT_EQ(plistBack.value(), value);
}

}  // namespace
}  // namespace Keel
