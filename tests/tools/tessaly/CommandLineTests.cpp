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

class CommandLine : public ::testing::Test {
 protected:
  [[nodiscard]] std::string path(const std::string& name) const { return folder_.path() + "/" + name; }
  void put(const std::string& name, const std::string& text) const { std::ofstream(path(name)) << text; }
  /// Runs the command. Returns standard output, standard error and the exit code.
  [[nodiscard]] std::string run(const std::string& arguments) const {
    return outputOf("cd " + folder_.path() + " && " + std::getenv("TESSALY_TEST_PROGRAMS") + "/tessaly " + arguments +
                    " 2>&1 < /dev/null; echo \"($?)\"");
  }

 private:
  Tessaly::Tests::TemporaryFolder folder_;
};

TEST_F(CommandLine, PrintsVersionAndHelpOfCommands) {
  EXPECT_TRUE(run("--version").starts_with("tessaly 0.") || run("--version").starts_with("tessaly 1."))
      << run("--version");
  for (const std::string command :
       {"awake", "copy", "defaults", "digest", "format", "info", "list", "log", "reach", "watch", "zip"}) {
    EXPECT_EQ(run("help " + command), run(command + " --help")) << command;
    EXPECT_TRUE(run("help " + command).starts_with("Usage: tessaly " + command)) << command;
  }
  EXPECT_TRUE(run("help none").ends_with("'tessaly --help' lists them.\n(2)\n")) << run("help none");
}

TEST_F(CommandLine, AllCommandsRefuseUnknownOptions) {
  for (const std::string command :
       {"awake -x", "copy -x", "copy -n x", "digest -x file", "format bytes --x 5", "info -x", "list -x", "log -x",
        "reach -x", "watch -x file", "watch -d f", "watch f -d", "zip -x archive file"}) {
    const std::string name = command.substr(0, command.find(' '));
    const std::size_t dash = command.find('-');
    const std::string option = command.substr(dash, command.find(' ', dash) - dash);
    EXPECT_EQ(run(command), "tessaly " + name + ": There is no option " + option + "\n'tessaly " + name +
                                " --help' tells how to use it.\n(2)\n");
  }
}

TEST_F(CommandLine, CopyRefusesAnInvalidURL) {
  EXPECT_EQ(run("copy --url notaurl"), "tessaly copy: \"notaurl\" is no URL\n(1)\n");
}

TEST_F(CommandLine, InfoReportsATypeWithoutAnExtension) {
  put("table.csv", "abc");
  std::filesystem::create_directory(path("folder"));
  EXPECT_NE(run("info folder").find("  extension    none\n"), std::string::npos) << run("info folder");
  EXPECT_EQ(run("info --json folder").find("\"extension\""), std::string::npos);
  EXPECT_NE(run("info --json table.csv").find("\"extension\":\"csv\""), std::string::npos)
      << run("info --json table.csv");
}

TEST_F(CommandLine, InfoPrintsTheSystemAsJSON) {
  const std::string facts =
      outputOf("cd " + path("") + " && " + std::getenv("TESSALY_TEST_PROGRAMS") +
               "/tessaly info --json | python3 -c 'import json, sys; facts = json.load(sys.stdin);"
               " print(facts[\"processors\"] >= 1, facts[\"memory\"] > 0, facts[\"isUnderTest\"],"
               " facts[\"home\"])'");
  EXPECT_EQ(facts, "True True False " + outputOf("printf '%s\n' \"$HOME\""));
}

TEST_F(CommandLine, DigestWritesOddNamesLikeOtherPrograms) {
  for (const std::string name : {"two\nlines", "back\\slash", "carriage\rreturn", "plain name"}) put(name, "abc");
  EXPECT_EQ(run("digest *"), outputOf("cd " + path("") + " && sha256sum *") + "(0)\n");
}

TEST_F(CommandLine, DigestAgreesWithOtherPrograms) {
  put("a", "abc");
  put("large", std::string(1'000'003, 'x'));
  for (const auto& [option, program] : {std::pair("--sha256", "sha256sum"), std::pair("--sha512", "sha512sum"),
                                        std::pair("--md5", "md5sum"), std::pair("", "sha256sum")}) {
    EXPECT_EQ(run(std::string("digest ") + option + " a large"),
              outputOf("cd " + path("") + " && " + program + " a large") + "(0)\n");
  }
  EXPECT_EQ(run("digest --md5 --json a"),
            "{\"file\":\"a\",\"method\":\"md5\",\"digest\":\"900150983cd24fb0d6963f7d28e17f72\"}\n(0)\n");
  EXPECT_EQ(run("digest missing a"), "tessaly digest: missing: No such file or directory\n" +
                                         outputOf("cd " + path("") + " && sha256sum a") + "(1)\n");
  EXPECT_TRUE(run("digest --md5 --sha512 a").ends_with("(2)\n"));
}

TEST_F(CommandLine, DigestReadsStandardInput) {
  put("a", "abc");
  const std::string expected = outputOf("cd " + path("") + " && sha256sum < a");
  const std::string digest = "cd " + path("") + " && " + std::getenv("TESSALY_TEST_PROGRAMS") + "/tessaly digest ";
  EXPECT_EQ(outputOf(digest + "- < a"), expected);
  EXPECT_EQ(outputOf("printf abc | (" + digest + "-)"), expected);
  EXPECT_EQ(outputOf(digest + "a - < /dev/null"), outputOf("cd " + path("") + " && sha256sum a - < /dev/null"));
  // A writer that is slower than the reader.
  EXPECT_EQ(outputOf("(sleep 0.2; printf abc) | (" + digest + "-)"), expected);
  EXPECT_EQ(outputOf(digest + "./- 2>&1"), "tessaly digest: ./-: No such file or directory\n");
}

TEST_F(CommandLine, ListPrintsEntriesByName) {
  put("b", "12345");
  std::filesystem::create_directory(path("a\"\n"));
  outputOf("touch -d 2023-01-02T15:04:05Z " + path("b") + " " + path("'a\"\n'"));
  EXPECT_NE(run("list").find("5 bytes  2023-01-02 15:04:05.000  b\n(0)\n"), std::string::npos) << run("list");
  const std::string json = run("list --json .");
  EXPECT_TRUE(json.starts_with("{\"name\":\"a\\\"\\u000a\",\"type\":\"directory\",\"size\":")) << json;
  EXPECT_TRUE(
      json.ends_with("{\"name\":\"b\",\"type\":\"file\",\"size\":5,\"modified\":\"2023-01-02T15:04:05Z\"}\n(0)\n"))
      << json;
  EXPECT_EQ(run("list missing"), "tessaly list: missing: No such file or directory\n(1)\n");
}

}  // namespace
