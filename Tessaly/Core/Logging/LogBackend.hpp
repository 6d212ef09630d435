// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <memory>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Logging/LogRecord.hpp"

namespace Tessaly::inline v1 {

class ProcessLogStore;

/// Where records go. The system's backend is made at the first record: a bounded store in the process first, then the
/// journal if there is one, and standard error on request.
///
/// Thread contract: thread-safe; an implementation is called on any thread, by several at once.
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

  /// Takes one record of an enabled type. Must copy what it keeps, and must not write records itself.
  virtual void write(const LogRecord& record) noexcept = 0;
  /// Waits until what was written has left the process, at most `limit`.
  virtual void flush(std::chrono::nanoseconds limit) noexcept;
  /// The records of this process, if the backend keeps them. Lives as long as the process.
  [[nodiscard]] virtual const ProcessLogStore* store() const noexcept;

  /// The backend in use.
  [[nodiscard]] static LogBackend& current() noexcept;
};

/// Puts a backend in the place of the one in use, and puts that back at its end. The backend is kept until the process
/// ends, since a record may be on its way to it at any time.
///
/// Thread contract: thread-compatible. Of two, the one made later ends first.
///
///     const LogBackendInstallation installation(std::make_shared<LineCounter>());
class TESSALY_EXPORT LogBackendInstallation {
 public:
  explicit LogBackendInstallation(std::shared_ptr<LogBackend> backend);
  ~LogBackendInstallation();
  LogBackendInstallation(const LogBackendInstallation&) = delete;
  LogBackendInstallation& operator=(const LogBackendInstallation&) = delete;

 private:
  LogBackend* previous_;
};

}  // namespace Tessaly::inline v1
