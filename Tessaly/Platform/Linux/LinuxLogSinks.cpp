// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/LogSinks.hpp"
#include "Tessaly/Platform/Linux/JournalLogSink.hpp"
#include "Tessaly/Platform/Linux/StandardErrorLogSink.hpp"

namespace Tessaly::inline v1 {
namespace {

/// The sinks on Linux: the journal if its socket exists, and standard error on request. Signposts stay in the store.
class LinuxLogSinks final : public LogSinks {
 public:
  explicit LinuxLogSinks(const LogRing& ring) : journal_(ring) {}

  void write(const LogRecord& record) noexcept override {
    if (record.signpost) return;
    journal_.write(record);
    if (standardError_.isOn()) standardError_.write(record);
  }
  void flush(std::chrono::nanoseconds limit) noexcept override { journal_.flush(limit); }
  void setStandardErrorOutput(LogSwitch state) noexcept override { standardError_.set(state); }
  [[nodiscard]] JournalStatus journalStatus() const noexcept override { return journal_.status(); }

 private:
  JournalLogSink journal_;
  StandardErrorLogSink standardError_;
};

}  // namespace

std::unique_ptr<LogSinks> LogSinks::make(const LogRing& ring) { return std::make_unique<LinuxLogSinks>(ring); }

}  // namespace Tessaly::inline v1
