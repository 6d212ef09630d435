// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <deque>
#include <exception>
#include <memory>
#include <optional>

#include "Tessaly/Concurrency/Mutex.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Observation/ObservationRegistrar.hpp"
#include "Tessaly/Core/Tasks/AsyncStream.hpp"
#include "Tessaly/Core/Tasks/CheckedContinuation.hpp"
#include "Tessaly/Platform/Network/NWPathMonitor.hpp"
#include "Tessaly/SettingsAndObservation/Default.hpp"
#include "Tessaly/SystemServices/ReachabilityService.hpp"

#pragma push_macro("Status")  // Of Xlib.
#undef Status

namespace Tessaly::inline v1::ReachabilityService::detail {

/// What follows the path for those who observe: confined to the main thread, except that it may be made, read and
/// destroyed elsewhere.
class TESSALY_EXPORT MonitorWrapper final : public std::enable_shared_from_this<MonitorWrapper> {
  struct Private {};

 public:
  [[nodiscard]] static std::shared_ptr<MonitorWrapper> make();
  explicit MonitorWrapper(Private);
  ~MonitorWrapper();
  MonitorWrapper(const MonitorWrapper&) = delete;
  MonitorWrapper& operator=(const MonitorWrapper&) = delete;

  [[nodiscard]] bool isOnline() const;
  [[nodiscard]] bool isExpensive() const;

  /// Takes a path in, on the main thread.
  void update(const NWPath& path);

 private:
  void start();
  void followSetting();
  void settingDidChange();
  /// They announce only what is another value.
  void setIsOnline(bool isOnline);
  void setIsExpensive(bool isExpensive);

  std::atomic<bool> isOnline_;
  std::atomic<bool> isExpensive_;
  Default<bool> canConnectToHost_;
  const std::shared_ptr<NWPathMonitor> monitor_;
  ObservationRegistrar registrar_;
};

/// Resumes a continuation once, whoever comes first.
class ResumeContinuation {
 public:
  explicit ResumeContinuation(CheckedContinuation<> continuation) : continuation_(std::move(continuation)) {}

  void resume() {
    if (claim()) continuation_.resume();
  }
  void resumeThrowing(std::exception_ptr error) {
    if (claim()) continuation_.resumeThrowing(std::move(error));
  }

 private:
  bool claim() {
    return didResume_.withLock([](bool& didResume) { return !std::exchange(didResume, true); });
  }

  Mutex<bool> didResume_{false};
  CheckedContinuation<> continuation_;
};

/// Begins the wait of `nextIsOnline()`, on the main thread.
TESSALY_EXPORT void waitUntilOnline(const std::shared_ptr<NWPathMonitor>& monitor,
                                    Default<bool>::ValueObserver& observer, CheckedContinuation<> continuation);

/// Yields a status for each change that is heard of, formed then and there, though paths and settings change on
/// different threads: each takes its place in a row before it is formed, so that the last was formed after the last
/// change. Whoever comes while another is yielding leaves it to that one.
class StatusFeed {
 public:
  explicit StatusFeed(AsyncStream<Status>::Continuation continuation) : continuation_(std::move(continuation)) {}

  /// Yields the status with this path; without one, with the monitor's of then.
  void yield(std::optional<NWPath> path, const NWPathMonitor& monitor);

 private:
  struct Row {
    /// None where one is being formed.
    std::deque<std::optional<Status>> statuses;
    bool isYielding = false;
  };

  UnfairLock lock_;
  Row row_ TESSALY_GUARDED_BY(lock_);
  const AsyncStream<Status>::Continuation continuation_;
};

}  // namespace Tessaly::inline v1::ReachabilityService::detail

#pragma pop_macro("Status")
