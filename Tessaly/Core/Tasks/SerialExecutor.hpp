// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/Executor.hpp"
#include "Tessaly/Core/Tasks/detail/PriorityLevel.hpp"

namespace Tessaly::inline v1 {

/// Runs its jobs one at a time, in the order in which they were enqueued, on threads of the global executor.
///
/// A serial executor has no thread of its own. When a job is enqueued onto an idle serial executor, that executor
/// queues a turn (see below) on the global executor. A task that hops from the pool onto an idle serial executor
/// continues at once on the same thread. Give an object a serial executor if at most one job at a time may use the
/// object's state. See `Isolation` for the handle of a serial executor.
///
/// A turn is a job of the global executor, and runs at most 256 of the waiting jobs. A turn is queued at the highest
/// priority among the jobs that wait. If a waiting job is raised to a higher priority, or a job of a higher priority is
/// enqueued, the queued turn is raised too. Turns that are queued after the job with the higher priority has run do not
/// keep the raised priority.
///
/// A serial executor is reference-counted, made by `Isolation::serial()`, and kept alive by queued jobs.
///
/// Thread contract: thread-safe. Enqueueing is O(1). After the priority of a waiting job is raised, the executor visits
/// every waiting job, which is O(n).
///
///     Isolation storage = Isolation::serial();
///     co_await withIsolation(storage, [&] { entries.push_back(entry); });
class TESSALY_EXPORT SerialExecutor final : public Executor {
 public:
  SerialExecutor() noexcept;

  void enqueue(Job& job) noexcept override;
  void escalate(Job& job) noexcept override;
  void retain() noexcept override { references_.fetch_add(1, std::memory_order_relaxed); }
  void release() noexcept override;

  /// If the executor is idle, the running job takes the executor over. Returns whether the executor was idle.
  [[nodiscard]] bool enterIfIdle() noexcept;

  /// Gives up the serial executor that the running job holds. If other jobs wait, queues a turn: a job of the global
  /// executor that runs waiting jobs.
  static void leaveCurrent() noexcept;

 private:
  ~SerialExecutor() override;

  struct Turn final : Job {
    explicit Turn(SerialExecutor& executor) noexcept;
    using Job::setPriority;
    SerialExecutor& owner;
  };

  void runTurn() noexcept;
  void queueTurn() noexcept;
  void raiseTurn(unsigned level) noexcept;
  void takeIncoming() noexcept;
  void appendInOrder(Job* newest) noexcept;
  void lookAtReadyAgain() noexcept;
  [[nodiscard]] bool giveUpIfEmpty() noexcept;
  [[nodiscard]] unsigned highestWaiting() const noexcept;

  /// The newest job that was enqueued and not taken yet, linked to the older jobs. The low bits are the phase.
  std::atomic<std::uintptr_t> word_;
  // Only the thread that holds the executor uses the members below, until it gives up the executor or queues a turn.
  // But any thread may change `references_` and raise `turn_`.
  /// The jobs that were taken from `word_`, in order.
  JobList ready_;
  /// The number of the job that was taken last, and the number of the job that was started last.
  std::uint64_t taken_ = 0;
  std::uint64_t started_ = 0;
  /// For each level, the sequence number of the job that was taken last with that level. That job waits while its
  /// number exceeds `started_`.
  std::array<std::uint64_t, detail::priorityLevelCount> lastOf_{};
  Turn turn_;
  std::atomic<std::uint32_t> references_{1};
};

}  // namespace Tessaly::inline v1
