// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/OutputOf.hpp"
#include "tests/Support/Process.hpp"
#include "tests/Support/WaitUntil.hpp"
#include "tests/Support/XClipboard.hpp"

namespace Tessaly {
namespace {

using Tests::outputOf;
using Tests::waitUntil;

/// Runs the command and waits until no process has its output open. Returns standard output, standard error and the
/// exit code.
std::string run(const std::string& arguments) {
  return outputOf(std::string(std::getenv("TESSALY_TEST_PROGRAMS")) + "/tessaly copy " + arguments +
                  " 2>&1; echo \"($?)\"");
}

/// The number of processes of the command for this display.
int servers() {
  const std::string display = std::string(1, '\0') + "DISPLAY=" + std::getenv("DISPLAY") + '\0';
  int count = 0;
  for (const auto& process : std::filesystem::directory_iterator("/proc")) {
    if (Tests::contentsOf(process.path() / "comm") != "tessaly\n") continue;
    if ((std::string(1, '\0') + Tests::contentsOf(process.path() / "environ")).find(display) != std::string::npos)
      ++count;
  }
  return count;
}

class CopyCommand : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!clipboard_.reason().empty()) GTEST_SKIP() << clipboard_.reason();
  }

  Tests::XClipboard clipboard_;
};

TEST_F(CopyCommand, CopiesItsWordsAndReturns) {
  EXPECT_EQ(run("Grüße"), "(0)\n");
  EXPECT_EQ(clipboard_.paste(), "Grüße");
  EXPECT_EQ(run("several words '  of a text'"), "(0)\n");
  EXPECT_EQ(clipboard_.paste(), "several words   of a text");
  EXPECT_EQ(run("-- --url"), "(0)\n");
  EXPECT_EQ(clipboard_.paste(), "--url");
  EXPECT_EQ(run("''"), "(0)\n");
  EXPECT_EQ(clipboard_.paste(), "");
}

TEST_F(CopyCommand, CopiesStandardInputUnchanged) {
  EXPECT_EQ(run("< /dev/null"), "(0)\n");
  EXPECT_EQ(clipboard_.paste(), "");
  std::string text = "first line\n\tsecond\n\n";
  while (text.size() < 3'000'000) text += std::to_string(text.size()) + '\n';
  std::ofstream(clipboard_.folder() + "/input") << text;
  EXPECT_EQ(run("< " + clipboard_.folder() + "/input"), "(0)\n");
  EXPECT_TRUE(clipboard_.paste() == text);
}

TEST_F(CopyCommand, WaitsForABusyDisplay) {
  clipboard_.server().process().signal(SIGSTOP);
  const std::string server = std::to_string(clipboard_.server().process().identifier());
  const Tests::Process goesOn({"sh", "-c", "sleep 3; kill -CONT " + server});
  EXPECT_EQ(run("late"), "(0)\n");
  EXPECT_EQ(clipboard_.paste(), "late");
}

TEST_F(CopyCommand, CopiesAURLAsOne) {
  EXPECT_EQ(run("--url https://example.com/a"), "(0)\n");
  EXPECT_EQ(clipboard_.paste("text/uri-list"), "https://example.com/a\r\n");
  EXPECT_EQ(clipboard_.paste(), "https://example.com/a");
  EXPECT_EQ(run("--url ''"), "tessaly copy: \"\" is no URL\n(1)\n");
}

TEST_F(CopyCommand, StaysInTheBackgroundUntilReplaced) {
  EXPECT_EQ(servers(), 0);
  run("ours");
  EXPECT_EQ(servers(), 1);
  EXPECT_EQ(clipboard_.paste(), "ours");
  EXPECT_EQ(clipboard_.paste(), "ours");
  run("ours again");
  EXPECT_TRUE(waitUntil([] { return servers() == 1; }));
  EXPECT_EQ(clipboard_.paste(), "ours again");
  const auto other = clipboard_.copyElsewhere("theirs");
  EXPECT_TRUE(waitUntil([] { return servers() == 0; }));
}

TEST_F(CopyCommand, RunningPasteCompletesAfterAReplacement) {
  const std::string large(1'000'000, 'x');
  std::ofstream(clipboard_.folder() + "/input") << large;
  for (int i = 0; i < 3; ++i) {
    run("< " + clipboard_.folder() + "/input");
    const std::string file = clipboard_.folder() + "/large";
    Tests::Process reader({"timeout", "8", "xclip", "-selection", "clipboard", "-o", "-t", "UTF8_STRING"}, file);
    run("small");
    EXPECT_EQ(reader.wait(), 0);
    const std::string pasted = Tests::contentsOf(file);
    EXPECT_TRUE(pasted == "small" || pasted == large) << pasted.size();
  }
}

TEST_F(CopyCommand, EndsWithTheDisplay) {
  run("text");
  ASSERT_EQ(servers(), 1);
  clipboard_.server().process().end();
  EXPECT_TRUE(waitUntil([] { return servers() == 0; }));
}

TEST_F(CopyCommand, SurvivesItsTerminal) {
  EXPECT_EQ(outputOf("setsid --wait sh -c '" + std::string(std::getenv("TESSALY_TEST_PROGRAMS")) +
                     "/tessaly copy text; kill -HUP 0' >/dev/null 2>&1; echo $?"),
            "129\n");
  EXPECT_EQ(clipboard_.paste(), "text");
}

TEST(CopyCommandWithoutADisplay, FailureLeavesNoProcess) {
  ::unsetenv("WAYLAND_DISPLAY");
  ::setenv("DISPLAY", ":77777", 1);
  const std::string failure =
      "tessaly copy: There is no display with a pasteboard that a program without a window may use\n(1)\n";
  EXPECT_EQ(run("text"), failure);
  EXPECT_TRUE(waitUntil([] { return servers() == 0; }));
  ::unsetenv("DISPLAY");
  EXPECT_EQ(run("text"), failure);
}

TEST(CopyCommandWithoutADisplay, WrongUsageHasItsExitCode) {
  EXPECT_TRUE(run("--html text").ends_with("(2)\n"));
  EXPECT_TRUE(run("--help").starts_with("Usage: tessaly copy"));
}

}  // namespace
}  // namespace Tessaly
