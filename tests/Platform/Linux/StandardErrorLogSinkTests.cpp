// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <functional>
#include <string>

#include "Tessaly/Core/Logging/LogConfiguration.hpp"
#include "Tessaly/Core/Logging/Logger.hpp"
#include "Tessaly/Core/Logging/OSLogStore.hpp"
#include "Tessaly/Core/Logging/OSSignposter.hpp"
#include "Tessaly/Platform/Linux/StandardErrorLogSink.hpp"

namespace {

using namespace Tessaly;

std::string readAll(int descriptor) {
  std::string text;
  std::array<char, 4096> buffer;
  ssize_t count = 0;
  while ((count = ::read(descriptor, buffer.data(), buffer.size())) > 0) text.append(buffer.data(), count);
  return text;
}

struct ChildResult {
  int status = -1;
  std::string standardError;
};

// Runs the body in a child process whose standard error is a pipe. The body's result is the exit status.
ChildResult inChild(const std::function<int()>& body) {
  int pipe[2];
  EXPECT_EQ(::pipe2(pipe, O_CLOEXEC), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    ::alarm(10);
    ::dup2(pipe[1], STDERR_FILENO);
    ::close(pipe[0]);
    ::close(pipe[1]);
    ::_exit(body());
  }
  ::close(pipe[1]);
  ChildResult result;
  result.standardError = readAll(pipe[0]);
  ::close(pipe[0]);
  EXPECT_EQ(::waitpid(child, &result.status, 0), child);
  return result;
}

TEST(StandardErrorLogSink, IsOffAtFirst) {
  const auto result = inChild([] {
    Logger("a", "b").error("text");
    return 0;
  });
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.standardError, "");
}

TEST(StandardErrorLogSink, WritesALineForEachRecord) {
  const auto result = inChild([] {
    LogConfiguration::setStandardErrorOutput(LogSwitch::on);
    LogConfiguration::setEnabled(OSLogType::info, LogSwitch::on);
    LogConfiguration::setEnabled(OSLogType::debug, LogSwitch::on);
    const Logger logger("app.identifier", "Exporter");
    logger.debug("one");
    logger.info("two");
    logger.notice("three");
    logger.error("four %s", "secret");
    logger.fault("five");
    LogConfiguration::setStandardErrorOutput(LogSwitch::off);
    logger.error("six");
    LogConfiguration::setStandardErrorOutput(LogSwitch::on);
    logger.error("seven");
    return 0;
  });
  EXPECT_EQ(result.status, 0);
  const std::string date = "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6}Z ";
  const std::string log = " \\[app.identifier:Exporter\\] ";
  EXPECT_THAT(result.standardError,
              testing::MatchesRegex(date + "debug" + log + "one\n" + date + "info" + log + "two\n" + date + "default" +
                                    log + "three\n" + date + "error" + log + "four <private>\n" + date + "fault" + log +
                                    "five\n" + date + "error" + log + "seven\n"));
}

TEST(StandardErrorLogSink, WritesTheDateInUTC) {
  const auto result = inChild([] {
    StandardErrorLogSink output;
    output.set(LogSwitch::on);
    LogRecord record = LogRecord::make(OSLog("a", "b"), OSLogType::error);
    record.time = LogTime(std::chrono::seconds(1'714'979'289) + std::chrono::nanoseconds(123'456'789));
    record.format = "text";
    output.write(record);
    return 0;
  });
  EXPECT_EQ(result.standardError, "2024-05-06T07:08:09.123456Z error [a:b] text\n");
}

TEST(StandardErrorLogSink, MessageCannotAddRecordsOrCommandTheTerminal) {
  const auto result = inChild([] {
    LogConfiguration::setStandardErrorOutput(LogSwitch::on);
    Logger("a", "b").error("one\n2024-05-06T07:08:09.123456Z error [a:b] two\x1b[2J");
    return 0;
  });
  EXPECT_TRUE(
      result.standardError.ends_with(" error [a:b] one\n    2024-05-06T07:08:09.123456Z error [a:b] two\\u{1B}[2J\n"))
      << result.standardError;
}

TEST(StandardErrorLogSink, DoesNotWriteSignposts) {
  const auto result = inChild([] {
    LogConfiguration::setStandardErrorOutput(LogSwitch::on);
    OSSignposter("a", "b").emitEvent("row");
    return 0;
  });
  EXPECT_EQ(result.standardError, "");
}

TEST(StandardErrorLogSink, ClosedStandardErrorDropsLines) {
  const auto result = inChild([] {
    ::close(STDERR_FILENO);
    LogConfiguration::setStandardErrorOutput(LogSwitch::on);
    Logger("a", "b").error("text");
    return OSLogStore::currentProcess().entries().size() == 1 ? 0 : 1;
  });
  EXPECT_EQ(result.status, 0);
}

TEST(StandardErrorLogSink, NeverWritesIntoAnotherFileWithItsNumber) {
  const auto result = inChild([] {
    LogConfiguration::setStandardErrorOutput(LogSwitch::on);
    ::close(STDERR_FILENO);
    int pipe[2];
    if (::pipe2(pipe, O_CLOEXEC | O_NONBLOCK) != 0 || pipe[0] != STDERR_FILENO) return 1;
    if (::dup2(pipe[1], STDERR_FILENO) == -1) return 2;
    Logger("a", "b").error("text");
    return 0;
  });
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(result.standardError.ends_with("text\n"));
}

TEST(StandardErrorLogSink, PipeWithoutAReaderIsHarmless) {
  const auto result = inChild([] {
    int pipe[2];
    if (::pipe2(pipe, O_CLOEXEC) != 0) return 1;
    ::dup2(pipe[1], STDERR_FILENO);
    ::close(pipe[0]);
    ::signal(SIGPIPE, SIG_DFL);
    LogConfiguration::setStandardErrorOutput(LogSwitch::on);
    const Logger logger("a", "b");
    logger.error("text");
    logger.error("text");
    // The signal is neither left pending nor left blocked.
    sigset_t set;
    ::sigpending(&set);
    if (::sigismember(&set, SIGPIPE) != 0) return 2;
    ::pthread_sigmask(SIG_SETMASK, nullptr, &set);
    if (::sigismember(&set, SIGPIPE) != 0) return 3;
    return OSLogStore::currentProcess().entries().size() == 2 ? 0 : 4;
  });
  EXPECT_EQ(result.status, 0);
}

TEST(StandardErrorLogSink, FullNonblockingPipeDropsLines) {
  const auto result = inChild([] {
    int pipe[2];
    if (::pipe2(pipe, O_CLOEXEC | O_NONBLOCK) != 0) return 1;
    ::dup2(pipe[1], STDERR_FILENO);
    LogConfiguration::setStandardErrorOutput(LogSwitch::on);
    const Logger logger("a", "b");
    for (int i = 0; i < 2000; ++i) logger.error("%{public}s", std::string(100, 'x'));
    return 0;
  });
  EXPECT_EQ(result.status, 0);
}

}  // namespace
