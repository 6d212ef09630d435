// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

#include "Tessaly/Core/Logging/LogConfiguration.hpp"
#include "Tessaly/Core/Logging/OSLogStore.hpp"
#include "Tessaly/Core/Logging/OSSignposter.hpp"
#include "Tessaly/Platform/Testing/RecordingLogBackend.hpp"

namespace {

using namespace Tessaly;

struct SomeType {};

void expectSignpost(const LogEntry& entry, LogSignpostKind kind, std::string_view name, OSSignpostID id) {
  ASSERT_TRUE(entry.signpost);
  EXPECT_EQ(entry.signpost->kind, kind);
  EXPECT_EQ(entry.signpost->name, name);
  EXPECT_EQ(entry.signpost->id, id.rawValue());
  EXPECT_EQ(entry.composedMessage, "");
}

TEST(OSSignposter, TypedSignposterKeepsTheGivenSubsystem) {
  const OSSignposter signposter("Export", Type<SomeType>());
  EXPECT_EQ(signposter.log().subsystem(), "Export");
  EXPECT_EQ(signposter.log().category(), "SomeType");
}

TEST(OSSignposter, UsesTheGivenLog) {
  EXPECT_EQ(OSSignposter("a", "b").log(), OSLog("a", "b"));
  EXPECT_EQ(OSSignposter(OSLog("a", "b")).log(), OSLog("a", "b"));
  EXPECT_EQ(OSSignposter(Logger("a", "b")).log(), OSLog("a", "b"));
}

TEST(OSSignposter, KeepsAnIntervalWithOneIdentifierInTheStore) {
  const OSSignposter signposter("a", "b");
  const OSSignpostID id = signposter.makeSignpostID();
  auto state = signposter.beginInterval("parse", id);
  EXPECT_EQ(state.signpostID(), id);
  signposter.emitEvent("row");
  signposter.endInterval("parse", state);
  const auto entries = OSLogStore::currentProcess().entries();
  ASSERT_EQ(entries.size(), 3u);
  expectSignpost(entries[0], LogSignpostKind::begin, "parse", id);
  expectSignpost(entries[1], LogSignpostKind::event, "row", OSSignpostID::exclusive);
  expectSignpost(entries[2], LogSignpostKind::end, "parse", id);
  EXPECT_EQ(entries[0].log, OSLog("a", "b"));
}

TEST(OSSignposter, AnIntervalWithoutIdentifierIsExclusive) {
  const OSSignposter signposter("a", "b");
  auto state = signposter.beginInterval("parse");
  signposter.endInterval("parse", state);
  const auto entries = OSLogStore::currentProcess().entries();
  ASSERT_EQ(entries.size(), 2u);
  expectSignpost(entries[0], LogSignpostKind::begin, "parse", OSSignpostID::exclusive);
  expectSignpost(entries[1], LogSignpostKind::end, "parse", OSSignpostID::exclusive);
}

TEST(OSSignposter, EndingAnIntervalAgainDoesNothing) {
  const OSSignposter signposter("a", "b");
  auto state = signposter.beginInterval("parse");
  auto moved = std::move(state);
  signposter.endInterval("parse", state);
  EXPECT_EQ(OSLogStore::currentProcess().entries().size(), 1u);
  signposter.endInterval("parse", moved);
  signposter.endInterval("parse", moved);
  EXPECT_EQ(OSLogStore::currentProcess().entries().size(), 2u);
}

TEST(OSSignposter, BodyRunsWithinAnIntervalAndReturnsItsResult) {
  const OSSignposter signposter("a", "b");
  EXPECT_EQ(signposter.withIntervalSignpost("work",
                                            [&] {
                                              signposter.emitEvent("inside");
                                              return 42;
                                            }),
            42);
  int value = 1;
  int& reference = signposter.withIntervalSignpost("work", OSSignpostID(9), [&]() -> int& { return value; });
  EXPECT_EQ(&reference, &value);
  const auto entries = OSLogStore::currentProcess().entries();
  ASSERT_EQ(entries.size(), 5u);
  expectSignpost(entries[0], LogSignpostKind::begin, "work", OSSignpostID::exclusive);
  expectSignpost(entries[1], LogSignpostKind::event, "inside", OSSignpostID::exclusive);
  expectSignpost(entries[2], LogSignpostKind::end, "work", OSSignpostID::exclusive);
  expectSignpost(entries[3], LogSignpostKind::begin, "work", OSSignpostID(9));
  expectSignpost(entries[4], LogSignpostKind::end, "work", OSSignpostID(9));
}

TEST(OSSignposter, ThrowingBodyEndsItsInterval) {
  const OSSignposter signposter("a", "b");
  EXPECT_THROW(signposter.withIntervalSignpost("work", [] { throw std::runtime_error("no"); }), std::runtime_error);
  const auto entries = OSLogStore::currentProcess().entries();
  ASSERT_EQ(entries.size(), 2u);
  expectSignpost(entries[1], LogSignpostKind::end, "work", OSSignpostID::exclusive);
}

TEST(OSSignposter, WritesNothingWhenSignpostsAreDisabled) {
  const auto backend = std::make_shared<RecordingLogBackend>();
  const LogBackendInstallation installation(backend);
  const OSSignposter signposter("a", "b");
  LogConfiguration::setSignpostsEnabled(LogSwitch::off);
  EXPECT_FALSE(signposter.isEnabled());
  auto state = signposter.beginInterval("parse");
  signposter.emitEvent("row");
  // An interval without a beginning gets no end either.
  LogConfiguration::setSignpostsEnabled(LogSwitch::on);
  EXPECT_TRUE(signposter.isEnabled());
  signposter.endInterval("parse", state);
  EXPECT_TRUE(backend->records().empty());
}

TEST(OSSignposter, AnIntervalBegunBeforeSignpostsWereDisabledIsEnded) {
  const OSSignposter signposter("a", "b");
  auto state = signposter.beginInterval("parse");
  LogConfiguration::setSignpostsEnabled(LogSwitch::off);
  signposter.endInterval("parse", state);
  EXPECT_EQ(OSLogStore::currentProcess().entries().size(), 2u);
}

TEST(OSSignposter, IdentifiersAreUniqueAcrossThreads) {
  const OSSignposter signposter("a", "b");
  std::vector<std::uint64_t> ids[2];
  std::vector<std::thread> threads;
  for (auto& list : ids) {
    threads.emplace_back([&] {
      for (int i = 0; i < 10'000; ++i) list.push_back(signposter.makeSignpostID().rawValue());
    });
  }
  for (auto& thread : threads) thread.join();
  std::set<std::uint64_t> all(ids[0].begin(), ids[0].end());
  all.insert(ids[1].begin(), ids[1].end());
  EXPECT_EQ(all.size(), 20'000u);
  EXPECT_FALSE(all.contains(0));
  EXPECT_FALSE(all.contains(OSSignpostID::exclusive.rawValue()));
}

}  // namespace
