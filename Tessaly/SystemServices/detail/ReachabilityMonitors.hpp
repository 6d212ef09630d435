// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <deque>
#include <exception>
#include <memory>
#include <optional>
#include <utility>

#include "Tessaly/Concurrency/Mutex.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Observation/ObservationRegistrar.hpp"
#include "Tessaly/Core/Tasks/AsyncStream.hpp"
#include "Tessaly/Core/Tasks/CheckedContinuation.hpp"
#include "Tessaly/Platform/Network/NWPathMonitor.hpp"
#include "Tessaly/SettingsAndObservation/Default.hpp"
#include "Tessaly/SystemServices/ReachabilityService.hpp"

#pragma push_macro("Status")  // A macro of Xlib.
#undef Status

namespace Tessaly::inline v1::ReachabilityService::detail {

/// The state that `observableIsOnline()` and `observedIsExpensive()` return. The state follows the path and the
/// setting. The main thread updates the state, but any thread may make, read and destroy this object.
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

  /// Updates the state from the path and the setting. A call outside the main thread stops the process.
  void update(const NWPath& path);

 private:
  void start();
  void followSetting();
  void settingDidChange();
  /// The next two functions set a value and notify the observers, but only if the value differs from the former value.
  void setIsOnline(bool isOnline);
  void setIsExpensive(bool isExpensive);

  std::atomic<bool> isOnline_;
  std::atomic<bool> isExpensive_;
  Default<bool> canConnectToHost_;
  const std::shared_ptr<NWPathMonitor> monitor_;
  ObservationRegistrar registrar_;
};

/// Resumes a continuation at the first of several calls. Later calls do nothing.
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

/// Begins the wait of `nextIsOnline()`. A call outside the main thread stops the process.
TESSALY_EXPORT void waitUntilOnline(const std::shared_ptr<NWPathMonitor>& monitor,
                                    Default<bool>::ValueObserver& observer, CheckedContinuation<> continuation);

/// Yields a status for each change of the path or the setting, on any thread. Each change reserves a place in a queue
/// before its status is computed. The statuses are yielded in the order of these places. So the last yielded status is
/// computed after the last change. While one thread yields, other threads leave their statuses to that thread.
class StatusFeed {
 public:
  explicit StatusFeed(AsyncStream<Status>::Continuation continuation) : continuation_(std::move(continuation)) {}

  /// Yields the status for this path, or, without a path, for the monitor's current path.
  void yield(std::optional<NWPath> path, const NWPathMonitor& monitor);

 private:
  struct Row {
    /// An absent entry is a status that is being computed.
    std::deque<std::optional<Status>> statuses;
    bool isYielding = false;
  };

  UnfairLock lock_;
  Row row_ TESSALY_GUARDED_BY(lock_);
  const AsyncStream<Status>::Continuation continuation_;
};

}  // namespace Tessaly::inline v1::ReachabilityService::detail

#pragma pop_macro("Status")
