// SPDX-License-Identifier: MIT
// Component: Tessaly::Logging
#pragma once

#include <cstddef>

#include "Tessaly/Core/Base/Durations.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Logging/LogBackend.hpp"
#include "Tessaly/Core/Logging/LogSinks.hpp"
#include "Tessaly/Core/Logging/ProcessLogStore.hpp"

namespace Tessaly::inline v1 {

/// The system's log backend, which is in use unless another backend is installed. It passes each record to the bounded
/// store first, then to the system's sinks.
///
/// Thread contract: thread-safe. In the child of a fork the store contains the parent's records and takes new ones.
///
///     LogBackend& backend = SystemLogBackend::shared();
class TESSALY_EXPORT SystemLogBackend final : public LogBackend {
 public:
  /// The system's backend, even while another backend is installed. It is made at first use and never destroyed. Stops
  /// the process if there is not enough memory for the store.
  [[nodiscard]] static SystemLogBackend& shared() noexcept;
  /// See `LogConfiguration::setStoreCapacity`.
  static bool setStoreCapacity(std::size_t bytes) noexcept;

  void write(const LogRecord& record) noexcept override {
    store_.append(record);
    sinks_.write(record);
  }
  void flush(std::chrono::nanoseconds limit) noexcept override { sinks_.flush(limit); }
  [[nodiscard]] const ProcessLogStore* store() const noexcept override { return &store_; }
  void setStandardErrorOutput(LogSwitch state) noexcept override { sinks_.setStandardErrorOutput(state); }
  [[nodiscard]] JournalStatus journalStatus() const noexcept override { return sinks_.journalStatus(); }

 private:
  explicit SystemLogBackend(std::size_t capacityInBytes)
      : store_(capacityInBytes), sinks_(LogSinks::make(store_.ring())) {}
  /// Destroys a backend that another thread's backend has made unnecessary. It has never taken a record.
  ~SystemLogBackend() override { delete &sinks_; }
  static SystemLogBackend& makeShared() noexcept;
  static void flushBeforeAbort() noexcept;

  ProcessLogStore store_;
  LogSinks& sinks_;
};

}  // namespace Tessaly::inline v1
