// SPDX-License-Identifier: MIT
// The manual page and the completions that scripts/describe_command.py makes of the help.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/OutputOf.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace {

using Tessaly::Tests::contentsOf;
using Tessaly::Tests::outputOf;
using testing::HasSubstr;
using testing::Not;

class Description : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* programs = std::getenv("TESSALY_TEST_PROGRAMS");
    ASSERT_NE(programs, nullptr);
    const std::string script = "python3 -B " TESSALY_SCRIPTS "/describe_command.py ";
    ASSERT_EQ(outputOf(script + programs + "/tessaly " + folder_.path() + "; echo $?"), "0\n");
  }
  [[nodiscard]] std::string text(const std::string& name) const { return contentsOf(folder_.path() + "/" + name); }
  /// The words that bash offers for the last word of a line.
  [[nodiscard]] std::string offered(const std::string& words) const {
    return outputOf("bash -c 'source " + folder_.path() + "/tessaly; COMP_WORDS=(tessaly " + words +
                    "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _tessaly; echo \"${COMPREPLY[*]}\"'");
  }

 private:
  Tessaly::Tests::TemporaryFolder folder_;
};

TEST_F(Description, BashOffersOperationsKindsValuesAndCommands) {
  EXPECT_EQ(offered("defaults \"\""), "read write delete export import watch describe doctor\n");
  EXPECT_EQ(offered("defaults de"), "delete describe\n");
  EXPECT_EQ(offered("format \"\""), "bytes duration date number\n");
  EXPECT_EQ(offered("new --toolkit \"\""), "gtk qt none\n");
  EXPECT_EQ(offered("help re"), "reach\n");
  EXPECT_EQ(offered("fo"), "format\n");
  EXPECT_EQ(offered("digest \"\""), "\n");  // Names of files.
}

TEST_F(Description, NoShellOffersWhatTheCommandRefuses) {
  EXPECT_EQ(offered("format --n"), "\n");
  EXPECT_EQ(offered("format --l"), "--language --length\n");
  EXPECT_EQ(offered("reach -b"), "\n");  // An example of the help has the -bool of another command.
  for (const char* name : {"_tessaly", "tessaly.fish"}) {
    EXPECT_THAT(text(name), Not(HasSubstr("--name"))) << name;
    EXPECT_THAT(text(name), Not(HasSubstr("-l name"))) << name;
    EXPECT_THAT(text(name), HasSubstr("bytes duration date number")) << name;
    EXPECT_THAT(text(name), HasSubstr("gtk qt none")) << name;
  }
}

TEST_F(Description, ManualPageHasItsSections) {
  const std::string page = text("tessaly.1");
  for (const char* section : {"EXIT STATUS", "ENVIRONMENT", "FILES", "SEE ALSO"}) {
    EXPECT_THAT(page, HasSubstr(std::string("\n.SH ") + section + "\n"));
  }
  EXPECT_THAT(page, HasSubstr(".SH EXIT STATUS\n0 done, 1 failed"));
  EXPECT_THAT(page, HasSubstr("$XDG_CONFIG_HOME/identifier/Settings.plist"));
}

}  // namespace
