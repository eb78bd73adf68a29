// The built tools run as a user would run them: arguments, environment,
// output, exit status.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "Keel/coding/json.h"
#include "testing/bundle_builder.h"
#include "testing/child_process.h"
#include "testing/temp_dir.h"

namespace Vantor::Tools {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Environment = std::map<std::string, std::optional<std::string>>;

std::string contentsOf(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

void writeFile(const fs::path& path, const std::string& text) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

struct ToolRun {
  int status = -1;
  std::string out;
  std::string err;
};

// A tool started with `argv` and its output captured in `dir`.
class Started {
 public:
  Started(const fs::path& dir, std::vector<std::string> argv, const Environment& environment)
      : out_(dir / ("out-" + std::to_string(++count_))),
        err_(dir / ("err-" + std::to_string(count_))),
        child_({std::move(argv), environment, out_, err_}) {}
  std::string out() const { return contentsOf(out_); }
  std::string err() const { return contentsOf(err_); }
  Testing::ChildProcess& child() { return child_; }
  ToolRun finish() {
    const auto status = child_.waitForExit(30s);
    return {status.value_or(-1), out(), err()};
  }

 private:
  static inline int count_ = 0;
  fs::path out_;
  fs::path err_;
  Testing::ChildProcess child_;
};

class ToolsTest : public ::testing::Test {
 protected:
  Testing::TempDir dir;
  ToolRun run(std::vector<std::string> argv, const Environment& environment = {}) {
    return Started(dir.path(), std::move(argv), environment).finish();
  }
};

// One line on stderr, starting with the tool's name.
void expectOneErrorLine(const ToolRun& run, int status, const std::string& start) {
  EXPECT_EQ(run.status, status) << run.err;
  EXPECT_EQ(run.err.rfind(start, 0), 0u) << run.err;
  EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
}

TEST_F(ToolsTest, EveryToolHasHelpAndRefusesBadUsage) {
  for (const char* tool : {VANTOR_DECODE_BINARY, VANTOR_FACTS_BINARY}) {
    const ToolRun help = run({tool, "--help"});
    EXPECT_EQ(help.status, 0) << tool;
    EXPECT_EQ(help.out.rfind("Usage: ", 0), 0u) << tool;
    const ToolRun bad = run({tool, "--no-such-option"});
    expectOneErrorLine(bad, 2, fs::path(tool).filename().string() + ": unknown option '--no-such-option'");
  }
  expectOneErrorLine(run({VANTOR_DECODE_BINARY}), 2, "vantor-decode: expected one FILE");
  expectOneErrorLine(run({VANTOR_DECODE_BINARY, "--to", "yaml", "x"}), 2, "vantor-decode: --to takes json or plist");
  expectOneErrorLine(run({VANTOR_FACTS_BINARY, "extra"}), 2, "vantor-facts: unexpected argument 'extra'");
}

TEST_F(ToolsTest, DecodePrintsTheTreeOfEitherFormatAndOfStandardInput) {
  const fs::path json = dir.path() / "doc.json";
  writeFile(json, R"({"name": "Vantor", "list": [1, 2.5]})");
  const ToolRun fromJSON = run({VANTOR_DECODE_BINARY, json});
  EXPECT_EQ(fromJSON.status, 0) << fromJSON.err;
  EXPECT_EQ(fromJSON.out,
            "dictionary (2 entries)\n  \"name\": text \"Vantor\"\n  \"list\": array (2 elements)\n"
            "    [0]: int64 1\n    [1]: float64 2.5\n");

  const fs::path binary = dir.path() / "Info.plist";
  writeFile(binary, Testing::infoPlist({{"CFBundleIdentifier", "com.brenwick.vantor"}}, true));
  const ToolRun fromPlist = run({VANTOR_DECODE_BINARY, binary});
  EXPECT_EQ(fromPlist.out, "dictionary (1 entry)\n  \"CFBundleIdentifier\": text \"com.brenwick.vantor\"\n");

  const ToolRun fromStdin = run({"/bin/sh", "-c", std::string(VANTOR_DECODE_BINARY) + " - < \"$0\"", json});
  EXPECT_EQ(fromStdin.status, 0) << fromStdin.err;
  EXPECT_EQ(fromStdin.out, fromJSON.out);
}

TEST_F(ToolsTest, DecodeConvertsBothWays) {
  const std::string compact = R"({"name":"Vantor","ok":true,"list":[1,-2,2.5,"x"],"nested":{"a":{}}})";
  const fs::path json = dir.path() / "doc.json";
  writeFile(json, compact);
  const ToolRun toPlist = run({VANTOR_DECODE_BINARY, "--to", "plist", json});
  ASSERT_EQ(toPlist.status, 0) << toPlist.err;
  EXPECT_NE(toPlist.out.find("<plist version=\"1.0\">"), std::string::npos) << toPlist.out;
  const fs::path plist = dir.path() / "doc.plist";
  writeFile(plist, toPlist.out);
  const ToolRun back = run({VANTOR_DECODE_BINARY, "--to=json", plist});
  EXPECT_EQ(back.status, 0) << back.err;
  EXPECT_EQ(back.out, compact + "\n");

  writeFile(json, R"({"a": null})");
  expectOneErrorLine(run({VANTOR_DECODE_BINARY, "--to", "plist", json}), 1,
                     "vantor-decode: " + json.string() + ": cannot be written as a property list: a: ");
}

TEST_F(ToolsTest, DecodeRefusesBadInputWithOneLine) {
  const fs::path bad = dir.path() / "bad.json";
  writeFile(bad, "{\"a\": [1, 2}");
  expectOneErrorLine(run({VANTOR_DECODE_BINARY, bad}), 1, "vantor-decode: " + bad.string() + ": ");
  writeFile(bad, "bplist00\x01\x02\x03garbage");
  expectOneErrorLine(run({VANTOR_DECODE_BINARY, bad}), 1, "vantor-decode: " + bad.string() + ": ");
  writeFile(bad, "");
  expectOneErrorLine(run({VANTOR_DECODE_BINARY, bad}), 1, "vantor-decode: " + bad.string() + ": empty document");
  expectOneErrorLine(run({VANTOR_DECODE_BINARY, dir.path()}), 1,
                     "vantor-decode: " + dir.path().string() + ": is a folder, not a file");
  expectOneErrorLine(run({VANTOR_DECODE_BINARY, "/dev/zero"}), 1, "vantor-decode: /dev/zero: not a regular file");
  expectOneErrorLine(run({VANTOR_DECODE_BINARY, dir.path() / "missing"}), 1, "vantor-decode: ");

  // Deeper than the readers allow: refused, not a stack overflow.
  writeFile(bad, std::string(100000, '[') + std::string(100000, ']'));
  expectOneErrorLine(run({VANTOR_DECODE_BINARY, bad}), 1, "vantor-decode: " + bad.string() + ": ");

  // A sparse file reports its size without taking the disk.
  const fs::path huge = dir.path() / "huge.json";
  writeFile(huge, "[");
  fs::resize_file(huge, (std::uintmax_t{256} << 20) + 1);
  expectOneErrorLine(run({VANTOR_DECODE_BINARY, huge}), 1, "vantor-decode: " + huge.string() + ": larger than 256 MiB");
}

TEST_F(ToolsTest, FactsPrintAsTextAndAsJSON) {
  const ToolRun text = run({VANTOR_FACTS_BINARY});
  EXPECT_EQ(text.status, 0) << text.err;
  EXPECT_NE(text.out.find("\nprocessorCount "), std::string::npos) << text.out;
  EXPECT_NE(text.out.find("\nhostBasicInfo.logicalCpu "), std::string::npos) << text.out;

  const ToolRun json = run({VANTOR_FACTS_BINARY, "--json"});
  ASSERT_EQ(json.status, 0) << json.err;
  auto tree = Keel::JSON::parse(json.out);
  ASSERT_TRUE(tree) << json.out;
  const auto& facts = tree.value().as<Keel::AnyValue::Dictionary>();
  EXPECT_GE(facts.find("processorCount")->as<std::int64_t>(), 1);
  EXPECT_NE(facts.find("architecture"), nullptr);
  EXPECT_NE(facts.find("hostBasicInfo")->getIf<Keel::AnyValue::Dictionary>(), nullptr);
}


}  // namespace
}  // namespace Vantor::Tools
