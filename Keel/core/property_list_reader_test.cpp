// The property-list reader against hostile and malformed input: nesting,
// cycles and shared-object expansion, exact dates and integers, strict XML
// grammar, text validity, and the edges of the binary layout. Binary lists
// are assembled here object by object, so that each case says what it holds.
#include "Keel/core/property_list_reader.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <vector>

#include "Keel/core/property_list_date.h"

namespace Keel {
namespace {

using PropertyList::read;
using namespace std::string_literals;

// A binary list under construction: objects are added as their encoded
// bytes; references have `refSize` bytes.
struct BinaryList {
  std::size_t refSize = 1;
  std::vector<std::string> objects;

  static std::string bigEndian(std::uint64_t v, std::size_t n) {
    std::string out(n, '\0');
    for (std::size_t i = n; i-- > 0; v >>= 8) out[i] = static_cast<char>(v & 0xFF);
    return out;
  }
  // A marker with its count, the count following as an integer when large.
  static std::string marker(unsigned type, std::uint64_t count) {
    if (count < 15) return std::string(1, static_cast<char>(type << 4 | count));
    return std::string(1, static_cast<char>(type << 4 | 0xF)) + "\x13" + bigEndian(count, 8);
  }
  std::size_t add(std::string bytes) {
    objects.push_back(std::move(bytes));
    return objects.size() - 1;
  }
  std::string refs(const std::vector<std::size_t>& list) const {
    std::string out;
    for (const std::size_t r : list) out += bigEndian(r, refSize);
    return out;
  }
  std::size_t array(const std::vector<std::size_t>& items) { return add(marker(0xA, items.size()) + refs(items)); }
  std::size_t dict(const std::vector<std::size_t>& keys, const std::vector<std::size_t>& values) {
    return add(marker(0xD, keys.size()) + refs(keys) + refs(values));
  }
  std::size_t ascii(std::string_view s) { return add(marker(0x5, s.size()) + std::string(s)); }
  std::size_t utf16(std::u16string_view s) {
    std::string out = marker(0x6, s.size());
    for (const char16_t c : s) out += bigEndian(c, 2);
    return add(out);
  }
  std::size_t date(double seconds) { return add("\x33" + bigEndian(std::bit_cast<std::uint64_t>(seconds), 8)); }

  std::string bytes(std::size_t top = 0) const {
    std::string out = "bplist00";
    std::vector<std::uint64_t> offsets;
    for (const auto& object : objects) {
      offsets.push_back(out.size());
      out += object;
    }
    const std::uint64_t table = out.size();
    const std::size_t offsetSize = table < 0x100 ? 1 : table < 0x10000 ? 2 : table < 0x1000000 ? 3 : 4;
    for (const std::uint64_t o : offsets) out += bigEndian(o, offsetSize);
    out += std::string(6, '\0') + static_cast<char>(offsetSize) + static_cast<char>(refSize);
    return out + bigEndian(objects.size(), 8) + bigEndian(top, 8) + bigEndian(table, 8);
  }
};

// A list holding only the scalar object `bytes`.
std::string binaryScalar(std::string bytes) {
  BinaryList list;
  list.add(std::move(bytes));
  return list.bytes();
}

std::string xmlList(std::string_view body) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">" + std::string(body) + "</plist>";
}

// `levels` arrays, each the only element of the one before.
std::string nestedBinary(std::size_t levels) {
  BinaryList list;
  list.refSize = 4;
  for (std::size_t i = 0; i + 1 < levels; ++i) list.array({i + 1});
  list.array({});
  return list.bytes();
}

std::string nestedXML(std::size_t levels, std::string_view tag) {
  const bool dict = tag == "dict";
  std::string body;
  for (std::size_t i = 1; i < levels; ++i) body += dict ? "<dict><key>k</key>" : "<array>";
  body += dict ? "<dict/>" : "<array/>";
  for (std::size_t i = 1; i < levels; ++i) body += dict ? "</dict>" : "</array>";
  return xmlList(body);
}

std::size_t depthOf(const AnyValue& v) {
  std::size_t depth = 0;
  for (const AnyValue* p = &v;; ++depth) {
    if (const auto* a = p->getIf<AnyValue::Array>(); a != nullptr && !a->empty()) {
      p = &a->front();
    } else if (const auto* d = p->getIf<TextDictionary>(); d != nullptr && !d->empty()) {
      p = &d->begin()->second;
    } else {
      return depth + (p->getIf<AnyValue::Array>() != nullptr || p->getIf<TextDictionary>() != nullptr ? 1 : 0);
    }
  }
}

TEST(PropertyListReaderTest, NestingIsLimitedWhileReadingInBothFormats) {
  const auto deepest = read(nestedBinary(maxValueDepth));
  ASSERT_TRUE(deepest) << deepest.error();
  EXPECT_EQ(depthOf(*deepest), maxValueDepth);
  EXPECT_FALSE(read(nestedBinary(maxValueDepth + 1)));
  const auto binary = read(nestedBinary(100'000));
  EXPECT_NE(binary.error().find("nested deeper than 512"), std::string::npos) << binary.error();

  for (const std::string_view tag : {"array", "dict"}) {
    const auto xml = read(nestedXML(maxValueDepth, tag));
    ASSERT_TRUE(xml) << xml.error();
    EXPECT_EQ(depthOf(*xml), maxValueDepth);
    EXPECT_FALSE(read(nestedXML(maxValueDepth + 1, tag)));
    const auto deep = read(nestedXML(300'000, tag));
    EXPECT_NE(deep.error().find("nested deeper than 512"), std::string::npos) << deep.error();
  }
}

TEST(PropertyListReaderTest, BinaryCyclesAndSharedObjectExpansionAreRefused) {
  BinaryList cycle;
  cycle.array({1});
  cycle.array({0});
  EXPECT_EQ(read(cycle.bytes()).error(), "a container contains itself");

  // Sharing is fine: one text under two keys, one array twice.
  BinaryList shared;
  const std::size_t text = shared.ascii("same");
  const std::size_t pair = shared.array({text, text});
  const std::size_t top = shared.dict({shared.ascii("a"), shared.ascii("b")}, {pair, pair});
  const AnyValue twice = AnyValue::Array{"same", "same"};
  EXPECT_EQ(read(shared.bytes(top)), AnyValue(TextDictionary{{"a", twice}, {"b", twice}}));

  // 64 levels of [next, next] would be 2^64 values from 700 bytes.
  BinaryList bomb;
  for (std::size_t i = 0; i < 64; ++i) bomb.array({i + 1, i + 1});
  bomb.add("\x09");
  const auto exploded = read(bomb.bytes());
  EXPECT_NE(exploded.error().find("expands"), std::string::npos) << exploded.error();
}

TEST(PropertyListReaderTest, DatesAreExactDoublesInBothFormats) {
  for (const double seconds : {-0.5, 0.5, -1e-20, 5e-324, 1234.5678, -3e9, 4e9, 1e10, -6.3e10, 2.5e11}) {
    BinaryList list;
    list.date(seconds);
    const auto binary = read(list.bytes());
    ASSERT_TRUE(binary) << binary.error();
    EXPECT_EQ(binary->as<Date>().timeIntervalSinceReferenceDate(), seconds);

    const auto text = PropertyList::dateText(seconds);
    ASSERT_TRUE(text) << seconds;
    const auto xml = read(xmlList("<date>" + *text + "</date>"));
    ASSERT_TRUE(xml) << *text << ": " << xml.error();
    EXPECT_EQ(xml->as<Date>().timeIntervalSinceReferenceDate(), seconds) << *text;
  }
  EXPECT_EQ(PropertyList::dateText(-0.5), "2000-12-31T23:59:59.5Z");
  EXPECT_EQ(PropertyList::dateText(-1e-20), "2000-12-31T23:59:59.99999999999999999999Z");
  EXPECT_EQ(PropertyList::parseDateText("0001-01-01T00:00:00Z"), -63113904000.0);
  EXPECT_EQ(PropertyList::parseDateText("9999-12-31T23:59:59.9Z"), 252423993599.9);
  EXPECT_EQ(PropertyList::parseDateText("2000-02-29T12:00:00.100Z"), -86400.0 * 306 - 43200 + 0.1);
  EXPECT_FALSE(PropertyList::dateText(2.6e11));  // year 10240
  EXPECT_FALSE(PropertyList::dateText(-7e10));   // before year 1

  for (const double bad : {std::nan(""), std::numeric_limits<double>::infinity()}) {
    BinaryList list;
    list.date(bad);
    EXPECT_EQ(read(list.bytes()).error(), "date is not finite");
  }
  for (const char* bad : {"0000-01-01T00:00:00Z", "2001-02-29T00:00:00Z", "2001-01-01T24:00:00Z",
                          "2001-01-01T00:00:60Z", "2001-01-01T00:00:00", "2001-01-01T00:00:00.Z",
                          "2001-01-01 00:00:00Z", "+2001-01-01T00:00:00Z", "2001-1-01T00:00:00Z"}) {
    EXPECT_FALSE(read(xmlList(std::string("<date>") + bad + "</date>"))) << bad;
  }
}

TEST(PropertyListReaderTest, IntegersAreSigned64BitOrUnsignedAbove) {
  const struct {
    const char* text;
    AnyValue value;
  } good[] = {
      {"0123", std::int64_t{123}},  // decimal, not octal
      {" -42\n", std::int64_t{-42}},
      {"+0x1F", std::int64_t{31}},
      {"-0x8000000000000000", std::numeric_limits<std::int64_t>::min()},
      {"9223372036854775807", std::numeric_limits<std::int64_t>::max()},
      {"18446744073709551615", std::numeric_limits<std::uint64_t>::max()},
  };
  for (const auto& c : good)
    EXPECT_EQ(read(xmlList(std::string("<integer>") + c.text + "</integer>")), c.value) << c.text;
  for (const char* bad :
       {"not integer", "", "18446744073709551616", "-9223372036854775809", "0x", "1.0", "--1", "+-1", "0o17", "1 2"}) {
    EXPECT_FALSE(read(xmlList(std::string("<integer>") + bad + "</integer>"))) << bad;
  }

  // Binary: 1, 2 and 4 bytes unsigned, 8 bytes signed, 16 bytes for the
  // unsigned values above the signed range.
  EXPECT_EQ(read(binaryScalar("\x12\xFF\xFF\xFF\xFF")), AnyValue(std::int64_t{0xFFFFFFFF}));
  EXPECT_EQ(read(binaryScalar("\x13" + std::string(8, '\xFF'))), AnyValue(std::int64_t{-1}));
  EXPECT_EQ(read(binaryScalar("\x14" + std::string(8, '\0') + std::string(8, '\xFF'))),
            AnyValue(std::numeric_limits<std::uint64_t>::max()));
  EXPECT_EQ(read(binaryScalar("\x14" + std::string(8, '\0') + std::string(7, '\0') + "\x05")),
            AnyValue(std::int64_t{5}));
  EXPECT_EQ(read(binaryScalar("\x14" + std::string(9, '\xFF') + std::string(7, '\xFE'))),
            AnyValue(std::int64_t{-0x0001010101010102}));
  EXPECT_EQ(read(binaryScalar("\x14" + std::string(7, '\0') + "\x01" + std::string(8, '\0'))).error(),
            "integer beyond 64 bits");
  EXPECT_EQ(read(binaryScalar("\x22\x3F\xC0\x00\x00"s)), AnyValue(1.5));
}

TEST(PropertyListReaderTest, XMLFollowsThePropertyListGrammar) {
  const auto tree =
      read(xmlList("<dict><key>list</key><array><true/><false/><real> -2.5e3 </real><real>-inf</real><string/>"
                   "<data>AQID\nBA==</data><data>AQ</data></array><key>dup</key><integer>1</integer>"
                   "<key>text</key><string>&lt;x&#13;\xC3\xA9</string><key>dup</key><integer>2</integer></dict>"));
  ASSERT_TRUE(tree) << tree.error();
  const AnyValue::Array list{true,   false, -2500.0, -std::numeric_limits<double>::infinity(), "", Data{1, 2, 3, 4},
                             Data{1}};
  // A repeated key keeps its last value.
  EXPECT_EQ(*tree, AnyValue(TextDictionary{{"list", list}, {"dup", std::int64_t{2}}, {"text", "<x\r\xC3\xA9"}}));
  // A byte-order mark may start the document.
  EXPECT_EQ(read("\xEF\xBB\xBF" + xmlList("<string>x</string>")), AnyValue("x"));

  for (const char* bad : {
           "<array><key>k</key></array>",      // <key> outside a dictionary
           "<key>k</key>",                     //
           "<dict><key>k</key></dict>",        // key without value
           "<dict><string>v</string></dict>",  // value without key
           "<dict><key>a</key><key>b</key><true/></dict>",
           "<array><date/></array>",  //
           "<vector/>",               // unknown element
           "<string>a<b/></string>",  // element inside a text
           "<true>yes</true>",        //
           "<array>text</array>",     // text outside a value
           "<true/><false/>",         // two values
           "",                        // none
           "<real>1e999</real>",
           "<real>0x1p3</real>",
           "<real></real>",
           "<data>AQI=A</data>",
           "<data>A===</data>",
           "<data>A</data>",
           "<data>*</data>",
       }) {
    const auto result = read(xmlList(bad));
    EXPECT_FALSE(result) << bad;
    EXPECT_FALSE(result.error().empty());
  }
  for (const std::string& bad : std::vector<std::string>{
           xmlList("<true/>") + "<plist/>",           // trailing garbage
           std::string("<array/>"),                   // root is not <plist>
           xmlList("<string>\x80</string>"),          // not UTF-8
           xmlList("<string>&#0;</string>"),          // NUL
           xmlList("<string>\xEF\xBF\xBF</string>"),  // U+FFFF
           xmlList("<string>&undeclared;</string>"),
           "<!DOCTYPE plist SYSTEM \"x.dtd\">" + xmlList("<string>&undeclared;</string>").substr(39),
           // Declaring entities at all is refused, whether used or not.
           // NOLINTNEXTLINE(bugprone-suspicious-missing-comma): one document over two lines
           "<!DOCTYPE plist [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;\">]>"
           "<plist><string>&b;</string></plist>",
           "<!DOCTYPE plist [<!ENTITY e SYSTEM \"file:///etc/passwd\">]><plist><string>&e;</string></plist>",
           "<!DOCTYPE plist [<!ENTITY % p SYSTEM \"http://example.invalid/\"> %p;]><plist><true/></plist>",
       }) {
    EXPECT_FALSE(read(bad)) << bad;
  }
  // A DOCTYPE without entities is fine.
  EXPECT_TRUE(read("<!DOCTYPE plist [<!ELEMENT plist ANY>]><plist><true/></plist>"));
}

TEST(PropertyListReaderTest, BinaryTextsAreValidUnicodeWithoutNUL) {
  BinaryList list;
  list.array({1, 2});
  list.ascii("plain");
  list.utf16(u"\u00e9\U0001F600");
  EXPECT_EQ(read(list.bytes()), AnyValue(AnyValue::Array{"plain", "\xC3\xA9\xF0\x9F\x98\x80"}));

  EXPECT_EQ(read(binaryScalar("\x52\x61\xFF")).error(), "ASCII text holds a byte above 0x7F");
  EXPECT_EQ(read(binaryScalar("\x53\x61\x00\x62"s)).error(), "text holds a NUL character");
  EXPECT_EQ(read(binaryScalar("\x61\x00\x00"s)).error(), "text holds a NUL character");
  for (const std::u16string bad : {u"a\xD800", u"\xDC00", u"\xD800x", u"\xD800\xD800"}) {
    BinaryList single;
    single.utf16(bad);
    EXPECT_EQ(read(single.bytes()).error(), "UTF-16 text holds a lone surrogate");
  }
  BinaryList numberKey;
  numberKey.dict({1}, {1});
  numberKey.add("\x10\x01");
  EXPECT_EQ(read(numberKey.bytes()).error(), "a dictionary key is not a text");
}

TEST(PropertyListReaderTest, BinaryLayoutIsCheckedBeforeUse) {
  const std::string good = binaryScalar("\x09");
  ASSERT_EQ(read(good), AnyValue(true));
  const auto patched = [&](std::size_t fromEnd, std::string bytes) {
    std::string out = good;
    out.replace(out.size() - fromEnd, bytes.size(), bytes);
    return out;
  };
  const std::string bad[] = {
      good.substr(0, good.size() - 1),                    // truncated trailer
      "bplist01" + good.substr(8),                        // another version
      patched(26, std::string(1, '\0')),                  // offset size 0
      patched(25, std::string(1, '\x09')),                // reference size 9
      patched(24, std::string(8, '\xFF')),                // 2^64 - 1 objects
      patched(16, BinaryList::bigEndian(1, 8)),           // top object beyond the count
      patched(8, BinaryList::bigEndian(good.size(), 8)),  // table beyond the end
      patched(8, BinaryList::bigEndian(3, 8)),            // table inside the header
      patched(33, std::string(1, '\x40')),                // object offset into the table
      binaryScalar("\x00"s),
      binaryScalar("\x0F"),                                          // null, fill
      binaryScalar("\x80\x01"),                                      // UID
      binaryScalar("\xC1\x00"s),                                     // set
      binaryScalar("\x71\x61"),                                      // UTF-8 text (a later version)
      binaryScalar("\x15" + std::string(32, '\0')),                  // 32-byte integer
      binaryScalar("\x13\x01"),                                      // integer past the objects
      binaryScalar("\x4F\x13" + std::string(8, '\xFF')),             // huge data length
      binaryScalar("\x4F\x41"),                                      // length not an integer
      binaryScalar(std::string("\xAF\x12\x7F\xFF\xFF\xFF\x00", 7)),  // array past the objects
      binaryScalar("\xA1\x05"),                                      // reference beyond the objects
      binaryScalar("\x21\x00\x00"s),
      binaryScalar("\x32\x00"s),  // odd real and date sizes
  };
  for (std::size_t i = 0; i < std::size(bad); ++i) {
    const auto result = read(bad[i]);
    EXPECT_FALSE(result) << "case " << i;
    EXPECT_FALSE(result.error().empty()) << "case " << i;
  }
}

}  // namespace
}  // namespace Keel
