// Folder access the user granted once, kept across launches: a folder chosen
// in the folder picker becomes a bookmark in a user-defaults store, access to
// it starts at once, and every later launch resolves the stored bookmarks and
// starts access again.
//
// Two forms: FolderPermissions, an object bound to one store that keeps its own
// list of granted folders keyed by path, and SecureFolders, static operations on
// the standard store where the caller names the key of each bookmark and one
// process-wide set records the folders being accessed.
//
// Neither takes a lock: callers keep to one thread (the picker's completion
// runs on the thread that began the request).
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Keel/core/any_value.h"
#include "Keel/core/url.h"
#include "Keel/services/user_defaults.h"
#include "Plinth/permissions/folder_access.h"
#include "Plinth/permissions/folder_picker.h"

namespace Plinth {

using FolderAccessCompletion = std::function<void(std::optional<Keel::URL> url)>;

class IFolderPermissions {
 public:
  virtual ~IFolderPermissions() = default;
  // The number of folders in storedUrls().
  [[nodiscard]] virtual std::size_t count() const = 0;
  // Paths of the folders granted or restored in this process, in the order of
  // granting; a folder granted twice is there twice.
  [[nodiscard]] virtual const std::vector<std::string>& keys() const = 0;
  // Folders whose access this object started, each once, in that order.
  [[nodiscard]] virtual const std::vector<Keel::URL>& storedUrls() const = 0;
  [[nodiscard]] virtual BookmarkCreationOptions creationOptions() const = 0;
  virtual void setCreationOptions(BookmarkCreationOptions options) = 0;
  [[nodiscard]] virtual BookmarkResolutionOptions resolutionOptions() const = 0;
  virtual void setResolutionOptions(BookmarkResolutionOptions options) = 0;
  // Makes a bookmark of the folder, starts access and keeps both. A bookmark
  // that cannot be made, or access that does not start, stores nothing and
  // says nothing.
  virtual void store(const Keel::URL& url) = 0;
  // Forgets the folder stored under `path` (every occurrence in keys()).
  // Access already started is not stopped: it lasts until the process ends.
  virtual void remove(std::string_view path) = 0;
  // Forgets `url` itself and the folder stored under its path.
  virtual void remove(const Keel::URL& url) = 0;
  // Asks the user for a folder, starting in the home folder; see the other
  // form.
  virtual void requestAccess(Window* window, FolderAccessCompletion completion) = 0;
  // Asks the user for a folder, starting in `directory`. A chosen folder is
  // stored and then handed to `completion`, whether or not storing worked; a
  // cancelled panel gives no URL; a panel that ends with OK but no folder never
  // calls `completion`.
  virtual void requestAccess(Window* window, const Keel::URL& directory, FolderAccessCompletion completion) = 0;
  // Whether `url` (the whole URL, not only its path) is in storedUrls().
  [[nodiscard]] virtual bool hasAccess(const Keel::URL& url) const = 0;
  // Whether every one of `urls` is; true for none.
  [[nodiscard]] virtual bool hasAccess(std::span<const Keel::URL> urls) const = 0;
  // remove(path) for each of keys(), in order.
  virtual void removeAll() = 0;
};

// Keeps its grants in `userDefaults`, which must outlive it, as exactly this:
// under "Bookmarks" an array of the granted folders' paths in the order of
// granting, and under each path, as a key of its own, that folder's bookmark
// data. Nothing else.
//
// Construction restores the stored grants: each path's bookmark is resolved and
// access started. A bookmark that fails to resolve is reported to the log piece
// with the error's description as the whole message; a stale one (the path now
// holds another folder) is passed over silently and neither refreshed nor
// deleted. Construction writes nothing, so a path that did not restore stays
// in "Bookmarks" until the next write of the list, which leaves it out, while
// its data entry stays in the store.
class FolderPermissions final : public IFolderPermissions {
 public:
  static constexpr std::string_view key = "Bookmarks";

  explicit FolderPermissions(Keel::UserDefaults& userDefaults, FolderAccessServices services = {});
  FolderPermissions(Keel::UserDefaults& userDefaults, BookmarkCreationOptions creationOptions,
                    BookmarkResolutionOptions resolutionOptions, FolderAccessServices services = {});
  ~FolderPermissions() override;
  FolderPermissions(const FolderPermissions&) = delete;
  FolderPermissions& operator=(const FolderPermissions&) = delete;

  [[nodiscard]] std::size_t count() const override { return storedUrls_.size(); }
  [[nodiscard]] const std::vector<std::string>& keys() const override { return keys_; }
  [[nodiscard]] const std::vector<Keel::URL>& storedUrls() const override { return storedUrls_; }
  [[nodiscard]] BookmarkCreationOptions creationOptions() const override { return creationOptions_; }
  void setCreationOptions(BookmarkCreationOptions options) override { creationOptions_ = options; }
  [[nodiscard]] BookmarkResolutionOptions resolutionOptions() const override { return resolutionOptions_; }
  void setResolutionOptions(BookmarkResolutionOptions options) override { resolutionOptions_ = options; }
  // A path the defaults cannot hold as a key (not UTF-8, or with control
  // characters: see Keel::isPropertyListText) is refused before access
  // starts, so count() and keys() never disagree and no grant is lost at the
  // next launch. A store the defaults refuse for another reason ends there
  // too, access stopped again.
  void store(const Keel::URL& url) override;
  void remove(std::string_view path) override;
  void remove(const Keel::URL& url) override;
  // A request whose FolderPermissions is destroyed before the panel ends does
  // nothing when it ends: nothing is stored and the completion is not called.
  void requestAccess(Window* window, FolderAccessCompletion completion) override;
  void requestAccess(Window* window, const Keel::URL& directory, FolderAccessCompletion completion) override;
  [[nodiscard]] bool hasAccess(const Keel::URL& url) const override;
  [[nodiscard]] bool hasAccess(std::span<const Keel::URL> urls) const override;
  void removeAll() override;

 private:
  void restore();
  void writeKeys();

  Keel::UserDefaults& userDefaults_;
  std::vector<std::string> keys_;
  std::vector<Keel::URL> storedUrls_;
  BookmarkCreationOptions creationOptions_ = BookmarkCreationOptions::withSecurityScope;
  BookmarkResolutionOptions resolutionOptions_ = BookmarkResolutionOptions::withSecurityScope;
  FolderAccessServices services_;
  std::shared_ptr<FolderPermissions*> self_;  // weak handles for pending requests
};

// The state behind SecureFolders: a store, the platform pieces and the set of
// folders whose access it started. SecureFolders uses one shared instance on
// the standard defaults; tests build their own with a memory store and fakes,
// and may put one in the shared place (secure_folders_testing.h).
// Bookmarks are raw data under keys the caller names; failures are silent.
class SecureFolderSet {
 public:
  // `userDefaults` must outlive the set. A request whose set is destroyed
  // before the panel ends does nothing when it ends.
  explicit SecureFolderSet(Keel::UserDefaults& userDefaults, FolderAccessServices services = {});
  ~SecureFolderSet();
  SecureFolderSet(const SecureFolderSet&) = delete;
  SecureFolderSet& operator=(const SecureFolderSet&) = delete;

  // For each key in order: resolve the data stored there and, when the
  // bookmark is not stale and access starts, record the folder.
  void restore(std::span<const std::string> keys);
  void restore(const Keel::Data& bookmark);
  // Makes a bookmark; when access starts, records the folder and stores the
  // data under `key`. A key the store cannot hold (Keel::isPropertyListText)
  // grants nothing.
  void grant(const Keel::URL& url, std::string_view key);
  void stopAccessing(const Keel::URL& url);
  // Deletes the values under those of `keys` the store holds. Access is not
  // stopped.
  void remove(std::span<const std::string> keys);
  // The folder picker with the caller's prompt; a chosen folder is granted
  // under `key` and then handed to `completion`; cancel gives no URL; OK
  // without a folder never calls `completion`.
  void requestAccess(Window* window, const Keel::URL& directory, std::string_view key, std::string_view prompt,
                     FolderAccessCompletion completion);
  [[nodiscard]] bool hasAccess(const Keel::URL& url) const;
  [[nodiscard]] bool hasAccess(std::span<const Keel::URL> urls) const;
  [[nodiscard]] const std::vector<Keel::URL>& urls() const { return urls_; }

 private:
  Keel::UserDefaults& userDefaults_;
  FolderAccessServices services_;
  std::vector<Keel::URL> urls_;
  std::shared_ptr<SecureFolderSet*> self_;  // weak handles for pending requests
};

// Static face over the shared SecureFolderSet, which is made on first use on
// UserDefaults::standard() with the platform's pieces and lives until the
// process ends. Pending picker requests use the set that was shared when they
// began.
class SecureFolders {
 public:
  SecureFolders() = delete;

  static void restore(std::span<const std::string> keys) { shared().restore(keys); }
  static void restore(const Keel::Data& bookmark) { shared().restore(bookmark); }
  static void grant(const Keel::URL& url, std::string_view key) { shared().grant(url, key); }
  static void stopAccessing(const Keel::URL& url) { shared().stopAccessing(url); }
  static void remove(std::span<const std::string> keys) { shared().remove(keys); }
  static void requestAccess(Window* window, const Keel::URL& directory, std::string_view key, std::string_view prompt,
                            FolderAccessCompletion completion) {
    shared().requestAccess(window, directory, key, prompt, std::move(completion));
  }
  [[nodiscard]] static bool hasAccess(const Keel::URL& url) { return shared().hasAccess(url); }
  [[nodiscard]] static bool hasAccess(std::span<const Keel::URL> urls) { return shared().hasAccess(urls); }

  [[nodiscard]] static SecureFolderSet& shared();
};

}  // namespace Plinth
