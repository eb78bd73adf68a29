// JSON reading and writing: a corpus of valid and invalid documents, number
// rules, depth limits and the writer's round trips.
#include "Keel/coding/json.h"

#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <cstring>

#include "Keel/coding/any_codable.h"

namespace Keel {
namespace {

std::string nested(std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); }

// Untyped, each value takes the first kind that holds it: boolean, signed,
// unsigned, floating point.
TEST(JSONTest, ValidCorpusDecodesToTheFirstKindThatFits) {
  struct Case {
    std::string json;
    AnyValue expected;
  };
  const Case cases[] = {
      {"-0", std::int64_t{0}},  // an integer: integers have no negative zero
      {"-0.0", -0.0},           // floating point keeps the sign
      {"0", std::int64_t{0}},
      {"1e308", 1e308},
      {"1e-400", 0.0},  // underflows to zero
      {"true", true},
      {"-9223372036854775808", INT64_MIN},
      {"9223372036854775807", INT64_MAX},
      {"9223372036854775808", std::uint64_t{9223372036854775808ULL}},
      {"18446744073709551615", UINT64_MAX},
      {"3.0", 3.0},  // a number written with a fraction stays floating point
      {"null", AnyValue()},
      {"[1, \"a\", null, {\"k\": true}]", AnyValue::Array{std::int64_t{1}, "a", nullptr, TextDictionary{{"k", true}}}},
      {"2.5E+3", 2500.0},
      {" \t\n\r[ ] ", AnyValue::Array{}},
      {"\"\\u00e9\\n\\\"\\\\\\/\"", "\xc3\xa9\n\"\\/"},
      {"\"\\ud83d\\ude00\"", "\xf0\x9f\x98\x80"},  // surrogate pair
      {"\"\xe2\x82\xac\"", "\xe2\x82\xac"},
      {"{\"a\":1,\"a\":2}", TextDictionary{{"a", std::int64_t{2}}}},  // repeated key: last wins
      {"{}", TextDictionary{}},
      {nested(512), AnyValue()},  // checked for success only
  };
  for (const auto& c : cases) {
    auto decoded = JSONDecoder().decode<AnyDecodable>(c.json);
    ASSERT_TRUE(decoded.ok()) << c.json.substr(0, 40) << ": " << decoded.error().text();
    if (c.json.size() < 100) {
      EXPECT_EQ(decoded->value, c.expected) << c.json;
    }
  }
}

// Large documents build their containers in an arena that the next large
// document reuses; what they read must not differ from a small document.
TEST(JSONTest, LargeDocumentsReadAsSmallOnesDo) {
  const std::string record =
      R"({"id":-7,"tags":["a","a text longer than fifteen bytes",[[]]],"id":{"x":1.5,"x":null},"big":18446744073709551615})";
  const auto small = JSON::parse(record);
  ASSERT_TRUE(small.ok());
  std::string document = "[" + record;
  while (document.size() < (std::size_t{256} << 10)) document += "," + record;
  document += "]";
  for (int round = 0; round < 2; ++round) {
    auto large = JSON::parse(document);
    ASSERT_TRUE(large.ok());
    const auto& elements = large->as<AnyValue::Array>();
    ASSERT_GT(elements.size(), 2000u);
    for (const AnyValue& element : elements) ASSERT_EQ(element, small.value());
  }
}

TEST(JSONTest, InvalidCorpusGivesADecodingError) {
  const std::string cases[] = {
      "",
      "18446744073709551616",  // beyond 64 bits: refused, not rounded
      "-9223372036854775809",
      "1e400",
      "[1,]",
      "{\"a\" 1}",
      "[1] x",  // trailing garbage
      "01",
      "NaN",
      "\"\xff\"",     // invalid UTF-8
      "\"\\ud83d\"",  // lone surrogate
      "\"\\x\"",
      "\"a\nb\"",  // raw control character
      "{\"a\":}",
      nested(513),
      nested(100000),
  };
  for (const auto& json : cases) {
    auto decoded = JSONDecoder().decode<AnyDecodable>(json);
    ASSERT_FALSE(decoded.ok()) << json.substr(0, 40);
    EXPECT_EQ(decoded.error().kind, CodingError::Kind::dataCorrupted);
    EXPECT_TRUE(decoded.error().codingPath.empty());
    EXPECT_EQ(decoded.error().description.rfind("The given data was not valid JSON: ", 0), 0u);
  }
  EXPECT_NE(JSONDecoder().decode<AnyDecodable>(nested(600)).error().description.find("deeper than 512"),
            std::string::npos);
}

// Every text is std::to_chars's shortest round-trip form; that it reads back is the reader's test.
TEST(JSONTest, DoublesAreWrittenInTheirShortestRoundTripForm) {
  EXPECT_EQ(JSON::write(1e21).value(), "1e+21");
  EXPECT_EQ(JSON::write(-0.0).value(), "-0.0");

  // Short decimals take their own road; every text is still std::to_chars's.
  auto reference = [](double d) {
    char buffer[40];
    std::string text(buffer, std::to_chars(buffer, buffer + sizeof buffer, d).ptr);
    return text.find_first_of(".e") == std::string::npos ? text + ".0" : text;
  };
  std::vector<double> values = {5e-324,
                                1e308,
                                0.1,
                                0.09999999999999999,
                                0.1000000000000001,
                                0.25,
                                1.5,
                                99999.0,
                                100000.0,
                                100001.0,
                                3999999999.5,
                                4e9,
                                4e9 - 1,
                                0.123456,
                                0.1234567,
                                123.456789,
                                2.5e-7};
  std::uint64_t state = 0x9E3779B97F4A7C15ULL;
  for (int i = 0; i < 20000; ++i) {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    const int places = static_cast<int>(state % 8);
    const double decimal = static_cast<double>(state % 10000000000ULL) / std::pow(10.0, places);
    double bits = 0;
    std::memcpy(&bits, &state, sizeof bits);
    values.insert(values.end(), {decimal, -decimal, std::nextafter(decimal, 0.0), std::isfinite(bits) ? bits : 1.0});
  }
  for (const double d : values) EXPECT_EQ(JSON::write(d).value(), reference(d)) << d;
  for (const double d : {INFINITY, -INFINITY, NAN}) {
    auto text = JSON::write(AnyValue::Array{d});
    ASSERT_FALSE(text.ok());
    EXPECT_EQ(text.error().kind, CodingError::Kind::invalidValue);
    EXPECT_EQ(codingPathText(text.error().codingPath), "[0]");
  }
}

TEST(JSONTest, TextsAreEscapedAndMustBeUTF8) {
  EXPECT_EQ(JSON::write(std::string("\x01\x1f\t\"\\\xc3\xa9", 7)).value(), "\"\\u0001\\u001f\\t\\\"\\\\\xc3\xa9\"");
  // Texts go out a word at a time: a character to escape, a non-ASCII one or
  // a broken one at every place of texts of every length up to a few words.
  const std::vector<std::pair<std::string, std::string>> specials = {
      {"\"", "\\\""},   {"\\", "\\\\"},          {"\n", "\\n"}, {std::string(1, '\0'), "\\u0000"},
      {"\x7f", "\x7f"}, {"\xc3\xa9", "\xc3\xa9"}};
  for (std::size_t length = 1; length < 26; ++length) {
    for (std::size_t at = 0; at < length; ++at) {
      for (const auto& [special, escaped] : specials) {
        std::string s(length, 'a');
        s.replace(at, 1, special);
        EXPECT_EQ(JSON::write(s).value(), "\"" + s.substr(0, at) + escaped + s.substr(at + special.size()) + "\"")
            << length << " " << at;
      }
      std::string broken(length, 'a');
      broken[at] = '\xc3';
      EXPECT_FALSE(JSON::write(broken).ok()) << length << " " << at;
    }
  }
  auto bad = JSON::write(TextDictionary{{"k", std::string("\xc3")}});
  ASSERT_FALSE(bad.ok());
  EXPECT_EQ(codingPathText(bad.error().codingPath), "k");
  EXPECT_EQ(JSON::write(Date::withTimeIntervalSinceReferenceDate(0), {JSON::DateStrategy::secondsSince1970}).value(),
            "978307200.0");
}

TEST(JSONTest, WritingRefusesTreesNestedTooDeeply) {
  AnyValue deep;
  for (int i = 0; i < 600; ++i) deep = AnyValue::Array{std::move(deep)};
  auto written = JSON::write(deep);
  ASSERT_FALSE(written.ok());
  EXPECT_EQ(written.error().kind, CodingError::Kind::invalidValue);
  auto encoded = JSONEncoder().encode(AnyEncodable(deep));
  ASSERT_FALSE(encoded.ok());
  EXPECT_EQ(encoded.error().codingPath.size(), maxCodingDepth + 1);
  Decoder decoder(deep);
  EXPECT_FALSE(AnyDecodable::decode(decoder).ok());

  // The writer stops where the reader does: what it writes always reads back.
  for (const std::size_t depth : {maxCodingDepth, maxCodingDepth + 1}) {
    AnyValue tree = AnyValue::Array{};
    for (std::size_t i = 1; i < depth; ++i) tree = AnyValue::Array{std::move(tree)};
    const auto text = JSON::write(tree);
    EXPECT_EQ(text.ok(), JSON::parse(nested(depth)).ok()) << depth;
    if (text.ok()) {
      EXPECT_EQ(text.value(), nested(depth));
    }
  }
  AnyValue scalarAtTheBottom = AnyValue::Array{std::int64_t{1}};
  for (std::size_t i = 1; i < maxCodingDepth; ++i) scalarAtTheBottom = AnyValue::Array{std::move(scalarAtTheBottom)};
  EXPECT_FALSE(JSON::write(scalarAtTheBottom).ok());
  EXPECT_FALSE(JSON::parse("[" + nested(maxCodingDepth - 1).insert(maxCodingDepth - 1, "1") + "]").ok());
}

struct Point {
  std::int64_t x = 0;
  std::optional<std::string> label;
  static CodingResult<Point> decode(Decoder& decoder) {
    auto c = decoder.container();
    if (!c) return c.error();
    auto x = c->decode<std::int64_t>("x");
    if (!x) return x.error();
    auto label = c->decodeIfPresent<std::string>("label");
    if (!label) return label.error();
    return Point{x.value(), label.value()};
  }
  CodingStatus encode(Encoder& encoder) const {
    auto c = encoder.container();
    if (CodingStatus s = c.encode("x", x); !s) return s;
    return c.encodeIfPresent("label", label);
  }
};

TEST(JSONTest, TypedValuesReportMissingKeysAndMismatchesAtTheirPath) {
  auto points = JSONDecoder().decode<std::vector<Point>>(R"([{"x":1},{"x":2,"label":"b"}])");
  ASSERT_TRUE(points.ok());
  EXPECT_EQ(points->at(1).label, "b");
  EXPECT_EQ(JSONEncoder().encode(points.value()).value(), R"([{"x":1},{"x":2,"label":"b"}])");

  auto missing = JSONDecoder().decode<std::vector<Point>>(R"([{"x":1},{"y":2}])");
  ASSERT_FALSE(missing.ok());
  EXPECT_EQ(missing.error().kind, CodingError::Kind::keyNotFound);
  EXPECT_EQ(codingPathText(missing.error().codingPath), "[1].x");

  auto mismatch = JSONDecoder().decode<std::vector<Point>>(R"([{"x":1.5}])");
  ASSERT_FALSE(mismatch.ok());
  EXPECT_EQ(mismatch.error().kind, CodingError::Kind::typeMismatch);
  EXPECT_EQ(mismatch.error().text(),
            "typeMismatch at [0].x: Expected to decode a signed 64-bit integer but found a floating-point number "
            "instead.");
}

TEST(JSONTest, NarrowNumbersDecodeWhenTheyFitAndFailWhenTheyDoNot) {
  EXPECT_EQ(JSONDecoder().decode<std::vector<std::int32_t>>("[1,-2147483648]").value(),
            (std::vector<std::int32_t>{1, INT32_MIN}));
  EXPECT_EQ(JSONDecoder().decode<std::uint8_t>("255").value(), 255);
  EXPECT_EQ(JSONDecoder().decode<float>("0.5").value(), 0.5F);

  const auto tooBig = JSONDecoder().decode<std::vector<std::int32_t>>("[0,2147483648]");
  ASSERT_FALSE(tooBig.ok());
  EXPECT_EQ(tooBig.error().kind, CodingError::Kind::dataCorrupted);
  EXPECT_EQ(codingPathText(tooBig.error().codingPath), "[1]");
  EXPECT_EQ(JSONDecoder().decode<std::uint16_t>("-1").error().kind, CodingError::Kind::typeMismatch);
  EXPECT_EQ(JSONDecoder().decode<float>("1e300").error().kind, CodingError::Kind::dataCorrupted);
}

}  // namespace
}  // namespace Keel
