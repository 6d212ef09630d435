// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "../../Platform/Foundation/OutputOf.hpp"
#include "../../Platform/Foundation/TemporaryFolder.hpp"
#include "../../Support/WaitUntil.hpp"
#include "Tessaly/Platform/Linux/JournaledUserDefaults.hpp"

namespace Tessaly::inline v1 {
namespace {

using TessalyTests::outputOf;
using Tests::waitUntil;

class DefaultsCommand : public ::testing::Test {
 protected:
  void SetUp() override { ::setenv("XDG_CONFIG_HOME", folder_.path().c_str(), 1); }

  /// Standard output, standard error and the exit code.
  static std::string run(const std::string& arguments) {
    return outputOf(std::string(std::getenv("TESSALY_TEST_PROGRAMS")) + "/tessaly " + arguments +
                    " 2>&1; echo \"($?)\"");
  }
  [[nodiscard]] std::string path(const std::string& name) const { return folder_.path() + "/" + name; }

 private:
  TessalyTests::TemporaryFolder folder_;
};

TEST_F(DefaultsCommand, ReadsWhatItWroteInEveryKind) {
  EXPECT_EQ(run("defaults write app text hello"), "(0)\n");
  EXPECT_EQ(run("defaults read app text"), "hello\n(0)\n");
  EXPECT_EQ(run("defaults write app a -string -5 && :"), "(0)\n");
  EXPECT_EQ(run("defaults write app b -int 18446744073709551615"), "(0)\n");
  EXPECT_EQ(run("defaults write app c -float 2.5"), "(0)\n");
  EXPECT_EQ(run("defaults write app d -bool yes"), "(0)\n");
  EXPECT_EQ(run("defaults write app e -date 2023-01-02T15:04:05Z"), "(0)\n");
  EXPECT_EQ(run("defaults write app f -data 00fF"), "(0)\n");
  EXPECT_EQ(run("defaults write app g -array x -int 1 -bool no"), "(0)\n");
  EXPECT_EQ(run("defaults write app h -dict k v n -float 1"), "(0)\n");
  EXPECT_EQ(run("defaults read app"),
            "a = \"-5\"\nb = 18446744073709551615\nc = 2.5\nd = true\ne = 2023-01-02 15:04:05 +0000\nf = <00ff>\n"
            "g = [\"x\", 1, false]\nh = {\"k\": \"v\", \"n\": 1}\ntext = \"hello\"\n(0)\n");
}

TEST_F(DefaultsCommand, TellsWhatIsMissingByItsExitCode) {
  EXPECT_EQ(run("defaults read app"), "tessaly defaults: There are no settings of \"app\"\n(1)\n");
  EXPECT_FALSE(std::filesystem::exists(path("app")));
  run("defaults write app a 1");
  EXPECT_EQ(run("defaults read app b"), "tessaly defaults: There is no \"b\" in the settings of \"app\"\n(1)\n");
  EXPECT_EQ(run("defaults delete app b"), "tessaly defaults: There is no \"b\" in the settings of \"app\"\n(1)\n");
  EXPECT_EQ(run("defaults read a/b c"), "tessaly defaults: There is no place for the settings of \"a/b\"\n(1)\n");
  EXPECT_TRUE(run("defaults import app /nowhere").ends_with("(1)\n"));
}

TEST_F(DefaultsCommand, TellsWrongUsageByItsExitCode) {
  for (const std::string arguments :
       {"", "nothing", "defaults", "defaults nothing", "defaults read", "defaults read a b c", "defaults write app",
        "defaults write app k", "defaults write app k -int x", "defaults write app k -int",
        "defaults write app k -bool 2", "defaults write app k -float x", "defaults write app k -date today",
        "defaults write app k -data 0", "defaults write app k -data zz", "defaults write app k -dict a",
        "defaults write app k -set a", "defaults write app k a b", "defaults watch"}) {
    EXPECT_TRUE(run(arguments).ends_with("(2)\n")) << arguments << run(arguments);
  }
  EXPECT_FALSE(std::filesystem::exists(path("app")));
}

TEST_F(DefaultsCommand, Helps) {
  EXPECT_TRUE(run("--help").starts_with("Usage: tessaly <command>"));
  EXPECT_TRUE(run("--help").ends_with("(0)\n"));
  EXPECT_TRUE(run("defaults --help").starts_with("Usage: tessaly defaults <operation>"));
  EXPECT_TRUE(run("defaults --help").ends_with("(0)\n"));
}

TEST_F(DefaultsCommand, DeletesOneKeyOrAll) {
  run("defaults write app a 1");
  run("defaults write app b 2");
  run("defaults write app c 3");
  EXPECT_EQ(run("defaults delete app a"), "(0)\n");
  EXPECT_EQ(run("defaults read app"), "b = \"2\"\nc = \"3\"\n(0)\n");
  EXPECT_EQ(run("defaults delete app"), "(0)\n");
  EXPECT_TRUE(run("defaults read app").ends_with("(1)\n"));
}

TEST_F(DefaultsCommand, ExportsAndImportsBothFormats) {
  run("defaults write app a -int 1");
  EXPECT_EQ(run("defaults export app -xml - | head -1"), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n(0)\n");
  EXPECT_EQ(run("defaults export app " + path("file")), "(0)\n");
  EXPECT_EQ(run("defaults import other " + path("file")), "(0)\n");
  EXPECT_EQ(run("defaults read other a"), "1\n(0)\n");
  EXPECT_EQ(run("defaults export app -xml " + path("file.xml")), "(0)\n");
  EXPECT_EQ(run("defaults import third < " + path("file.xml")), "(0)\n");
  EXPECT_EQ(run("defaults read third a"), "1\n(0)\n");
  std::ofstream(path("damaged")) << "damaged";
  EXPECT_TRUE(run("defaults import third " + path("damaged")).ends_with("(1)\n"));
}

TEST_F(DefaultsCommand, WritesWhatPlistlibReads) {
  run("defaults write app a -dict k -int 7");
  EXPECT_EQ(outputOf("python3 -c \"import plistlib; print(plistlib.load(open('" + path("app/Settings.plist") +
                     "', 'rb')))\""),
            "{'a': {'k': 7}}\n");
}

TEST_F(DefaultsCommand, IsHeardByARunningHost) {
  const auto store = JournaledUserDefaults::openIdentifier("app");
  EXPECT_EQ(run("defaults write app a -int 5"), "(0)\n");
  EXPECT_TRUE(waitUntil([&] { return store->value("a") == 5; }));
  store->set(6, "a");
  EXPECT_EQ(run("defaults read app a"), "6\n(0)\n");
}

TEST_F(DefaultsCommand, WatchesUntilItIsInterrupted) {
  const std::string output = path("output");
  const std::string program = std::string(std::getenv("TESSALY_TEST_PROGRAMS")) + "/tessaly";
  const pid_t child = ::fork();
  if (child == 0) {
    if (std::freopen(output.c_str(), "w", stdout) == nullptr || ::dup2(1, 2) < 0) ::_exit(127);
    ::execl(program.c_str(), program.c_str(), "defaults", "watch", "app", "a", "b", nullptr);
    ::_exit(127);
  }
  const auto contents = [&] {
    std::ifstream file(output);
    return std::string(std::istreambuf_iterator<char>(file), {});
  };
  ASSERT_TRUE(waitUntil([&] { return contents() == "Watching the settings of \"app\"\n"; }));
  run("defaults write app a -int 1");
  run("defaults write app c -int 1");
  run("defaults write app b text");
  run("defaults delete app a");
  EXPECT_TRUE(waitUntil([&] { return contents().ends_with("a = 1\nb = \"text\"\na removed\n"); })) << contents();
  ::kill(child, SIGINT);
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace Tessaly::inline v1
