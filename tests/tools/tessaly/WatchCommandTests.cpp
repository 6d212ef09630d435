// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <signal.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>

#include "ToolProcess.hpp"
#include "tests/Support/OutputOf.hpp"
#include "tests/Support/TemporaryFolder.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace {

using Tessaly::Tests::outputOf;
using Tessaly::Tests::ToolProcess;
using Tessaly::Tests::waitUntil;

class WatchCommand : public ::testing::Test {
 protected:
  [[nodiscard]] std::string path(const std::string& name) const { return folder_.path() + "/" + name; }
  void put(const std::string& name, const std::string& text) const { std::ofstream(path(name)) << text; }
  static bool watches(const ToolProcess& tool) {
    return waitUntil([&] { return tool.errors().starts_with("Watching "); });
  }
  /// Whether the tool has printed this kind of change.
  static bool tells(const ToolProcess& tool, const std::string& what) {
    return waitUntil([&] { return tool.output().find(" " + what + "\n") != std::string::npos; });
  }
  static std::string run(const std::string& arguments) {
    return outputOf(std::string(std::getenv("TESSALY_TEST_PROGRAMS")) + "/tessaly " + arguments +
                    " 2>&1; echo \"($?)\"");
  }

 private:
  Tessaly::Tests::TemporaryFolder folder_;
};

TEST_F(WatchCommand, PrintsChangesOfAFileUntilInterrupted) {
  put("a", "one");
  ToolProcess tool({"watch", path("a")}, path("output"));
  ASSERT_TRUE(watches(tool)) << tool.errors();
  put("a", "two");
  EXPECT_TRUE(tells(tool, "written")) << tool.output();
  put("b", "three");
  std::filesystem::rename(path("b"), path("a"));
  EXPECT_TRUE(tells(tool, "replaced")) << tool.output();
  std::filesystem::remove(path("a"));
  EXPECT_TRUE(tells(tool, "removed")) << tool.output();
  put("a", "four");
  EXPECT_TRUE(tells(tool, "returned")) << tool.output();
  EXPECT_TRUE(std::regex_match(
      tool.output(), std::regex(R"((\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} (written|replaced|removed|returned)\n)+)")))
      << tool.output();
  EXPECT_EQ(tool.end(SIGINT), 0);
}

TEST_F(WatchCommand, PrintsTheContentsAfterEachChange) {
  put("a", "one");
  ToolProcess tool({"watch", "--data", path("a")}, path("output"));
  ASSERT_TRUE(waitUntil([&] { return tool.output() == "one\n"; })) << tool.errors();
  put("b", "two\n");
  std::filesystem::rename(path("b"), path("a"));
  EXPECT_TRUE(waitUntil([&] { return tool.output().ends_with("\ntwo\n"); })) << tool.output();
  std::filesystem::remove(path("a"));
  put("a", "three");
  EXPECT_TRUE(waitUntil([&] { return tool.output().ends_with("\nthree\n"); })) << tool.output();
  EXPECT_EQ(tool.end(SIGTERM), 0);
}

TEST_F(WatchCommand, WaitsForAMissingFile) {
  ToolProcess tool({"watch", path("folder/a"), "--data"}, path("output"));
  ASSERT_TRUE(watches(tool)) << tool.errors();
  std::filesystem::create_directory(path("folder"));
  put("folder/a", "there");
  EXPECT_TRUE(waitUntil([&] { return tool.output().ends_with("there\n"); })) << tool.output();
  EXPECT_EQ(tool.end(SIGINT), 0);
}

TEST_F(WatchCommand, EndsWithItsReader) {
  put("a", "one");
  // `head` ends after the first line, so later lines have no reader.
  const std::string tool = std::string(std::getenv("TESSALY_TEST_PROGRAMS")) + "/tessaly";
  const std::string output = outputOf("(" + tool + " watch " + path("a") + " --data 2>&1; echo \"($?)\" > " +
                                      path("status") + ") | (head -n 2; exec <&-; while [ ! -e " + path("status") +
                                      " ]; do echo x >> " + path("a") + "; done); cat " + path("status"));
  EXPECT_EQ(output, "Watching " + path("a") + "\none\n(141)\n");
}

TEST_F(WatchCommand, FollowsTheEntriesOfADirectory) {
  std::filesystem::create_directories(path("followed/inner"));
  put("followed/a", "one");
  ToolProcess tool({"watch", path("followed")}, path("output"));
  EXPECT_TRUE(tells(tool, "appeared a"));
  put("followed/b", "two");
  EXPECT_TRUE(tells(tool, "appeared b"));
  std::filesystem::rename(path("followed/a"), path("followed/c"));
  EXPECT_TRUE(tells(tool, "renamed a -> c"));
  std::filesystem::remove(path("followed/b"));
  EXPECT_TRUE(tells(tool, "disappeared b"));
  EXPECT_EQ(tool.end(SIGINT), 0);
}

TEST_F(WatchCommand, PrintsTheChangesOfATreeAsJSON) {
  std::filesystem::create_directories(path("followed/inner"));
  ToolProcess tool({"watch", "--tree", "--json", path("followed")}, path("output"));
  ASSERT_TRUE(waitUntil([&] { return tool.output().find("\"path\":\"inner\"") != std::string::npos; }));
  put("followed/inner/a", "one");
  const std::string expected = "\"change\":\"appeared\",\"path\":\"inner/a\",\"type\":\"file\"";
  EXPECT_TRUE(waitUntil([&] { return tool.output().find(expected) != std::string::npos; })) << tool.output();
  std::filesystem::remove_all(path("followed"));
  EXPECT_TRUE(waitUntil([&] { return tool.errors().find("No such file or directory") != std::string::npos; }));
  EXPECT_EQ(tool.end(SIGINT), 1);
}

TEST_F(WatchCommand, WrongUsageHasItsExitCode) {
  for (const std::string arguments : {"watch", "watch --data", "watch a b", "watch --follow a"}) {
    EXPECT_TRUE(run(arguments).ends_with("(2)\n")) << arguments << run(arguments);
  }
  EXPECT_TRUE(run("watch --help").starts_with("Usage: tessaly watch <file>"));
}

}  // namespace
