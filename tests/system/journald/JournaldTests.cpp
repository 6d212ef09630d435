// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Logging/LogConfiguration.hpp"
#include "Tessaly/Core/Logging/OSLogStore.hpp"
#include "Tessaly/FoundationExtensions/Logger+Extensions.hpp"
#include "tests/Support/WaitUntil.hpp"
#include "tests/system/journald/PrivateJournal.hpp"

// Sends records into a real journal.

namespace {

using namespace Tessaly;
using namespace std::chrono_literals;

class Journald : public testing::Test {
 protected:
  void SetUp() override {
    if (!journal_.reason().empty()) GTEST_SKIP() << journal_.reason();
  }

  static std::vector<std::string> messages(const std::vector<Tests::PrivateJournal::Entry>& entries) {
    std::vector<std::string> messages;
    for (const auto& entry : entries) messages.push_back(entry.at("MESSAGE"));
    return messages;
  }

  static std::vector<std::string> numbers(int from, int to) {
    std::vector<std::string> numbers;
    for (int i = from; i < to; ++i) numbers.push_back(std::to_string(i));
    return numbers;
  }

  // Runs the body in a child process, and returns the status of that process.
  template <typename Body>
  static int statusOfChild(Body body) {
    const pid_t child = ::fork();
    if (child == 0) {
      ::alarm(10);
      body();
      ::_exit(99);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    return status;
  }

  Tests::PrivateJournal journal_;
};

TEST_F(Journald, RecordsArriveWithTheirFields) {
  const Logger logger("app.identifier.Export", "Exporter");
  logger.error("Cannot write %{public}s\nto the disk", "table");
  const int line = __LINE__ - 1;
  logger.notice("done");
  logger.fault("over");
  LogConfiguration::flush(5s);
  const auto entries = journal_.entries("app.identifier.Export", 3);
  ASSERT_EQ(entries.size(), 3u);
  auto first = entries[0];
  EXPECT_EQ(first["MESSAGE"], "Cannot write table\nto the disk");
  EXPECT_EQ(first["PRIORITY"], "3");
  EXPECT_EQ(first["SYSLOG_IDENTIFIER"], "SystemJournaldTests");
  EXPECT_EQ(first["TESSALY_CATEGORY"], "Exporter");
  EXPECT_EQ(first["_PID"], std::to_string(::getpid()));
  EXPECT_EQ(first["TID"], std::to_string(::gettid()));
  EXPECT_EQ(first["CODE_LINE"], std::to_string(line));
  EXPECT_EQ(first["CODE_FUNC"], "TestBody");
  EXPECT_TRUE(first["CODE_FILE"].ends_with("JournaldTests.cpp"));
  const auto stored = OSLogStore::currentProcess().entries();
  EXPECT_EQ(first["TESSALY_TIME"], std::to_string(stored.at(0).date.time_since_epoch().count()));
  EXPECT_EQ(entries[1].at("PRIORITY"), "5");
  EXPECT_EQ(entries[2].at("PRIORITY"), "2");
  EXPECT_EQ(LogConfiguration::journalStatus().state, JournalState::sending);
  EXPECT_EQ(LogConfiguration::journalStatus().sentRecords, 3u);
}

TEST_F(Journald, PrivateArgumentsDoNotReachTheJournal) {
  const Logger logger("subsystem", "category");
  logger.error("%s and %{public}s", "verysecretname", "wellknownname");
  catchError(logger, "Failed", [] { throw std::runtime_error("verysecreterror"); });
  LogConfiguration::flush(5s);
  const auto entries = journal_.entries("subsystem", 2);
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].at("MESSAGE"), "<private> and wellknownname");
  EXPECT_TRUE(entries[1].at("MESSAGE").starts_with("Failed. <private> | Function: TestBody | File: "));
  EXPECT_TRUE(journal_.filesContain("wellknownname"));
  EXPECT_FALSE(journal_.filesContain("verysecret"));
}

TEST_F(Journald, BurstOfTwoThreadsArrivesInOrder) {
  constexpr int perThread = 1500;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 2; ++thread) {
    threads.emplace_back([thread] {
      const Logger logger("thread" + std::to_string(thread), "category");
      for (int i = 0; i < perThread; ++i) logger.error("%d", i);
    });
  }
  for (auto& thread : threads) thread.join();
  LogConfiguration::flush(8s);
  EXPECT_EQ(messages(journal_.entries("thread0", perThread)), numbers(0, perThread));
  EXPECT_EQ(messages(journal_.entries("thread1", perThread)), numbers(0, perThread));
  EXPECT_EQ(LogConfiguration::journalStatus().lostRecords, 0u);
  EXPECT_EQ(LogConfiguration::journalStatus().sentRecords, 2u * perThread);
}

TEST_F(Journald, KilledJournalIsReportedUntilItRestarts) {
  const Logger logger("subsystem", "category");
  for (int i = 0; i < 100; ++i) logger.error("%d", i);
  LogConfiguration::flush(5s);
  ASSERT_EQ(journal_.entries("subsystem", 100).size(), 100u);

  journal_.kill();
  for (int i = 100; i < 200; ++i) logger.error("%d", i);
  LogConfiguration::flush(5s);
  EXPECT_TRUE(Tests::waitUntil([] { return LogConfiguration::journalStatus().state == JournalState::refused; }));
  EXPECT_EQ(LogConfiguration::journalStatus().error, ECONNREFUSED);
  EXPECT_EQ(OSLogStore::currentProcess().entries().size(), 200u);

  journal_.start();
  ASSERT_EQ(journal_.reason(), "");
  for (int i = 200; i < 300; ++i) logger.error("%d", i);
  EXPECT_TRUE(Tests::waitUntil([] { return LogConfiguration::journalStatus().sentRecords == 300; }));
  EXPECT_EQ(LogConfiguration::journalStatus().state, JournalState::sending);
  EXPECT_EQ(LogConfiguration::journalStatus().lostRecords, 0u);
  EXPECT_EQ(messages(journal_.entries("subsystem", 300)), numbers(0, 300));
}

TEST_F(Journald, RecordsWaitWhileTheSocketIsMissing) {
  const Logger logger("subsystem", "category");
  logger.error("0");
  ASSERT_EQ(journal_.entries("subsystem", 1).size(), 1u);
  journal_.kill();
  journal_.removeSocket();
  logger.error("1");
  EXPECT_TRUE(Tests::waitUntil([] { return LogConfiguration::journalStatus().state == JournalState::socketMissing; }));
  journal_.start();
  ASSERT_EQ(journal_.reason(), "");
  EXPECT_EQ(messages(journal_.entries("subsystem", 2)), numbers(0, 2));
  EXPECT_EQ(LogConfiguration::journalStatus().state, JournalState::sending);
}

TEST_F(Journald, HostThatStartsFirstFindsTheJournalLater) {
  journal_.kill();
  journal_.removeSocket();
  const Logger logger("subsystem", "category");
  logger.error("early");
  EXPECT_EQ(LogConfiguration::journalStatus().state, JournalState::socketMissing);
  journal_.start();
  ASSERT_EQ(journal_.reason(), "");
  EXPECT_TRUE(Tests::waitUntil([&] {
    logger.error("later");
    return LogConfiguration::journalStatus().state == JournalState::sending;
  }));
  LogConfiguration::flush(5s);
  const auto entries = journal_.entries("subsystem", 2);
  ASSERT_GE(entries.size(), 2u);
  EXPECT_EQ(entries[0].at("MESSAGE"), "early");
  EXPECT_EQ(entries[1].at("MESSAGE"), "later");
}

TEST_F(Journald, RecordsWrittenJustBeforeAFatalErrorArrive) {
  const int status = statusOfChild([] {
    const Logger logger("subsystem", "category");
    for (int i = 0; i < 300; ++i) logger.error("%d", i);
    fatalError("on purpose", "Tessaly/JournaldTests", 1);
  });
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGABRT);
  EXPECT_EQ(messages(journal_.entries("subsystem", 300)), numbers(0, 300));
}

TEST_F(Journald, RecordsWrittenJustBeforeTheExitArrive) {
  const int status = statusOfChild([] {
    const Logger logger("subsystem", "category");
    for (int i = 0; i < 300; ++i) logger.error("%d", i);
    std::exit(0);
  });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(messages(journal_.entries("subsystem", 300)), numbers(0, 300));
}

TEST_F(Journald, HangingJournalDoesNotBlockTheHost) {
  journal_.pause();
  const int status = statusOfChild([] {
    const Logger logger("subsystem", "category");
    // More than the socket accepts.
    for (int i = 0; i < 5000; ++i) logger.error("%d", i);
    if (!Tests::waitUntil([] { return LogConfiguration::journalStatus().state == JournalState::notAnswering; }))
      ::_exit(1);
    if (OSLogStore::currentProcess().entries().size() != 5000) ::_exit(2);
    std::exit(0);
  });
  EXPECT_EQ(status, 0);
  const int fatal = statusOfChild([] {
    const Logger logger("subsystem", "category");
    for (int i = 0; i < 5000; ++i) logger.error("%d", i);
    fatalError("on purpose", "Tessaly/JournaldTests", 1);
  });
  EXPECT_TRUE(WIFSIGNALED(fatal));
  EXPECT_EQ(WTERMSIG(fatal), SIGABRT);
  journal_.resume();
}

TEST_F(Journald, ForkedChildGoesOnWithoutTheJournal) {
  const Logger logger("parent", "category");
  logger.error("0");
  LogConfiguration::flush(5s);
  const int status = statusOfChild([] {
    const Logger logger("child", "category");
    for (int i = 0; i < 100; ++i) logger.error("%d", i);
    if (LogConfiguration::journalStatus().state != JournalState::forkedChild) ::_exit(1);
    if (OSLogStore::currentProcess().entries().size() != 101) ::_exit(2);
    LogConfiguration::flush(60s);  // The exit of a process does the same.
    ::_exit(0);
  });
  EXPECT_EQ(status, 0);
  logger.error("1");
  LogConfiguration::flush(5s);
  EXPECT_EQ(messages(journal_.entries("parent", 2)), numbers(0, 2));
  EXPECT_TRUE(journal_.entries("child", 0).empty());
}

}  // namespace
