// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Platform/Settings/UserDefaultsStatus.hpp"
#include "Tessaly/Platform/Settings/detail/StoreProblem.hpp"

namespace Tessaly::inline v1::detail {

/// The problems of one store: its status, and one line in the log for each beginning of a problem.
///
/// Thread contract: thread-safe.
class TESSALY_EXPORT SettingsIncidents {
 public:
  explicit SettingsIncidents(std::string directory);

  [[nodiscard]] UserDefaultsStatus status() const;

  /// Writes cannot be stored, for this reason.
  void writesFail(const StoreProblem& problem, std::size_t unstoredKeys);
  /// The same without a reason of the system's.
  void writesFail(UserDefaultsProblem problem, std::int32_t errorCode, std::size_t unstoredKeys);
  /// Everything that was written is stored.
  void writesSucceed();

  /// The property list cannot be read. With unknown values that is logged at once. A damaged list is logged when it is
  /// set aside, and any other one is only listed.
  void listIsUnreadable(const std::string& path, const StoreProblem& problem, bool areValuesUnknown);
  void listIsReadable();
  /// A damaged property list was set aside under this path.
  void listWasSetAside(const std::string& path, bool wereValuesUnknown);

  /// A journal was damaged or overwritten. `path` is where the file is now.
  void journalHadProblem(UserDefaultsProblem problem, const std::string& path, UserDefaultsEffect effect);

 private:
  void add(UserDefaultsIncident incident, bool isLogged) TESSALY_REQUIRES(lock_);
  void summarize() TESSALY_REQUIRES(lock_);

  mutable UnfairLock lock_;
  UserDefaultsStatus status_ TESSALY_GUARDED_BY(lock_);
  std::uint32_t logged_ TESSALY_GUARDED_BY(lock_) = 0;
  /// So that a write that succeeds as always takes no lock.
  std::atomic<bool> doWritesFail_{false};
};

}  // namespace Tessaly::inline v1::detail
