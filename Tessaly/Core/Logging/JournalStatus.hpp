// SPDX-License-Identifier: MIT
// Component: Tessaly::Logging
#pragma once

#include <cstdint>

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

/// Whether records reach the system's journal, and the reason if they do not.
enum class JournalState : std::uint8_t {
  /// No record has been written yet, so the library has not looked for a journal.
  notTried,
  /// The journal's socket does not exist. A new record makes the library look for the socket again, at most once a
  /// second. If the socket existed before, the library also looks for it every second while records wait.
  socketMissing,
  /// Records are sent.
  sending,
  /// The journal refused a record; `JournalStatus::error` says why. `ELIBACC` means that this system lacks libsystemd,
  /// and `ENOMEM` that this process lacked the memory for the record. The library tries again every second. A record
  /// that is invalid or too large does not cause this state, because the library discards it.
  refused,
  /// The library has been sending one record for more than two seconds, because the journal does not answer.
  notAnswering,
  /// This process is the child of a fork that happened after the library had started threads. The child sends nothing.
  forkedChild,
  /// The journal's socket does not exist, and this process is in a sandbox. If the socket did not exist at the first
  /// use of the log, records go to standard error, unless `LogConfiguration::setStandardErrorOutput` switches this
  /// output off.
  sandboxed
};

/// The state of the connection to the journal.
///
/// Thread contract: thread-compatible.
///
///     const auto status = LogConfiguration::journalStatus();
///     if (status.state == JournalState::refused) std::cerr << std::strerror(status.error) << '\n';
struct JournalStatus {
  JournalState state = JournalState::notTried;
  /// The system's error number if `state` is `refused`, or else 0.
  int error = 0;
  /// The number of records that the journal has taken.
  std::uint64_t sentRecords = 0;
  /// The number of records that the store evicted before the journal took them, or that the journal rejected as invalid
  /// or too large. A signpost, which the journal never gets, also counts if the store evicts it before the library
  /// reads it.
  std::uint64_t lostRecords = 0;
};

}  // namespace Tessaly::inline v1
