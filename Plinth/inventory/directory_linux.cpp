#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

#include "Plinth/inventory/directory.h"

namespace Plinth {
namespace {

// The password database entry of the real user id, read with a buffer that
// grows until the entry fits.
struct PasswordEntry {
  std::string home;
  std::string name;
  bool found = false;
};

PasswordEntry passwordEntry() {
  PasswordEntry entry;
  const long suggested = sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buffer(suggested > 0 ? static_cast<std::size_t>(suggested) : 1024U);
  passwd record{};
  passwd* result = nullptr;
  while (true) {
    const int error = getpwuid_r(getuid(), &record, buffer.data(), buffer.size(), &result);
    if (error == ERANGE && buffer.size() < (1U << 20U)) {
      buffer.resize(buffer.size() * 2);
      continue;
    }
    break;
  }
  if (result != nullptr) {
    entry.found = true;
    if (record.pw_dir != nullptr) entry.home = record.pw_dir;
    if (record.pw_name != nullptr) entry.name = record.pw_name;
  }
  return entry;
}

std::string variable(const char* name) {
  const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): read only, never set here
  return value != nullptr ? std::string(value) : std::string();
}

class ProcessUser final : public UserEnvironment {
 public:
  [[nodiscard]] std::string homeDirectory() const override {
    std::string home = variable("HOME");
    if (!home.empty()) return home;
    return passwordEntry().home;
  }
  [[nodiscard]] std::string userName() const override {
    const PasswordEntry entry = passwordEntry();
    if (entry.found && !entry.name.empty()) return entry.name;
    std::string name = variable("USER");
    if (!name.empty()) return name;
    return variable("LOGNAME");
  }
};

}  // namespace

const UserEnvironment& currentUser() {
  static const ProcessUser user;
  return user;
}

}  // namespace Plinth
