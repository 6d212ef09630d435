// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Settings/detail/SettingsIncidents.hpp"

#include <algorithm>
#include <utility>

#include "Tessaly/Core/Logging/detail/PlatformLog.hpp"

namespace Tessaly::inline v1::detail {
namespace {

using Problem = UserDefaultsProblem;

/// Whether the problem keeps writes from the disk.
bool isOfWrites(Problem problem) noexcept { return problem >= Problem::noFolder && problem <= Problem::lockHeld; }

bool isOfList(Problem problem) noexcept {
  return problem == Problem::unreadablePropertyList || problem == Problem::damagedPropertyList;
}

constexpr std::uint32_t bitOf(Problem problem) noexcept { return 1u << static_cast<unsigned>(problem); }

constexpr std::uint32_t bitsOfList = bitOf(Problem::unreadablePropertyList) | bitOf(Problem::damagedPropertyList);

Problem problemOf(const StoreProblem& problem) noexcept {
  switch (problem.fault) {
    case StoreFault::readOnly:
      return Problem::readOnly;
    case StoreFault::diskFull:
      return Problem::diskFull;
    case StoreFault::newerVersion:
      return Problem::newerVersion;
    case StoreFault::lockHeld:
      return Problem::lockHeld;
    default:
      return Problem::systemError;
  }
}

}  // namespace

SettingsIncidents::SettingsIncidents(std::string directory) { status_.folder = std::move(directory); }

UserDefaultsStatus SettingsIncidents::status() const {
  const UnfairLock::Guard guard(lock_);
  return status_;
}

void SettingsIncidents::writesFail(const StoreProblem& problem, std::size_t unstoredKeys) {
  writesFail(problemOf(problem), problem.errorCode, unstoredKeys);
}

void SettingsIncidents::writesFail(Problem problem, std::int32_t errorCode, std::size_t unstoredKeys) {
  const UnfairLock::Guard guard(lock_);
  doWritesFail_.store(true, std::memory_order_relaxed);
  status_.unstoredKeys = static_cast<std::int64_t>(unstoredKeys);
  // A write fails for one reason at a time. A refused value says nothing about the values that were written before.
  const bool isRefused = problem == Problem::valueTooLarge;
  std::erase_if(status_.problems,
                [&](const auto& known) { return !isRefused && isOfWrites(known.problem) && known.problem != problem; });
  add({.problem = problem,
       .file = status_.folder,
       .effect = isRefused ? UserDefaultsEffect::none : UserDefaultsEffect::inMemoryOnly,
       .healsByItself = problem != Problem::noFolder && problem != Problem::newerVersion && !isRefused,
       .errorCode = errorCode},
      true);
}

void SettingsIncidents::writesSucceed() {
  if (!doWritesFail_.load(std::memory_order_relaxed)) return;
  const UnfairLock::Guard guard(lock_);
  doWritesFail_.store(false, std::memory_order_relaxed);
  status_.unstoredKeys = 0;
  std::erase_if(status_.problems, [](const auto& known) { return isOfWrites(known.problem); });
  logged_ &= bitsOfList;
  summarize();
}

void SettingsIncidents::listIsUnreadable(const std::string& path, const StoreProblem& problem, bool areValuesUnknown) {
  const bool isDamaged = problem.fault == StoreFault::damaged || problem.fault == StoreFault::notAFile;
  const UnfairLock::Guard guard(lock_);
  add({.problem = isDamaged ? Problem::damagedPropertyList : Problem::unreadablePropertyList,
       .file = path,
       .effect = areValuesUnknown ? UserDefaultsEffect::notRead : UserDefaultsEffect::none,
       .errorCode = problem.errorCode},
      areValuesUnknown && !isDamaged);
}

void SettingsIncidents::listIsReadable() {
  const UnfairLock::Guard guard(lock_);
  const auto count =
      std::erase_if(status_.problems, [](const auto& known) { return known.isOngoing && isOfList(known.problem); });
  if (count == 0) return;
  logged_ &= ~bitsOfList;
  summarize();
}

void SettingsIncidents::listWasSetAside(const std::string& path, bool wereValuesUnknown) {
  listIsReadable();
  const UnfairLock::Guard guard(lock_);
  status_.damagedFile = path;
  add({.problem = Problem::damagedPropertyList,
       .file = path,
       .effect = wereValuesUnknown ? UserDefaultsEffect::mayBeLost : UserDefaultsEffect::none,
       .isOngoing = false},
      true);
}

void SettingsIncidents::journalHadProblem(Problem problem, const std::string& path, UserDefaultsEffect effect) {
  const UnfairLock::Guard guard(lock_);
  add({.problem = problem, .file = path, .effect = effect, .isOngoing = false}, true);
}

void SettingsIncidents::add(UserDefaultsIncident incident, bool isLogged) {
  constexpr std::size_t maximumProblems = 100;
  incident.time = Date::now();
  const auto known = std::ranges::find_if(status_.problems, [&](const auto& former) {
    return former.problem == incident.problem && former.file == incident.file && former.isOngoing == incident.isOngoing;
  });
  if (known != status_.problems.end()) {
    if (!incident.isOngoing) known->time = incident.time;
    known->errorCode = incident.errorCode;
    known->effect = std::max(known->effect, incident.effect);
    if (isLogged && known->isOngoing) logOnce(*known);
    return summarize();
  }
  if (status_.problems.size() >= maximumProblems) {
    const auto oldestPast = std::ranges::find(status_.problems, false, &UserDefaultsIncident::isOngoing);
    if (oldestPast != status_.problems.end()) status_.problems.erase(oldestPast);
  }
  if (isLogged) logOnce(incident);
  status_.problems.push_back(std::move(incident));
  summarize();
}

void SettingsIncidents::logOnce(const UserDefaultsIncident& incident) {
  const std::uint32_t bit = incident.isOngoing ? bitOf(incident.problem) : 0;
  if ((logged_ & bit) != 0) return;
  logged_ |= bit;
  logPlatformError("UserDefaults", incident.description());
}

void SettingsIncidents::summarize() {
  status_.problem = Problem::none;
  status_.errorCode = 0;
  for (const auto& incident : status_.problems) {
    if (!incident.isOngoing || (status_.problem != Problem::none && !isOfWrites(incident.problem))) continue;
    status_.problem = incident.problem;
    status_.errorCode = incident.errorCode;
  }
}

}  // namespace Tessaly::inline v1::detail
