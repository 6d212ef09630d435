// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Logging/LogConfiguration.hpp"
#include "Tessaly/Core/Logging/Logger.hpp"
#include "Tessaly/Core/Logging/OSLogStore.hpp"
#include "Tessaly/Platform/Testing/RecordingLogBackend.hpp"
#include "tests/Support/Allocations.hpp"

namespace {

using namespace Tessaly;
using testing::ElementsAre;

class LoggerTest : public testing::Test {
 protected:
  RecordedLog onlyRecord() {
    const auto records = backend_->records();
    EXPECT_EQ(records.size(), 1u);
    return records.empty() ? RecordedLog() : records.front();
  }

  const std::shared_ptr<RecordingLogBackend> backend_ = std::make_shared<RecordingLogBackend>();
  const LogBackendInstallation installation_{backend_};
  const Logger logger_{"subsystem", "category"};
};

// Counts the requests for its text.
struct CountingText {
  int* count;
  operator std::string_view() const {
    ++*count;
    return "text";
  }
};

TEST_F(LoggerTest, GivesItsLog) {
  EXPECT_EQ(logger_.log(), OSLog("subsystem", "category"));
  EXPECT_EQ(Logger(OSLog("x", "y")).log(), OSLog("x", "y"));
}

TEST_F(LoggerTest, WritesARecordWithItsFormatAndArguments) {
  const std::string name = "table.csv";
  logger_.error("Cannot write %{public}s for %s: %d", name, std::string_view("Alice"), -5);
  const unsigned line = __LINE__ - 1;
  const RecordedLog record = onlyRecord();
  EXPECT_EQ(record.type, OSLogType::error);
  EXPECT_EQ(record.subsystem, "subsystem");
  EXPECT_EQ(record.category, "category");
  EXPECT_EQ(record.format, "Cannot write %{public}s for %s: %d");
  EXPECT_THAT(record.arguments, ElementsAre(RecordedLog::Argument{"table.csv", LogPrivacy::public_},
                                            RecordedLog::Argument{"Alice", LogPrivacy::private_},
                                            RecordedLog::Argument{"-5", LogPrivacy::public_}));
  EXPECT_EQ(record.composedMessage, "Cannot write table.csv for <private>: -5");
  EXPECT_EQ(record.line, line);
  EXPECT_TRUE(record.file.ends_with("tests/Core/Logging/LoggerTests.cpp"));
  EXPECT_EQ(record.function, "TestBody");
}

TEST_F(LoggerTest, EachFunctionWritesItsType) {
  LogConfiguration::setEnabled(OSLogType::info, LogSwitch::on);
  LogConfiguration::setEnabled(OSLogType::debug, LogSwitch::on);
  logger_.debug("debug");
  logger_.info("info");
  logger_.notice("notice");
  logger_.warning("warning");
  logger_.error("error");
  logger_.fault("fault");
  logger_.log(OSLogType::default_, "log");
  std::vector<OSLogType> types;
  for (const auto& record : backend_->records()) types.push_back(record.type);
  EXPECT_THAT(types, ElementsAre(OSLogType::debug, OSLogType::info, OSLogType::default_, OSLogType::error,
                                 OSLogType::error, OSLogType::fault, OSLogType::default_));
  EXPECT_THAT(backend_->messages(), ElementsAre("debug", "info", "notice", "warning", "error", "fault", "log"));
}

TEST_F(LoggerTest, WritesTextOfEveryKind) {
  const char* pointer = "pointer";
  const char* nothing = nullptr;
  const std::string withZero("a\0b", 3);
  logger_.error("%{public}s %{public}s %{public}s %{public}s", pointer, "literal", nothing, withZero);
  EXPECT_EQ(onlyRecord().composedMessage, "pointer literal (null) " + withZero);
}

TEST_F(LoggerTest, WritesNumbersOfEveryKind) {
  logger_.error("%d %d %d %d", std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::uint64_t>::max(),
                static_cast<std::int8_t>(-7), 'A');
  logger_.error("%x %x %x", 255, std::uint64_t{0xDEADBEEF}, -16);
  logger_.error("%f %f %f", 1.5, -0.25F, std::numeric_limits<double>::max());
  logger_.error("%{private}d%%", 5);
  EXPECT_THAT(backend_->messages(),
              ElementsAre("-9223372036854775808 18446744073709551615 -7 65", "ff deadbeef -10",
                          testing::StartsWith("1.500000 -0.250000 1797693134862315708145274237317043567980705675"),
                          "<private>%"));
}

TEST_F(LoggerTest, WritesUpToEightArguments) {
  logger_.error("%d%d%%%d%d%d%d%d%d", 1, 2, 3, 4, 5, 6, 7, 8);
  EXPECT_EQ(onlyRecord().composedMessage, "12%345678");
}

TEST_F(LoggerTest, DisabledTypeMakesNoTextAndNoRecord) {
  int count = 0;
  logger_.debug("%{public}s", CountingText{&count});
  EXPECT_EQ(count, 0);
  EXPECT_TRUE(backend_->records().empty());
  LogConfiguration::setEnabled(logger_.log(), OSLogType::debug, LogSwitch::on);
  logger_.debug("%{public}s", CountingText{&count});
  EXPECT_EQ(count, 1);
  EXPECT_EQ(backend_->records().size(), 1u);
}

TEST_F(LoggerTest, KeepsErrno) {
  errno = ENOTTY;
  logger_.error("text %{public}s", "argument");
  EXPECT_EQ(errno, ENOTTY);
}

TEST(Logger, WritingToTheSystemsBackendAllocatesNothing) {
  const Logger logger("subsystem", "category");
  logger.error("first");
  const std::string text = "some text";
  EXPECT_EQ(Tests::allocationsOf([&] {
              for (int i = 0; i < 1000; ++i) logger.error("%{public}s %s %d %f", text, text, i, 0.5);
            }),
            0);
}

TEST_F(LoggerTest, WritesTruthValuesAsNumbers) {
  logger_.error("%d %x", true, false);
  EXPECT_EQ(onlyRecord().composedMessage, "1 0");
}

TEST(Logger, TwoThreadsInOneLogLoseNoRecord) {
  ASSERT_TRUE(LogConfiguration::setStoreCapacity(16 * 1024 * 1024));
  constexpr int perThread = 20'000;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 2; ++thread) {
    threads.emplace_back([thread] {
      const Logger logger("hammer", std::to_string(thread));
      for (int i = 0; i < perThread; ++i) logger.error("%d of %{public}s", i, std::to_string(thread));
    });
  }
  for (auto& thread : threads) thread.join();
  int next[2] = {0, 0};
  LogTime last = LogTime::min();
  std::uint32_t writers[2] = {0, 0};
  for (const auto& entry : OSLogStore::currentProcess().entries()) {
    const int thread = entry.category() == "1" ? 1 : 0;
    // Entries come in time order, and the entries of one thread in the order in which the thread wrote them.
    ASSERT_EQ(entry.composedMessage, std::to_string(next[thread]) + " of " + entry.category());
    ++next[thread];
    ASSERT_GE(entry.date, last);
    last = entry.date;
    if (writers[thread] == 0) writers[thread] = entry.threadIdentifier;
    ASSERT_EQ(entry.threadIdentifier, writers[thread]);
  }
  EXPECT_EQ(next[0], perThread);
  EXPECT_EQ(next[1], perThread);
  EXPECT_NE(writers[0], writers[1]);
}

}  // namespace
