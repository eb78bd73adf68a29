// The hardware-details record: its keys and coding, the lookup's failure
// steps on fake folder trees, the language code from the environment.
#include "Keel/coding/apple_hardware_details.h"

#include <gtest/gtest.h>

#include <map>

#include "Keel/coding/json.h"
#include "Keel/coding/property_list.h"
#include "testing/file_text.h"
#include "testing/plist_bytes.h"
#include "testing/temp_dir.h"

namespace Keel {
namespace {

TEST(AppleHardwareDetailsTest, EncodesPresentFieldsUnderTheirNamesAndDecodesAbsentOnes) {
  EXPECT_EQ(AppleHardwareDetails::codingKey("Model"), std::nullopt);  // names are case-sensitive
  AppleHardwareDetails details;
  details.processor = "8-Core Intel Core i9";
  details.model = "MacBookPro16,1";
  auto json = JSONEncoder().encode(details);
  ASSERT_TRUE(json.ok());
  EXPECT_EQ(json.value(), R"({"processor":"8-Core Intel Core i9","model":"MacBookPro16,1"})");
  EXPECT_EQ(JSONDecoder().decode<AppleHardwareDetails>(json.value()).value(), details);
  EXPECT_EQ(JSONDecoder().decode<AppleHardwareDetails>("{}").value(), AppleHardwareDetails{});
  EXPECT_EQ(JSONDecoder().decode<AppleHardwareDetails>(R"({"model":null})").value(), AppleHardwareDetails{});

  auto plist = PropertyListEncoder().encode(details);
  ASSERT_TRUE(plist.ok());
  EXPECT_EQ(PropertyListDecoder().decode<AppleHardwareDetails>(std::string_view(plist.value())).value(), details);

  auto wrongType = JSONDecoder().decode<AppleHardwareDetails>(R"({"processor":"x","marketingModel":3})");
  ASSERT_FALSE(wrongType.ok());
  EXPECT_EQ(wrongType.error().kind, CodingError::Kind::typeMismatch);
  EXPECT_EQ(codingPathText(wrongType.error().codingPath), "marketingModel");
  EXPECT_EQ(JSONDecoder().decode<AppleHardwareDetails>("[]").error().kind, CodingError::Kind::typeMismatch);
}

class HardwareLookupTest : public ::testing::Test {
 protected:
  void writeList(const std::string& language, plist_t list, bool binary) {
    writeFile(language, Vantor::Testing::plistBytes(list, binary));
  }
  void writeFile(const std::string& language, const std::string& bytes) {
    Vantor::Testing::writeText(AppleHardwareDetails::attributesPath(dir.path(), language), bytes);
  }
  std::optional<AppleHardwareDetails> lookup(std::optional<std::string> language, std::string model) const {
    AppleHardwareDetails::Sources sources;
    sources.root = dir.path();
    sources.languageCode = [language] { return language; };
    sources.modelIdentifier = [model] { return model; };
    return AppleHardwareDetails::currentDetails(sources);
  }

  // {model: {"_LOCALIZABLE_": texts, "other": 1}}
  static plist_t list(const std::string& model, plist_t localizable) {
    plist_t entry = plist_new_dict();
    plist_dict_set_item(entry, "_LOCALIZABLE_", localizable);
    plist_dict_set_item(entry, "other", plist_new_uint(1));
    plist_t top = plist_new_dict();
    plist_dict_set_item(top, model.c_str(), entry);
    return top;
  }
  static plist_t texts(const std::map<std::string, std::string>& values) {
    plist_t dict = plist_new_dict();
    for (const auto& [k, v] : values) plist_dict_set_item(dict, k.c_str(), plist_new_string(v.c_str()));
    return dict;
  }

  Vantor::Testing::TempDir dir;
};

TEST_F(HardwareLookupTest, ReadsTheLocalisedEntryOfTheModel) {
  const std::map<std::string, std::string> values = {
      {"processor", "P"}, {"description", "D"}, {"marketingModel", "MacBook Pro (16-inch, 2019)"}, {"model", "M"}};
  // Both formats read alike: the property-list parser's own test proves it.
  writeList("de", list("MacBookPro16,1", texts(values)), true);
  const auto details = lookup("de", "MacBookPro16,1");
  ASSERT_TRUE(details.has_value());
  EXPECT_EQ(details->processor, "P");
  EXPECT_EQ(details->description, "P");  // from "processor", never "description"
  EXPECT_EQ(details->marketingModel, "MacBook Pro (16-inch, 2019)");
  EXPECT_EQ(details->model, "M");
  // An entry with none of the keys is still a record.
  writeList("fr", list("Mac1,1", texts({{"unrelated", "x"}})), false);
  EXPECT_EQ(lookup("fr", "Mac1,1"), AppleHardwareDetails{});
}

TEST_F(HardwareLookupTest, EachFailingStepGivesNothing) {
  writeList("en", list("MacBookPro16,1", texts({{"processor", "P"}})), false);
  EXPECT_EQ(lookup(std::nullopt, "MacBookPro16,1"), std::nullopt);  // no language code
  EXPECT_EQ(lookup("de", "MacBookPro16,1"), std::nullopt);          // no folder, no fallback to en
  EXPECT_EQ(lookup("en", "Unknown1,1"), std::nullopt);              // model not listed

  writeFile("xx", "not a property list");
  EXPECT_EQ(lookup("xx", "MacBookPro16,1"), std::nullopt);
  writeList("ar", plist_new_array(), true);  // top level not a dictionary
  EXPECT_EQ(lookup("ar", "MacBookPro16,1"), std::nullopt);

  plist_t entryNotDict = plist_new_dict();
  plist_dict_set_item(entryNotDict, "MacBookPro16,1", plist_new_string("x"));
  writeList("it", entryNotDict, false);
  EXPECT_EQ(lookup("it", "MacBookPro16,1"), std::nullopt);

  plist_t noLocalizable = plist_new_dict();
  plist_dict_set_item(noLocalizable, "MacBookPro16,1", plist_new_dict());
  writeList("es", noLocalizable, true);
  EXPECT_EQ(lookup("es", "MacBookPro16,1"), std::nullopt);

  plist_t mixed = texts({{"processor", "P"}});
  plist_dict_set_item(mixed, "year", plist_new_uint(2019));  // one non-text value fails the whole entry
  writeList("nl", list("MacBookPro16,1", mixed), false);
  EXPECT_EQ(lookup("nl", "MacBookPro16,1"), std::nullopt);
}

TEST(AppleHardwareDetailsTest, LanguageCodeComesFromTheLocaleVariables) {
  auto fromEnvironment = [](std::map<std::string, std::string> variables) {
    return languageCodeFromEnvironment([&](const char* name) -> std::optional<std::string> {
      const auto it = variables.find(name);
      return it != variables.end() ? std::optional(it->second) : std::nullopt;
    });
  };
  EXPECT_EQ(fromEnvironment({{"LANG", "de_DE.UTF-8"}}), "de");
  EXPECT_EQ(fromEnvironment({{"LC_ALL", "fr_FR@euro"}, {"LANG", "de_DE"}}), "fr");
  EXPECT_EQ(fromEnvironment({{"LC_ALL", ""}, {"LC_MESSAGES", "ast_ES"}, {"LANG", "de"}}), "ast");
  EXPECT_EQ(fromEnvironment({{"LANG", "C.UTF-8"}}), std::nullopt);
  EXPECT_EQ(fromEnvironment({{"LANG", "POSIX"}}), std::nullopt);
  EXPECT_EQ(fromEnvironment({{"LANG", "../etc"}}), std::nullopt);
  EXPECT_EQ(fromEnvironment({}), std::nullopt);
}

}  // namespace
}  // namespace Keel
