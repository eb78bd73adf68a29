// Folder permissions: the grant, restore and removal rules over injected
// platform pieces.
#include "Plinth/permissions/folder_permissions.h"

#include <algorithm>
#include <atomic>
#include <utility>

#include "Plinth/permissions/secure_folders_testing.h"

namespace Plinth {
namespace {

bool contains(const std::vector<Keel::URL>& urls, const Keel::URL& url) {
  return std::find(urls.begin(), urls.end(), url) != urls.end();
}

void insert(std::vector<Keel::URL>& urls, const Keel::URL& url) {
  if (!contains(urls, url)) urls.push_back(url);
}

bool containsAll(const std::vector<Keel::URL>& urls, std::span<const Keel::URL> wanted) {
  return std::all_of(wanted.begin(), wanted.end(), [&](const Keel::URL& url) { return contains(urls, url); });
}

OpenPanelOptions folderPanel(const Keel::URL& directory, std::string prompt) {
  OpenPanelOptions options;
  options.directory = directory;
  options.allowsMultipleSelection = false;
  options.canChooseDirectories = true;
  options.canCreateDirectories = false;
  options.canChooseFiles = false;
  options.prompt = std::move(prompt);
  return options;
}

// The paths under "Bookmarks", or nothing unless the entry is an array of
// texts only.
std::optional<std::vector<std::string>> storedPaths(const Keel::UserDefaults& defaults) {
  const auto array = defaults.array(FolderPermissions::key);
  if (!array) return std::nullopt;
  std::vector<std::string> paths;
  paths.reserve(array->size());
  for (const auto& element : *array) {
    const auto* text = element.getIf<Keel::Text>();
    if (text == nullptr) return std::nullopt;
    paths.push_back(text->str());
  }
  return paths;
}

// The picker's answer to a request: nothing once the requester is gone, no
// folder when the user cancels, else `keep` the chosen folder (store or
// grant it) before the caller hears of it.
template <class Owner, class Keep>
auto folderPanelReply(std::weak_ptr<Owner*> owner, FolderAccessCompletion completion, Keep keep) {
  return [owner = std::move(owner), completion = std::move(completion), keep = std::move(keep)](
             ModalResponse response, std::optional<Keel::URL> url) {
    const auto self = owner.lock();
    if (!self || *self == nullptr) return;
    if (response != ModalResponse::OK) {
      if (completion) completion(std::nullopt);
      return;
    }
    if (!url) return;
    keep(**self, *url);
    if (completion) completion(std::move(url));
  };
}

}  // namespace

FolderPermissions::FolderPermissions(Keel::UserDefaults& userDefaults, FolderAccessServices services)
    : FolderPermissions(userDefaults, BookmarkCreationOptions::withSecurityScope,
                        BookmarkResolutionOptions::withSecurityScope, std::move(services)) {}

FolderPermissions::FolderPermissions(Keel::UserDefaults& userDefaults, BookmarkCreationOptions creationOptions,
                                     BookmarkResolutionOptions resolutionOptions, FolderAccessServices services)
    : userDefaults_(userDefaults),
      creationOptions_(creationOptions),
      resolutionOptions_(resolutionOptions),
      services_(withPlatformDefaults(std::move(services))),
      self_(std::make_shared<FolderPermissions*>(this)) {
  restore();
}

FolderPermissions::~FolderPermissions() { *self_ = nullptr; }

void FolderPermissions::restore() {
  const auto paths = storedPaths(userDefaults_);
  if (!paths) return;
  for (const auto& path : *paths) {
    const auto data = userDefaults_.data(path);
    if (!data) continue;
    const auto resolved = services_.resolver->resolve(*data, resolutionOptions_);
    if (!resolved.url) {
      services_.log(resolved.error.localizedDescription);
      continue;
    }
    if (resolved.isStale) continue;
    if (!services_.access->startAccessing(*resolved.url)) continue;
    insert(storedUrls_, *resolved.url);
    keys_.push_back(path);
  }
}

void FolderPermissions::writeKeys() {
  Keel::AnyValue::Array array;
  array.reserve(keys_.size());
  for (const auto& path : keys_) array.emplace_back(path);
  userDefaults_.set(Keel::AnyValue(std::move(array)), key);
}

void FolderPermissions::store(const Keel::URL& url) {
  auto path = url.path();
  // A grant the store cannot keep would last until the next launch only, so
  // it is refused before access starts.
  if (!Keel::isPropertyListText(path)) return;
  auto made = services_.maker->bookmarkData(url, creationOptions_);
  if (!made.data) return;
  if (!services_.access->startAccessing(url)) return;
  if (!userDefaults_.set(Keel::AnyValue(std::move(*made.data)), path)) {
    if (!contains(storedUrls_, url)) services_.access->stopAccessing(url);
    return;
  }
  insert(storedUrls_, url);
  keys_.push_back(std::move(path));
  writeKeys();
}

void FolderPermissions::remove(std::string_view path) {
  const std::string removed(path);  // `path` may point into keys_
  userDefaults_.removeObject(removed);
  const auto stored =
      std::find_if(storedUrls_.begin(), storedUrls_.end(), [&](const Keel::URL& url) { return url.path() == removed; });
  if (stored != storedUrls_.end()) storedUrls_.erase(stored);
  std::erase(keys_, removed);
  writeKeys();
}

void FolderPermissions::remove(const Keel::URL& url) {
  std::erase(storedUrls_, url);
  remove(url.path());
}

void FolderPermissions::removeAll() {
  // remove() edits keys_, so walk a copy.
  const auto paths = keys_;
  for (const auto& path : paths) remove(path);
}

bool FolderPermissions::hasAccess(const Keel::URL& url) const { return contains(storedUrls_, url); }

bool FolderPermissions::hasAccess(std::span<const Keel::URL> urls) const { return containsAll(storedUrls_, urls); }

void FolderPermissions::requestAccess(Window* window, FolderAccessCompletion completion) {
  requestAccess(window, services_.homeFolder(), std::move(completion));
}

void FolderPermissions::requestAccess(Window* window, const Keel::URL& directory, FolderAccessCompletion completion) {
  services_.picker->beginSheet(
      folderPanel(directory, services_.localizer("ALLOW")), window,
      folderPanelReply(std::weak_ptr<FolderPermissions*>(self_), std::move(completion),
                       [](FolderPermissions& permissions, const Keel::URL& url) { permissions.store(url); }));
}

SecureFolderSet::SecureFolderSet(Keel::UserDefaults& userDefaults, FolderAccessServices services)
    : userDefaults_(userDefaults),
      services_(withPlatformDefaults(std::move(services))),
      self_(std::make_shared<SecureFolderSet*>(this)) {}

SecureFolderSet::~SecureFolderSet() { *self_ = nullptr; }

void SecureFolderSet::restore(std::span<const std::string> keys) {
  for (const auto& key : keys) {
    if (const auto data = userDefaults_.data(key)) restore(*data);
  }
}

void SecureFolderSet::restore(const Keel::Data& bookmark) {
  const auto resolved = services_.resolver->resolve(bookmark, BookmarkResolutionOptions::withSecurityScope);
  if (!resolved.url || resolved.isStale) return;
  if (services_.access->startAccessing(*resolved.url)) insert(urls_, *resolved.url);
}

void SecureFolderSet::grant(const Keel::URL& url, std::string_view key) {
  if (!Keel::isPropertyListText(key)) return;  // never kept, so never granted
  auto made = services_.maker->bookmarkData(url, BookmarkCreationOptions::withSecurityScope);
  if (!made.data) return;
  if (!services_.access->startAccessing(url)) return;
  insert(urls_, url);
  userDefaults_.set(Keel::AnyValue(std::move(*made.data)), key);
}

void SecureFolderSet::stopAccessing(const Keel::URL& url) {
  services_.access->stopAccessing(url);
  std::erase(urls_, url);
}

void SecureFolderSet::remove(std::span<const std::string> keys) {
  std::vector<std::string> held;
  for (const auto& entry : userDefaults_.dictionaryRepresentation()) {
    if (std::find(keys.begin(), keys.end(), entry.first) != keys.end()) held.push_back(entry.first.str());
  }
  for (const auto& key : held) userDefaults_.removeObject(key);
}

void SecureFolderSet::requestAccess(Window* window, const Keel::URL& directory, std::string_view key,
                                    std::string_view prompt, FolderAccessCompletion completion) {
  services_.picker->beginSheet(
      folderPanel(directory, std::string(prompt)), window,
      folderPanelReply(std::weak_ptr<SecureFolderSet*>(self_), std::move(completion),
                       [key = std::string(key)](SecureFolderSet& set, const Keel::URL& url) { set.grant(url, key); }));
}

bool SecureFolderSet::hasAccess(const Keel::URL& url) const { return contains(urls_, url); }

bool SecureFolderSet::hasAccess(std::span<const Keel::URL> urls) const { return containsAll(urls_, urls); }

namespace {
std::atomic<SecureFolderSet*> sharedReplacement{nullptr};
}  // namespace

SecureFolderSet& SecureFolders::shared() {
  if (auto* replacement = sharedReplacement.load(std::memory_order_acquire)) return *replacement;
  // Never destroyed: pending requests and exit handlers may still reach it.
  static auto* const standard = new SecureFolderSet(Keel::UserDefaults::standard());
  return *standard;
}

void setSharedSecureFoldersForTesting(SecureFolderSet* replacement) {
  sharedReplacement.store(replacement, std::memory_order_release);
}

}  // namespace Plinth
