// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

#include "Tessaly/Core/Logging/LogBackend.hpp"
#include "Tessaly/Core/Logging/LogConfiguration.hpp"
#include "Tessaly/Core/Logging/Logger.hpp"
#include "Tessaly/Core/Logging/OSLogStore.hpp"
#include "Tessaly/Core/Logging/SystemLogBackend.hpp"
#include "Tessaly/Platform/Testing/RecordingLogBackend.hpp"

namespace {

using namespace Tessaly;

class SilentBackend final : public LogBackend {
 public:
  void write(const LogRecord&) noexcept override { ++count; }
  std::atomic<int> count{0};
};

TEST(LogBackend, IsTheSystemsUnlessAnotherIsInstalled) {
  EXPECT_EQ(&LogBackend::current(), &SystemLogBackend::shared());
  const auto backend = std::make_shared<SilentBackend>();
  {
    const LogBackendInstallation installation(backend);
    EXPECT_EQ(&LogBackend::current(), backend.get());
    Logger("a", "b").error("text");
  }
  EXPECT_EQ(&LogBackend::current(), &SystemLogBackend::shared());
  Logger("a", "b").error("text");
  EXPECT_EQ(backend->count, 1);
}

TEST(LogBackend, InstallationsNest) {
  const auto outer = std::make_shared<SilentBackend>();
  const auto inner = std::make_shared<SilentBackend>();
  const LogBackendInstallation first(outer);
  {
    const LogBackendInstallation second(inner);
    Logger("a", "b").error("text");
  }
  Logger("a", "b").error("text");
  Logger("a", "b").error("text");
  EXPECT_EQ(inner->count, 1);
  EXPECT_EQ(outer->count, 2);
}

TEST(LogBackend, OutlivesItsInstallationForPendingRecords) {
  std::weak_ptr<SilentBackend> observed;
  {
    auto backend = std::make_shared<SilentBackend>();
    observed = backend;
    const LogBackendInstallation installation(std::move(backend));
  }
  EXPECT_FALSE(observed.expired());
}

TEST(LogBackend, ByDefaultKeepsNoStoreAndFlushesNothing) {
  SilentBackend backend;
  EXPECT_EQ(backend.store(), nullptr);
  backend.flush(std::chrono::seconds(1));
  EXPECT_EQ(backend.count, 0);
}

TEST(LogBackend, FlushingTheLogFlushesTheOneInUse) {
  const auto backend = std::make_shared<RecordingLogBackend>();
  const LogBackendInstallation installation(backend);
  LogConfiguration::flush(std::chrono::seconds(1));
  EXPECT_EQ(backend->flushCount(), 1u);
}

class SwitchedBackend final : public LogBackend {
 public:
  void write(const LogRecord&) noexcept override {}
  void setStandardErrorOutput(LogSwitch state) noexcept override { output = state; }
  [[nodiscard]] JournalStatus journalStatus() const noexcept override { return {.state = JournalState::refused}; }
  LogSwitch output = LogSwitch::off;
};

TEST(LogBackend, ConfigurationReachesTheInstalledBackend) {
  const auto backend = std::make_shared<SwitchedBackend>();
  const LogBackendInstallation installation(backend);
  LogConfiguration::setStandardErrorOutput(LogSwitch::on);
  EXPECT_EQ(backend->output, LogSwitch::on);
  EXPECT_EQ(LogConfiguration::journalStatus().state, JournalState::refused);
}

TEST(LogBackend, ByDefaultHasNoJournal) {
  const LogBackendInstallation installation(std::make_shared<SilentBackend>());
  LogConfiguration::setStandardErrorOutput(LogSwitch::on);
  EXPECT_EQ(LogConfiguration::journalStatus().state, JournalState::notTried);
}

TEST(LogBackend, ThreadsMayWriteDuringTheExchange) {
  const auto counted = std::make_shared<SilentBackend>();
  const LogBackendInstallation outer(counted);
  const auto other = std::make_shared<SilentBackend>();
  std::vector<std::thread> threads;
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back([] {
      const Logger logger("a", "b");
      for (int j = 0; j < 10'000; ++j) logger.error("text");
    });
  }
  for (int i = 0; i < 200; ++i) const LogBackendInstallation inner(other);
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(counted->count + other->count, 20'000);
}

TEST(OSLogStore, ReadsTheRecordsOfTheProcess) {
  const auto before = std::chrono::system_clock::now();
  Logger("app.identifier", "category").error("first %{public}s", "public");
  Logger("app.identifier", "category").notice("second %s", "secret");
  const auto entries = OSLogStore::currentProcess().entries(before);
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].composedMessage, "first public");
  EXPECT_EQ(entries[0].level(), LogEntry::Level::error);
  EXPECT_EQ(entries[1].composedMessage, "second <private>");
  EXPECT_EQ(entries[1].level(), LogEntry::Level::notice);
  EXPECT_TRUE(OSLogStore::currentProcess().entries(std::chrono::system_clock::now() + std::chrono::hours(1)).empty());
}

TEST(OSLogStore, ReadsTheStoreOfAnInstalledBackend) {
  const LogBackendInstallation installation(std::make_shared<RecordingLogBackend>());
  Logger("a", "b").error("text");
  EXPECT_EQ(OSLogStore::currentProcess().entries().size(), 1u);
}

TEST(OSLogStore, MissingStoreThrows) {
  const LogBackendInstallation installation(
      std::make_shared<RecordingLogBackend>(RecordingLogBackend::Store::unavailable));
  Logger("a", "b").error("text");
  EXPECT_THROW(static_cast<void>(OSLogStore::currentProcess()), LogStoreUnavailableError);
  EXPECT_EQ(LogStoreUnavailableError().description(), "The log backend keeps no records");
}

}  // namespace
