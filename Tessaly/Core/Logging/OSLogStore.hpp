// SPDX-License-Identifier: MIT
// Component: Tessaly::Logging
#pragma once

#include <string>
#include <vector>

#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Logging/ProcessLogStore.hpp"

namespace Tessaly::inline v1 {

/// The error that `OSLogStore::currentProcess` throws if the current backend keeps no records that can be read back.
///
/// Thread contract: thread-safe.
///
///     try {
///       const auto entries = OSLogStore::currentProcess().entries(since);
///     } catch (const LogStoreUnavailableError& error) {
///       show(error.localizedDescription());
///     }
class TESSALY_EXPORT LogStoreUnavailableError final : public Error {
 public:
  ~LogStoreUnavailableError() override;
  [[nodiscard]] std::string description() const override;
};

/// Reads the records of this process that its log store still contains.
///
/// Thread contract: thread-safe.
///
///     const auto store = OSLogStore::currentProcess();
///     const auto lastHour = store.entries(std::chrono::system_clock::now() - std::chrono::hours(1));
class TESSALY_EXPORT OSLogStore {
 public:
  /// The store of the current backend. Throws `LogStoreUnavailableError` if the backend keeps no records.
  [[nodiscard]] static OSLogStore currentProcess();

  /// The entries dated `since` or later, in time order, including signposts.
  [[nodiscard]] std::vector<LogEntry> entries(LogTime since = LogTime::min()) const { return store_->entries(since); }

 private:
  explicit OSLogStore(const ProcessLogStore* store) noexcept : store_(store) {}

  const ProcessLogStore* store_;
};

}  // namespace Tessaly::inline v1
