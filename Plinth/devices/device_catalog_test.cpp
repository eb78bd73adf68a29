// The catalog's table and its look-ups.
#include "Plinth/devices/device_catalog.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>

#include "Plinth/inventory/workspace_icons.h"
#include "testing/temp_dir.h"

namespace Plinth {
namespace {

bool isIdentifier(std::string_view text) {
  std::size_t i = 0;
  const auto run = [&](auto accepts) {
    const std::size_t start = i;
    while (i < text.size() && accepts(text[i])) ++i;
    return i > start;
  };
  const auto letter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); };
  const auto digit = [](char c) { return c >= '0' && c <= '9'; };
  if (!run(letter) || !run(digit) || i == text.size() || text[i++] != ',') return false;
  return run(digit) && i == text.size();
}

// Printable ASCII without spaces at either end: safe on a line of text and in JSON.
bool isName(std::string_view text) {
  if (text.empty() || text.front() == ' ' || text.back() == ' ') return false;
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

TEST(DeviceCatalog, EveryRowIsWellFormedAndEveryKindIsPresent) {
  std::set<std::string_view> identifiers;
  std::map<DeviceKind, int> perKind;
  for (const DeviceModel& model : DeviceCatalog::models()) {
    SCOPED_TRACE(std::string(model.identifier));
    EXPECT_TRUE(isIdentifier(model.identifier));
    EXPECT_TRUE(identifiers.insert(model.identifier).second) << "listed twice";
    EXPECT_TRUE(isName(model.modelName));
    EXPECT_TRUE(isName(model.shortName));
    // A row in the wrong line's group would name another product.
    EXPECT_EQ(model.modelName.substr(0, model.shortName.size()), model.shortName);
    EXPECT_TRUE(model.iconFile.starts_with("com.apple.") && model.iconFile.ends_with(".icns"));
    EXPECT_EQ(model.iconFile.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789.-"), std::string_view::npos);
    EXPECT_FALSE(model.desktopIconName.empty());
    ++perKind[model.kind];
  }
  for (const DeviceKind kind : {DeviceKind::phone, DeviceKind::tablet, DeviceKind::mediaPlayer, DeviceKind::watch,
                                DeviceKind::audio, DeviceKind::tv}) {
    EXPECT_GT(perKind[kind], 0) << kindName(kind);
  }
}

TEST(DeviceCatalog, ModelsAreFoundByTheirExactIdentifierOnly) {
  EXPECT_EQ(DeviceCatalog::model("iPhone5,2"), (DeviceModel{"iPhone5,2", "iPhone 5", "iPhone", DeviceKind::phone,
                                                            "com.apple.iphone-5-black.icns", "phone-apple-iphone"}));
  for (const DeviceModel& model : DeviceCatalog::models()) EXPECT_EQ(DeviceCatalog::model(model.identifier), model);
  const std::string absent[] = {
      "iphone5,2",
      "IPHONE5,2",
      " iPhone5,2",
      "iPhone5,2 ",
      "iPhone5,2\n",
      "iPhone5,",
      "iPhone5,22",
      "iPhone5",
      "iPhone 5",
      "",
      std::string("iPhone5,2\0", 10),
      std::string(1 << 20, 'i'),
      std::string("iPhone5\xEF\xBC\x8C") + "2",  // a full-width comma
      "\xFF\xFE\xC0",                            // not UTF-8
  };
  for (const std::string& identifier : absent) {
    EXPECT_EQ(DeviceCatalog::model(identifier), std::nullopt) << identifier.substr(0, 20);
  }
}

TEST(DeviceCatalog, ModelsWithoutAnIconOfTheirOwnShowTheirLinesIcon) {
  EXPECT_EQ(DeviceCatalog::model("AirPods1,1")->iconFile, "com.apple.airpods.icns");
  EXPECT_EQ(DeviceCatalog::model("iPad13,4")->iconFile, "com.apple.ipad-pro.icns");
  EXPECT_EQ(DeviceCatalog::model("iPad8,1")->iconFile, "com.apple.ipad-pro-11-inch-silver.icns");
}

TEST(DeviceCatalog, DesktopIconsAreTheMostSpecificNameTheThemeHas) {
  const DeviceModel iPhone = *DeviceCatalog::model("iPhone5,2");
  EXPECT_EQ(DeviceCatalog::desktopIconNames(iPhone),
            (std::vector<std::string>{"phone-apple-iphone", "phone-apple-iphone-symbolic", "phone-apple",
                                      "phone-apple-symbolic", "phone", "phone-symbolic"}));

  const Vantor::Testing::TempDir temp;
  const auto devices = temp.path() / "icons" / "Fake" / "scalable" / "devices";
  std::filesystem::create_directories(devices);
  for (const char* name : {"phone.svg", "phone-apple-iphone-symbolic.svg", "audio-headphones-symbolic.svg"}) {
    std::ofstream(devices / name) << "<svg/>";
  }
  const IconThemeFolders theme({temp.path().string()}, "Fake");
  EXPECT_EQ(DeviceCatalog::desktopIconFile(iPhone, theme), (devices / "phone-apple-iphone-symbolic.svg").string());
  EXPECT_EQ(DeviceCatalog::desktopIconFile(*DeviceCatalog::model("AirPods1,1"), theme),
            (devices / "audio-headphones-symbolic.svg").string());
  EXPECT_EQ(DeviceCatalog::desktopIconFile(*DeviceCatalog::model("Watch1,1"), theme), std::nullopt);
}

}  // namespace
}  // namespace Plinth
