// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>

#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Tasks/Isolation.hpp"

namespace Tessaly::inline v1::detail {

/// The executor of one owner's tasks. It runs them in the owner's isolation while the owner lives. After `close()` it
/// discards tasks instead of running them. Jobs that the host made are run even then.
///
/// The executor is reference-counted: every task that may return to the executor holds a reference.
///
/// Thread contract: thread-safe.
class OwnerExecutor final : public Executor {
 public:
  /// Makes an executor in an isolation. Stops the process if the isolation has no executor. If `isolation` belongs to
  /// another `OwnerExecutor`, the new executor uses the `base()` of that executor.
  explicit OwnerExecutor(const Isolation& isolation);

  void enqueue(Job& job) noexcept override;
  void escalate(Job& job) noexcept override;
  [[nodiscard]] Executor& base() noexcept override { return *isolation_.executor(); }
  void retain() noexcept override { references_.fetch_add(1, std::memory_order_relaxed); }
  void release() noexcept override;

  /// Whether the caller runs in the owner's isolation.
  [[nodiscard]] bool isCurrent() const noexcept;
  /// Closes the executor: from now on it discards each task at the time when the task would run. Must be called in the
  /// owner's isolation.
  void close() noexcept;
  [[nodiscard]] bool isClosed() noexcept;
  /// Discards the queued tasks of a closed executor. Must be called in the owner's isolation. The destructors of the
  /// tasks' variables run in this call. They may destroy the owner, so the caller must hold a reference to the
  /// executor.
  void discardQueued() noexcept;

 private:
  ~OwnerExecutor() override = default;

  /// The only job that this executor puts into the queue of the owner's isolation. Each turn takes at most one of the
  /// executor's jobs, and runs or discards it.
  struct Turn final : Job {
    explicit Turn(OwnerExecutor& owner) noexcept;
    void startAt(TaskPriority priority) noexcept { setPriority(priority); }
    OwnerExecutor& owner;
  };

  void takeTurn() noexcept;
  /// The highest priority among the waiting jobs. The turn's priority is an upper bound, so the search stops at the
  /// first job that has at least that priority: O(n). Only a job whose raise is not finished can exceed the bound.
  /// `escalate` then raises the turn.
  [[nodiscard]] TaskPriority highestWaiting() const noexcept TESSALY_REQUIRES(lock_);

  const Isolation isolation_;
  UnfairLock lock_;
  JobList jobs_ TESSALY_GUARDED_BY(lock_);
  /// Whether the turn is queued. A queued turn holds a reference to this executor.
  bool isQueued_ TESSALY_GUARDED_BY(lock_) = false;
  bool isClosed_ TESSALY_GUARDED_BY(lock_) = false;
  Turn turn_;
  std::atomic<std::uint32_t> references_{1};
};

}  // namespace Tessaly::inline v1::detail
