// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>

#include "tests/Support/OutputOf.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace {

using Tessaly::Tests::outputOf;

class InfoCommand : public ::testing::Test {
 protected:
  [[nodiscard]] std::string path(const std::string& name) const { return folder_.path() + "/" + name; }
  void put(const std::string& name, const std::string& text) const { std::ofstream(path(name)) << text; }
  /// Runs the command. Returns standard output, standard error and the exit code.
  [[nodiscard]] std::string run(const std::string& arguments, const std::string& variables = "") const {
    return outputOf("cd " + folder_.path() + " && " + variables + " " + std::getenv("TESSALY_TEST_PROGRAMS") +
                    "/tessaly " + arguments + " 2>&1; echo \"($?)\"");
  }

 private:
  Tessaly::Tests::TemporaryFolder folder_;
};

TEST_F(InfoCommand, PrintsFactsAboutFiles) {
  put("table.csv", "abc");
  put("words.cdg", "");
  const timespec times[2]{{.tv_sec = 1'672'671'845, .tv_nsec = 0}, {.tv_sec = 1'672'671'845, .tv_nsec = 0}};
  for (const char* const name : {"table.csv", "words.cdg"}) {
    ASSERT_EQ(::utimensat(AT_FDCWD, path(name).c_str(), times, 0), 0);
  }
  EXPECT_EQ(run("info --digest table.csv"),
            "table.csv\n"
            "  type         public.comma-separated-values-text\n"
            "  MIME type    text/csv\n"
            "  extension    csv\n"
            "  kind of      public.plain-text\n"
            "  size         3 bytes\n"
            "  modified     2023-01-02 15:04:05.000\n"
            "  SHA-256      ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad\n"
            "  MD5          900150983cd24fb0d6963f7d28e17f72\n(0)\n");
}

TEST_F(InfoCommand, PrintsFactsDespiteMissingFiles) {
  put("picture", "\x89PNG\r\n\x1A\n");
  std::filesystem::create_directories(path("folder"));
  const std::string said = run("info folder missing picture --digest");
  EXPECT_NE(said.find("folder\n  type         public.folder\n"), std::string::npos) << said;
  EXPECT_NE(said.find("tessaly info: missing: No such file or directory\n"), std::string::npos) << said;
  EXPECT_NE(said.find("picture\n  type         public.png\n  MIME type    image/png\n"), std::string::npos) << said;
  EXPECT_TRUE(said.ends_with("(1)\n")) << said;
}

TEST_F(InfoCommand, PrintsFactsAboutTheSystem) {
  const std::string said = run("info", "APP_SANDBOX_CONTAINER_ID= TMPDIR=/scratch");
  EXPECT_TRUE(std::regex_search(said, std::regex(R"(system\n  version      \d+\.\d+\.\d+\n  device       .+\n)")))
      << said;
  EXPECT_TRUE(std::regex_search(said, std::regex(R"(  free disk    [\d.,]+ .B\napplication\n  language     en_US)")))
      << said;
  EXPECT_NE(said.find("  temporary    /scratch\n"), std::string::npos) << said;
  EXPECT_NE(said.find("  sandboxed    yes\n  under test   no\n(0)\n"), std::string::npos) << said;
}

TEST_F(InfoCommand, WrongUsageHasItsExitCode) {
  for (const std::string arguments : {"info --later", "info --digest", "info -x a"}) {
    EXPECT_TRUE(run(arguments).ends_with("(2)\n")) << arguments << run(arguments);
  }
  EXPECT_TRUE(run("info --help").starts_with("Usage: tessaly info "));
}

}  // namespace
