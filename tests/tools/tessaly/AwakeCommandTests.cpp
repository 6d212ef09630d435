// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/MockService.hpp"
#include "tests/Support/OutputOf.hpp"
#include "tests/Support/PrivateBus.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace Tessaly {
namespace {

using Tests::outputOf;
using Tests::waitUntil;

/// Runs the command on buses without services.
class AwakeCommand : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!session_.reason().empty()) GTEST_SKIP() << session_.reason();
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  }

  static std::string program() { return std::string(std::getenv("TESSALY_TEST_PROGRAMS")) + "/tessaly"; }
  /// Runs the command. Returns standard output and the exit code.
  static std::string run(const std::string& arguments) {
    return outputOf(program() + " awake " + arguments + " 2>/dev/null; echo \"($?)\"");
  }
  [[nodiscard]] Tests::Process start(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {program(), "awake"});
    return Tests::Process(std::move(arguments), output());
  }
  [[nodiscard]] std::string output() const { return session_.folder() + "/output"; }

  Tests::PrivateBus session_{"DBUS_SESSION_BUS_ADDRESS"};
};

class AwakeCommandWithAScreenSaver : public AwakeCommand {
 protected:
  void SetUp() override {
    AwakeCommand::SetUp();
    if (!IsSkipped()) ASSERT_EQ(saver_.reason(), "");
  }
  /// The calls, without the application's name.
  [[nodiscard]] std::string calls() const {
    std::string text;
    for (const std::string& call : saver_.calls()) text += call + '\n';
    return text;
  }

  Tests::MockService saver_{session_, "org.freedesktop.ScreenSaver", "/org/freedesktop/ScreenSaver",
                            "org.freedesktop.ScreenSaver",
                            std::vector<Tests::MockService::Method>{{"Inhibit", "ss", "u", "ret = dbus.UInt32(7)"},
                                                                    {"UnInhibit", "u", "", ""}}};
};

TEST_F(AwakeCommandWithAScreenSaver, KeepsTheDisplayAwakeWhileTheCommandRuns) {
  const std::string log = session_.folder() + "/org.freedesktop.ScreenSaver.log";
  EXPECT_EQ(run("-- grep -c Inhibit " + log), "1\n(0)\n");
  EXPECT_EQ(calls(), "Inhibit \"tessaly\" \"grep\"\nUnInhibit 7\n");
}

TEST_F(AwakeCommandWithAScreenSaver, PassesOnItsReason) {
  EXPECT_EQ(run("--reason 'A long film' true"), "(0)\n");
  EXPECT_EQ(calls(), "Inhibit \"tessaly\" \"A long film\"\nUnInhibit 7\n");
}

TEST_F(AwakeCommandWithAScreenSaver, WithoutACommandRunsUntilInterrupted) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    Tests::Process process = start({});
    ASSERT_TRUE(waitUntil([&] {
      return Tests::contentsOf(output()) == "Keeping the display awake by the screen saver\n";
    })) << Tests::contentsOf(output());
    process.signal(signal);
    EXPECT_EQ(process.wait(), 0);
    EXPECT_TRUE(calls().ends_with("Inhibit \"tessaly\" \"The user asked for it\"\nUnInhibit 7\n")) << calls();
    ::unlink(output().c_str());
  }
}

TEST_F(AwakeCommandWithAScreenSaver, ReleasesTheDisplayIfTheCommandCannotRun) {
  EXPECT_EQ(run("/nonexistent/command"), "(127)\n");
  EXPECT_EQ(calls(), "Inhibit \"tessaly\" \"/nonexistent/command\"\nUnInhibit 7\n");
}

TEST_F(AwakeCommand, PassesTheExitStatusOn) {
  for (const int status : {0, 1, 2, 7, 255}) {
    EXPECT_EQ(run("-- sh -c 'exit " + std::to_string(status) + "'"), '(' + std::to_string(status) + ")\n");
  }
  EXPECT_EQ(run("/nonexistent/command"), "(127)\n");
  EXPECT_EQ(run("/etc/passwd"), "(126)\n");
}

TEST_F(AwakeCommand, EndsByTheSignalOfItsCommand) {
  for (const int signal : {SIGTERM, SIGINT, SIGKILL, SIGSEGV, SIGPIPE}) {
    const int status = start({"sh", "-c", "kill -" + std::to_string(signal) + " $$"}).waitStatus();
    ASSERT_TRUE(WIFSIGNALED(status)) << signal << ' ' << status;
    EXPECT_EQ(WTERMSIG(status), signal);
  }
}

TEST_F(AwakeCommand, PassesSignalsOn) {
  for (const char* signal : {"HUP", "INT", "QUIT", "TERM", "USR1", "USR2"}) {
    Tests::Process process = start(
        {"sh", "-c", std::string("trap 'echo got; exit 3' ") + signal + "; echo ready; while :; do sleep 0.01; done"});
    ASSERT_TRUE(waitUntil([&] { return Tests::contentsOf(output()).ends_with("ready\n"); }));
    Tests::Process({"kill", "-s", signal, std::to_string(process.identifier())}).wait();
    EXPECT_EQ(process.wait(), 3) << signal;
    EXPECT_TRUE(Tests::contentsOf(output()).ends_with("ready\ngot\n")) << Tests::contentsOf(output());
    ::unlink(output().c_str());
  }
}

TEST_F(AwakeCommand, GroupSignalOfTheCommandIsNotReturned) {
  // The processes are in a group of their own, because the signal reaches the whole group.
  EXPECT_EQ(outputOf("setsid --wait " + program() +
                     " awake sh -c 'trap \"echo got\" USR1; kill -USR1 0; for i in 1 2 3 4 5; do sleep 0.05; done; "
                     "exit 4' 2>/dev/null; echo $?"),
            "got\n4\n");
}

TEST_F(AwakeCommand, TerminalSignalsReachTheCommandOnce) {
  int terminal = -1;
  const pid_t process = ::forkpty(&terminal, nullptr, nullptr, nullptr);
  ASSERT_GE(process, 0);
  if (process == 0) {
    const std::string path = program();
    // A shell that reads from the terminal would lose a signal that comes just before it waits.
    ::execl(path.c_str(), path.c_str(), "awake", "sh", "-c",
            "stty -echo; trap 'echo got' INT; trap 'echo end; exit 6' USR1; echo ready; while :; do sleep 0.01; done",
            nullptr);
    ::_exit(127);
  }
  std::string seen;
  const auto readUntil = [&](const std::string& text) {
    char block[256];
    ssize_t count = 0;
    while (!seen.ends_with(text) && (count = ::read(terminal, block, sizeof block)) > 0) {
      for (ssize_t i = 0; i < count; ++i)
        if (block[i] != '\r') seen += block[i];
    }
    return seen.ends_with(text);
  };
  ASSERT_TRUE(readUntil("ready\n")) << seen;
  std::string expected = seen;
  for (int i = 0; i < 10; ++i) {
    expected += "got\n";
    ASSERT_EQ(::write(terminal, "\x03", 1), 1);
    ASSERT_TRUE(readUntil(expected)) << seen;
  }
  ASSERT_EQ(::kill(process, SIGUSR1), 0);
  EXPECT_TRUE(readUntil("end\n"));
  EXPECT_EQ(seen, expected + "end\n");
  int status = 0;
  EXPECT_EQ(::waitpid(process, &status, 0), process);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 6) << status;
  ::close(terminal);
}

TEST_F(AwakeCommand, CommandInheritsAnUnchangedEnvironment) {
  const std::string signals = "grep -E 'Sig(Blk|Ign|Cgt)' /proc/self/status";
  EXPECT_EQ(run("-- " + signals), outputOf(signals) + "(0)\n");
  const std::string ignoring = "trap '' PIPE HUP; exec ";
  EXPECT_EQ(outputOf("sh -c \"" + ignoring + program() + " awake -- " + signals + "\" 2>/dev/null"),
            outputOf("sh -c \"" + ignoring + signals + '"'));
  EXPECT_EQ(outputOf("echo typed | " + program() + " awake cat 2>/dev/null"), "typed\n");
}

TEST_F(AwakeCommand, GetsTheStatusWithIgnoredSIGCHLD) {
  EXPECT_EQ(outputOf("sh -c \"trap '' CHLD; exec " + program() + " awake -- sh -c 'exit 5'\" 2>/dev/null; echo $?"),
            "5\n");
}

TEST_F(AwakeCommand, WithoutAServiceRunsTheCommandAndReports) {
  EXPECT_EQ(outputOf(program() + " awake echo run 2>&1"),
            "tessaly awake: Nobody can keep the display awake (the screen saver: is not running; the session manager: "
            "is not running; the login manager: its bus cannot be reached)\nrun\n");
  EXPECT_EQ(run(""), "(1)\n");
}

TEST_F(AwakeCommand, WrongUsageHasItsExitCode) {
  for (const std::string arguments : {"--", "--reason", "--for 5", "--reason x --"}) {
    EXPECT_EQ(run(arguments), "(2)\n") << arguments;
  }
  EXPECT_TRUE(run("--help").starts_with("Usage: tessaly awake"));
  EXPECT_EQ(run("printf %s --help"), "--help(0)\n");
}

}  // namespace
}  // namespace Tessaly
