// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

#include "Tessaly/Core/Base/ThreadIdentifier.hpp"
#include "Tessaly/Core/Logging/LogConfiguration.hpp"
#include "Tessaly/Core/Logging/LogRecord.hpp"

namespace {

using namespace Tessaly;

class LogRecordTest : public testing::Test {
 protected:
  LogRecord record(std::string_view format, std::vector<LogArgument> arguments) {
    arguments_ = std::move(arguments);
    LogRecord record = LogRecord::make(OSLog("subsystem", "category"), OSLogType::error);
    record.format = format;
    record.arguments = arguments_;
    return record;
  }

 private:
  std::vector<LogArgument> arguments_;
};

TEST_F(LogRecordTest, HasTheCurrentTimeProcessAndThread) {
  const auto before = std::chrono::system_clock::now();
  const LogRecord record = LogRecord::make(OSLog("subsystem", "category"), OSLogType::fault);
  const auto after = std::chrono::system_clock::now();
  EXPECT_GE(record.time, before);
  EXPECT_LE(record.time, after);
  EXPECT_EQ(record.type, OSLogType::fault);
  EXPECT_EQ(record.log, OSLog("subsystem", "category"));
  EXPECT_EQ(record.processIdentifier, ::getpid());
  EXPECT_EQ(record.threadIdentifier, currentThreadIdentifier());
  EXPECT_FALSE(record.signpost);
}

TEST_F(LogRecordTest, ChildOfAForkWritesItsOwnIdentifiers) {
  const LogRecord parents = LogRecord::make(OSLog("subsystem", "category"), OSLogType::fault);
  const pid_t child = ::fork();
  if (child == 0) {
    const LogRecord record = LogRecord::make(OSLog("subsystem", "category"), OSLogType::fault);
    ::_exit(record.processIdentifier == ::getpid() && record.processIdentifier != parents.processIdentifier &&
                    record.threadIdentifier == static_cast<std::uint32_t>(::getpid())
                ? 0
                : 1);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

TEST_F(LogRecordTest, ComposesPublicArgumentsUnredacted) {
  EXPECT_EQ(record("%{public}s", {{"text", LogPrivacy::public_}}).composedMessage(), "text");
  EXPECT_EQ(
      record("<%{public}s|%{public}s>", {{"a", LogPrivacy::public_}, {"", LogPrivacy::public_}}).composedMessage(),
      "<a|>");
  EXPECT_EQ(record("", {}).composedMessage(), "");
  EXPECT_EQ(record("100%% of %d", {{"7", LogPrivacy::public_}}).composedMessage(), "100% of 7");
}

TEST_F(LogRecordTest, ReplacesIllFormedTextInFormatsAndArguments) {
  const auto composed = [&](std::string_view format, std::string_view argument) {
    return record(format, {{argument, LogPrivacy::public_}}).composedMessage();
  };
  EXPECT_EQ(composed("%{public}s", "\xFF"), "\uFFFD");
  EXPECT_EQ(composed("%{public}s", "a\xE2\x82z and enough to be read in words\xC3"),
            "a\uFFFDz and enough to be read in words\uFFFD");
  EXPECT_EQ(composed("\xF0\x9F|%{public}s|\x80", "ü"), "\uFFFD|ü|\uFFFD");
  EXPECT_EQ(composed("%{public}s", std::string(40, '\xFF')).size(), 120u);
}

TEST_F(LogRecordTest, CutMessageOfReplacedBytesIsWellFormed) {
  const auto ill = record("%{public}s", {{"\xFF\xFF\xFF", LogPrivacy::public_}});
  std::string out(8, '\0');
  out.resize(ill.compose(out.data(), out.size()));
  EXPECT_EQ(out, "\uFFFD…");
}

TEST_F(LogRecordTest, NamesOfLogsAreWellFormed) {
  EXPECT_EQ(OSLog("a\xFF", "\x80").subsystem(), "a\uFFFD");
  EXPECT_EQ(OSLog("a\xFF", "\x80").category(), "\uFFFD");
  EXPECT_EQ(OSLog("a\xFF", "\x80"), OSLog("a\uFFFD", "\uFFFD"));
}

TEST_F(LogRecordTest, ComposesPrivateArgumentsAsAMark) {
  const auto secret = record("%{public}s %s!", {{"Hello", LogPrivacy::public_}, {"Alice", LogPrivacy::private_}});
  EXPECT_EQ(secret.composedMessage(), "Hello <private>!");
}

TEST_F(LogRecordTest, HostMayShowPrivateArguments) {
  const auto secret = record("%s", {{"Alice", LogPrivacy::private_}});
  LogConfiguration::setPrivateDataShown(LogSwitch::on);
  EXPECT_EQ(secret.composedMessage(), "Alice");
  LogConfiguration::setPrivateDataShown(LogSwitch::off);
  EXPECT_EQ(secret.composedMessage(), "<private>");
}

TEST_F(LogRecordTest, TheLengthLimitIsNeverTooSmall) {
  const auto secret = record("%s", {{"", LogPrivacy::private_}});
  EXPECT_GE(secret.composedLengthLimit(), secret.composedMessage().size());
  const auto clear = record("%{public}s %{public}s%%", {{"abc", LogPrivacy::public_}, {"defg", LogPrivacy::public_}});
  EXPECT_GE(clear.composedLengthLimit(), clear.composedMessage().size());
}

TEST_F(LogRecordTest, TooLongMessageIsCutWithAMark) {
  const auto text = record("%{public}s", {{"abcdefghij", LogPrivacy::public_}});
  std::string out(16, '#');
  EXPECT_EQ(text.compose(out.data(), 10), 10u);
  EXPECT_EQ(out, "abcdefghij######");
  out.assign(16, '#');
  EXPECT_EQ(text.compose(out.data(), 9), 9u);
  EXPECT_EQ(out, "abcdef…#######");
}

TEST_F(LogRecordTest, CutNeverSplitsACharacter) {
  const std::string euros = "€€€€€€";
  const auto text = record("%{public}s", {{euros, LogPrivacy::public_}});
  for (std::size_t limit = 3; limit < euros.size(); ++limit) {
    std::string out(limit, '#');
    out.resize(text.compose(out.data(), limit));
    const std::size_t whole = (limit - 3) / 3;
    EXPECT_EQ(out, euros.substr(0, 3 * whole) + "…") << limit;
  }
}

}  // namespace
