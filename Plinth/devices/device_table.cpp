// The device catalog's data: one line per model identifier.
//
// Why a C++ table: the rows are checked by the compiler (a misspelt product
// line or kind, or a missing name, does not build), it costs nothing at
// start-up (no file to find or parse, nothing that can fail at run time), and
// a new model is still one line to add. device_catalog_test.cpp checks the rest: unique
// and well-formed identifiers, names, icon file names, every kind present.
//
// Where the facts come from: the identifiers and marketing names are those of
// the JSON data of the npm package ios-device-list, version 1.1.37 (its
// files iphone.json, ipad.json, ipad_air.json, ipad_mini.json, ipad_pro.json,
// ipod_touch.json, apple_watch.json, airpods.json, homepod.json and
// apple_tv.json), which ends with the models of autumn 2022. Identifiers
// listed more than once there (one entry per colour or storage) appear once
// here. The AirTag (AirTag1,1) is left out: it is none of the catalog's kinds
// and never attaches to a computer. Models the source gives no identifier
// for (the iPod classic, nano and shuffle, the Siri Remote) cannot be selected
// and are not listed.
//
// Icon files: names in the mobile-devices icon bundle's pattern,
// "com.apple.<model>-<colour>.icns": the marketing name without a leading
// "Apple ", in lower case, each run of other characters than letters and
// digits made one "-", then the first colour the source lists for the
// identifier in the same form ("iPhone 5", black: com.apple.iphone-5-black.icns;
// "Apple Watch Series 3", gold: com.apple.watch-series-3-gold.icns). A model
// the source gives no colour for has no icon of its own and falls back to its
// line's generic icon (com.apple.airpods.icns), as does a row written without
// one.
//
// To add a model: one row in its line's group, newest last, with the
// identifier, the marketing name, the line and, when there is one, its icon.
#include <array>

#include "Plinth/devices/device_catalog.h"

namespace Plinth {
namespace {

// What the models of one product line share.
struct DeviceLine {
  std::string_view shortName;
  DeviceKind kind;
  std::string_view genericIcon;
  std::string_view desktopIconName;  // see DeviceModel::desktopIconName
};

// The desktop names: the naming specification's phone, multimedia player,
// headphones, speakers and display; "computer" for tablets, which it has no
// name for, extended to "computer-apple-ipad" as GNOME's themes name the iPad;
// "pda", its small handheld computer, for watches, which it has no name for
// either.
constexpr DeviceLine iPhone{"iPhone", DeviceKind::phone, "com.apple.iphone.icns", "phone-apple-iphone"};
constexpr DeviceLine iPad{"iPad", DeviceKind::tablet, "com.apple.ipad.icns", "computer-apple-ipad"};
constexpr DeviceLine iPadAir{"iPad Air", DeviceKind::tablet, "com.apple.ipad-air.icns", "computer-apple-ipad"};
constexpr DeviceLine iPadMini{"iPad mini", DeviceKind::tablet, "com.apple.ipad-mini.icns", "computer-apple-ipad"};
constexpr DeviceLine iPadPro{"iPad Pro", DeviceKind::tablet, "com.apple.ipad-pro.icns", "computer-apple-ipad"};
constexpr DeviceLine iPodTouch{"iPod touch", DeviceKind::mediaPlayer, "com.apple.ipod-touch.icns",
                               "multimedia-player-apple-ipod-touch"};
constexpr DeviceLine appleWatch{"Apple Watch", DeviceKind::watch, "com.apple.watch.icns", "pda"};
constexpr DeviceLine airPods{"AirPods", DeviceKind::audio, "com.apple.airpods.icns", "audio-headphones"};
constexpr DeviceLine airPodsPro{"AirPods Pro", DeviceKind::audio, "com.apple.airpods-pro.icns", "audio-headphones"};
constexpr DeviceLine airPodsMax{"AirPods Max", DeviceKind::audio, "com.apple.airpods-max.icns", "audio-headphones"};
constexpr DeviceLine homePod{"HomePod", DeviceKind::audio, "com.apple.homepod.icns", "audio-speakers"};
constexpr DeviceLine homePodMini{"HomePod mini", DeviceKind::audio, "com.apple.homepod-mini.icns", "audio-speakers"};
constexpr DeviceLine appleTV{"Apple TV", DeviceKind::tv, "com.apple.tv.icns", "video-display"};

constexpr DeviceModel row(std::string_view identifier, std::string_view modelName, const DeviceLine& line,
                          std::string_view iconFile = {}) {
  const std::string_view icon = iconFile.empty() ? line.genericIcon : iconFile;
  return {identifier, modelName, line.shortName, line.kind, icon, line.desktopIconName};
}

constexpr std::array modelRows{
    // iPhone
    row("iPhone1,1", "iPhone", iPhone, "com.apple.iphone-black.icns"),
    row("iPhone1,2", "iPhone 3G", iPhone, "com.apple.iphone-3g-black.icns"),
    row("iPhone2,1", "iPhone 3GS", iPhone, "com.apple.iphone-3gs-black.icns"),
    row("iPhone3,1", "iPhone 4", iPhone, "com.apple.iphone-4-black.icns"),
    row("iPhone3,2", "iPhone 4", iPhone, "com.apple.iphone-4-black.icns"),
    row("iPhone3,3", "iPhone 4", iPhone, "com.apple.iphone-4-black.icns"),
    row("iPhone4,1", "iPhone 4S", iPhone, "com.apple.iphone-4s-black.icns"),
    row("iPhone5,1", "iPhone 5", iPhone, "com.apple.iphone-5-black.icns"),
    row("iPhone5,2", "iPhone 5", iPhone, "com.apple.iphone-5-black.icns"),
    row("iPhone5,3", "iPhone 5c", iPhone, "com.apple.iphone-5c-blue.icns"),
    row("iPhone5,4", "iPhone 5c", iPhone, "com.apple.iphone-5c-blue.icns"),
    row("iPhone6,1", "iPhone 5s", iPhone, "com.apple.iphone-5s-gold.icns"),
    row("iPhone6,2", "iPhone 5s", iPhone, "com.apple.iphone-5s-gold.icns"),
    row("iPhone8,4", "iPhone SE (1st generation)", iPhone, "com.apple.iphone-se-1st-generation-gold.icns"),
    row("iPhone7,2", "iPhone 6", iPhone, "com.apple.iphone-6-gold.icns"),
    row("iPhone7,1", "iPhone 6 Plus", iPhone, "com.apple.iphone-6-plus-gold.icns"),
    row("iPhone8,1", "iPhone 6s", iPhone, "com.apple.iphone-6s-gold.icns"),
    row("iPhone8,2", "iPhone 6s Plus", iPhone, "com.apple.iphone-6s-plus-gold.icns"),
    row("iPhone9,1", "iPhone 7", iPhone, "com.apple.iphone-7-black.icns"),
    row("iPhone9,3", "iPhone 7", iPhone, "com.apple.iphone-7-black.icns"),
    row("iPhone9,2", "iPhone 7 Plus", iPhone, "com.apple.iphone-7-plus-black.icns"),
    row("iPhone9,4", "iPhone 7 Plus", iPhone, "com.apple.iphone-7-plus-black.icns"),
    row("iPhone10,1", "iPhone 8", iPhone, "com.apple.iphone-8-gold.icns"),
    row("iPhone10,4", "iPhone 8", iPhone, "com.apple.iphone-8-gold.icns"),
    row("iPhone10,2", "iPhone 8 Plus", iPhone, "com.apple.iphone-8-plus-gold.icns"),
    row("iPhone10,5", "iPhone 8 Plus", iPhone, "com.apple.iphone-8-plus-gold.icns"),
    row("iPhone10,3", "iPhone X", iPhone, "com.apple.iphone-x-silver.icns"),
    row("iPhone10,6", "iPhone X", iPhone, "com.apple.iphone-x-silver.icns"),
    row("iPhone11,8", "iPhone XR", iPhone, "com.apple.iphone-xr-black.icns"),
    row("iPhone11,2", "iPhone XS", iPhone, "com.apple.iphone-xs-gold.icns"),
    row("iPhone11,6", "iPhone XS Max", iPhone, "com.apple.iphone-xs-max-gold.icns"),
    row("iPhone11,4", "iPhone XS Max", iPhone, "com.apple.iphone-xs-max-gold.icns"),
    row("iPhone12,1", "iPhone 11", iPhone, "com.apple.iphone-11-black.icns"),
    row("iPhone12,3", "iPhone 11 Pro", iPhone, "com.apple.iphone-11-pro-gold.icns"),
    row("iPhone12,5", "iPhone 11 Pro Max", iPhone, "com.apple.iphone-11-pro-max-gold.icns"),
    row("iPhone12,8", "iPhone SE (2nd generation)", iPhone, "com.apple.iphone-se-2nd-generation-white.icns"),
    row("iPhone13,1", "iPhone 12 mini", iPhone, "com.apple.iphone-12-mini-white.icns"),
    row("iPhone13,2", "iPhone 12", iPhone, "com.apple.iphone-12-white.icns"),
    row("iPhone13,3", "iPhone 12 Pro", iPhone, "com.apple.iphone-12-pro-silver.icns"),
    row("iPhone13,4", "iPhone 12 Pro Max", iPhone, "com.apple.iphone-12-pro-max-silver.icns"),
    row("iPhone14,4", "iPhone 13 mini", iPhone, "com.apple.iphone-13-mini-red.icns"),
    row("iPhone14,5", "iPhone 13", iPhone, "com.apple.iphone-13-red.icns"),
    row("iPhone14,2", "iPhone 13 Pro", iPhone, "com.apple.iphone-13-pro-graphite.icns"),
    row("iPhone14,3", "iPhone 13 Pro Max", iPhone, "com.apple.iphone-13-pro-max-graphite.icns"),
    row("iPhone14,6", "iPhone SE (3rd generation)", iPhone, "com.apple.iphone-se-3rd-generation-midnight.icns"),
    row("iPhone14,7", "iPhone 14", iPhone, "com.apple.iphone-14-blue.icns"),
    row("iPhone14,8", "iPhone 14 Plus", iPhone, "com.apple.iphone-14-plus-blue.icns"),
    row("iPhone15,2", "iPhone 14 Pro", iPhone, "com.apple.iphone-14-pro-deep-purple.icns"),
    row("iPhone15,3", "iPhone 14 Pro Max", iPhone, "com.apple.iphone-14-pro-max-deep-purple.icns"),
    // iPad
    row("iPad1,1", "iPad", iPad, "com.apple.ipad-black.icns"),
    row("iPad2,1", "iPad 2", iPad, "com.apple.ipad-2-black.icns"),
    row("iPad2,2", "iPad 2", iPad, "com.apple.ipad-2-black.icns"),
    row("iPad2,3", "iPad 2", iPad, "com.apple.ipad-2-black.icns"),
    row("iPad2,4", "iPad 2", iPad, "com.apple.ipad-2-black.icns"),
    row("iPad3,1", "iPad (3rd generation)", iPad, "com.apple.ipad-3rd-generation-black.icns"),
    row("iPad3,2", "iPad (3rd generation)", iPad, "com.apple.ipad-3rd-generation-black.icns"),
    row("iPad3,3", "iPad (3rd generation)", iPad, "com.apple.ipad-3rd-generation-black.icns"),
    row("iPad3,4", "iPad (4th generation)", iPad, "com.apple.ipad-4th-generation-black.icns"),
    row("iPad3,5", "iPad (4th generation)", iPad, "com.apple.ipad-4th-generation-black.icns"),
    row("iPad3,6", "iPad (4th generation)", iPad, "com.apple.ipad-4th-generation-black.icns"),
    row("iPad6,11", "iPad (5th generation)", iPad, "com.apple.ipad-5th-generation-gold.icns"),
    row("iPad6,12", "iPad (5th generation)", iPad, "com.apple.ipad-5th-generation-gold.icns"),
    row("iPad7,5", "iPad (6th generation)", iPad, "com.apple.ipad-6th-generation-gold.icns"),
    row("iPad7,6", "iPad (6th generation)", iPad, "com.apple.ipad-6th-generation-gold.icns"),
    row("iPad7,11", "iPad (7th generation)", iPad, "com.apple.ipad-7th-generation-gold.icns"),
    row("iPad7,12", "iPad (7th generation)", iPad, "com.apple.ipad-7th-generation-gold.icns"),
    row("iPad11,6", "iPad (8th generation)", iPad, "com.apple.ipad-8th-generation-gold.icns"),
    row("iPad11,7", "iPad (8th generation)", iPad, "com.apple.ipad-8th-generation-gold.icns"),
    row("iPad12,1", "iPad (9th generation)", iPad, "com.apple.ipad-9th-generation-silver.icns"),
    row("iPad12,2", "iPad (9th generation)", iPad, "com.apple.ipad-9th-generation-silver.icns"),
    // iPad Air
    row("iPad4,1", "iPad Air", iPadAir, "com.apple.ipad-air-silver.icns"),
    row("iPad4,2", "iPad Air", iPadAir, "com.apple.ipad-air-silver.icns"),
    row("iPad4,3", "iPad Air", iPadAir, "com.apple.ipad-air-silver.icns"),
    row("iPad5,3", "iPad Air 2", iPadAir, "com.apple.ipad-air-2-gold.icns"),
    row("iPad5,4", "iPad Air 2", iPadAir, "com.apple.ipad-air-2-gold.icns"),
    row("iPad11,3", "iPad Air (3rd generation)", iPadAir, "com.apple.ipad-air-3rd-generation-gold.icns"),
    row("iPad11,4", "iPad Air (3rd generation)", iPadAir, "com.apple.ipad-air-3rd-generation-gold.icns"),
    row("iPad13,1", "iPad Air (4th generation)", iPadAir, "com.apple.ipad-air-4th-generation-rose-gold.icns"),
    row("iPad13,2", "iPad Air (4th generation)", iPadAir, "com.apple.ipad-air-4th-generation-rose-gold.icns"),
    row("iPad13,16", "iPad Air (5th generation)", iPadAir, "com.apple.ipad-air-5th-generation-space-gray.icns"),
    row("iPad13,17", "iPad Air (5th generation)", iPadAir, "com.apple.ipad-air-5th-generation-space-gray.icns"),
    // iPad mini
    row("iPad2,5", "iPad mini", iPadMini, "com.apple.ipad-mini-black.icns"),
    row("iPad2,6", "iPad mini", iPadMini, "com.apple.ipad-mini-black.icns"),
    row("iPad2,7", "iPad mini", iPadMini, "com.apple.ipad-mini-black.icns"),
    row("iPad4,4", "iPad mini 2", iPadMini, "com.apple.ipad-mini-2-silver.icns"),
    row("iPad4,5", "iPad mini 2", iPadMini, "com.apple.ipad-mini-2-silver.icns"),
    row("iPad4,6", "iPad mini 2", iPadMini, "com.apple.ipad-mini-2-silver.icns"),
    row("iPad4,7", "iPad mini 3", iPadMini, "com.apple.ipad-mini-3-gold.icns"),
    row("iPad4,8", "iPad mini 3", iPadMini, "com.apple.ipad-mini-3-gold.icns"),
    row("iPad4,9", "iPad mini 3", iPadMini, "com.apple.ipad-mini-3-gold.icns"),
    row("iPad5,1", "iPad mini 4", iPadMini, "com.apple.ipad-mini-4-gold.icns"),
    row("iPad5,2", "iPad mini 4", iPadMini, "com.apple.ipad-mini-4-gold.icns"),
    row("iPad11,1", "iPad mini (5th generation)", iPadMini, "com.apple.ipad-mini-5th-generation-gold.icns"),
    row("iPad11,2", "iPad mini (5th generation)", iPadMini, "com.apple.ipad-mini-5th-generation-gold.icns"),
    row("iPad14,1", "iPad mini (6th generation)", iPadMini, "com.apple.ipad-mini-6th-generation-space-gray.icns"),
    row("iPad14,2", "iPad mini (6th generation)", iPadMini, "com.apple.ipad-mini-6th-generation-space-gray.icns"),
    // iPad Pro
    row("iPad6,7", "iPad Pro (12.9-inch)", iPadPro, "com.apple.ipad-pro-12-9-inch-gold.icns"),
    row("iPad6,8", "iPad Pro (12.9-inch)", iPadPro, "com.apple.ipad-pro-12-9-inch-gold.icns"),
    row("iPad6,3", "iPad Pro (9.7-inch)", iPadPro, "com.apple.ipad-pro-9-7-inch-gold.icns"),
    row("iPad6,4", "iPad Pro (9.7-inch)", iPadPro, "com.apple.ipad-pro-9-7-inch-gold.icns"),
    row("iPad7,1", "iPad Pro (12.9-inch, 2nd generation)", iPadPro,
        "com.apple.ipad-pro-12-9-inch-2nd-generation-gold.icns"),
    row("iPad7,2", "iPad Pro (12.9-inch, 2nd generation)", iPadPro,
        "com.apple.ipad-pro-12-9-inch-2nd-generation-gold.icns"),
    row("iPad7,3", "iPad Pro (10.5-inch)", iPadPro, "com.apple.ipad-pro-10-5-inch-gold.icns"),
    row("iPad7,4", "iPad Pro (10.5-inch)", iPadPro, "com.apple.ipad-pro-10-5-inch-gold.icns"),
    row("iPad8,1", "iPad Pro (11-inch)", iPadPro, "com.apple.ipad-pro-11-inch-silver.icns"),
    row("iPad8,2", "iPad Pro (11-inch)", iPadPro, "com.apple.ipad-pro-11-inch-silver.icns"),
    row("iPad8,3", "iPad Pro (11-inch)", iPadPro, "com.apple.ipad-pro-11-inch-silver.icns"),
    row("iPad8,4", "iPad Pro (11-inch)", iPadPro, "com.apple.ipad-pro-11-inch-silver.icns"),
    row("iPad8,5", "iPad Pro (12.9-inch) (3rd generation)", iPadPro,
        "com.apple.ipad-pro-12-9-inch-3rd-generation-silver.icns"),
    row("iPad8,6", "iPad Pro (12.9-inch) (3rd generation)", iPadPro,
        "com.apple.ipad-pro-12-9-inch-3rd-generation-silver.icns"),
    row("iPad8,7", "iPad Pro (12.9-inch) (3rd generation)", iPadPro,
        "com.apple.ipad-pro-12-9-inch-3rd-generation-silver.icns"),
    row("iPad8,8", "iPad Pro (12.9-inch) (3rd generation)", iPadPro,
        "com.apple.ipad-pro-12-9-inch-3rd-generation-silver.icns"),
    row("iPad8,9", "iPad Pro (11-inch) (2nd generation)", iPadPro,
        "com.apple.ipad-pro-11-inch-2nd-generation-silver.icns"),
    row("iPad8,10", "iPad Pro (11-inch) (2nd generation)", iPadPro,
        "com.apple.ipad-pro-11-inch-2nd-generation-silver.icns"),
    row("iPad8,11", "iPad Pro (12.9-inch) (4th generation)", iPadPro,
        "com.apple.ipad-pro-12-9-inch-4th-generation-silver.icns"),
    row("iPad8,12", "iPad Pro (12.9-inch) (4th generation)", iPadPro,
        "com.apple.ipad-pro-12-9-inch-4th-generation-silver.icns"),
    row("iPad13,4", "iPad Pro (11-inch) (3rd generation)", iPadPro),
    row("iPad13,5", "iPad Pro (11-inch) (3rd generation)", iPadPro),
    row("iPad13,6", "iPad Pro (11-inch) (3rd generation)", iPadPro),
    row("iPad13,7", "iPad Pro (11-inch) (3rd generation)", iPadPro),
    row("iPad13,8", "iPad Pro (12.9-inch) (5th generation)", iPadPro),
    row("iPad13,9", "iPad Pro (12.9-inch) (5th generation)", iPadPro),
    row("iPad13,10", "iPad Pro (12.9-inch) (5th generation)", iPadPro),
    row("iPad13,11", "iPad Pro (12.9-inch) (5th generation)", iPadPro),
    // iPod touch
    row("iPod1,1", "iPod touch", iPodTouch, "com.apple.ipod-touch-black.icns"),
    row("iPod2,1", "iPod touch (2nd generation)", iPodTouch, "com.apple.ipod-touch-2nd-generation-black.icns"),
    row("iPod3,1", "iPod touch (3rd generation)", iPodTouch, "com.apple.ipod-touch-3rd-generation-black.icns"),
    row("iPod4,1", "iPod touch (4th generation)", iPodTouch, "com.apple.ipod-touch-4th-generation-black.icns"),
    row("iPod5,1", "iPod touch (5th generation)", iPodTouch, "com.apple.ipod-touch-5th-generation-black.icns"),
    row("iPod7,1", "iPod touch (6th generation)", iPodTouch, "com.apple.ipod-touch-6th-generation-blue.icns"),
    row("iPod9,1", "iPod touch (7th generation)", iPodTouch, "com.apple.ipod-touch-7th-generation-blue.icns"),
    // Apple Watch
    row("Watch1,1", "Apple Watch (1st generation)", appleWatch, "com.apple.watch-1st-generation-gold.icns"),
    row("Watch1,2", "Apple Watch (1st generation)", appleWatch, "com.apple.watch-1st-generation-gold.icns"),
    row("Watch2,6", "Apple Watch Series 1", appleWatch, "com.apple.watch-series-1-gold.icns"),
    row("Watch2,7", "Apple Watch Series 1", appleWatch, "com.apple.watch-series-1-gold.icns"),
    row("Watch2,3", "Apple Watch Series 2", appleWatch, "com.apple.watch-series-2-gold.icns"),
    row("Watch2,4", "Apple Watch Series 2", appleWatch, "com.apple.watch-series-2-gold.icns"),
    row("Watch3,1", "Apple Watch Series 3", appleWatch, "com.apple.watch-series-3-gold.icns"),
    row("Watch3,2", "Apple Watch Series 3", appleWatch, "com.apple.watch-series-3-gold.icns"),
    row("Watch3,3", "Apple Watch Series 3", appleWatch, "com.apple.watch-series-3-gold.icns"),
    row("Watch3,4", "Apple Watch Series 3", appleWatch, "com.apple.watch-series-3-gold.icns"),
    row("Watch4,1", "Apple Watch Series 4", appleWatch, "com.apple.watch-series-4-gold.icns"),
    row("Watch4,2", "Apple Watch Series 4", appleWatch, "com.apple.watch-series-4-gold.icns"),
    row("Watch4,3", "Apple Watch Series 4", appleWatch, "com.apple.watch-series-4-gold.icns"),
    row("Watch4,4", "Apple Watch Series 4", appleWatch, "com.apple.watch-series-4-gold.icns"),
    row("Watch5,1", "Apple Watch Series 5", appleWatch, "com.apple.watch-series-5-gold.icns"),
    row("Watch5,2", "Apple Watch Series 5", appleWatch, "com.apple.watch-series-5-gold.icns"),
    row("Watch5,3", "Apple Watch Series 5", appleWatch, "com.apple.watch-series-5-gold.icns"),
    row("Watch5,4", "Apple Watch Series 5", appleWatch, "com.apple.watch-series-5-gold.icns"),
    row("Watch5,9", "Apple Watch SE", appleWatch, "com.apple.watch-se-gold.icns"),
    row("Watch5,10", "Apple Watch SE", appleWatch, "com.apple.watch-se-gold.icns"),
    row("Watch5,11", "Apple Watch SE", appleWatch, "com.apple.watch-se-gold.icns"),
    row("Watch5,12", "Apple Watch SE", appleWatch, "com.apple.watch-se-gold.icns"),
    row("Watch6,1", "Apple Watch Series 6", appleWatch, "com.apple.watch-series-6-gold.icns"),
    row("Watch6,2", "Apple Watch Series 6", appleWatch, "com.apple.watch-series-6-gold.icns"),
    row("Watch6,3", "Apple Watch Series 6", appleWatch, "com.apple.watch-series-6-gold.icns"),
    row("Watch6,4", "Apple Watch Series 6", appleWatch, "com.apple.watch-series-6-gold.icns"),
    row("Watch6,6", "Apple Watch Series 7", appleWatch, "com.apple.watch-series-7-green.icns"),
    row("Watch6,7", "Apple Watch Series 7", appleWatch, "com.apple.watch-series-7-green.icns"),
    row("Watch6,8", "Apple Watch Series 7", appleWatch, "com.apple.watch-series-7-green.icns"),
    row("Watch6,9", "Apple Watch Series 7", appleWatch, "com.apple.watch-series-7-green.icns"),
    row("Watch6,10", "Apple Watch SE (2nd generation)", appleWatch, "com.apple.watch-se-2nd-generation-midnight.icns"),
    row("Watch6,11", "Apple Watch SE (2nd generation)", appleWatch, "com.apple.watch-se-2nd-generation-midnight.icns"),
    row("Watch6,12", "Apple Watch SE (2nd generation)", appleWatch, "com.apple.watch-se-2nd-generation-midnight.icns"),
    row("Watch6,13", "Apple Watch SE (2nd generation)", appleWatch, "com.apple.watch-se-2nd-generation-midnight.icns"),
    row("Watch6,14", "Apple Watch Series 8", appleWatch, "com.apple.watch-series-8-midnight.icns"),
    row("Watch6,15", "Apple Watch Series 8", appleWatch, "com.apple.watch-series-8-midnight.icns"),
    row("Watch6,16", "Apple Watch Series 8", appleWatch, "com.apple.watch-series-8-midnight.icns"),
    row("Watch6,17", "Apple Watch Series 8", appleWatch, "com.apple.watch-series-8-midnight.icns"),
    row("Watch6,18", "Apple Watch Ultra", appleWatch, "com.apple.watch-ultra-titanium.icns"),
    // AirPods
    row("AirPods1,1", "AirPods (1st generation)", airPods),
    row("AirPods2,1", "AirPods (2nd generation)", airPods),
    row("AirPods1,3", "AirPods (3rd generation)", airPods),
    row("Audio2,1", "AirPods (3rd generation)", airPods),
    // AirPods Pro
    row("AirPods2,2", "AirPods Pro", airPodsPro),
    row("AirPodsPro1,1", "AirPods Pro", airPodsPro),
    row("iProd8,1", "AirPods Pro", airPodsPro),
    row("AirPodsPro1,2", "AirPods Pro (2nd generation)", airPodsPro),
    // AirPods Max
    row("AirPodsMax1,1", "AirPods Max", airPodsMax),
    row("iProd8,6", "AirPods Max", airPodsMax),
    // HomePod
    row("AudioAccessory1,1", "HomePod", homePod, "com.apple.homepod-space-gray.icns"),
    row("AudioAccessory1,2", "HomePod", homePod, "com.apple.homepod-space-gray.icns"),
    // HomePod mini
    row("AudioAccessory5,1", "HomePod mini", homePodMini, "com.apple.homepod-mini-space-gray.icns"),
    // Apple TV
    row("AppleTV1,1", "Apple TV (1st generation)", appleTV, "com.apple.tv-1st-generation-silver.icns"),
    row("AppleTV2,1", "Apple TV (2nd generation)", appleTV, "com.apple.tv-2nd-generation-black.icns"),
    row("AppleTV3,1", "Apple TV (3rd generation)", appleTV, "com.apple.tv-3rd-generation-black.icns"),
    row("AppleTV3,2", "Apple TV (3rd generation)", appleTV, "com.apple.tv-3rd-generation-black.icns"),
    row("AppleTV5,3", "Apple TV (4th generation)", appleTV, "com.apple.tv-4th-generation-black.icns"),
    row("AppleTV6,2", "Apple TV 4K", appleTV, "com.apple.tv-4k-black.icns"),
    row("AppleTV11,1", "Apple TV 4K (2nd generation)", appleTV, "com.apple.tv-4k-2nd-generation-black.icns"),
};

}  // namespace

std::span<const DeviceModel> DeviceCatalog::models() { return modelRows; }

}  // namespace Plinth
