// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "Tessaly/Core/Logging/LogConfiguration.hpp"
#include "Tessaly/Core/Logging/Logger.hpp"
#include "ToolProcess.hpp"
#include "tests/Support/OutputOf.hpp"
#include "tests/Support/TemporaryFolder.hpp"
#include "tests/Support/WaitUntil.hpp"
#include "tests/system/journald/PrivateJournal.hpp"

namespace {

namespace LogConfiguration = Tessaly::LogConfiguration;
using Tessaly::Logger;
using Tessaly::Tests::outputOf;
using Tessaly::Tests::ToolProcess;
using Tessaly::Tests::waitUntil;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

std::string run(const std::string& arguments) {
  return outputOf(std::string(std::getenv("TESSALY_TEST_PROGRAMS")) + "/tessaly " + arguments + " 2>&1; echo \"($?)\"");
}

class LogCommand : public testing::Test {
 protected:
  void SetUp() override {
    if (!journal_.reason().empty()) GTEST_SKIP() << journal_.reason();
  }
  void write(const std::string& subsystem, const std::string& message) {
    Logger(subsystem, "Main").error("%{public}s", message);
    LogConfiguration::flush(std::chrono::seconds(5));
    const std::size_t count = ++written_[subsystem];
    ASSERT_EQ(journal_.entries(subsystem, count).size(), count);
  }

  Tessaly::Tests::PrivateJournal journal_;
  std::map<std::string, std::size_t> written_;
};

TEST_F(LogCommand, PrintsRecordsOfAnIdentifierAndItsSubsystems) {
  write("org.example.app", "one");
  write("org.example.app.Export", "two\n  lines");
  write("org.example", "above");
  write("com.example.app", "other");
  Logger("org.example.app", "Main").fault("%s", "secret");
  LogConfiguration::flush(std::chrono::seconds(5));
  ASSERT_EQ(journal_.entries("org.example.app", 2).size(), 2u);
  const std::string time = "[0-9]+-[0-9]+-[0-9]+ [0-9]+:[0-9]+:[0-9]+[.][0-9]+";
  EXPECT_THAT(run("log org.example.app"), MatchesRegex(time + " error org.example.app \\[Main\\] one\n" + time +
                                                       " error org.example.app.Export \\[Main\\] two lines\n" + time +
                                                       " fault org.example.app \\[Main\\] <private>\n\\(0\\)\n"));
  EXPECT_EQ(run("log org.nobody"), "(0)\n");
}

TEST_F(LogCommand, PrintsRecordsOfTheLibraryInTheSameProcess) {
  write("Tessaly", "Settings cannot be written");
  EXPECT_EQ(run("log org.example.app"), "(0)\n");  // Nothing says whose record it is.
  write("org.example.app", "one");
  write("com.example.app", "other");
  EXPECT_THAT(run("log org.example.app"), MatchesRegex("[^\n]+ error Tessaly \\[Main\\] Settings cannot be written\n"
                                                       "[^\n]+ error org.example.app \\[Main\\] one\n\\(0\\)\n"));
  // Another process of the same user, which never wrote under the identifier.
  ASSERT_EQ(outputOf("printf 'TESSALY_SUBSYSTEM=Tessaly\nMESSAGE=foreign\n' | logger --journald; echo $?"), "0\n");
  ASSERT_EQ(journal_.entries("Tessaly", 2).size(), 2u);
  EXPECT_THAT(run("log org.example.app"), Not(HasSubstr("foreign")));
  EXPECT_THAT(run("log Tessaly"), HasSubstr("foreign"));
}

TEST_F(LogCommand, PrintsATableThatPythonReads) {
  write("org.example.app", "a,\"b\"\nc");
  write("org.example.app.Export", "d");
  const Tessaly::Tests::TemporaryFolder folder;
  std::ofstream(folder.path() + "/read.py") << R"(
import csv, sys
print([row[1:] for row in csv.reader(open(sys.argv[1], newline=''))])
)";
  const std::string table = folder.path() + "/table";
  EXPECT_EQ(
      run("log --csv org.example.app > " + table + "; LC_ALL=C.UTF-8 python3 " + folder.path() + "/read.py " + table),
      "[['error', 'org.example.app', 'Main', 'a,\"b\"\\nc'], ['error', 'org.example.app.Export', 'Main', 'd']]\n"
      "(0)\n");
}

TEST_F(LogCommand, LastOmitsOlderRecords) {
  write("org.example.app", "one");
  EXPECT_EQ(run("log org.example.app --last 0"), "(0)\n");
  EXPECT_THAT(run("log org.example.app --last 3600"), HasSubstr("[Main] one\n"));
}

TEST_F(LogCommand, FollowsUntilItIsInterrupted) {
  write("org.example.app", "one");
  const Tessaly::Tests::TemporaryFolder folder;
  ToolProcess tool({"log", "org.example.app", "--follow"}, folder.path() + "/output");
  ASSERT_TRUE(waitUntil([&] { return tool.output().ends_with("[Main] one\n"); })) << tool.errors();
  write("com.example.app", "other");
  write("Tessaly", "complaint");
  write("org.example.app.New", "two");
  EXPECT_TRUE(waitUntil([&] { return tool.output().ends_with("[Main] two\n"); })) << tool.output() << tool.errors();
  EXPECT_THAT(tool.output(), Not(HasSubstr("other")));
  EXPECT_THAT(tool.output(), HasSubstr(" error Tessaly [Main] complaint\n"));
  EXPECT_EQ(tool.end(SIGINT), 0);
}

TEST_F(LogCommand, WithoutAJournalFails) {
  journal_.kill();
  std::filesystem::remove_all("/run/log/journal");
  EXPECT_EQ(run("log org.example.app"), "tessaly log: There is no journal that this user may read\n(1)\n");
}

TEST(LogCommandLine, WrongUsageHasItsExitCode) {
  for (const std::string arguments : {"log", "log --csv", "log a b", "log --data a", "log a --last", "log a --last x",
                                      "log a --last -1", "log a --last nan"}) {
    EXPECT_TRUE(run(arguments).ends_with("(2)\n")) << arguments << run(arguments);
  }
  EXPECT_TRUE(run("log --help").starts_with("Usage: tessaly log <identifier>"));
}

}  // namespace
