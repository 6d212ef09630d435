// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Logging/LogBackend.hpp"
#include "Tessaly/Core/Logging/ProcessLogStore.hpp"
#include "Tessaly/Platform/Linux/JournalLogBackend.hpp"
#include "Tessaly/Platform/Linux/StandardErrorLogBackend.hpp"

namespace Tessaly::inline v1 {

/// The log of a process on Linux: the bounded store first, then the journal when its socket exists, and standard error
/// on request. Signposts stay in the store.
///
/// Thread contract: thread-safe. In the child of a fork the store starts with the parent's records and goes on.
///
///     LogBackend& backend = SystemLogBackend::shared();
class TESSALY_EXPORT SystemLogBackend final : public LogBackend {
 public:
  /// Made at first use, never destroyed. Stops the process when there is no memory for its store.
  [[nodiscard]] static SystemLogBackend& shared() noexcept;
  /// See `LogConfiguration::setStoreCapacity`.
  static bool setStoreCapacity(std::size_t bytes) noexcept;

  void write(const LogRecord& record) noexcept override;
  void flush(std::chrono::nanoseconds limit) noexcept override;
  [[nodiscard]] const ProcessLogStore* store() const noexcept override { return &store_; }

  void setStandardErrorOutput(LogSwitch state) noexcept { standardError_.set(state); }
  [[nodiscard]] JournalStatus journalStatus() const noexcept { return journal_.status(); }

 private:
  explicit SystemLogBackend(std::size_t capacityInBytes) : store_(capacityInBytes), journal_(store_.ring()) {}
  static SystemLogBackend& makeShared() noexcept;
  static void flushBeforeAbort() noexcept;

  ProcessLogStore store_;
  JournalLogBackend journal_;
  StandardErrorLogBackend standardError_;
};

}  // namespace Tessaly::inline v1
