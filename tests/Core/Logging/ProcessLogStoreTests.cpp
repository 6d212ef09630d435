// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Logging/ProcessLogStore.hpp"

namespace {

using namespace Tessaly;
using namespace std::chrono_literals;

LogRecord recordAt(LogTime time, std::string_view literal) {
  LogRecord record = LogRecord::make(OSLog("subsystem", "category"), OSLogType::error);
  record.time = time;
  record.format = literal;
  return record;
}

std::vector<std::string> messages(const std::vector<LogEntry>& entries) {
  std::vector<std::string> messages;
  for (const auto& entry : entries) messages.push_back(entry.composedMessage);
  return messages;
}

TEST(ProcessLogStore, DefaultCapacityIsOneMebibyte) {
  EXPECT_EQ(ProcessLogStore().capacityInBytes(), 1024u * 1024);
  EXPECT_EQ(ProcessLogStore(65536).capacityInBytes(), 65536u);
}

TEST(ProcessLogStore, ReturnsEveryPartOfAnEntry) {
  ProcessLogStore store(4096);
  const auto record = recordAt(LogTime(5s), "message");
  store.append(record);
  const auto entries = store.entries();
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].date, LogTime(5s));
  EXPECT_EQ(entries[0].type, OSLogType::error);
  EXPECT_EQ(entries[0].level(), LogEntry::Level::error);
  EXPECT_EQ(entries[0].subsystem(), "subsystem");
  EXPECT_EQ(entries[0].category(), "category");
  EXPECT_EQ(entries[0].composedMessage, "message");
  EXPECT_EQ(entries[0].processIdentifier, record.processIdentifier);
  EXPECT_EQ(entries[0].threadIdentifier, record.threadIdentifier);
  EXPECT_FALSE(entries[0].signpost);
}

TEST(ProcessLogStore, LevelsHaveTheirNumbers) {
  const auto level = [](OSLogType type) {
    ProcessLogStore store(4096);
    store.append(LogRecord::make(OSLog("subsystem", "category"), type));
    return static_cast<int>(store.entries().at(0).level());
  };
  EXPECT_EQ(level(OSLogType::debug), 1);
  EXPECT_EQ(level(OSLogType::info), 2);
  EXPECT_EQ(level(OSLogType::default_), 3);
  EXPECT_EQ(level(OSLogType::error), 4);
  EXPECT_EQ(level(OSLogType::fault), 5);
  EXPECT_EQ(static_cast<int>(LogEntry::Level::undefined), 0);
}

TEST(ProcessLogStore, GivesTheEntriesSinceADateInclusive) {
  ProcessLogStore store(65536);
  store.append(recordAt(LogTime(1s), "one"));
  store.append(recordAt(LogTime(2s), "two"));
  store.append(recordAt(LogTime(2s), "two again"));
  store.append(recordAt(LogTime(3s), "three"));
  EXPECT_EQ(messages(store.entries()), (std::vector<std::string>{"one", "two", "two again", "three"}));
  EXPECT_EQ(messages(store.entries(LogTime(2s))), (std::vector<std::string>{"two", "two again", "three"}));
  EXPECT_EQ(messages(store.entries(LogTime(2s + 1ns))), (std::vector<std::string>{"three"}));
  EXPECT_TRUE(store.entries(LogTime(4s)).empty());
}

TEST(ProcessLogStore, SortsEntriesByTime) {
  ProcessLogStore store(65536);
  store.append(recordAt(LogTime(3s), "three"));
  store.append(recordAt(LogTime(1s), "one"));
  store.append(recordAt(LogTime(3s), "three again"));
  store.append(recordAt(LogTime(2s), "two"));
  EXPECT_EQ(messages(store.entries()), (std::vector<std::string>{"one", "two", "three", "three again"}));
}

TEST(ProcessLogStore, ManyRecordsDoNotExceedTheCapacity) {
  ProcessLogStore store(65536);
  constexpr int count = 20'000;
  for (int i = 0; i < count; ++i) {
    const std::string text = std::to_string(i) + std::string(i % 200, '.');
    store.append(recordAt(LogTime(std::chrono::seconds(i)), text));
    ASSERT_LE(store.usedBytes(), store.capacityInBytes());
  }
  const auto entries = store.entries();
  EXPECT_EQ(entries.size() + store.evictedRecords(), static_cast<std::size_t>(count));
  EXPECT_GT(entries.size(), 65536u / 400);
  EXPECT_EQ(entries.back().date, LogTime(std::chrono::seconds(count - 1)));
  EXPECT_EQ(entries.front().date, LogTime(std::chrono::seconds(count - entries.size())));
}

TEST(ProcessLogStore, WritingDuringReadingIsHarmless) {
  ProcessLogStore store(16384);
  std::thread writer([&] {
    for (int i = 0; i < 50'000; ++i) store.append(recordAt(LogTime(std::chrono::seconds(i)), "text"));
  });
  for (int round = 0; round < 100; ++round) {
    const auto entries = store.entries();
    for (std::size_t i = 1; i < entries.size(); ++i) ASSERT_LT(entries[i - 1].date, entries[i].date);
  }
  writer.join();
  EXPECT_EQ(store.entries().size() + store.evictedRecords(), 50'000u);
}

}  // namespace
