// The user-defaults stores: value forms and typed reads on the memory store,
// and the file-backed store against real files in a temporary folder and
// against a scripted file whose failures the test chooses.
#include "Keel/services/user_defaults.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "Keel/services/persistent_user_defaults.h"
#include "testing/child_process.h"
#include "testing/domain_text.h"
#include "testing/memory_domain_file.h"
#include "testing/temp_dir.h"

namespace Keel {
namespace {

using namespace std::chrono_literals;
using Vantor::Testing::fileDomain;
using Vantor::Testing::fileText;
using Vantor::Testing::MemoryDomainFile;
using Vantor::Testing::TempDir;
using Vantor::Testing::waitUntil;

constexpr PersistentUserDefaults::Options noTimedWrites{std::chrono::hours(1)};

TEST(UserDefaultsValues, StoredInTheFormTheFileGivesBackAndAbsentOrNullRemoves) {
  MemoryUserDefaults d;
  ASSERT_TRUE(d.set(std::int32_t{7}, "int"));
  EXPECT_EQ(d.object("int"), AnyValue(std::int64_t{7}));
  ASSERT_TRUE(d.set(1.5f, "float"));
  EXPECT_EQ(d.object("float"), AnyValue(1.5));
  ASSERT_TRUE(d.set(Date(1000.75), "date"));
  EXPECT_EQ(d.object("date"), AnyValue(Date(1000.75)));  // kept exactly
  ASSERT_TRUE(d.set(URL{"file:///tmp/a"}, "url"));
  EXPECT_EQ(d.string("url"), "file:///tmp/a");
  ASSERT_TRUE(d.set(AnyValue::Array{std::uint8_t{1}, "x"}, "array"));
  EXPECT_EQ(d.array("array"), (AnyValue::Array{std::int64_t{1}, "x"}));
  EXPECT_TRUE(d.set(std::nullopt, "int"));
  EXPECT_TRUE(d.set(nullptr, "float"));
  EXPECT_EQ(d.dictionaryRepresentation().size(), 3u);
}

TEST(UserDefaultsValues, ValuesWithoutAPropertyListFormAreRefused) {
  MemoryUserDefaults d;
  d.set("kept", "k");
  EXPECT_FALSE(d.set(std::numeric_limits<std::uint64_t>::max(), "k"));
  EXPECT_FALSE(d.set("bell\a", "k"));
  EXPECT_FALSE(d.set(std::string("\xEF\xBF\xBF"), "k"));  // U+FFFF, which XML cannot hold
  EXPECT_FALSE(d.set(AnyValue::Array{nullptr}, "k"));
  EXPECT_FALSE(d.set(HashedDictionary{{1, 2}}, "k"));
  EXPECT_FALSE(d.set(1, "key\x01"));
  EXPECT_FALSE(d.set(Date::withTimeIntervalSinceReferenceDate(1e12), "k"));  // beyond the year 9999
  EXPECT_EQ(d.string("k"), "kept");
  EXPECT_TRUE(d.set("tab\tnewline\n\xE2\x82\xAC\xF0\x9F\x98\x80", "k"));
}

TEST(UserDefaultsValues, TypedReads) {
  MemoryUserDefaults d(TextDictionary{{"real", 2.5},
                                      {"int", 3},
                                      {"yes", "YES"},
                                      {"numberText", "4.5"},
                                      {"zero", std::int64_t{0}},
                                      {"data", Data{1, 2}},
                                      {"text", "t"}});
  EXPECT_EQ(d.doubleValue("missing"), 0.0);
  EXPECT_EQ(d.doubleValue("int"), 3.0);
  EXPECT_EQ(d.doubleValue("numberText"), 4.5);
  EXPECT_EQ(d.doubleValue("data"), 0.0);
  EXPECT_EQ(d.integer("real"), 2);
  EXPECT_TRUE(d.boolValue("yes"));
  EXPECT_TRUE(d.boolValue("int"));
  EXPECT_FALSE(d.boolValue("zero"));
  EXPECT_FALSE(d.boolValue("text"));
  EXPECT_EQ(d.data("data"), (Data{1, 2}));
  EXPECT_EQ(d.data("text"), std::nullopt);
}

TEST(UserDefaultsDomains, NamesThatCannotBeFileNamesAreRefusedAndTheFolderFollowsXdgConfigHome) {
  EXPECT_TRUE(isValidDomainName("com.brenwick.appreviews"));
  const std::vector<std::string> bad{"", ".", "..", "a/b", std::string("a\0b", 3), std::string(201, 'x')};
  for (const std::string& name : bad) EXPECT_FALSE(isValidDomainName(name)) << name;
  EXPECT_EQ(UserDefaults::suite("a/b"), nullptr);
  EXPECT_EQ(defaultsFolder("/x/config", "/home/u"), std::filesystem::path("/x/config/keel/defaults"));
  EXPECT_EQ(defaultsFolder("relative", "/home/u"), std::filesystem::path("/home/u/.config/keel/defaults"));
  EXPECT_EQ(defaultsFolder("", "/home/u"), std::filesystem::path("/home/u/.config/keel/defaults"));
  EXPECT_EQ(defaultsFolder(nullptr, nullptr), std::nullopt);
}

class PersistentDefaultsTest : public ::testing::Test {
 protected:
  TempDir dir;
  std::filesystem::path file = dir.path() / "defaults" / "com.example.test.plist";
};

TEST_F(PersistentDefaultsTest, EveryKindReadsBackFromTheFile) {
  const TextDictionary all{{"bool", true},
                           {"int", std::int64_t{-5}},
                           {"big", std::numeric_limits<std::int64_t>::max()},
                           {"real", 0.1},
                           {"text", "caf\xC3\xA9 & <tags>"},
                           {"data", Data{0, 255, 10}},
                           {"date", Date(1700000000.0)},
                           {"array", AnyValue::Array{1, "two", AnyValue::Array{}}},
                           {"dict", TextDictionary{{"inner", 2.5}}}};
  {
    PersistentUserDefaults d(file, noTimedWrites);
    for (const auto& [key, value] : all) ASSERT_TRUE(d.set(value, key));
    EXPECT_TRUE(d.synchronize());
  }
  PersistentUserDefaults reread(file, noTimedWrites);
  const TextDictionary expected = MemoryUserDefaults(all).dictionaryRepresentation();
  EXPECT_EQ(reread.dictionaryRepresentation(), expected);
  EXPECT_EQ(fileDomain(file), expected);
}

TEST_F(PersistentDefaultsTest, NewFoldersAndFilesArePrivateAndExistingFoldersKeepTheirMode) {
  namespace fs = std::filesystem;
  fs::permissions(dir.path(), fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec);
  const auto before = fs::status(dir.path()).permissions();
  PersistentUserDefaults d(dir.path() / "a" / "b" / "x.plist", noTimedWrites);
  d.set(1, "k");
  ASSERT_TRUE(d.synchronize());
  EXPECT_EQ(fs::status(dir.path()).permissions(), before);
  EXPECT_EQ(fs::status(dir.path() / "a").permissions(), fs::perms::owner_all);
  EXPECT_EQ(fs::status(dir.path() / "a" / "b").permissions(), fs::perms::owner_all);
  EXPECT_EQ(fs::status(dir.path() / "a" / "b" / "x.plist").permissions(),
            fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(PersistentDefaultsTest, UnsynchronizedWritesReachTheFileSoonOrWhenTheStoreIsDestroyed) {
  {
    PersistentUserDefaults d(file, noTimedWrites);
    d.set(1, "k");
    EXPECT_FALSE(std::filesystem::exists(file));
  }
  EXPECT_EQ(fileDomain(file), (TextDictionary{{"k", std::int64_t{1}}}));
  PersistentUserDefaults d(file, {std::chrono::milliseconds(10)});
  d.set("v", "k");
  EXPECT_TRUE(waitUntil([&] { return fileDomain(file) == TextDictionary{{"k", "v"}}; }, 5s));
}

TEST_F(PersistentDefaultsTest, WritersOfDifferentKeysMergeAndLocalChangesShadowTheFileUntilWritten) {
  PersistentUserDefaults a(file, noTimedWrites);
  PersistentUserDefaults b(file, noTimedWrites);
  a.set(1, "a");
  a.set(1, "gone");
  ASSERT_TRUE(a.synchronize());
  b.set(2, "b");  // b never read the file: its write still keeps a's keys
  ASSERT_TRUE(b.synchronize());
  a.removeObject("gone");
  ASSERT_TRUE(a.synchronize());
  const TextDictionary expected{{"a", std::int64_t{1}}, {"b", std::int64_t{2}}};
  EXPECT_EQ(fileDomain(file), expected);
  EXPECT_TRUE(waitUntil([&] { return a.dictionaryRepresentation() == expected; }, 5s));
  EXPECT_TRUE(waitUntil([&] { return b.dictionaryRepresentation() == expected; }, 5s));

  a.set("mine", "k");
  b.set("theirs", "k");
  ASSERT_TRUE(b.synchronize());
  EXPECT_EQ(a.string("k"), "mine");  // a's own unwritten value wins over the file's...
  ASSERT_TRUE(a.synchronize());      // ...and, written last, is what both end with
  EXPECT_TRUE(waitUntil([&] { return b.string("k") == "mine"; }, 5s));
}

// A FIFO in the file's place must not hold the first read waiting for a
// writer; if it does, a writer arrives after 10 s and the check fails.
TEST_F(PersistentDefaultsTest, ACorruptFileAFolderOrAFifoInItsPlaceReadsEmptyAndIsSetAsideBeforeAWrite) {
  const std::string corrupt = "<plist><dict><key>half";
  for (const char* kind : {"corrupt file", "folder", "fifo"}) {
    SCOPED_TRACE(kind);
    const std::string_view what(kind);
    std::filesystem::remove_all(file.parent_path());
    std::filesystem::create_directories(what == "folder" ? file / "inside" : file.parent_path());
    if (what == "corrupt file") std::ofstream(file) << corrupt;
    if (what == "fifo") {
      ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    }
    std::atomic<bool> read = false;
    std::atomic<bool> rescued = false;
    std::thread writer([&] {
      if (waitUntil([&] { return read.load(); }, 10s) || what != "fifo") return;
      rescued = true;
      close(open(file.c_str(), O_WRONLY | O_NONBLOCK));
    });
    PersistentUserDefaults d(file, noTimedWrites);
    EXPECT_TRUE(d.dictionaryRepresentation().empty());
    read = true;
    writer.join();
    EXPECT_FALSE(rescued) << "the first read waited for a writer";
    if (what == "corrupt file") {
      EXPECT_EQ(fileText(file), corrupt);  // reading changes nothing on disk
    }
    d.set("new", "k");
    ASSERT_TRUE(d.synchronize());
    std::vector<std::filesystem::path> aside;
    for (const auto& e : std::filesystem::directory_iterator(file.parent_path())) {
      if (e.path().filename().string().starts_with(file.filename().string() + ".corrupt-")) aside.push_back(e.path());
    }
    ASSERT_EQ(aside.size(), 1u);
    const bool kept = what == "folder" ? std::filesystem::is_directory(aside[0] / "inside")
                      : what == "fifo" ? std::filesystem::is_fifo(aside[0])
                                       : fileText(aside[0]) == corrupt;
    EXPECT_TRUE(kept);
    EXPECT_EQ(fileDomain(file), (TextDictionary{{"k", "new"}}));
  }
}

TEST_F(PersistentDefaultsTest, AbandonedTemporaryFilesAreRemovedByTheNextWriter) {
  std::filesystem::create_directories(file.parent_path());
  const auto abandoned = file.string() + ".tmp-Ab12Cd";
  std::ofstream(abandoned) << "<plist";
  const auto unrelated = file.parent_path() / "other.plist.tmp-Ab12Cd";
  std::ofstream(unrelated) << "<plist";
  PersistentUserDefaults d(file, noTimedWrites);
  d.set(1, "k");
  ASSERT_TRUE(d.synchronize());
  EXPECT_FALSE(std::filesystem::exists(abandoned));
  EXPECT_TRUE(std::filesystem::exists(unrelated));
}

TEST_F(PersistentDefaultsTest, ConcurrentUseFromManyThreads) {
  PersistentUserDefaults d(file, {std::chrono::milliseconds(1)});
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&d, t] {
      for (int i = 0; i < 200; ++i) {
        const std::string key = "t" + std::to_string(t) + "_" + std::to_string(i);
        d.set(i, key);
        EXPECT_EQ(d.integer(key), i);
        if (i % 50 == 0) d.synchronize();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  ASSERT_TRUE(d.synchronize());
  EXPECT_EQ(fileDomain(file)->size(), 800u);
}

TEST(PersistentDefaultsFailures, FailedWritesAreRetriedAndAFileThatCannotBeReadIsNeverWrittenOver) {
  auto file = std::make_shared<MemoryDomainFile::State>();
  file->replaceFails = true;
  PersistentUserDefaults d(std::make_unique<MemoryDomainFile>(file), noTimedWrites);
  EXPECT_TRUE(d.set("v", "k"));
  EXPECT_FALSE(d.synchronize());
  EXPECT_EQ(d.string("k"), "v");
  file->replaceFails = false;
  EXPECT_TRUE(d.synchronize());
  ASSERT_TRUE(file->bytes.has_value());
  EXPECT_NE(file->bytes->find("<key>k</key>"), std::string::npos);

  d.removeObject("k");
  EXPECT_EQ(d.object("k"), std::nullopt);  // the removal shadows the file until written
  ASSERT_TRUE(d.synchronize());
  EXPECT_EQ(file->bytes->find("<key>k</key>"), std::string::npos);

  const int writes = file->writes;
  ++file->version;  // changed by someone else, and now unreadable
  file->readFails = true;
  d.set(1, "mine");
  EXPECT_FALSE(d.synchronize());
  EXPECT_EQ(file->writes, writes);
  EXPECT_EQ(d.integer("mine"), 1);
}

}  // namespace
}  // namespace Keel
