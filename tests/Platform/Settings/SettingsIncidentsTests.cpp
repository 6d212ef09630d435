// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string>

#include "Tessaly/Platform/Settings/detail/SettingsIncidents.hpp"
#include "Tessaly/Platform/Testing/RecordingLogBackend.hpp"

namespace Tessaly::inline v1::detail {
namespace {

using Problem = UserDefaultsProblem;

constexpr StoreProblem full{StoreFault::diskFull, ENOSPC};
constexpr StoreProblem forbidden{StoreFault::system, EACCES};

bool has(const SettingsIncidents& incidents, Problem problem) {
  const auto problems = incidents.status().problems;
  return std::ranges::find(problems, problem, &UserDefaultsIncident::problem) != problems.end();
}

TEST(SettingsIncidents, RefusedValueDoesNotEndAFullDisk) {
  SettingsIncidents incidents("/settings");
  incidents.writesFail(full, 1);
  incidents.writesFail(Problem::valueTooLarge, 0, 1);
  EXPECT_TRUE(has(incidents, Problem::diskFull));
  EXPECT_TRUE(has(incidents, Problem::valueTooLarge));
  incidents.writesSucceed();
  EXPECT_TRUE(incidents.status().problems.empty());
}

TEST(SettingsIncidents, WritesFailForOneReasonAtATime) {
  SettingsIncidents incidents("/settings");
  incidents.writesFail(full, 1);
  incidents.writesFail(forbidden, 2);
  EXPECT_FALSE(has(incidents, Problem::diskFull));
  EXPECT_EQ(incidents.status().problem, Problem::systemError);
}

TEST(SettingsIncidents, FullListKeepsThePresentProblems) {
  SettingsIncidents incidents("/settings");
  incidents.listIsUnreadable("/settings/Settings.plist", forbidden, true);
  for (int i = 0; i < 150; ++i) {
    incidents.journalHadProblem(Problem::damagedJournal, "/settings/" + std::to_string(i), UserDefaultsEffect::none);
  }
  EXPECT_EQ(incidents.status().problems.size(), 100u);
  EXPECT_TRUE(has(incidents, Problem::unreadablePropertyList));
  EXPECT_EQ(incidents.status().problems.back().file, "/settings/149");
}

TEST(SettingsIncidents, SecondUnreadableListIsLoggedAgain) {
  const auto log = std::make_shared<RecordingLogBackend>();
  const LogBackendInstallation installation(log);
  SettingsIncidents incidents("/settings");
  for (int episode = 1; episode <= 2; ++episode) {
    incidents.listIsUnreadable("/settings/Settings.plist", forbidden, true);
    incidents.listIsUnreadable("/settings/Settings.plist", forbidden, true);
    EXPECT_EQ(log->records().size(), static_cast<std::size_t>(episode));
    incidents.listIsReadable();
  }
}

TEST(SettingsIncidents, UnreadableListIsLoggedWhenItsValuesBecomeUnknown) {
  const auto log = std::make_shared<RecordingLogBackend>();
  const LogBackendInstallation installation(log);
  SettingsIncidents incidents("/settings");
  incidents.listIsUnreadable("/settings/Settings.plist", forbidden, false);
  EXPECT_TRUE(log->records().empty());
  incidents.listIsUnreadable("/settings/Settings.plist", forbidden, true);
  EXPECT_EQ(log->records().size(), 1u);
}

TEST(SettingsIncidents, EndOfFailingWritesLogsNoOtherProblemAgain) {
  const auto log = std::make_shared<RecordingLogBackend>();
  const LogBackendInstallation installation(log);
  SettingsIncidents incidents("/settings");
  incidents.listIsUnreadable("/settings/Settings.plist", forbidden, true);
  incidents.writesFail(full, 1);
  incidents.writesSucceed();
  incidents.listIsUnreadable("/settings/Settings.plist", forbidden, true);
  EXPECT_EQ(log->records().size(), 2u);
}

}  // namespace
}  // namespace Tessaly::inline v1::detail
