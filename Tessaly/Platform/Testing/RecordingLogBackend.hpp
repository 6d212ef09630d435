// SPDX-License-Identifier: MIT
// Component: Tessaly::Testing
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Tessaly/Core/Base/Durations.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Logging/LogBackend.hpp"
#include "Tessaly/Core/Logging/ProcessLogStore.hpp"

namespace Tessaly::inline v1 {

/// A record as the backend received it. `arguments` contains the texts of private arguments. `composedMessage` contains
/// `<private>` instead of them, unless `LogConfiguration::setPrivateDataShown` is on.
struct RecordedLog {
  struct Argument {
    std::string text;
    LogPrivacy privacy = LogPrivacy::private_;
    friend bool operator==(const Argument&, const Argument&) = default;
  };

  LogTime time;
  OSLogType type = OSLogType::default_;
  std::string subsystem;
  std::string category;
  std::int32_t processIdentifier = 0;
  std::uint32_t threadIdentifier = 0;
  std::string format;
  std::vector<Argument> arguments;
  std::string composedMessage;
  std::string file;
  std::string function;
  unsigned line = 0;
  std::optional<LogEntry::Signpost> signpost;
};

/// A log backend that keeps the records, so that a test can inspect them.
///
/// Thread contract: thread-safe.
///
///     const auto backend = std::make_shared<RecordingLogBackend>();
///     const LogBackendInstallation installation(backend);
///     save(document);
///     assert(backend->records().size() == 1);
class TESSALY_EXPORT RecordingLogBackend final : public LogBackend {
 public:
  /// Whether the backend has a store from which the records can be read back.
  enum class Store { kept, unavailable };

  /// With a store, `OSLogStore::currentProcess()` returns that store while this backend is installed. Without a store,
  /// that function throws `LogStoreUnavailableError`.
  explicit RecordingLogBackend(Store store = Store::kept);
  ~RecordingLogBackend() override;

  [[nodiscard]] std::vector<RecordedLog> records() const;
  /// The composed messages of the records, in order.
  [[nodiscard]] std::vector<std::string> messages() const;
  /// The number of calls of `flush`.
  [[nodiscard]] std::size_t flushCount() const noexcept;

  void write(const LogRecord& record) noexcept override;
  void flush(std::chrono::nanoseconds limit) noexcept override;
  [[nodiscard]] const ProcessLogStore* store() const noexcept override;

 private:
  mutable UnfairLock lock_;
  std::vector<RecordedLog> records_ TESSALY_GUARDED_BY(lock_);
  std::size_t flushCount_ TESSALY_GUARDED_BY(lock_) = 0;
  std::optional<ProcessLogStore> store_;
};

}  // namespace Tessaly::inline v1
