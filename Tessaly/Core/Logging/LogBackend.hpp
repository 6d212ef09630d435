// SPDX-License-Identifier: MIT
// Component: Tessaly::Logging
#pragma once

#include "Tessaly/Core/Base/BackendInstallation.hpp"
#include "Tessaly/Core/Base/Durations.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Logging/JournalStatus.hpp"
#include "Tessaly/Core/Logging/LogRecord.hpp"

namespace Tessaly::inline v1 {

class ProcessLogStore;

/// The destination of records.
///
/// The system's backend is made at its first use. It keeps records in a bounded store of the process, then passes them
/// to the journal if there is one, and to standard error if that output is on.
///
/// Thread contract: thread-safe. An implementation is called on any thread, by several threads at once.
///
///     class LineCounter final : public LogBackend {
///      public:
///       void write(const LogRecord&) noexcept override { ++lines_; }
///
///      private:
///       std::atomic<int> lines_{0};
///     };
class TESSALY_EXPORT LogBackend {
 public:
  LogBackend() = default;
  LogBackend(const LogBackend&) = delete;
  LogBackend& operator=(const LogBackend&) = delete;
  virtual ~LogBackend();

  /// Takes one record of an enabled type, or one enabled signpost. An implementation must copy the parts that it keeps.
  /// It must not log anything itself, because that would call `write` again.
  virtual void write(const LogRecord& record) noexcept = 0;
  /// Waits, for at most `limit`, until the backend has sent the records that were written before the call. Returns
  /// early if sending fails. The default implementation does nothing.
  virtual void flush(std::chrono::nanoseconds limit) noexcept;
  /// The store of this process's records, or null if the backend has no store. The store must live until the process
  /// ends, because each `OSLogStore` keeps a pointer to it.
  [[nodiscard]] virtual const ProcessLogStore* store() const noexcept;

  /// See `LogConfiguration::setStandardErrorOutput`. Does nothing if the backend does not support this setting.
  virtual void setStandardErrorOutput(LogSwitch state) noexcept;
  /// The state of the connection to the journal. A backend without a journal returns the state `notTried`.
  [[nodiscard]] virtual JournalStatus journalStatus() const noexcept;

  /// The backend in use.
  [[nodiscard]] static LogBackend& current() noexcept;
  /// The system's backend, even while another backend is installed.
  [[nodiscard]] static LogBackend& system() noexcept;
  /// The pointer to the installed backend, or null while the system's backend is in use. `BackendInstallation` changes
  /// this pointer.
  [[nodiscard]] static InstalledBackend<LogBackend>& installed() noexcept;
};

/// Replaces the log backend for a scope.
using LogBackendInstallation = BackendInstallation<LogBackend>;

}  // namespace Tessaly::inline v1
