#include "Plinth/permissions/folder_permissions.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "Plinth/permissions/secure_folders_testing.h"

namespace Plinth {
namespace {

using Keel::AnyValue;
using Keel::URL;

URL folder(const std::string& path) { return URL::fileURL(path, true); }
Keel::Data bytes(const std::string& text) { return {text.begin(), text.end()}; }

// Bookmarks whose data is "bm:" and the path; paths in `gone` fail to
// resolve, those in `stale` resolve stale.
struct FakeBookmarks final : BookmarkMaker, BookmarkResolver {
  std::set<std::string> gone, stale, unmakeable;
  std::vector<std::uint64_t> optionsSeen;
  MadeBookmark bookmarkData(const URL& url, BookmarkCreationOptions options) override {
    optionsSeen.push_back(static_cast<std::uint64_t>(options));
    if (unmakeable.count(url.path()) != 0) return {std::nullopt, {"cannot"}};
    return {bytes("bm:" + url.path()), {}};
  }
  ResolvedBookmark resolve(const Keel::Data& data, BookmarkResolutionOptions options) override {
    optionsSeen.push_back(static_cast<std::uint64_t>(options));
    const std::string text(data.begin(), data.end());
    if (!text.starts_with("bm:")) return {std::nullopt, false, {"not a bookmark: " + text}};
    const auto path = text.substr(3);
    if (gone.count(path) != 0) return {std::nullopt, false, {"The folder " + path + " is gone."}};
    return {folder(path), stale.count(path) != 0, {}};
  }
};

struct FakeAccess final : FolderAccess {
  std::set<std::string> refused;
  std::vector<std::string> started, stopped;
  bool startAccessing(const URL& url) override {
    if (refused.count(url.path()) != 0) return false;
    started.push_back(url.path());
    return true;
  }
  void stopAccessing(const URL& url) override { stopped.push_back(url.path()); }
};

struct FakePicker final : FolderPicker {
  std::vector<OpenPanelOptions> shown;
  FolderPickerCompletion pending;
  void beginSheet(const OpenPanelOptions& options, Window*, FolderPickerCompletion completion) override {
    shown.push_back(options);
    pending = std::move(completion);
  }
};

class FolderPermissionsTest : public ::testing::Test {
 protected:
  FolderAccessServices services() {
    return {bookmarks,
            bookmarks,
            access,
            picker,
            [this](std::string_view m) { logged.emplace_back(m); },
            [](std::string_view key) { return "Allow(" + std::string(key) + ")"; },
            [] { return folder("/home/anna"); }};
  }
  void storeList(AnyValue::Array paths) {
    store.set(AnyValue(std::move(paths)), "Bookmarks");
    for (const auto& path : {"/a", "/b", "/c", "/d"}) store.set(AnyValue(bytes(std::string("bm:") + path)), path);
  }

  Keel::MemoryUserDefaults store;
  std::shared_ptr<FakeBookmarks> bookmarks = std::make_shared<FakeBookmarks>();
  std::shared_ptr<FakeAccess> access = std::make_shared<FakeAccess>();
  std::shared_ptr<FakePicker> picker = std::make_shared<FakePicker>();
  std::vector<std::string> logged;
};

TEST_F(FolderPermissionsTest, KeepsExactlyTheListAndOneDataEntryPerPathRestoresAndRemovesThem) {
  {
    FolderPermissions permissions(store, services());
    permissions.store(folder("/a"));
    permissions.store(folder("/b"));
  }
  EXPECT_EQ(store.dictionaryRepresentation(),
            (Keel::TextDictionary{
                {"/a", bytes("bm:/a")}, {"/b", bytes("bm:/b")}, {"Bookmarks", AnyValue(AnyValue::Array{"/a", "/b"})}}));

  FolderPermissions permissions(store, services());
  EXPECT_EQ(permissions.keys(), (std::vector<std::string>{"/a", "/b"}));
  EXPECT_TRUE(permissions.hasAccess(folder("/b")));
  EXPECT_FALSE(permissions.hasAccess(URL::fileURL("/a")));  // the whole URL counts, not the path
  EXPECT_TRUE(permissions.hasAccess(std::vector<URL>{}));

  // The same folder twice is kept twice, counted once and removed by one remove.
  permissions.store(folder("/a"));
  EXPECT_EQ(permissions.keys(), (std::vector<std::string>{"/a", "/b", "/a"}));
  EXPECT_EQ(permissions.count(), 2U);
  permissions.remove("/a");
  EXPECT_EQ(permissions.keys(), std::vector<std::string>{"/b"});
  EXPECT_FALSE(permissions.hasAccess(folder("/a")));
  EXPECT_EQ(store.array("Bookmarks"), AnyValue::Array{"/b"});
  EXPECT_TRUE(access->stopped.empty());  // access lasts until the process ends

  permissions.store(folder("/c"));
  permissions.remove(folder("/c"));
  permissions.removeAll();
  EXPECT_EQ(permissions.count(), 0U);
  EXPECT_EQ(store.dictionaryRepresentation(), (Keel::TextDictionary{{"Bookmarks", AnyValue(AnyValue::Array{})}}));
}

TEST_F(FolderPermissionsTest, RestoreLeavesOutFailuresAndLogsOnlyResolutionErrors) {
  bookmarks->gone = {"/b"};
  bookmarks->stale = {"/c"};
  access->refused = {"/d"};
  storeList({"/none", "/b", "/c", "/d", "/a"});
  const auto before = store.dictionaryRepresentation();

  FolderPermissions permissions(store, services());
  EXPECT_EQ(permissions.keys(), std::vector<std::string>{"/a"});
  EXPECT_EQ(logged, std::vector<std::string>{"The folder /b is gone."});
  EXPECT_EQ(store.dictionaryRepresentation(), before);  // construction writes nothing

  // The next write of the list leaves the failed paths out; their data stays.
  permissions.store(folder("/e"));
  EXPECT_EQ(store.array("Bookmarks"), (AnyValue::Array{"/a", "/e"}));
  EXPECT_EQ(store.data("/c"), bytes("bm:/c"));

  // A list that is not all texts restores nothing, silently.
  logged.clear();
  storeList({"/a", 5, "/b"});
  EXPECT_EQ(FolderPermissions(store, services()).count(), 0U);
  store.set(AnyValue("/a"), "Bookmarks");
  EXPECT_EQ(FolderPermissions(store, services()).count(), 0U);
  EXPECT_TRUE(logged.empty());
}

TEST_F(FolderPermissionsTest, AFailedBookmarkOrRefusedAccessStoresNothingAndOptionsReachTheBookmarks) {
  bookmarks->unmakeable = {"/a"};
  access->refused = {"/b"};
  FolderPermissions permissions(store, BookmarkCreationOptions::none, BookmarkResolutionOptions::none, services());
  permissions.store(folder("/a"));
  permissions.store(folder("/b"));
  // No key a store can hold: refused before access starts, never counted.
  permissions.store(URL::fileURL("/c\x01"));
  permissions.store(URL::fileURL("/d\xFF"));
  EXPECT_TRUE(permissions.keys().empty());
  EXPECT_EQ(permissions.count(), 0U);
  EXPECT_TRUE(access->started.empty());
  EXPECT_TRUE(store.dictionaryRepresentation().empty());
  EXPECT_TRUE(logged.empty());

  bookmarks->optionsSeen.clear();
  permissions.setCreationOptions(BookmarkCreationOptions::withSecurityScope);
  permissions.store(folder("/e"));
  const FolderPermissions byDefault(store, services());
  const FolderPermissions unscoped(store, BookmarkCreationOptions::none, BookmarkResolutionOptions::none, services());
  EXPECT_EQ(bookmarks->optionsSeen, (std::vector<std::uint64_t>{2048, 1024, 0}));
}

TEST_F(FolderPermissionsTest, RequestAccessShowsTheFolderPanelAndFollowsItsAnswerWhileItsOwnerLives) {
  FolderPermissions permissions(store, services());
  std::vector<std::optional<URL>> answers;
  const auto record = [&](std::optional<URL> url) { answers.push_back(std::move(url)); };

  permissions.requestAccess(nullptr, record);
  ASSERT_EQ(picker->shown.size(), 1U);
  const auto& options = picker->shown[0];
  EXPECT_EQ(options.directory, folder("/home/anna"));
  EXPECT_EQ(options.prompt, "Allow(ALLOW)");
  EXPECT_EQ((std::vector<bool>{options.allowsMultipleSelection, options.canChooseDirectories,
                               options.canCreateDirectories, options.canChooseFiles}),
            (std::vector<bool>{false, true, false, false}));
  picker->pending(ModalResponse::cancel, folder("/a"));
  EXPECT_EQ(answers, std::vector<std::optional<URL>>{std::nullopt});

  permissions.requestAccess(nullptr, folder("/start"), record);
  EXPECT_EQ(picker->shown.back().directory, folder("/start"));
  picker->pending(ModalResponse::OK, std::nullopt);  // OK without a folder: no answer at all
  EXPECT_EQ(answers.size(), 1U);

  access->refused = {"/b"};
  permissions.requestAccess(nullptr, record);
  picker->pending(ModalResponse::OK, folder("/b"));  // answered even though storing failed
  permissions.requestAccess(nullptr, record);
  picker->pending(ModalResponse::OK, folder("/a"));
  EXPECT_EQ(answers, (std::vector<std::optional<URL>>{std::nullopt, folder("/b"), folder("/a")}));
  EXPECT_EQ(permissions.keys(), std::vector<std::string>{"/a"});

  // A panel that ends after its owner is gone does nothing.
  std::optional<FolderPermissions> gone(std::in_place, store, services());
  gone->requestAccess(nullptr, record);
  gone.reset();
  picker->pending(ModalResponse::OK, folder("/c"));
  EXPECT_EQ(answers.size(), 3U);
  EXPECT_EQ(store.array("Bookmarks"), AnyValue::Array{"/a"});
}

TEST_F(FolderPermissionsTest, SecureFoldersGrantRestoreStopAndRemoveSilently) {
  bookmarks->gone = {"/b"};
  bookmarks->stale = {"/c"};
  SecureFolderSet set(store, services());
  setSharedSecureFoldersForTesting(&set);
  SecureFolders::grant(folder("/a"), "first");
  EXPECT_EQ(store.data("first"), bytes("bm:/a"));
  SecureFolders::grant(folder("/z"), "bad\x01key");  // could never be kept
  EXPECT_FALSE(SecureFolders::hasAccess(folder("/z")));
  store.set(AnyValue(bytes("bm:/b")), "broken");
  store.set(AnyValue(bytes("bm:/c")), "stale");
  store.set(AnyValue("keep"), "other");

  SecureFolderSet later(store, services());
  later.restore(std::vector<std::string>{"missing", "broken", "stale", "first"});
  EXPECT_EQ(later.urls(), std::vector<URL>{folder("/a")});
  EXPECT_TRUE(logged.empty());
  EXPECT_EQ(bookmarks->optionsSeen, (std::vector<std::uint64_t>{2048, 1024, 1024, 1024}));

  SecureFolders::stopAccessing(folder("/a"));
  EXPECT_FALSE(SecureFolders::hasAccess(folder("/a")));
  EXPECT_EQ(access->stopped, std::vector<std::string>{"/a"});

  SecureFolders::remove(std::vector<std::string>{"first", "stale", "absent"});
  EXPECT_EQ(store.dictionaryRepresentation(),
            (Keel::TextDictionary{{"broken", bytes("bm:/b")}, {"other", AnyValue("keep")}}));

  // The panel's answers follow FolderPermissions' rules (tested above).
  std::optional<URL> chosen;
  SecureFolders::requestAccess(nullptr, folder("/s"), "chosen", "Pick", [&](auto got) { chosen = got; });
  EXPECT_EQ(picker->shown.back().prompt, "Pick");
  picker->pending(ModalResponse::OK, folder("/d"));
  EXPECT_EQ(chosen, folder("/d"));
  EXPECT_EQ(store.data("chosen"), bytes("bm:/d"));
  EXPECT_TRUE(SecureFolders::hasAccess(std::vector<URL>{folder("/d")}));
  setSharedSecureFoldersForTesting(nullptr);
}

}  // namespace
}  // namespace Plinth
