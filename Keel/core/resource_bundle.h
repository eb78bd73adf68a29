// A library's own resource bundle ("Keel_Keel.bundle", "Plinth_Plinth.bundle"):
// a folder of localized string tables, found once beside the program or the
// library that uses it.
//   Name.bundle/<language>.lproj/Localizable.strings   (a property list)
// A bundle in the application shape keeps the same under Contents/Resources.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Keel {

class ResourceBundle {
 public:
  // The bundle folder at `path` (which must exist; find() checks).
  explicit ResourceBundle(std::filesystem::path path);

  // The first of `folders` that holds a folder "<name>.bundle", in the order
  // given, or nothing.
  [[nodiscard]] static std::optional<ResourceBundle> find(std::string_view name,
                                                          const std::vector<std::filesystem::path>& folders);

  // The same, but a bundle that is nowhere stops the process with "unable to
  // find bundle named <name>": a library without its resources is a broken
  // installation, not a state to carry on in.
  [[nodiscard]] static ResourceBundle findOrDie(std::string_view name,
                                                const std::vector<std::filesystem::path>& folders);

  // Where a library's bundle is looked for, in this order: the main program's
  // resource folder, the resource folder beside the file that holds the
  // library's code (`codeAddress` is any function of that library), and the
  // main program's own folder. A program installed as <prefix>/bin/name and a
  // library installed under <prefix>/lib keep their resources in
  // <prefix>/share/vantor; a program in an application bundle keeps them in
  // Contents/Resources.
  [[nodiscard]] static std::vector<std::filesystem::path> searchFolders(const void* codeAddress);

  [[nodiscard]] const std::filesystem::path& bundlePath() const { return state_->path; }

  // The folder the language folders are in: Contents/Resources when the
  // bundle has one, else the bundle folder itself.
  [[nodiscard]] std::filesystem::path resourcePath() const;

  // The language folders the bundle has ("de", "en", ...), sorted; listed
  // once and kept.
  [[nodiscard]] std::vector<std::string> localizations() const;

  // The text of `key` in the table "<table>.strings" of the first language
  // of `languages` that the bundle has (each tried as given, then without its
  // region: "de_AT" then "de"), else of English. A key the table lacks, or a
  // table that is missing or unreadable, gives the key itself, so a missing
  // translation shows up as its key and never as an empty text. Tables are
  // read once and kept. Safe from any thread.
  [[nodiscard]] std::string localizedString(std::string_view key, const std::vector<std::string>& languages,
                                            std::string_view table = "Localizable") const;
  // The same for the user's languages (preferredLanguages()).
  [[nodiscard]] std::string localizedString(std::string_view key) const;

  // The user's languages, most wanted first, from LANGUAGE (a colon-separated
  // list), then LC_ALL, LC_MESSAGES and LANG, as "de_DE" or "de" (encoding
  // and modifier dropped). The C and POSIX locales count as English.
  [[nodiscard]] static std::vector<std::string> preferredLanguages();
  // The same from a getenv-like lookup, for tests.
  [[nodiscard]] static std::vector<std::string> preferredLanguages(const char* (*getVariable)(const char*));

 private:
  using Table = std::map<std::string, std::string, std::less<>>;
  struct State {
    std::filesystem::path path;
    std::mutex mutex;
    std::map<std::string, std::shared_ptr<const Table>, std::less<>> tables;  // by "<lang>/<table>"
    std::optional<std::vector<std::string>> localizations;
  };
  [[nodiscard]] std::shared_ptr<const Table> table(const std::string& language, std::string_view name) const;
  std::shared_ptr<State> state_;
};

// Keel's own bundle, "Keel_Keel", found on first use and kept.
[[nodiscard]] const ResourceBundle& keelBundle();

// `key` in Keel's string table for the user's languages (the key when
// untranslated).
[[nodiscard]] std::string localizedString(std::string_view key);

}  // namespace Keel
