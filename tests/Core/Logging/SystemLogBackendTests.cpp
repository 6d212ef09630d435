// SPDX-License-Identifier: MIT
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <optional>
#include <thread>
#include <type_traits>
#include <vector>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Logging/LogConfiguration.hpp"
#include "Tessaly/Core/Logging/Logger.hpp"
#include "Tessaly/Core/Logging/OSLogStore.hpp"
#include "Tessaly/Core/Logging/SystemLogBackend.hpp"
#include "tests/Support/Repetitions.hpp"

namespace {

/// Runs inside the next call of `access`. The backend searches for a file while it is made.
constinit std::atomic<void (*)()> atNextSearch{nullptr};

}  // namespace

/// Replaces the function of the C library.
extern "C" int access(const char* path, int mode) noexcept {
  if (const auto action = atNextSearch.exchange(nullptr)) action();
  static auto* const original = reinterpret_cast<int (*)(const char*, int)>(::dlsym(RTLD_NEXT, "access"));
  return original(path, mode);
}

namespace {

using namespace Tessaly;

TEST(SystemLogBackend, KeepsTheRecordsOfTheProcess) {
  Logger("a", "b").error("text");
  ASSERT_NE(SystemLogBackend::shared().store(), nullptr);
  EXPECT_EQ(SystemLogBackend::shared().store()->entries().size(), 1u);
  EXPECT_EQ(SystemLogBackend::shared().store()->capacityInBytes(), ProcessLogStore::defaultCapacityInBytes);
}

TEST(SystemLogBackend, TheCapacityCanBeSetUntilTheFirstRecord) {
  EXPECT_TRUE(LogConfiguration::setStoreCapacity(100'000));
  Logger("a", "b").error("text");
  EXPECT_FALSE(LogConfiguration::setStoreCapacity(200'000));
  EXPECT_EQ(SystemLogBackend::shared().store()->capacityInBytes(), 65'536u);
}

TEST(SystemLogBackend, CapacityIsRefusedWhileTheBackendIsMade) {
  static std::optional<bool> isSet;
  atNextSearch = [] { isSet = LogConfiguration::setStoreCapacity(65'536); };
  Logger("a", "b").error("text");
  EXPECT_EQ(isSet, false);
  EXPECT_EQ(SystemLogBackend::shared().store()->capacityInBytes(), ProcessLogStore::defaultCapacityInBytes);
}

TEST(SystemLogBackend, SinksCannotBeDestroyedByTheirUser) { EXPECT_FALSE(std::is_destructible_v<LogSinks>); }

TEST(SystemLogBackend, ReportsTheStateOfTheJournal) {
  EXPECT_EQ(LogConfiguration::journalStatus().state, JournalState::notTried);
  Logger("a", "b").error("text");
  const bool isThere = std::filesystem::exists("/run/systemd/journal/socket");
  EXPECT_EQ(LogConfiguration::journalStatus().state == JournalState::socketMissing, !isThere);
}

TEST(SystemLogBackend, ConcurrentFirstRecordsMakeOneBackend) {
  std::atomic<int> ready{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      ++ready;
      while (ready < 4) {
      }
      Logger("a", "b").error("text");
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(OSLogStore::currentProcess().entries().size(), 4u);
}

TEST(SystemLogBackend, ChildrenForkedWhileThreadsWriteCanWriteAndRead) {
  std::atomic<bool> isDone{false};
  std::vector<std::thread> writers;
  for (int i = 0; i < 2; ++i) {
    writers.emplace_back([&] {
      const Logger logger("parent", "b");
      while (!isDone) logger.error("text");
    });
  }
  const int rounds = Tests::repetitions(100);
  for (int round = 0; round < rounds; ++round) {
    const pid_t child = ::fork();
    if (child == 0) {
      ::alarm(10);
      const Logger logger("child", "b");
      for (int i = 0; i < 10; ++i) logger.error("%d", i);
      int next = 0;
      for (const auto& entry : OSLogStore::currentProcess().entries()) {
        if (entry.subsystem() != "child") continue;
        if (entry.processIdentifier != ::getpid() || entry.composedMessage != std::to_string(next++)) ::_exit(1);
      }
      ::_exit(next == 10 ? 0 : 2);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
  isDone = true;
  for (auto& writer : writers) writer.join();
}

TEST(SystemLogBackendDeathTest, FatalErrorUnderALogLockEndsTheProcess) {
  const auto fail = [] {
    Logger("a", "b").error("text");
    struct sigaction action{};
    action.sa_handler = [](int) { fatalError("in the middle of a record", "Tessaly/SystemLogBackendTests", 1); };
    ::sigaction(SIGSEGV, &action, nullptr);
    ::alarm(10);
    const auto size = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    void* unreadable = ::mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    Logger("a", "b").error("%{public}s", std::string_view(static_cast<const char*>(unreadable), 100));
  };
  EXPECT_EXIT(fail(), testing::KilledBySignal(SIGABRT),
              "Tessaly/SystemLogBackendTests:1: Fatal error: in the middle of a record");
}

}  // namespace
