// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Logging/LogRing.hpp"
#include "tests/Support/Allocations.hpp"
#include "tests/Support/Repetitions.hpp"

namespace {

using namespace Tessaly;

void append(LogRing& ring, std::string_view text) {
  const LogArgument argument{text, LogPrivacy::public_};
  LogRecord record = LogRecord::make(OSLog("subsystem", "category"), OSLogType::error);
  record.format = "%{public}s";
  record.arguments = {&argument, 1};
  ring.append(record);
}

std::vector<std::string> messages(const LogRing& ring) {
  std::vector<std::string> messages;
  LogChunk chunk;
  const LogCursor end = ring.end();
  for (LogCursor cursor = ring.begin(); ring.read(cursor, end, chunk);) {
    while (const auto record = chunk.next()) messages.emplace_back(record->message);
  }
  return messages;
}

TEST(LogRing, StartsEmpty) {
  const LogRing ring(4096);
  EXPECT_EQ(ring.capacityInBytes(), 4096u);
  EXPECT_EQ(ring.usedBytes(), 0u);
  EXPECT_TRUE(messages(ring).empty());
}

TEST(LogRing, RoundsItsCapacityDownToAPowerOfTwo) {
  EXPECT_EQ(LogRing(0).capacityInBytes(), 4096u);
  EXPECT_EQ(LogRing(8191).capacityInBytes(), 4096u);
  EXPECT_EQ(LogRing(8192).capacityInBytes(), 8192u);
  EXPECT_EQ(LogRing(1'000'000).capacityInBytes(), 524'288u);
}

TEST(LogRing, ReturnsEveryPartOfARecord) {
  LogRing ring(4096);
  const LogArgument arguments[] = {{"open", LogPrivacy::public_}, {"secret", LogPrivacy::private_}};
  LogRecord record = LogRecord::make(OSLog("subsystem", "category"), OSLogType::fault);
  record.format = "%{public}s %s";
  record.arguments = arguments;
  record.location = {"file.cpp", "save", 12};
  record.signpost = LogSignpost{LogSignpostKind::end, 77, "write"};
  ring.append(record);

  LogChunk chunk;
  LogCursor cursor = ring.begin();
  ASSERT_TRUE(ring.read(cursor, ring.end(), chunk));
  const auto stored = chunk.next();
  ASSERT_TRUE(stored);
  EXPECT_EQ(stored->time, record.time);
  EXPECT_EQ(stored->type, OSLogType::fault);
  EXPECT_EQ(stored->log, record.log);
  EXPECT_EQ(stored->processIdentifier, record.processIdentifier);
  EXPECT_EQ(stored->threadIdentifier, record.threadIdentifier);
  EXPECT_EQ(stored->message, "open <private>");
  EXPECT_EQ(stored->file, "file.cpp");
  EXPECT_EQ(stored->function, "save");
  EXPECT_EQ(stored->line, 12u);
  ASSERT_TRUE(stored->signpost);
  EXPECT_EQ(stored->signpost->kind, LogSignpostKind::end);
  EXPECT_EQ(stored->signpost->id, 77u);
  EXPECT_EQ(stored->signpost->name, "write");
  EXPECT_FALSE(chunk.next());
  EXPECT_FALSE(ring.read(cursor, ring.end(), chunk));
}

TEST(LogRing, MemoryContainsNoPrivateText) {
  LogRing ring(4096);
  const LogArgument argument{"verysecretname", LogPrivacy::private_};
  LogRecord record = LogRecord::make(OSLog("subsystem", "category"), OSLogType::error);
  record.format = "%s";
  record.arguments = {&argument, 1};
  ring.append(record);
  EXPECT_EQ(messages(ring), std::vector<std::string>{"<private>"});
}

TEST(LogRing, AppendingAllocatesNothing) {
  LogRing ring(4096);
  append(ring, "first");
  EXPECT_EQ(Tests::allocationsOf([&] {
              for (int i = 0; i < 1000; ++i) append(ring, "some text");
            }),
            0);
}

TEST(LogRing, NewestRecordsSurviveEveryWrap) {
  std::mt19937 random(7);
  for (const std::size_t capacity : {4096u, 8192u, 65536u}) {
    LogRing ring(capacity);
    std::vector<std::string> all;
    for (int i = 0; i < 3000; ++i) {
      all.push_back(std::to_string(i) + ":" + std::string(random() % 300, static_cast<char>('a' + i % 26)));
      append(ring, all.back());
      ASSERT_LE(ring.usedBytes(), capacity);
      if (i % 97 != 0 && i != 2999) continue;
      const auto kept = messages(ring);
      ASSERT_GE(kept.size(), std::min<std::size_t>(all.size(), 5));
      ASSERT_TRUE(std::equal(kept.rbegin(), kept.rend(), all.rbegin()));
      ASSERT_EQ(kept.size() + ring.begin().sequence, all.size());
      ASSERT_EQ(ring.end().sequence, all.size());
    }
  }
}

TEST(LogRing, LongMessagesAreCutByTheRingsSize) {
  LogRing small(4096);
  append(small, std::string(5000, 'x'));
  EXPECT_EQ(messages(small), std::vector<std::string>{std::string(509, 'x') + "…"});
  LogRing large(1 << 20);
  append(large, std::string(100'000, 'x'));
  append(large, "behind");
  EXPECT_EQ(messages(large), (std::vector<std::string>{std::string(32 * 1024 - 3, 'x') + "…", "behind"}));
}

TEST(LogRing, LongNamesAreCut) {
  LogRing ring(4096);
  const std::string file(2000, 'f');
  LogRecord record = LogRecord::make(OSLog("subsystem", "category"), OSLogType::error);
  record.location = {file.c_str(), file.c_str(), 1};
  record.signpost = LogSignpost{LogSignpostKind::event, 1, file};
  for (int i = 0; i < 10; ++i) ring.append(record);
  LogChunk chunk;
  LogCursor cursor = ring.begin();
  ASSERT_TRUE(ring.read(cursor, ring.end(), chunk));
  const auto stored = chunk.next();
  ASSERT_TRUE(stored);
  EXPECT_EQ(stored->file, file.substr(0, 512));
  EXPECT_EQ(stored->function, file.substr(0, 512));
  EXPECT_EQ(stored->signpost->name, file.substr(0, 512));
}

TEST(LogRing, OvertakenReaderGetsTheNumberOfLostRecords) {
  LogRing ring(4096);
  append(ring, "seen");
  LogChunk chunk;
  LogCursor cursor = ring.begin();
  ASSERT_TRUE(ring.read(cursor, ring.end(), chunk));
  EXPECT_EQ(chunk.lostRecords(), 0u);
  for (int i = 0; i < 500; ++i) append(ring, std::to_string(i));

  std::uint64_t lost = 0;
  std::uint64_t read = 0;
  const LogCursor end = ring.end();
  while (ring.read(cursor, end, chunk)) {
    lost += chunk.lostRecords();
    while (chunk.next()) ++read;
  }
  EXPECT_GT(lost, 0u);
  EXPECT_GT(read, 0u);
  EXPECT_EQ(lost + read, 500u);
  EXPECT_EQ(cursor.position, end.position);
}

TEST(LogRing, ChunkGivesTheCursorOfEachRecord) {
  LogRing ring(65536);
  for (int i = 0; i < 50; ++i) append(ring, std::to_string(i));
  LogChunk chunk;
  LogCursor cursor = ring.begin();
  const LogCursor end = ring.end();
  ASSERT_TRUE(ring.read(cursor, end, chunk));
  for (int i = 0; i < 20; ++i) ASSERT_TRUE(chunk.next());
  LogCursor again = chunk.cursor();
  EXPECT_EQ(again.sequence, 20u);
  LogChunk rest;
  ASSERT_TRUE(ring.read(again, end, rest));
  EXPECT_EQ(rest.next()->message, "20");
}

TEST(LogRing, ConcurrentWritersAndReaderSeeWholeRecords) {
  LogRing ring(16384);
  constexpr int perThread = 20'000;
  std::atomic<int> running{2};
  std::vector<std::thread> writers;
  for (int writer = 0; writer < 2; ++writer) {
    writers.emplace_back([&, writer] {
      for (int i = 0; i < perThread; ++i) append(ring, std::to_string(writer) + " " + std::to_string(i));
      --running;
    });
  }
  std::uint64_t read = 0;
  std::uint64_t lost = 0;
  int last[2] = {-1, -1};
  LogChunk chunk;
  LogCursor cursor;
  for (bool isLast = false; !isLast;) {
    isLast = running == 0;
    const LogCursor end = ring.end();
    while (ring.read(cursor, end, chunk)) {
      lost += chunk.lostRecords();
      while (const auto record = chunk.next()) {
        ++read;
        const int writer = record->message[0] - '0';
        const int number = std::stoi(std::string(record->message.substr(2)));
        EXPECT_TRUE(writer == 0 || writer == 1);
        EXPECT_GT(number, last[writer]);
        last[writer] = number;
      }
    }
  }
  for (auto& writer : writers) writer.join();
  EXPECT_EQ(read + lost, 2u * perThread);
  // The ring still contains the newest record.
  EXPECT_EQ(std::max(last[0], last[1]), perThread - 1);
}

TEST(LogRing, ChildForkedDuringAWriteCanReadAndWrite) {
  LogRing ring(4096);
  std::atomic<bool> isDone{false};
  std::thread writer([&] {
    for (int i = 0; !isDone; ++i) append(ring, std::to_string(i) + std::string(i % 100, 'x'));
  });
  const int rounds = Tests::repetitions(100);
  for (int round = 0; round < rounds; ++round) {
    const pid_t child = ::fork();
    if (child == 0) {
      ::alarm(10);
      ring.resetAfterFork();
      // The records in the ring are complete and in order.
      long last = -1;
      for (const auto& message : messages(ring)) {
        const long number = std::strtol(message.c_str(), nullptr, 10);
        if (last != -1 && number != last + 1) ::_exit(1);
        if (message != std::to_string(number) + std::string(number % 100, 'x')) ::_exit(2);
        last = number;
      }
      for (int i = 0; i < 200; ++i) append(ring, "child");
      for (const auto& message : messages(ring)) {
        if (message != "child") ::_exit(3);
      }
      ::_exit(0);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0);
  }
  isDone = true;
  writer.join();
}

// Crashes the process while it holds the ring's lock, by an unreadable signpost name.
void failInsideAppend(LogRing& ring) {
  const auto size = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  void* unreadable = ::mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  LogRecord record = LogRecord::make(OSLog("subsystem", "category"), OSLogType::error);
  record.signpost = LogSignpost{.name = {static_cast<const char*>(unreadable), 100}};
  ring.append(record);
}

TEST(LogRingDeathTest, LockIsNotObtainableForItsOwner) {
  static LogRing ring(4096);
  EXPECT_TRUE(ring.isLockObtainable());
  const auto fail = [] {
    struct sigaction action{};
    action.sa_handler = [](int) {
      fatalError(ring.isLockObtainable() ? "obtainable" : "not obtainable", "Tessaly/LogRingTests", 1);
    };
    ::sigaction(SIGSEGV, &action, nullptr);
    failInsideAppend(ring);
  };
  EXPECT_EXIT(fail(), testing::KilledBySignal(SIGABRT), "Tessaly/LogRingTests:1: Fatal error: not obtainable");
}

}  // namespace
