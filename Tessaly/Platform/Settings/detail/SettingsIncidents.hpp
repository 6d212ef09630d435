// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Platform/Settings/UserDefaultsStatus.hpp"
#include "Tessaly/Platform/Settings/detail/StoreProblem.hpp"

namespace Tessaly::inline v1::detail {

/// The status of one store, as a list of its problems. An ongoing problem is logged at most once until it ends.
///
/// Thread contract: thread-safe.
class TESSALY_EXPORT SettingsIncidents {
 public:
  explicit SettingsIncidents(std::string directory);

  [[nodiscard]] UserDefaultsStatus status() const;

  /// Notes in the status that writes fail, with the reason `problem`. Logs the reason once. This reason replaces any
  /// earlier reason. `unstoredKeys` is the number of keys whose latest values are only in memory.
  void writesFail(const StoreProblem& problem, std::size_t unstoredKeys);
  /// Adds a problem to the status: writes fail for a reason that is not a `StoreProblem`. Logs the reason once. The
  /// reason replaces any earlier reason, except that `valueTooLarge` replaces no other reason. `unstoredKeys` is the
  /// number of keys whose latest values are only in memory.
  void writesFail(UserDefaultsProblem problem, std::int32_t errorCode, std::size_t unstoredKeys);
  /// Records that all written values are stored. Removes from the status all problems that prevent writes.
  void writesSucceed();

  /// Records that the property list at `path` cannot be read. Logs the problem at once if the values are unknown and
  /// the list is not damaged. A damaged list is logged when it is set aside. Any other problem of the list only appears
  /// in the status.
  void listIsUnreadable(const std::string& path, const StoreProblem& problem, bool areValuesUnknown);
  void listIsReadable();
  /// Records and logs that a damaged property list was set aside. `path` is its new path.
  void listWasSetAside(const std::string& path, bool wereValuesUnknown);

  /// Records that a journal was damaged or overwritten. Logs each such problem once for each path. `path` is the
  /// present path of the file.
  void journalHadProblem(UserDefaultsProblem problem, const std::string& path, UserDefaultsEffect effect);

 private:
  void add(UserDefaultsIncident incident, bool isLogged) TESSALY_REQUIRES(lock_);
  /// Logs the problem, unless it is ongoing and already logged.
  void logOnce(const UserDefaultsIncident& incident) TESSALY_REQUIRES(lock_);
  void summarize() TESSALY_REQUIRES(lock_);

  mutable UnfairLock lock_;
  UserDefaultsStatus status_ TESSALY_GUARDED_BY(lock_);
  std::uint32_t logged_ TESSALY_GUARDED_BY(lock_) = 0;
  /// Whether `writesFail` was called after the last `writesSucceed`. If not, `writesSucceed` returns without acquiring
  /// the lock.
  std::atomic<bool> doWritesFail_{false};
};

}  // namespace Tessaly::inline v1::detail
