// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Logging/LogRecord.hpp"

namespace Tessaly::inline v1 {

/// A sink that writes each record to standard error, as a line such as
/// `2024-05-06T07:08:09.123456Z error [app.identifier.Export:Exporter] Cannot write table.csv`.
///
/// The sink writes each record with one call of `write`. It calls `write` again only after a partial or interrupted
/// write. Further lines of a message are indented. If a write fails, the rest of the record is dropped. A write to a
/// pipe without a reader does not end the process.
///
/// Thread contract: thread-safe.
///
///     output.set(LogSwitch::on);
///     if (output.isOn()) output.write(record);
class TESSALY_EXPORT StandardErrorLogSink {
 public:
  /// Switches the sink on or off. Switching on duplicates the descriptor of standard error, so a later redirection has
  /// no effect until the sink is switched on again. If standard error is closed, the sink is off afterwards.
  void set(LogSwitch state) noexcept;
  [[nodiscard]] bool isOn() const noexcept { return isOn_.load(std::memory_order_relaxed); }

  /// Writes the record. Does not check `isOn()`, so the caller must check it first.
  void write(const LogRecord& record) noexcept;

 private:
  std::atomic<bool> isOn_{false};
  std::atomic<int> descriptor_{-1};  // Open from the first `on` to the process's end, because a thread may be writing.
};

}  // namespace Tessaly::inline v1
