// The portal folder picker against a stand-in for the desktop portal
// (testing/fake_file_chooser.py on a private bus) that records the options it
// was given and answers as told.
#include <gio/gio.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <utility>
#include <vector>

#include "Plinth/permissions/portal_folder_picker_linux.h"
#include "testing/child_process.h"
#include "testing/file_text.h"
#include "testing/private_session_bus.h"
#include "testing/silent_bus.h"
#include "testing/temp_dir.h"

namespace Plinth {
namespace {

using namespace std::chrono_literals;
using Vantor::Testing::ChildOptions;
using Vantor::Testing::ChildProcess;

using Answer = std::pair<ModalResponse, std::optional<Keel::URL>>;
const auto startFolder = Keel::URL::fileURL("/start/h\xC3\xA9re", true);

class PortalFolderPickerTest : public ::testing::Test {
 protected:
  void SetUp() override { g_main_context_push_thread_default(context_); }
  void TearDown() override {
    portal_.reset();
    g_main_context_pop_thread_default(context_);
    g_main_context_unref(context_);
  }

  void startPortal(const std::string& mode, const std::string& uri = "") {
    const auto ready = record().string() + ".ready";
    std::filesystem::remove(ready);
    portal_ = std::make_unique<ChildProcess>(
        ChildOptions{{"/usr/bin/python3", VANTOR_FAKE_FILE_CHOOSER, mode, record().string(), uri},
                     {{"DBUS_SESSION_BUS_ADDRESS", bus_.address()}}});
    ASSERT_TRUE(Vantor::Testing::waitUntil([&] { return std::filesystem::exists(ready); }, 30s)) << "no portal";
  }

  // Begins the panel and runs this thread's loop until it ends; the one answer, if any.
  std::optional<Answer> choose(PortalFolderPicker picker) {
    OpenPanelOptions options;
    options.directory = startFolder;
    options.prompt = "Allow";
    std::vector<Answer> answers;
    picker.beginSheet(options, nullptr,
                      [&](ModalResponse r, std::optional<Keel::URL> u) { answers.emplace_back(r, u); });
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    while (answers.empty() && std::chrono::steady_clock::now() < deadline) g_main_context_iteration(context_, FALSE);
    for (int i = 0; i < 20; ++i) g_main_context_iteration(context_, FALSE);  // nothing more may arrive
    EXPECT_LE(answers.size(), 1U);
    return answers.empty() ? std::nullopt : std::optional(answers[0]);
  }

  std::filesystem::path record() const { return dir_.path() / "options.json"; }

  GMainContext* context_ = g_main_context_new();
  Vantor::Testing::PrivateSessionBus bus_;
  Vantor::Testing::TempDir dir_;
  std::unique_ptr<ChildProcess> portal_;
};

TEST_F(PortalFolderPickerTest, AChosenFolderArrivesAsADirectoryURLAndNoneAsNone) {
  startPortal("choose", "file:///tmp/chosen%20folder");
  EXPECT_EQ(choose(PortalFolderPicker(bus_.address())),
            Answer(ModalResponse::OK, Keel::URL::fileURL("/tmp/chosen folder", true)));

  const std::string options = Vantor::Testing::fileText(record());
  // current_folder is the path's bytes with the terminating NUL.
  for (const char* option : {R"("current_folder": [47, 115, 116, 97, 114, 116, 47, 104, 195, 169, 114, 101, 0])",
                             R"("directory": true)", R"("multiple": false)", R"("accept_label": "Allow")"}) {
    EXPECT_NE(options.find(option), std::string::npos) << option << "\n" << options;
  }

  portal_.reset();
  startPortal("empty");
  EXPECT_EQ(choose(PortalFolderPicker(bus_.address())), Answer(ModalResponse::OK, std::nullopt));
}

// Stands in for the toolkit's own dialog: answers OK with its start folder.
class FallbackPicker final : public FolderPicker {
 public:
  void beginSheet(const OpenPanelOptions& options, Window* /*window*/, FolderPickerCompletion completion) override {
    ++calls;
    completion(ModalResponse::OK, options.directory);
  }
  int calls = 0;
};

TEST_F(PortalFolderPickerTest, WithoutABusOrAPortalTheFallbackAnswersElseCancel) {
  const std::string noBus = "unix:path=" + (dir_.path() / "no-bus").string();
  const Answer cancelled(ModalResponse::cancel, std::nullopt);
  EXPECT_EQ(choose(PortalFolderPicker(noBus)), cancelled);
  EXPECT_EQ(choose(PortalFolderPicker(bus_.address())), cancelled);  // nobody owns the portal's name

  // A bus that never answers counts as none once connecting has timed out.
  Vantor::Testing::SilentBus silent(dir_.path() / "silent");
  auto fallback = std::make_shared<FallbackPicker>();
  for (const auto& address : {noBus, bus_.address(), silent.address()}) {
    EXPECT_EQ(choose(PortalFolderPicker(address, fallback)), Answer(ModalResponse::OK, startFolder)) << address;
  }
  EXPECT_EQ(fallback->calls, 3);

  // A portal that answers is the only picker asked, even when the user cancels.
  startPortal("cancel");
  EXPECT_EQ(choose(PortalFolderPicker(bus_.address(), fallback)), cancelled);
  EXPECT_EQ(fallback->calls, 3);
}

}  // namespace
}  // namespace Plinth
