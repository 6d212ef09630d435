// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/LogSinks.hpp"
#include "Tessaly/Platform/Linux/JournalLogSink.hpp"
#include "Tessaly/Platform/Linux/Sandbox.hpp"
#include "Tessaly/Platform/Linux/StandardErrorLogSink.hpp"

namespace Tessaly::inline v1 {
namespace {

/// The sinks on Linux: the journal if its socket exists, and standard error on request or if a sandbox hides the
/// journal. Signposts stay in the store.
class LinuxLogSinks final : public LogSinks {
 public:
  explicit LinuxLogSinks(const LogRing& ring) : journal_(ring) {
    if (isSandboxed_ && !journal_.isSocketThere()) standardError_.set(LogSwitch::on);
  }

  void write(const LogRecord& record) noexcept override {
    if (record.signpost) return;
    journal_.write(record);
    if (standardError_.isOn()) standardError_.write(record);
  }
  void flush(std::chrono::nanoseconds limit) noexcept override { journal_.flush(limit); }
  void setStandardErrorOutput(LogSwitch state) noexcept override { standardError_.set(state); }
  [[nodiscard]] JournalStatus journalStatus() const noexcept override {
    JournalStatus status = journal_.status();
    if (isSandboxed_ && status.state == JournalState::socketMissing) status.state = JournalState::sandboxed;
    return status;
  }

 private:
  const bool isSandboxed_ = detail::readSandbox().has_value();
  JournalLogSink journal_;
  StandardErrorLogSink standardError_;
};

}  // namespace

LogSinks& LogSinks::make(const LogRing& ring) { return *new LinuxLogSinks(ring); }

}  // namespace Tessaly::inline v1
