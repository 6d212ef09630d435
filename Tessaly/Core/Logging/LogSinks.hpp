// SPDX-License-Identifier: MIT
// Component: Tessaly::Logging
#pragma once

#include <chrono>
#include <memory>

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
/// Thread contract: thread-safe. The sinks of `SystemLogBackend::shared()` are never destroyed.
///
///     const std::unique_ptr<LogSinks> sinks = LogSinks::make(store.ring());
///     store.append(record);
///     sinks->write(record);
class TESSALY_EXPORT LogSinks {
 public:
  LogSinks() = default;
  LogSinks(const LogSinks&) = delete;
  LogSinks& operator=(const LogSinks&) = delete;
  virtual ~LogSinks();

  /// Passes a record to the destinations. The caller must have appended the record to the ring before. An
  /// implementation must not log anything itself, because that would call `write` again.
  virtual void write(const LogRecord& record) noexcept = 0;
  /// Waits, for at most `limit`, while the sinks send the records that were passed to `write` before the call. Returns
  /// early if sending fails.
  virtual void flush(std::chrono::nanoseconds limit) noexcept = 0;
  /// See `LogConfiguration::setStandardErrorOutput`.
  virtual void setStandardErrorOutput(LogSwitch state) noexcept = 0;
  [[nodiscard]] virtual JournalStatus journalStatus() const noexcept = 0;

  /// Makes the sinks of the running system. After the first `write`, the sinks and the ring must live until the process
  /// ends, because a thread of a sink may still read the ring. Throws `std::bad_alloc`.
  [[nodiscard]] static std::unique_ptr<LogSinks> make(const LogRing& ring);
};

}  // namespace Tessaly::inline v1
