// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Logging/LogConfiguration.hpp"
#include "Tessaly/Core/Logging/OSLog.hpp"
#include "tests/Support/Allocations.hpp"
#include "tests/Support/Repetitions.hpp"

namespace {

using namespace Tessaly;

constexpr OSLogType allTypes[] = {OSLogType::default_, OSLogType::info, OSLogType::debug, OSLogType::error,
                                  OSLogType::fault};

TEST(OSLog, KeepsItsSubsystemAndCategory) {
  const OSLog log("app.identifier.Export", "Exporter");
  EXPECT_EQ(log.subsystem(), "app.identifier.Export");
  EXPECT_EQ(log.category(), "Exporter");
}

TEST(OSLog, HandlesOfOnePairAreEqual) {
  EXPECT_EQ(OSLog("a", "b"), OSLog(std::string("a"), std::string("b")));
  EXPECT_NE(OSLog("a", "b"), OSLog("a", "c"));
  EXPECT_NE(OSLog("a", "b"), OSLog("b", "a"));
  EXPECT_NE(OSLog("ab", "c"), OSLog("a", "bc"));
}

TEST(OSLog, ManyPairsAreDistinct) {
  std::vector<OSLog> logs;
  for (int i = 0; i < 1000; ++i) logs.emplace_back("subsystem", std::to_string(i));
  for (int i = 0; i < 1000; ++i) {
    EXPECT_EQ(logs[i].category(), std::to_string(i));
    EXPECT_EQ(logs[i], OSLog("subsystem", std::to_string(i)));
  }
}

TEST(OSLog, NamingAKnownPairAllocatesNothing) {
  const OSLog first("subsystem", "category");
  EXPECT_EQ(Tests::allocationsOf([&] { EXPECT_EQ(OSLog("subsystem", "category"), first); }), 0);
}

TEST(OSLog, PointsOfInterestIsAWellKnownCategory) {
  EXPECT_EQ(OSLog::Category::pointsOfInterest.rawValue(), "PointsOfInterest");
  EXPECT_EQ(OSLog("a", OSLog::Category::pointsOfInterest).category(), "PointsOfInterest");
}

TEST(OSLog, DefaultErrorAndFaultAreEnabledAtFirst) {
  const OSLog log("a", "b");
  EXPECT_TRUE(log.isEnabled(OSLogType::default_));
  EXPECT_TRUE(log.isEnabled(OSLogType::error));
  EXPECT_TRUE(log.isEnabled(OSLogType::fault));
  EXPECT_FALSE(log.isEnabled(OSLogType::info));
  EXPECT_FALSE(log.isEnabled(OSLogType::debug));
  EXPECT_TRUE(log.areSignpostsEnabled());
}

TEST(OSLog, EachTypeIsSetIndependently) {
  const OSLog before("a", "before");
  for (const auto type : allTypes) {
    LogConfiguration::setEnabled(type, LogSwitch::off);
    for (const auto other : allTypes) {
      LogConfiguration::setEnabled(other, other == type ? LogSwitch::on : LogSwitch::off);
    }
    const OSLog after("a", "after" + std::to_string(static_cast<int>(type)));
    for (const auto other : allTypes) {
      EXPECT_EQ(before.isEnabled(other), other == type);
      EXPECT_EQ(after.isEnabled(other), other == type);
    }
    EXPECT_TRUE(before.areSignpostsEnabled());
  }
}

TEST(OSLog, SettingOfOneLogOverridesTheProcess) {
  const OSLog loud("a", "loud");
  const OSLog other("a", "other");
  LogConfiguration::setEnabled(loud, OSLogType::debug, LogSwitch::on);
  LogConfiguration::setEnabled(loud, OSLogType::error, LogSwitch::off);
  EXPECT_TRUE(loud.isEnabled(OSLogType::debug));
  EXPECT_FALSE(loud.isEnabled(OSLogType::error));
  EXPECT_FALSE(other.isEnabled(OSLogType::debug));
  EXPECT_TRUE(other.isEnabled(OSLogType::error));

  LogConfiguration::setEnabled(OSLogType::debug, LogSwitch::off);
  LogConfiguration::setEnabled(OSLogType::error, LogSwitch::on);
  EXPECT_TRUE(loud.isEnabled(OSLogType::debug));
  EXPECT_FALSE(loud.isEnabled(OSLogType::error));

  LogConfiguration::resetEnabled(loud);
  EXPECT_FALSE(loud.isEnabled(OSLogType::debug));
  EXPECT_TRUE(loud.isEnabled(OSLogType::error));
}

TEST(OSLog, SignpostsAreSetIndependentlyOfTypes) {
  const OSLog log("a", "b");
  LogConfiguration::setSignpostsEnabled(LogSwitch::off);
  EXPECT_FALSE(log.areSignpostsEnabled());
  EXPECT_TRUE(log.isEnabled(OSLogType::default_));
  LogConfiguration::setSignpostsEnabled(log, LogSwitch::on);
  EXPECT_TRUE(log.areSignpostsEnabled());
  EXPECT_FALSE(OSLog("a", "c").areSignpostsEnabled());
}

TEST(OSLog, ThreadsThatNameOnePairAtOnceGetOneLog) {
  const int rounds = Tests::repetitions(300);
  for (int round = 0; round < rounds; ++round) {
    const std::string category = std::to_string(round);
    std::atomic<int> ready{0};
    const OSLog* logs[2];
    std::vector<std::thread> threads;
    for (auto& log : logs) {
      threads.emplace_back([&] {
        ++ready;
        while (ready < 2) {
        }
        log = new OSLog("race", category);
      });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(*logs[0], *logs[1]);
    for (const auto* log : logs) delete log;
  }
}

TEST(OSLog, ProcessSettingReachesANewLog) {
  const int rounds = Tests::repetitions(300);
  for (int round = 0; round < rounds; ++round) {
    const auto wanted = round % 2 == 0 ? LogSwitch::on : LogSwitch::off;
    std::atomic<int> ready{0};
    std::thread changer([&] {
      ++ready;
      while (ready < 2) {
      }
      LogConfiguration::setEnabled(OSLogType::debug, wanted);
    });
    ++ready;
    while (ready < 2) {
    }
    const OSLog log("made-meanwhile", std::to_string(round));
    changer.join();
    EXPECT_EQ(log.isEnabled(OSLogType::debug), wanted == LogSwitch::on);
  }
}

TEST(OSLog, ConcurrentSettingsAreBothKept) {
  const OSLog log("choices", "both");
  const int rounds = Tests::repetitions(300);
  for (int round = 0; round < rounds; ++round) {
    const auto first = round % 2 == 0 ? LogSwitch::on : LogSwitch::off;
    const auto second = round % 3 == 0 ? LogSwitch::on : LogSwitch::off;
    std::thread thread([&] { LogConfiguration::setEnabled(log, OSLogType::info, first); });
    LogConfiguration::setEnabled(log, OSLogType::debug, second);
    thread.join();
    EXPECT_EQ(log.isEnabled(OSLogType::info), first == LogSwitch::on);
    EXPECT_EQ(log.isEnabled(OSLogType::debug), second == LogSwitch::on);
  }
}

}  // namespace
