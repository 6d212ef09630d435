// SPDX-License-Identifier: MIT
// Component: Tessaly::Logging
#pragma once

#include "Tessaly/Core/Base/Durations.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Logging/JournalStatus.hpp"
#include "Tessaly/Core/Logging/LogRecord.hpp"

namespace Tessaly::inline v1 {

class LogRing;

/// The destinations that records have in addition to the store of the process. On Linux, these are the journal and
/// standard error.
///
/// The system's log backend passes every record to `write` after the store has taken the record.
///
/// Thread contract: thread-safe. The sinks are never destroyed, because the thread of the journal never ends.
///
///     static LogSinks& sinks = LogSinks::make(store.ring());
///     store.append(record);
///     sinks.write(record);
class TESSALY_EXPORT LogSinks {
 public:
  LogSinks() = default;
  LogSinks(const LogSinks&) = delete;
  LogSinks& operator=(const LogSinks&) = delete;

  /// Passes a record to the destinations. The caller must have appended the record to the ring before. An
  /// implementation must not log anything itself, because that would call `write` again.
  virtual void write(const LogRecord& record) noexcept = 0;
  /// Waits, for at most `limit`, while the sinks send the records that were passed to `write` before the call. Returns
  /// early if sending fails.
  virtual void flush(std::chrono::nanoseconds limit) noexcept = 0;
  /// See `LogConfiguration::setStandardErrorOutput`.
  virtual void setStandardErrorOutput(LogSwitch state) noexcept = 0;
  [[nodiscard]] virtual JournalStatus journalStatus() const noexcept = 0;

  /// Makes the sinks of the running system. After the first `write`, the ring must live until the process ends, because
  /// a thread of a sink may still read the ring. Throws `std::bad_alloc`.
  [[nodiscard]] static LogSinks& make(const LogRing& ring);

 protected:
  virtual ~LogSinks();

 private:
  friend class SystemLogBackend;  // Destroys sinks that have never taken a record.
};

}  // namespace Tessaly::inline v1
