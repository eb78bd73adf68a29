// vantor-devices run as a user would: records by identifier, errors, and the
// attached devices. A usbmuxd with a real device attached cannot be had on a
// build machine; testing/fake_usbmuxd.py answers as usbmuxd and an unpaired
// device's lockdown do, through the real libimobiledevice.
#include <gtest/gtest.h>

#include <fstream>

#include "Keel/coding/json.h"
#include "Plinth/devices/device_catalog.h"
#include "testing/child_process.h"
#include "testing/file_text.h"
#include "testing/silent_bus.h"
#include "testing/temp_dir.h"

namespace Vantor::Tools {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

class DevicesToolTest : public ::testing::Test {
 protected:
  struct Run {
    int status = -1;
    std::string out;
    std::string err;
  };
  // The tool with an icon theme of the test's own: "Adwaita" under `share`,
  // which has a phone icon only.
  Run run(std::vector<std::string> argv, std::map<std::string, std::optional<std::string>> environment = {}) {
    environment.emplace("XDG_DATA_HOME", (temp.path() / "home").string());
    environment.emplace("XDG_DATA_DIRS", (temp.path() / "share").string());
    argv.insert(argv.begin(), VANTOR_DEVICES_BINARY);
    Testing::ChildProcess child({std::move(argv), environment, temp.path() / "out", temp.path() / "err"});
    const int status = child.waitForExit(60s).value_or(-1);
    return {status, Testing::fileText(temp.path() / "out"), Testing::fileText(temp.path() / "err")};
  }
  void SetUp() override {
    fs::create_directories(phoneIcon.parent_path());
    std::ofstream(phoneIcon) << "<svg/>";
  }
  Testing::TempDir temp;
  fs::path phoneIcon = temp.path() / "share/icons/Adwaita/scalable/devices/phone.svg";
};

TEST_F(DevicesToolTest, PrintsEachRecordAndNamesWhatTheCatalogLacks) {
  const Run text = run({"iPhone5,2"});
  EXPECT_EQ(text.status, 0) << text.err;
  EXPECT_EQ(text.out,
            "identifier       iPhone5,2\n"
            "modelName        iPhone 5\n"
            "shortName        iPhone\n"
            "kind             phone\n"
            "iconFile         com.apple.iphone-5-black.icns\n"
            "desktopIconName  phone-apple-iphone\n"
            "desktopIconFile  " +
                phoneIcon.string() + "\n");

  const Run json = run({"--json", "iPhone5,2", "iphone5,2", std::string("\x01\xFF", 2), "AirPods1,1"});
  EXPECT_EQ(json.status, 1);
  EXPECT_EQ(json.err,
            "vantor-devices: the catalog has no model \"iphone5,2\"\n"
            "vantor-devices: the catalog has no model \"\\u0001\xEF\xBF\xBD\"\n");
  const auto tree = Keel::JSON::parse(json.out);
  ASSERT_TRUE(tree) << json.out;
  const auto& records = tree.value().as<Keel::AnyValue::Array>();
  ASSERT_EQ(records.size(), 2U);
  const auto& airPods = records[1].as<Keel::TextDictionary>();
  EXPECT_EQ(airPods.find("modelName")->as<Keel::Text>(), "AirPods (1st generation)");
  EXPECT_EQ(airPods.find("kind")->as<Keel::Text>(), "audio");
  EXPECT_EQ(airPods.find("iconFile")->as<Keel::Text>(), "com.apple.airpods.icns");
  EXPECT_TRUE(airPods.find("desktopIconFile")->isNull());

  const Run all = run({"--json", "--all"});
  EXPECT_EQ(all.status, 0) << all.err;
  EXPECT_EQ(Keel::JSON::parse(all.out).value().as<Keel::AnyValue::Array>().size(),
            Plinth::DeviceCatalog::models().size());

  EXPECT_EQ(run({}).err, "vantor-devices: expected an IDENTIFIER (see vantor-devices --help)\n");
  EXPECT_EQ(run({"--connected", "iPhone5,2"}).status, 2);
}

TEST_F(DevicesToolTest, ConnectedNamesEachDeviceByTheModelItReports) {
  const auto startUsbmuxd = [&](const std::string& name, std::vector<std::string> devices) {
    const fs::path socket = temp.path() / name;
    devices.insert(devices.begin(), {"python3", VANTOR_FAKE_USBMUXD, socket.string()});
    auto usbmuxd =
        std::make_unique<Testing::ChildProcess>(Testing::ChildOptions{devices, {}, socket.string() + ".out"});
    EXPECT_TRUE(Testing::waitUntil([&] { return Testing::fileText(socket.string() + ".out") == "ready\n"; }, 30s));
    return std::pair(std::move(usbmuxd), std::map<std::string, std::optional<std::string>>{
                                             {"USBMUXD_SOCKET_ADDRESS", "UNIX:" + socket.string()}});
  };
  const auto [usbmuxd, environment] =
      startUsbmuxd("usbmuxd", {"00008030-0001=iPhone5,2", "00008030-0002=Watch99,9", "00008030-0003="});
  const Run text = run({"--connected"}, environment);
  EXPECT_EQ(text.status, 0) << text.err;
  EXPECT_EQ(text.err, "");
  EXPECT_EQ(text.out,
            "UDID           CONNECTION  IDENTIFIER  MODEL\n"
            "00008030-0001  usb         iPhone5,2   iPhone 5\n"
            "00008030-0002  usb         Watch99,9   -\n"
            "00008030-0003  usb         -           -\n");
  const Run json = run({"--connected", "--json"}, environment);
  const auto tree = Keel::JSON::parse(json.out);
  ASSERT_TRUE(tree) << json.out;
  const auto& devices = tree.value().as<Keel::AnyValue::Array>();
  ASSERT_EQ(devices.size(), 3U);
  const auto& iPhone = devices[0].as<Keel::TextDictionary>();
  EXPECT_EQ(iPhone.find("connection")->as<Keel::Text>(), "usb");
  EXPECT_EQ(iPhone.find("model")->as<Keel::TextDictionary>().find("modelName")->as<Keel::Text>(), "iPhone 5");
  EXPECT_TRUE(devices[1].as<Keel::TextDictionary>().find("model")->isNull());
  EXPECT_TRUE(devices[2].as<Keel::TextDictionary>().find("productType")->isNull());

  const auto [emptyUsbmuxd, emptyEnvironment] = startUsbmuxd("empty", {});
  const Run none = run({"--connected", "--json"}, emptyEnvironment);
  EXPECT_EQ(none.status, 0);
  EXPECT_EQ(none.out, "[]\n");
  EXPECT_EQ(none.err, "vantor-devices: no Apple device is attached\n");
}

TEST_F(DevicesToolTest, ConnectedListsNothingWithoutUsbmuxd) {
  const std::map<std::string, std::optional<std::string>> noUsbmuxd = {
      {"USBMUXD_SOCKET_ADDRESS", "UNIX:" + (temp.path() / "no-usbmuxd").string()}};
  const Run text = run({"--connected"}, noUsbmuxd);
  EXPECT_EQ(text.status, 0);
  EXPECT_EQ(text.out, "");
  EXPECT_EQ(text.err, "vantor-devices: cannot reach usbmuxd, so no Apple device is listed\n");
  const Run json = run({"--connected", "--json"}, noUsbmuxd);
  EXPECT_EQ(json.status, 0);
  EXPECT_EQ(json.out, "[]\n");
}

TEST_F(DevicesToolTest, ConnectedGivesUpOnAUsbmuxdThatNeverAnswers) {
  const Testing::SilentBus usbmuxd(temp.path() / "usbmuxd");
  const auto start = std::chrono::steady_clock::now();
  const Run run =
      this->run({"--connected"}, {{"USBMUXD_SOCKET_ADDRESS", "UNIX:" + (temp.path() / "usbmuxd").string()}});
  // libusbmuxd alone would wait twice 5 s.
  EXPECT_LT(std::chrono::steady_clock::now() - start, 9s);
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "vantor-devices: usbmuxd did not answer within 3 s\n");
}

}  // namespace
}  // namespace Vantor::Tools
