// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/Support/OutputOf.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace {

using Tessaly::Tests::outputOf;

class ZipCommand : public ::testing::Test {
 protected:
  [[nodiscard]] std::string path(const std::string& name) const { return folder_.path() + "/" + name; }
  void put(const std::string& name, const std::string& text) const { std::ofstream(path(name)) << text; }
  [[nodiscard]] std::string in(const std::string& command) const {
    return outputOf("cd " + folder_.path() + " && " + command);
  }
  /// Runs the command. Returns standard output, standard error and the exit code.
  [[nodiscard]] std::string run(const std::string& arguments) const {
    return in(std::string(std::getenv("TESSALY_TEST_PROGRAMS")) + "/tessaly " + arguments + " 2>&1; echo \"($?)\"");
  }

 private:
  Tessaly::Tests::TemporaryFolder folder_;
};

TEST_F(ZipCommand, OtherProgramsReadTheArchive) {
  put("a", "one");
  std::filesystem::create_directories(path("inner"));
  put("inner/b", "two");
  put("-c", "three");
  EXPECT_EQ(run("zip all.zip a inner -- -c"), "(0)\n");
  EXPECT_EQ(in("unzip -qq all.zip -d out && cd out/* && find . -type f | sort | xargs tail -qn1 --"), "threeonetwo");
  EXPECT_EQ(in("ls"), "-c\na\nall.zip\ninner\nout\n");
}

TEST_F(ZipCommand, WritesToStandardOutput) {
  put("a", "one");
  EXPECT_EQ(
      in(std::string(std::getenv("TESSALY_TEST_PROGRAMS")) + "/tessaly zip - a > piped.zip && unzip -p piped.zip"),
      "one");
}

TEST_F(ZipCommand, ReplacesAnArchiveOnlyOnRequest) {
  put("a", "one");
  put("all.zip", "mine");
  EXPECT_EQ(run("zip all.zip a"), "tessaly zip: all.zip is there already; --force replaces it\n(1)\n");
  EXPECT_EQ(in("cat all.zip"), "mine");
  EXPECT_EQ(run("zip --force all.zip missing"), "tessaly zip: missing: No such file or directory\n(1)\n");
  EXPECT_EQ(in("cat all.zip"), "mine");
  EXPECT_EQ(run("zip --force all.zip a"), "(0)\n");
  EXPECT_EQ(in("unzip -p all.zip"), "one");
}

TEST_F(ZipCommand, ReportsFailures) {
  put("a", "one");
  std::filesystem::create_directories(path("inner"));
  put("inner/a", "two");
  EXPECT_EQ(run("zip all.zip a inner/a"), "tessaly zip: inner/a: There is another file of the name \"a\"\n(1)\n");
  EXPECT_EQ(run("zip all.zip a/b"), "tessaly zip: a/b: Not a directory\n(1)\n");
  EXPECT_EQ(run("zip missing/all.zip a"), "tessaly zip: missing/all.zip: No such file or directory\n(1)\n");
  EXPECT_EQ(run("zip --force inner a"), "tessaly zip: inner: Is a directory\n(1)\n");
  EXPECT_EQ(in("ls"), "a\ninner\n");
}

TEST_F(ZipCommand, WrongUsageHasItsExitCode) {
  for (const std::string arguments : {"zip", "zip all.zip", "zip --later all.zip a", "zip --force", "zip -"}) {
    EXPECT_TRUE(run(arguments).ends_with("(2)\n")) << arguments << run(arguments);
  }
  EXPECT_TRUE(run("zip --help").starts_with("Usage: tessaly zip "));
  EXPECT_TRUE(run("zip --help").ends_with("(0)\n"));
}

}  // namespace
