// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/Executor.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/Core/Tasks/SerialExecutor.hpp"
#include "Tessaly/Core/Tasks/detail/ThreadState.hpp"

namespace Tessaly::inline v1 {

/// The place where asynchronous code must run: a serial executor, such as the main queue or the executor of one object.
/// Without an isolation, code runs on the global executor.
///
/// An isolation is a handle: copies share the executor and keep it alive.
///
/// Thread contract: thread-compatible.
///
///     Isolation storage = Isolation::serial();
///     Task<> onTheMainThread({.isolation = Isolation::main()}, [] { redraw(); });
class Isolation {
 public:
  /// No isolation.
  Isolation() noexcept = default;
  /// The isolation of a host's executor, which must run one job at a time, in order.
  explicit Isolation(Executor& executor) noexcept : executor_(&executor) { executor_->retain(); }
  Isolation(const Isolation& other) noexcept : executor_(other.executor_) {
    if (executor_ != nullptr) executor_->retain();
  }
  Isolation(Isolation&& other) noexcept : executor_(std::exchange(other.executor_, nullptr)) {}
  Isolation& operator=(Isolation other) noexcept {
    std::swap(executor_, other.executor_);
    return *this;
  }
  ~Isolation() {
    if (executor_ != nullptr) executor_->release();
  }

  /// The caller's isolation. In a task it is the isolation in which the task runs now. In a job of a serial executor it
  /// is that executor. Otherwise it is the main queue on the main thread, and no isolation on other threads.
  [[nodiscard]] TESSALY_EXPORT static Isolation current() noexcept;
  /// The isolation of the main queue.
  [[nodiscard]] static Isolation main() noexcept { return Isolation(MainQueue::executor()); }
  /// The isolation of a new serial executor. Allocates.
  [[nodiscard]] static Isolation serial() { return Isolation(new SerialExecutor, Adopt{}); }

  /// The executor, or null without an isolation.
  [[nodiscard]] Executor* executor() const noexcept { return executor_; }

  friend bool operator==(const Isolation&, const Isolation&) noexcept = default;

 private:
  struct Adopt {};
  Isolation(Executor* executor, Adopt) noexcept : executor_(executor) {}

  Executor* executor_ = nullptr;
};

}  // namespace Tessaly::inline v1
