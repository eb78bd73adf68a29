// The file-backed store: values in memory over the last known file, local
// changes kept apart until a merged write has put them into the file.
#include "Keel/services/persistent_user_defaults.h"

#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Keel/coding/property_list.h"
#include "Keel/core/property_list_reader.h"

namespace Keel {
namespace {

using Values = std::map<std::string, AnyValue, std::less<>>;
using SharedValues = std::shared_ptr<const Values>;

// A local change not yet known to be in the file. The sequence tells a change
// that was written apart from a newer one made to the same key meanwhile.
struct Change {
  std::optional<AnyValue> value;
  std::uint64_t sequence = 0;
};
using Changes = std::map<std::string, Change, std::less<>>;

const SharedValues& emptyValues() {
  static const SharedValues* const empty = new SharedValues(std::make_shared<const Values>());
  return *empty;
}

// The domain in `bytes`, or nothing when they are not a property-list
// dictionary. Entries that could not be written back are left out, so one bad
// value written by another program cannot stop every later write.
std::optional<Values> parseDomain(const std::string& bytes) {
  PropertyList::ReadResult result = PropertyList::read(std::string_view(bytes));
  if (!result) return std::nullopt;
  auto* dictionary = result->getIf<TextDictionary>();
  if (dictionary == nullptr) return std::nullopt;
  Values values;
  for (auto& [key, value] : *dictionary) {
    if (!isPropertyListText(key)) continue;
    if (auto normalised = userDefaultsValue(value)) values.insert_or_assign(key.str(), std::move(*normalised));
  }
  return values;
}

std::optional<std::string> serialise(const Values& values) {
  TextDictionary dictionary;
  dictionary.reserve(values.size());
  for (const auto& [key, value] : values) dictionary.appendUnchecked(key, value);
  auto xml = PropertyList::writeXML(AnyValue(std::move(dictionary)));
  if (!xml) return std::nullopt;
  return std::move(xml.value());
}

}  // namespace

struct PersistentUserDefaults::Core {
  std::unique_ptr<DomainFile> file;
  Options options;

  std::mutex mutex;                         // guards everything below but writeMutex
  SharedValues fileValues = emptyValues();  // the file as last read or written
  FileStamp seen;                           // its stamp
  bool seenIntact = true;                   // false when it did not read as a domain
  bool recheck = true;                      // compare stamps on the next read
  Changes pending;
  std::uint64_t nextSequence = 1;
  bool writeScheduled = false;

  std::mutex writeMutex;  // one write at a time

  Core(std::unique_ptr<DomainFile> f, Options o) : file(std::move(f)), options(o) {}
  ~Core() { write(); }

  // Picks up a change of the file. Reads never change the disk: a file that
  // does not read is only set aside when this process writes.
  void refreshLocked() {
    if (!file->takeChangeNotice() && !recheck) return;
    recheck = false;
    if (file->stamp() == seen) return;
    FileRead read = file->read();
    switch (read.status) {
      case FileRead::Status::missing:
        fileValues = emptyValues();
        seenIntact = true;
        break;
      case FileRead::Status::read:
        if (auto values = parseDomain(read.bytes)) {
          fileValues = std::make_shared<const Values>(std::move(*values));
          seenIntact = true;
        } else {
          fileValues = emptyValues();
          seenIntact = false;
        }
        break;
      case FileRead::Status::unreadable:
        fileValues = emptyValues();
        seenIntact = false;
        break;
      case FileRead::Status::failed:
        recheck = true;  // keep what we had and try again on the next read
        return;
    }
    seen = read.stamp;
  }

  // Merges the pending changes into the file. True when nothing is left
  // pending that was pending when it started.
  bool write() {
    std::lock_guard writing(writeMutex);
    Changes snapshot;
    SharedValues base;
    FileStamp baseStamp;
    bool baseIntact = true;
    {
      std::lock_guard lock(mutex);
      writeScheduled = false;
      if (pending.empty()) return true;
      snapshot = pending;
      base = fileValues;
      baseStamp = seen;
      baseIntact = seenIntact;
    }

    SharedValues merged;
    std::optional<FileStamp> written;
    file->withLock([&] {
      // Another process may have written since we last looked: merge into
      // what the file holds now, not into what we remember.
      SharedValues current = base;
      if (!baseIntact || file->stamp() != baseStamp) {
        FileRead read = file->read();
        switch (read.status) {
          case FileRead::Status::missing:
            current = emptyValues();
            break;
          case FileRead::Status::read:
            if (auto values = parseDomain(read.bytes)) {
              current = std::make_shared<const Values>(std::move(*values));
              break;
            }
            [[fallthrough]];
          case FileRead::Status::unreadable:
            if (!file->setAside()) return;
            current = emptyValues();
            break;
          case FileRead::Status::failed:
            return;  // never write over a file we could not read
        }
      }
      auto next = std::make_shared<Values>(*current);
      for (const auto& [key, change] : snapshot) {
        if (change.value) {
          next->insert_or_assign(key, *change.value);
        } else if (auto found = next->find(key); found != next->end()) {
          next->erase(found);
        }
      }
      const std::optional<std::string> bytes = serialise(*next);
      if (!bytes) return;
      written = file->replace(*bytes);
      if (written) merged = std::move(next);
    });

    std::lock_guard lock(mutex);
    if (!written) return false;
    // A read that reloaded meanwhile may have seen a file newer than ours:
    // compare again on the next read rather than trust either.
    if (seen != baseStamp) recheck = true;
    fileValues = std::move(merged);
    seen = *written;
    seenIntact = true;
    for (const auto& [key, change] : snapshot) {
      auto found = pending.find(key);
      if (found != pending.end() && found->second.sequence == change.sequence) pending.erase(found);
    }
    return true;
  }
};

namespace {

// One thread for the delayed writes of every store in the process, and the
// last write of each when the process exits normally. Never destroyed, so it
// is safe to use while static objects are torn down.
class WriteScheduler {
 public:
  using Core = PersistentUserDefaults::Core;
  using Clock = std::chrono::steady_clock;

  static WriteScheduler& instance() {
    static WriteScheduler* const scheduler = [] {
      auto* s = new WriteScheduler();
      std::atexit([] { instance().writeAll(); });
      return s;
    }();
    return *scheduler;
  }

  void add(const std::shared_ptr<Core>& core) {
    std::lock_guard lock(mutex_);
    std::erase_if(live_, [](const std::weak_ptr<Core>& c) { return c.expired(); });
    live_.push_back(core);
  }

  void schedule(const std::shared_ptr<Core>& core, Clock::time_point when) {
    std::lock_guard lock(mutex_);
    due_.emplace(when, core);
    if (!started_) {
      started_ = true;
      std::thread([this] { run(); }).detach();
    }
    wake_.notify_one();
  }

 private:
  void run() {
    std::unique_lock lock(mutex_);
    for (;;) {
      if (due_.empty()) {
        wake_.wait(lock);
        continue;
      }
      const auto first = due_.begin();
      if (Clock::now() < first->first) {
        wake_.wait_until(lock, first->first);
        continue;
      }
      std::shared_ptr<Core> core = first->second.lock();
      due_.erase(first);
      lock.unlock();
      if (core) core->write();
      core.reset();  // a store dropped meanwhile finishes here, outside the lock
      lock.lock();
    }
  }

  void writeAll() {
    std::vector<std::shared_ptr<Core>> cores;
    {
      std::lock_guard lock(mutex_);
      for (const auto& weak : live_) {
        if (auto core = weak.lock()) cores.push_back(std::move(core));
      }
    }
    for (const auto& core : cores) core->write();
  }

  std::mutex mutex_;
  std::condition_variable wake_;
  std::multimap<Clock::time_point, std::weak_ptr<Core>> due_;
  std::vector<std::weak_ptr<Core>> live_;
  bool started_ = false;
};

}  // namespace

PersistentUserDefaults::PersistentUserDefaults(const std::filesystem::path& file, Options options)
    : PersistentUserDefaults(openDomainFile(file), options) {}

PersistentUserDefaults::PersistentUserDefaults(std::unique_ptr<DomainFile> file, Options options)
    : core_(std::make_shared<Core>(std::move(file), options)) {
  WriteScheduler::instance().add(core_);
}

PersistentUserDefaults::~PersistentUserDefaults() { core_->write(); }

std::optional<AnyValue> PersistentUserDefaults::object(std::string_view key) const {
  std::lock_guard lock(core_->mutex);
  core_->refreshLocked();
  if (auto change = core_->pending.find(key); change != core_->pending.end()) return change->second.value;
  if (auto found = core_->fileValues->find(key); found != core_->fileValues->end()) return found->second;
  return std::nullopt;
}

bool PersistentUserDefaults::set(const std::optional<AnyValue>& value, std::string_view key) {
  std::optional<AnyValue> stored;
  if (value && !value->isNull()) {
    stored = userDefaultsValue(*value);
    if (!stored) return false;
  }
  if (!isPropertyListText(key)) return false;
  bool schedule = false;
  {
    std::lock_guard lock(core_->mutex);
    Change& change = core_->pending[std::string(key)];
    change.value = std::move(stored);
    change.sequence = core_->nextSequence++;
    schedule = !core_->writeScheduled;
    core_->writeScheduled = true;
  }
  if (schedule) {
    WriteScheduler::instance().schedule(core_, WriteScheduler::Clock::now() + core_->options.writeDelay);
  }
  return true;
}

TextDictionary PersistentUserDefaults::dictionaryRepresentation() const {
  Values merged;
  {
    std::lock_guard lock(core_->mutex);
    core_->refreshLocked();
    merged = *core_->fileValues;
    for (const auto& [key, change] : core_->pending) {
      if (change.value) {
        merged.insert_or_assign(key, *change.value);
      } else {
        merged.erase(key);
      }
    }
  }
  TextDictionary dictionary;
  dictionary.reserve(merged.size());
  for (auto& [key, value] : merged) dictionary.appendUnchecked(key, std::move(value));
  return dictionary;
}

bool PersistentUserDefaults::synchronize() {
  const bool written = core_->write();
  std::lock_guard lock(core_->mutex);
  core_->recheck = true;
  core_->refreshLocked();
  return written;
}

}  // namespace Keel
