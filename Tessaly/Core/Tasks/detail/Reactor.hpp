// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "Tessaly/Core/Base/CallGate.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Tasks/Executor.hpp"
#include "Tessaly/Core/Tasks/detail/TimerHeap.hpp"

namespace Tessaly::inline v1::detail {

/// The two threads that wait for timers and descriptors, started on first need. To serve an event, a thread only calls
/// the functions of due timers or enqueues jobs. For this, the thread may run host code: `enqueue` of a host's
/// executor, or the function of a host's `ClockTimer`. After it has served events, the thread may run jobs of the pool
/// while a thread of the pool sleeps (see `EventThread`). The other thread of the reactor waits for events meanwhile.
///
/// Thread contract: thread-safe.
class TESSALY_EXPORT Reactor {
 public:
  /// Stops the process if the reactor cannot be started.
  static Reactor& shared() noexcept;
  /// Starts the reactor if it does not run yet. Returns false while the process has no descriptors left for the
  /// reactor.
  static bool start() noexcept;

  void add(ClockTimer& timer);
  bool remove(ClockTimer& timer) noexcept;

 private:
  friend class DescriptorSource;

  Reactor(int epoll, int timer);
  [[noreturn]] void work();
  void serve(std::uint64_t key);
  void fireDueTimers();
  /// Sets the timer descriptor for the first timer, unless the descriptor wakes a thread by that timer's deadline
  /// anyway.
  void rearm() TESSALY_REQUIRES(lock_);

  UnfairLock lock_;
  TimerHeap timers_ TESSALY_GUARDED_BY(lock_);
  /// The instant at which the timer descriptor wakes a thread. The timer with this deadline may be gone.
  Clock::Instant wakesAt_ TESSALY_GUARDED_BY(lock_) = Clock::Instant::max();
  /// Whether a thread fires timers now.
  bool isFiring_ TESSALY_GUARDED_BY(lock_) = false;
  const int epoll_;
  const int timerDescriptor_;
};

/// Calls a function on an executor whenever a descriptor is readable, until the source is cancelled or destroyed.
///
/// One call ends before the next call begins: the descriptor is watched again only after the function has returned. The
/// function should read until the descriptor is empty. If data is left, the function is called again. The caller owns
/// the descriptor and must keep it open until `cancel()` has returned.
///
/// `make` stops the process when the kernel refuses to watch the descriptor. The kernel refuses a descriptor that is
/// closed, cannot be polled or has a source already. It also refuses beyond the user's limit of watched descriptors.
///
/// Thread contract: thread-safe.
///
///     auto source = DescriptorSource::make(fd, GlobalExecutor::shared(), [fd] { readAll(fd); });
///     source->cancel();
class TESSALY_EXPORT DescriptorSource final : public std::enable_shared_from_this<DescriptorSource> {
 public:
  /// Starts watching. An exception of `onReadable` stops the process.
  static std::shared_ptr<DescriptorSource> make(int descriptor, Executor& executor, std::function<void()> onReadable);
  ~DescriptorSource();
  DescriptorSource(const DescriptorSource&) = delete;
  DescriptorSource& operator=(const DescriptorSource&) = delete;

  /// Stops watching. If the function is running on another thread, waits until the function returns. If the function
  /// itself calls `cancel()`, does not wait for that call of the function. No call of the function begins afterwards.
  /// Idempotent. Does nothing in the child of a fork.
  void cancel() noexcept;

 private:
  friend class Reactor;

  struct Delivery final : Job {
    explicit Delivery(DescriptorSource& owner) noexcept;
    DescriptorSource& source;
  };

  DescriptorSource(int descriptor, Executor& executor, std::function<void()> onReadable);
  void becameReadable(std::shared_ptr<DescriptorSource> self) noexcept;
  void deliver() noexcept;

  const int descriptor_;
  Executor& executor_;
  std::function<void()> onReadable_;
  Delivery delivery_;
  std::uint64_t key_ = 0;
  UnfairLock lock_;
  std::shared_ptr<DescriptorSource> delivering_ TESSALY_GUARDED_BY(lock_);
  CallGate calls_;
};

}  // namespace Tessaly::inline v1::detail
