// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <atomic>
#include <cstdint>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/Executor.hpp"

namespace Tessaly::inline v1 {

/// Runs its jobs one at a time, in the order in which they came, on threads of the global executor.
///
/// It has no thread of its own: whoever enqueues onto an idle one schedules it, and a task that hops onto an idle one
/// from the pool goes on at once on the same thread. Ownership passes by compare-and-swap on one word. Object types
/// whose state must be touched by one job at a time hold one of these; see `Isolation` for the handle.
///
/// It is reference-counted, made by `Isolation::serial()`, and kept alive by queued jobs.
///
/// Thread contract: thread-safe.
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

  /// Takes the executor over for the calling thread if it is idle.
  [[nodiscard]] bool enterIfIdle() noexcept;

  /// Gives up the serial executor that the calling pool thread holds; waiting jobs are scheduled.
  static void leaveCurrent() noexcept;

 private:
  ~SerialExecutor() override;

  struct Drain final : Job {
    explicit Drain(SerialExecutor& executor) noexcept;
    void startAt(TaskPriority priority) noexcept { setPriority(priority); }
    SerialExecutor& owner;
  };

  void schedule() noexcept;
  void drain() noexcept;
  /// The next job, or none after the executor was given up.
  Job* takeOrGiveUp() noexcept;

  /// `idle`, or held: then either `heldAndEmpty` or the newest of the jobs that came meanwhile, linked backwards.
  std::atomic<std::uintptr_t> incoming_;
  /// Taken from `incoming_`, in order; touched by the holder only.
  JobList ready_;
  Drain drain_;
  std::atomic<std::uint32_t> references_{1};
};

namespace detail {
/// Held while a task's executor is looked up from another thread, and by a serial executor's end.
TESSALY_EXPORT void escalateOnExecutor(const std::atomic<Executor*>& executor, Job& job) noexcept;
}  // namespace detail

}  // namespace Tessaly::inline v1
